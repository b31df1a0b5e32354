#include "help.h"

#include <sstream>

namespace tool {

namespace {

constexpr unsigned long WIDTH = 80;
constexpr unsigned long INDENT = 26;

// `text` in lines, each but the first behind `indent` blanks; `used` columns of the first are
// taken.
std::string wrapped(std::string const& text, unsigned long used, unsigned long indent) {
    std::string out;
    unsigned long column = used;
    std::istringstream words(text);
    for (std::string word; words >> word;) {
        bool const first = out.empty();
        if (!first && column + 1 + word.size() >= WIDTH) {
            out += "\n" + std::string(indent, ' ');
            column = indent;
        } else if (!first) {
            out += ' ';
            ++column;
        }
        out += word;
        column += word.size();
    }
    return out;
}

std::string row(std::string const& left, std::string const& right) {
    std::string out = "  " + left;
    if (out.size() + 2 > INDENT)
        out += "\n" + std::string(INDENT, ' ');
    else
        out.resize(INDENT, ' ');
    return out + wrapped(right, INDENT, INDENT) + "\n";
}

bool isList(CLI::Option const& option) {
    return option.get_items_expected_max() > 1;
}

}  // namespace

std::string joined(std::vector<std::string> const& words, char const* between) {
    std::string out;
    for (std::string const& word : words) out += (out.empty() ? "" : between) + word;
    return out;
}

std::vector<CLI::Option const*> optionsOf(CLI::App const& app, bool positional) {
    return app.get_options([=](CLI::Option const* o) {
        return o->get_positional() == positional && !o->get_group().empty();
    });
}

std::vector<std::string> namesOf(CLI::Option const& option) {
    std::vector<std::string> names;
    for (std::string const& name : option.get_snames()) names.push_back("-" + name);
    for (std::string const& name : option.get_lnames()) names.push_back("--" + name);
    return names;
}

std::vector<std::string> choicesOf(CLI::Option const& option) {
    std::vector<std::string> words;
    std::string const type = option.get_type_name();
    auto const open = type.find('{');
    if (open == std::string::npos) return words;
    std::istringstream list(type.substr(open + 1, type.find('}') - open - 1));
    for (std::string word; std::getline(list, word, ',');) words.push_back(word);
    return words;
}

bool takesValue(CLI::Option const& option) {
    return option.get_items_expected_max() != 0;
}

std::string valueOf(CLI::Option const& option) {
    auto const choices = choicesOf(option);
    return choices.empty() ? option.get_type_name() : joined(choices, "|");
}

std::string firstSentence(std::string const& text) {
    auto const stop = text.find(". ");
    if (stop != std::string::npos) return text.substr(0, stop);
    return !text.empty() && text.back() == '.' ? text.substr(0, text.size() - 1) : text;
}

std::string synopsis(CLI::App const& command) {
    bool const group = !command.get_subcommands([](CLI::App const*) { return true; }).empty();
    std::string out = group ? "COMMAND" : "[OPTION]...";
    for (CLI::Option const* option : optionsOf(command, true)) {
        std::string const name = option->get_name();
        out += option->get_required() ? " " + name : " [" + name + "]";
        if (isList(*option)) out += "...";
    }
    return out;
}

std::string Help::make_usage(CLI::App const* app, std::string name) const {
    return "\nUsage: " + (name.empty() ? app->get_name() : name) + " " + synopsis(*app) + "\n";
}

std::string Help::make_description(CLI::App const* app) const {
    return wrapped(app->get_description(), 0, 0) + "\n";
}

std::string Help::make_subcommand(CLI::App const* command) const {
    return row(command->get_name(), firstSentence(command->get_description()));
}

std::string Help::make_option(CLI::Option const* option, bool positional) const {
    if (positional) return row(option->get_name(), option->get_description());
    std::string left = joined(namesOf(*option), ", ");
    if (takesValue(*option)) left += " " + valueOf(*option);
    return row(left, option->get_description());
}

}  // namespace tool
