#include <CLI/CLI.hpp>
#include <map>
#include <memory>

#include "pml_lint.h"
#include "pml_tidy.h"
#include "tool.h"

namespace tool {

namespace {

namespace pml = zan::pml;

// The tree of a text. False, and the findings on the standard error stream, where it is no PML.
bool parse(std::string const& name, zan::String const& text, pml::ntv::Unit& unit) {
    PmlLint const lint(text);
    if (report(name, text, lint.findings) != OK) return false;
    try {
        pml::ntvFromPml(unit, zan::istr(text));
        return true;
    } catch (zan::Exception const& e) {
        complain(name + ": " + e.msg());
        return false;
    }
}

// A name with marks of PML in it is written without quotes, and read as something else, or not at
// all.
bool readsBackAs(pml::ntv::Unit const& unit, zan::String const& text) {
    pml::ntv::Unit again;
    try {
        pml::ntvFromPml(again, zan::istr(text));
    } catch (zan::Exception const&) {
        return false;
    }
    return again.str() == unit.str();
}

struct Format {
    std::vector<std::string> files;
    std::string layout = "tidy";
    bool paths = false;
    bool check = false;
    bool inPlace = false;
    bool dropComments = false;

    int operator()() const {
        return forEach(files, [this](Input& input) { return one(input); });
    }
    int one(Input& input) const {
        if (inPlace && input.standardInput())
            throw Trouble("standard input is no place to write to");
        zan::String const text = input.readAll();
        pml::ntv::Unit unit;
        if (!parse(input.name(), text, unit)) return WRONG;
        zan::String const out = formatted(text, unit);
        if (check) {
            if (out == text) return OK;
            complain(input.name() + ": would be formatted differently");
            return WRONG;
        }
        if (!readsBackAs(unit, out))
            throw Trouble(input.name() + ": in this layout it would read back differently", WRONG);
        PmlLint const lint(text);
        if (layout != "tidy" && lint.comments != 0 && !dropComments) {
            std::string note = std::to_string(lint.comments);
            note += lint.comments == 1 ? " comment is left out" : " comments are left out";
            if (inPlace) note += ": see --drop-comments";
            report(input.name(), text, {{lint.firstComment, note}});
            if (inPlace) return WRONG;
        }
        if (!inPlace)
            write(out);
        else if (out != text)
            replaceFile(input.name(), out);
        return OK;
    }
    zan::String formatted(zan::String const& text, pml::ntv::Unit const& unit) const {
        static std::map<std::string, pml::ShowMode::Mode> const MODES = {
            {"compact", pml::ShowMode::COMPACT},
            {"simple", pml::ShowMode::SIMPLE},
            {"mixed", pml::ShowMode::MIXED},
            {"formatted", pml::ShowMode::FORMATTED}};
        if (layout == "tidy") return tidyPml(text);
        pml::ShowPattern const parts(paths ? 15 : 7);
        return unit.str(MODES.at(layout), parts) << "\n";
    }
};

struct Check {
    std::vector<std::string> files;

    int operator()() const {
        return forEach(files, [](Input& input) {
            pml::ntv::Unit unit;
            return parse(input.name(), input.readAll(), unit) ? OK : WRONG;
        });
    }
};

struct Get {
    std::string path;
    std::vector<std::string> files;
    bool keys = false;

    int operator()() const {
        return forEach(files, [this](Input& input) {
            pml::ntv::Unit root;
            if (!parse(input.name(), input.readAll(), root)) return int(WRONG);
            pml::ntv::Unit const& tree = root;
            pml::ntv::Unit const* const unit = tree.find(path);
            if (unit == nullptr) {
                complain(input.name() + ": there is no " + inQuotes(path));
                return int(WRONG);
            }
            show(*unit);
            return int(OK);
        });
    }
    void show(pml::ntv::Unit const& unit) const {
        if (unit.listValue() == nullptr) {
            if (!keys) write(zan::String(unit.getStringValue()) << "\n");
            return;
        }
        if (!keys) return write(unit.str(pml::ShowMode::FORMATTED) << "\n");
        unsigned long n = 0;
        for (pml::ntv::Unit const* const child : *unit.listValue()) {
            zan::String line = child->name();
            if (line.empty()) line << "[" << n << "]";
            ++n;
            write(line << "\n");
        }
    }
};

}  // namespace

void addPml(CLI::App& app) {
    CLI::App* const group = addGroup(app, "pml", "PML trees: configuration and settings");

    auto const format = std::make_shared<Format>();
    CLI::App* command = addCommand(
        *group, "format",
        "Print PML in a layout. The layout tidy keeps comments and empty lines, and each name and "
        "value as it is written; the others are those of the library, and have no comments.",
        "zan pml format --in-place courier.pml", [format] { return (*format)(); });
    command->add_option("-l,--layout", format->layout, "The layout; tidy unless given")
        ->check(CLI::IsMember({"tidy", "compact", "simple", "mixed", "formatted"}));
    command->add_flag("--paths", format->paths,
                      "In formatted, put the path of each unit ahead of it, as a comment");
    CLI::Option* const check =
        command->add_flag("--check", format->check, "Print nothing; exit with 1 if it differs");
    command
        ->add_flag("-i,--in-place", format->inPlace,
                   "Rewrite the files; one whose comments would be lost is left as it is")
        ->excludes(check);
    command->add_flag("--drop-comments", format->dropComments, "Leave comments out without a word");
    addFiles(*command, format->files);

    auto const lint = std::make_shared<Check>();
    command = addCommand(
        *group, "check",
        "Say what is wrong, and where: units, quotes and comments that do not end, names that come "
        "twice, text that is never read",
        "zan pml check courier.pml", [lint] { return (*lint)(); });
    addFiles(*command, lint->files);

    auto const get = std::make_shared<Get>();
    command =
        addCommand(*group, "get", "Print the text of one unit, or PML if there are units in it",
                   "zan pml get log/appLogs courier.pml", [get] { return (*get)(); });
    command
        ->add_option("PATH", get->path,
                     "Names with / between them, [2] for the third unit; / is the root")
        ->required()
        ->type_name("");
    command->add_flag("-k,--keys", get->keys, "Print the names of the units in it, one to a line");
    addFiles(*command, get->files);
}

}  // namespace tool
