#include <CLI/CLI.hpp>
#include <algorithm>
#include <sstream>

#include "help.h"
#include "tool.h"

// The pages walk the table of commands that the program parses its arguments with, so that they
// cannot say anything else.

namespace tool {

namespace {

using Commands = std::vector<CLI::App const*>;

Commands commandsOf(CLI::App const& app) {
    Commands all = app.get_subcommands([](CLI::App const* a) { return a != nullptr; });
    all.erase(std::remove_if(all.begin(), all.end(),
                             [](CLI::App const* a) { return a->get_group().empty(); }),
              all.end());
    return all;
}

std::string replaced(std::string text, std::string const& from, std::string const& to) {
    for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size())
        text.replace(at, from.size(), to);
    return text;
}

// --- man

std::string roff(std::string const& text) {
    std::string out = replaced(replaced(replaced(text, "\\", "\\e"), "-", "\\-"), "'", "\\(aq");
    // A line that begins with a dot is a request.
    return !out.empty() && out[0] == '.' ? "\\&" + out : out;
}

void manOptions(std::ostream& os, CLI::App const& app) {
    for (CLI::Option const* option : optionsOf(app, false)) {
        os << ".TP\n.B " << roff(joined(namesOf(*option), ", "));
        if (takesValue(*option)) {
            auto const choices = choicesOf(*option);
            os << "\\fR \\fI"
               << roff(choices.empty() ? option->get_type_name() : joined(choices, "|"));
        }
        os << "\\fR\n" << roff(option->get_description()) << "\n";
    }
}

void manFooter(std::ostream& os, std::string const& footer) {
    os << ".PP\n.nf\n";
    std::istringstream lines(footer);
    for (std::string line; std::getline(lines, line);) os << roff(line) << "\n";
    os << ".fi\n";
}

void manCommand(std::ostream& os, CLI::App const& command, std::string const& path) {
    std::string const name = path + " " + command.get_name();
    Commands const inner = commandsOf(command);
    if (inner.empty()) {
        os << ".SS " << roff(name + " " + synopsis(command));
        os << "\n" << roff(command.get_description()) << "\n";
        for (CLI::Option const* option : optionsOf(command, true)) {
            os << ".TP\n.I " << roff(option->get_name()) << "\n"
               << roff(option->get_description()) << "\n";
        }
        manOptions(os, command);
        manFooter(os, command.get_footer());
    }
    for (CLI::App const* c : inner) manCommand(os, *c, name);
}

std::string man(CLI::App const& app) {
    std::ostringstream os;
    os << ".TH ZAN 1 \"\" \"zan " ZAN_TOOL_VERSION "\" \"User Commands\"\n"
       << ".SH NAME\nzan \\- " << roff(app.get_description()) << "\n"
       << ".SH SYNOPSIS\n.B zan\n.I COMMAND\n[\\fIOPTION\\fR]... [\\fIFILE\\fR]...\n"
       << ".SH OPTIONS\n";
    manOptions(os, app);
    os << ".SH COMMANDS\n";
    for (CLI::App const* command : commandsOf(app)) manCommand(os, *command, "zan");
    os << ".SH NOTES\n";
    manFooter(os, app.get_footer());
    return os.str();
}

// --- bash

// One line for each command: its path, what may follow it, and what each option takes.
std::string bash(CLI::App const& app) {
    std::ostringstream words;
    std::ostringstream values;
    std::function<void(CLI::App const&, std::string const&)> const walk =
        [&](CLI::App const& command, std::string const& path) {
            std::vector<std::string> next;
            Commands const inner = commandsOf(command);
            for (CLI::App const* c : inner) next.push_back(c->get_name());
            for (CLI::Option const* option : optionsOf(command, false)) {
                auto const names = namesOf(*option);
                next.insert(next.end(), names.begin(), names.end());
                if (!takesValue(*option)) continue;
                values << "        ";
                for (std::string const& name : names)
                    values << (name == names.front() ? "'" : " | '") << path << " " << name << "'";
                values << ") COMPREPLY=($(compgen -W '" << joined(choicesOf(*option), " ")
                       << "' -- \"$word\")); return ;;\n";
            }
            words << "        '" << path << "') words='" << joined(next, " ") << "' ;;\n";
            for (CLI::App const* c : inner) walk(*c, path + " " + c->get_name());
        };
    walk(app, "zan");
    std::vector<std::string> groups;
    for (CLI::App const* c : commandsOf(app))
        if (!commandsOf(*c).empty()) groups.push_back(c->get_name());
    std::ostringstream os;
    os << "# bash completion for zan, made from its table of commands\n"
          "_zan() {\n"
          "    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD-1]} path=zan "
          "words i\n"
          "    COMPREPLY=()\n"
          "    for ((i = 1; i < COMP_CWORD && i <= 2; i++)); do\n"
          "        [[ ${COMP_WORDS[i]} == -* ]] && break\n"
          "        [[ $i == 2 && ! \" "
       << joined(groups, " ")
       << " \" == *\" ${COMP_WORDS[1]} \"* ]] && break\n"
          "        path+=\" ${COMP_WORDS[i]}\"\n"
          "    done\n"
          "    case \"$path $before\" in\n"
       << values.str()
       << "    esac\n"
          "    case $path in\n"
       << words.str()
       << "        *) words= ;;\n"
          "    esac\n"
          "    if [[ $word == -* || $path == zan || \" "
       << joined(groups, " ")
       << " \" == *\" ${path#zan } \"* ]]; then\n"
          "        COMPREPLY=($(compgen -W \"$words\" -- \"$word\"))\n"
          "    else\n"
          "        COMPREPLY=($(compgen -f -- \"$word\"))\n"
          "    fi\n"
          "}\n"
          "complete -o filenames -F _zan zan\n";
    return os.str();
}

// --- zsh

std::string zshText(std::string const& text) {
    std::string const plain = firstSentence(text);
    return replaced(replaced(replaced(replaced(plain, "'", "'\\''"), ":", "\\:"), "[", "\\["), "]",
                    "\\]");
}

void zshCommand(std::ostream& os, CLI::App const& command, std::string const& function) {
    Commands const inner = commandsOf(command);
    os << function << "() {\n";
    if (!inner.empty()) {
        os << "    local line state\n    _arguments -C \\\n";
    } else {
        os << "    _arguments -s -S \\\n";
    }
    for (CLI::Option const* option : optionsOf(command, false)) {
        auto const names = namesOf(*option);
        bool const list = option->get_items_expected_max() > 1 ||
                          option->get_multi_option_policy() == CLI::MultiOptionPolicy::TakeAll;
        std::string const all = joined(names, " ");
        os << "        '" << (list ? "*" : "(" + all + ")") << "'";
        if (names.size() > 1)
            os << "{" << joined(names, ",") << "}";
        else
            os << names.front();
        os << "'[" << zshText(option->get_description()) << "]";
        if (takesValue(*option)) {
            auto const choices = choicesOf(*option);
            os << ":value:" << (choices.empty() ? "" : "(" + joined(choices, " ") + ")");
        }
        os << "' \\\n";
    }
    if (!inner.empty()) {
        os << "        '1:command:((";
        for (CLI::App const* c : inner)
            os << c->get_name() << "\\:\"" << replaced(zshText(c->get_description()), "\"", "")
               << "\" ";
        os << "))' \\\n        '*::argument:->next'\n"
           << "    [[ $state == next ]] && case $line[1] in\n";
        for (CLI::App const* c : inner)
            os << "        " << c->get_name() << ") " << function << "_" << c->get_name()
               << " ;;\n";
        os << "    esac\n";
    } else {
        for (CLI::Option const* option : optionsOf(command, true)) {
            bool const files = option->get_type_name() == "FILE";
            os << "        '" << (files ? "*" : "") << ":" << option->get_name() << ":"
               << (files ? "_files" : "") << "' \\\n";
        }
        os << "        && return\n";
    }
    os << "}\n\n";
    for (CLI::App const* c : inner) zshCommand(os, *c, function + "_" + c->get_name());
}

std::string zsh(CLI::App const& app) {
    std::ostringstream os;
    os << "#compdef zan\n# zsh completion for zan, made from its table of commands\n\n";
    zshCommand(os, app, "_zan");
    os << "_zan \"$@\"\n";
    return os.str();
}

}  // namespace

std::string generate(CLI::App const& app, std::string const& kind) {
    if (kind == "man") return man(app);
    return kind == "bash" ? bash(app) : zsh(app);
}

}  // namespace tool
