#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>

#include "tool.h"

namespace tool {

namespace {

constexpr long UTF8 = 65001;

bool known(long page) {
    return !zan::toWstring(zan::ansi("A"), page).empty();
}

// A number, or one of the few names that people type.
std::string pageOf(std::string const& text, long& page) {
    if (text == "utf8" || text == "utf-8" || text == "UTF-8") {
        page = UTF8;
    } else {
        char* end = nullptr;
        page = std::strtol(text.c_str(), &end, 10);
        if (text.empty() || *end != 0 || page < 0) return "no number of a code page: " + text;
    }
    return known(page) ? "" : "unknown code page: " + text;
}

struct Convert {
    std::string from, to;
    std::vector<std::string> files;
    bool list = false;
    long fromPage = 0;
    long toPage = 0;

    int operator()() {
        if (list) {
            for (long page = 0; page <= 65535; ++page)
                if (known(page)) write(zan::String() << page << "\n");
            return OK;
        }
        for (auto const& [text, page] : {std::pair(&from, &fromPage), std::pair(&to, &toPage)}) {
            std::string const error = pageOf(*text, *page);
            if (!error.empty()) throw Trouble(error);
        }
        return forEach(files, [this](Input& input) { return one(input); });
    }

    // Line by line, so that the input may be of any length: in none of the pages is a line feed a
    // part of another character, and the pages with shift states begin each line anew.
    int one(Input& input) const {
        constexpr unsigned long LONGEST = 1 << 20;
        State state{input.name(), 1, 0};
        zan::String waiting;
        zan::Bytes chunk;
        bool more = true;
        while (more) {
            more = input.read(chunk);
            if (more) waiting += zan::istr(chunk);
            unsigned long const feed = waiting.rfind('\n');
            unsigned long whole = !more ? waiting.size() : feed != std::string::npos ? feed + 1 : 0;
            if (whole == 0 && waiting.size() > LONGEST)
                throw Trouble(
                    input.name() + ": line " + std::to_string(state.line) + " is longer than 1 MiB",
                    WRONG);
            for (unsigned long at = 0; at < whole;) {
                unsigned long const end = std::min(waiting.find('\n', at), whole - 1) + 1;
                convert(zan::istr(waiting).substr(at, end - at), state);
                at = end;
            }
            waiting.erase(0, whole);
            if (!input.ready()) flushOutput();
        }
        return state.lost == 0 ? OK : WRONG;
    }

private:
    struct State {
        std::string name;
        unsigned long line;
        unsigned long lost;
    };

    // The library's wide text ends at a NUL; here it is a character like others.
    void convert(zan::istr text, State& state) const {
        for (unsigned long nul; (nul = find(text, '\0')) != text.size();) {
            piece(text.leftstr(nul), state);
            write(zan::istr("", 1));
            text = text.removeLeft(nul + 1);
        }
        piece(text, state);
        ++state.line;
    }
    static unsigned long find(zan::istr const& text, char c) {
        return static_cast<unsigned long>(std::find(text.begin(), text.end(), c) - text.begin());
    }

    void piece(zan::istr const& text, State& state) const {
        if (text.empty()) return;
        std::wstring const wide = zan::toWstring(zan::ansi(text), fromPage);
        zan::String const out = zan::toAnsi(zan::wstr(zan::iwstr(wide)), toPage);
        write(out);
        // What was damaged became U+FFFD, what has no place became '?': more of them than there
        // were is a loss.
        if (wide.find(L'\uFFFD') != std::wstring::npos) {
            zan::String const again = zan::toAnsi(zan::wstr(zan::iwstr(wide)), fromPage);
            if (again != text) return lose(state, "bytes that are no text in code page ", from);
        }
        if (std::count(out.begin(), out.end(), '?') > std::count(wide.begin(), wide.end(), L'?'))
            lose(state, "characters that are not in code page ", to);
    }
    static void lose(State& state, char const* what, std::string const& page) {
        if (state.lost++ < 10)
            complain(state.name + ":" + std::to_string(state.line) + ": " + what + page);
        else if (state.lost == 11)
            complain(state.name + ": and so on");
    }
};

}  // namespace

void addCodepage(CLI::App& app) {
    auto const convert = std::make_shared<Convert>();
    CLI::App* const command = addCommand(
        app, "codepage",
        "Convert text from one code page to another. What is damaged, or has no place in the "
        "target, becomes U+FFFD or '?' and is reported with its line; the exit code is then 1. "
        "Pages are numbers such as 936, 1252, or 65001 for UTF-8; 0 is that of the locale.",
        "zan codepage 936 65001 names.txt > names.utf8", [convert] { return (*convert)(); });
    CLI::Option* const list =
        command->add_flag("-l,--list", convert->list, "Print the numbers that are known here");
    CLI::Option* const from =
        command->add_option("FROM", convert->from, "The code page of the input")->type_name("");
    CLI::Option* const to =
        command->add_option("TO", convert->to, "The code page of the output")->type_name("");
    addFiles(*command, convert->files);
    list->excludes(from);
    command->parse_complete_callback([=] {
        if (convert->list) return;
        if (from->count() == 0) throw CLI::RequiredError("FROM");
        if (to->count() == 0) throw CLI::RequiredError("TO");
    });
}

}  // namespace tool
