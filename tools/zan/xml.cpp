#include <CLI/CLI.hpp>
#include <memory>

#include "tool.h"
#include "xml_lint.h"

namespace tool {

namespace {

unsigned long elementsIn(zan::XMLNode const* root) {
    unsigned long n = 0;
    std::vector<zan::XMLNode const*> todo;
    if (root != nullptr) todo.push_back(root);
    while (!todo.empty()) {
        zan::XMLNode const* const node = todo.back();
        todo.pop_back();
        ++n;
        for (zan::XMLNode const* const child : node->getChildNodes()) todo.push_back(child);
    }
    return n;
}

// Whether the text is well-formed and the library takes it; what speaks against it is reported.
bool parse(std::string const& name, zan::String const& text, XmlLint const& lint,
           zan::XMLParser& parser) {
    if (report(name, text, lint.findings) != OK) return false;
    try {
        parser.parse(text);
        unsigned long const elements = elementsIn(parser.rootNode());
        if (elements == lint.elements) return true;
        complain(name + ": the library reads " + std::to_string(elements) + " of " +
                 std::to_string(lint.elements) + " elements, because of what is declared");
        return false;
    } catch (zan::XMLRuntimeException const& e) {
        complain(name + ": the library reads none of it: " + e.message());
        return false;
    }
}

struct Format {
    std::vector<std::string> files;
    bool compact = false;
    bool check = false;

    int operator()() const {
        return forEach(files, [this](Input& input) { return one(input); });
    }
    int one(Input& input) const {
        zan::String const text = input.readAll();
        XmlLint const lint(text);
        zan::XMLParser parser;
        if (!parse(input.name(), text, lint, parser)) return WRONG;
        zan::String const out = parser.rootNode()->str(!compact, 0) << "\n";
        if (check) {
            if (out == text) return OK;
            complain(input.name() + ": would be formatted differently");
            return WRONG;
        }
        Findings notes;
        if (lint.lost != 0)
            notes.push_back(
                {lint.firstLost, "comments, instructions and declarations are left out"});
        if (lint.mixed != 0)
            notes.push_back({lint.firstMixed, "text beside an element: it is printed behind it"});
        report(input.name(), text, notes);
        write(out);
        return OK;
    }
};

struct Check {
    std::vector<std::string> files;

    int operator()() const {
        return forEach(files, [](Input& input) {
            zan::String const text = input.readAll();
            zan::XMLParser parser;
            return parse(input.name(), text, XmlLint(text), parser) ? OK : WRONG;
        });
    }
};

}  // namespace

void addXml(CLI::App& app) {
    CLI::App* const group = addGroup(app, "xml", "XML as the library reads and writes it");

    auto const format = std::make_shared<Format>();
    CLI::App* command = addCommand(
        *group, "format",
        "Print the root element as the library writes it. What its tree does not hold is left out, "
        "with a message: comments, instructions, and where text stood between elements",
        "zan xml format inbox/.incoming/index.xml", [format] { return (*format)(); });
    command->add_flag("--check", format->check, "Print nothing; exit with 1 if it differs");
    command->add_flag("-c,--compact", format->compact, "On one line");
    addFiles(*command, format->files);

    auto const lint = std::make_shared<Check>();
    command = addCommand(*group, "check",
                         "Say where a text is not well-formed, also where the library would "
                         "forgive it. There is no validation, and nothing is fetched.",
                         "zan xml check inbox/.incoming/index.xml", [lint] { return (*lint)(); });
    addFiles(*command, lint->files);
}

}  // namespace tool
