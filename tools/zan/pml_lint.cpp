#include "pml_lint.h"

#include <algorithm>
#include <cctype>
#include <unordered_set>

namespace tool {

namespace {

bool isBlank(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

class Scanner {
public:
    Scanner(zan::istr const& text, PmlLint& lint) : text_(text), lint_(lint) {
        auto const nul = std::find(text_.begin(), text_.end(), '\0');
        if (nul == text_.end()) return;
        text_ = text_.leftstr(static_cast<unsigned long>(nul - text_.begin()));
        find(text_.size(), "a NUL: the text ends here");
    }

    void document() {
        Token name = token();
        if (name.end == 0) {
            if (lint_.findings.empty())
                find(name.offset, name.text.empty() ? "no unit here"
                                                    : "the input ends in a name, '(' is missing");
            return;
        }
        if (name.end == ')') return find(at_ - 1, "')' where a unit begins");
        if (!open(std::move(name))) return;
        while (!units_.empty() && body()) continue;
        if (units_.empty()) rest();
    }

private:
    struct Token {
        std::string text;
        unsigned long offset;  // of its first character, or of what ended it
        char end;              // ':', '(' or ')'; 0 for the end of the input
        bool quoted;
        bool escaped;
    };
    struct Unit {
        std::string name;
        unsigned long offset;
        bool hasChildren;
        std::unordered_set<std::string> names;
    };

    void find(unsigned long offset, std::string text) {
        addFinding(lint_.findings, offset, std::move(text));
    }
    bool ended() const { return at_ == text_.size(); }
    bool next(char& c) {
        if (ended()) return false;
        c = text_[at_++];
        return true;
    }
    bool nextNonBlank(char& c) {
        while (next(c))
            if (!isBlank(c)) return true;
        return false;
    }

    // "(*" has been read.
    bool comment() {
        unsigned long const start = at_ - 2;
        if (lint_.comments++ == 0) lint_.firstComment = start;
        char c = 0;
        for (unsigned long depth = 1; next(c);) {
            if (ended()) break;
            if (c == '(' && text_[at_] == '*') {
                ++at_;
                ++depth;
            } else if (c == '*' && text_[at_] == ')') {
                ++at_;
                if (--depth == 0) return true;
            }
        }
        find(start, "this comment does not end");
        return false;
    }

    // `c` is the quote; afterwards the character behind the run.
    bool quotedRun(std::string& out, char& c) {
        char const first = c;
        char close = c;
        unsigned long start = at_ - 1;
        out += first;
        while (next(c)) {
            if (c == '^') {
                if (!next(c)) break;
                out += c;
            } else if (c != close) {
                out += c;
            } else {
                out += first;
                if (!nextNonBlank(c)) return false;
                if (c != '"' && c != '\'') return true;
                out.pop_back();
                close = c;
                start = at_ - 1;
            }
        }
        find(start, "this quote does not end");
        return false;
    }

    Token token() {
        Token t{"", at_, 0, false, false};
        char c = 0;
        bool more = nextNonBlank(c);
        t.offset = more ? at_ - 1 : text_.size();
        while (more) {
            if (c == ':' || c == ')') {
                t.end = c;
                break;
            }
            if (c == '(') {
                if (ended()) break;
                if (text_[at_] != '*') {
                    t.end = c;
                    break;
                }
                ++at_;
                if (!comment()) break;
                more = nextNonBlank(c);
                if (t.text.empty()) t.offset = more ? at_ - 1 : at_;
                continue;
            }
            if (c == '"' || c == '\'') {
                t.quoted = true;
                more = quotedRun(t.text, c);
                continue;
            }
            if (c == '^' && !ended()) {
                t.escaped = true;
                c = text_[at_++];
            }
            t.text += c;
            more = next(c);
        }
        while (!t.text.empty() && isBlank(t.text.back())) t.text.pop_back();
        return t;
    }

    // A name has been read, up to its ':' or '('.
    bool open(Token name) {
        if (!name.quoted && name.text.find('\n') != std::string::npos)
            find(name.offset, "a name of several lines: is a ')' missing before it?");
        if (!units_.empty() && !name.text.empty() && !units_.back().names.insert(name.text).second)
            find(name.offset, "a second unit " + inQuotes(name.text) + " beside another");
        units_.push_back({std::move(name.text), name.offset, false, {}});
        if (name.end == '(') return true;
        Token const type = token();
        if (type.end == '(') return true;
        if (type.end == 0)
            endedTooSoon("the input ends in a type, '(' is missing");
        else
            find(at_ - 1, "a type is followed by '(', not by '" + std::string(1, type.end) + "'");
        return false;
    }

    void endedTooSoon(std::string const& text) {
        // The quote or comment that goes on to the end is the cause, where there is one.
        if (!lint_.findings.empty() &&
            lint_.findings.back().text.find("not end") != std::string::npos)
            return;
        find(text_.size(), text);
    }

    // One token in the body of the innermost unit.
    bool body() {
        Token t = token();
        Unit& unit = units_.back();
        if (t.end == 0) {
            Place const place(text_, unit.offset);
            endedTooSoon("the input ends in the unit " + inQuotes(unit.name) + " of line " +
                         std::to_string(place.line) + ", ')' is missing");
            return false;
        }
        if (t.end != ')') {
            unit.hasChildren = true;
            return open(std::move(t));
        }
        if (unit.hasChildren && !t.text.empty())
            find(t.offset, inQuotes(t.text) + " has no value: '(' is missing");
        else if (unit.hasChildren && t.escaped)
            find(t.offset, "an escaped blank that stands for nothing");
        units_.pop_back();
        return true;
    }

    // Behind the document. Comments are welcome there, too.
    void rest() {
        char c = 0;
        while (nextNonBlank(c)) {
            if (c == '(' && !ended() && text_[at_] == '*') {
                ++at_;
                if (!comment()) return;
                continue;
            }
            return find(at_ - 1, "this is not read: the document ended before it");
        }
    }

    zan::istr text_;
    PmlLint& lint_;
    unsigned long at_ = 0;
    std::vector<Unit> units_;
};

}  // namespace

PmlLint::PmlLint(zan::istr const& text) {
    try {
        Scanner(text, *this).document();
    } catch (TooManyFindings const&) {
        // The last one says so.
    }
}

}  // namespace tool
