#include "pml_tidy.h"

#include <algorithm>

namespace tool {

namespace {

constexpr unsigned long INDENT = 4;

bool isBlank(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

struct Comment {
    zan::istr raw;
    unsigned long column;  // of its start
    bool newline;          // one stands ahead of it
    bool empty;            // an empty line stands ahead of it
};
using Comments = std::vector<Comment>;

struct Token {
    Comments comments;  // ahead of it
    zan::istr raw;      // from its first character to its last that is no white space
    bool newline = false;
    bool empty = false;
    char end = 0;
};

// The tokens of a text in order, with what stands between them.
class Reader {
public:
    explicit Reader(zan::istr const& text) : text_(text) {}

    // Comments ahead of a type or in a value are parts of it.
    Token token(bool commentsAside) {
        Token t;
        gap(t, commentsAside);
        unsigned long const start = at_;
        unsigned long last = at_;
        while (at_ < text_.size()) {
            char const c = text_[at_];
            if (beginsComment()) {
                skipComment();
            } else if (c == ':' || c == '(' || c == ')') {
                t.end = c;
                break;
            } else if (c == '"' || c == '\'') {
                skipQuoted(c);
            } else {
                step();
                if (c == '^' && at_ < text_.size())
                    step();
                else if (isBlank(c))
                    continue;
            }
            last = at_;
        }
        t.raw = text_.substr(start, last - start);
        if (t.end != 0) ++at_;
        return t;
    }

private:
    bool beginsComment() const {
        return text_[at_] == '(' && at_ + 1 < text_.size() && text_[at_ + 1] == '*';
    }
    void gap(Token& t, bool commentsAside) {
        unsigned long feeds = 0;
        while (at_ < text_.size()) {
            char const c = text_[at_];
            if (c == '\n') {
                ++feeds;
                lineStart_ = at_ + 1;
            }
            if (isBlank(c)) {
                ++at_;
            } else if (commentsAside && beginsComment()) {
                unsigned long const start = at_;
                unsigned long const column = at_ - lineStart_;
                skipComment();
                t.comments.push_back(
                    {text_.substr(start, at_ - start), column, feeds != 0, feeds > 1});
                feeds = 0;
            } else {
                break;
            }
        }
        t.newline = feeds != 0;
        t.empty = feeds > 1;
    }
    void step() {
        if (text_[at_++] == '\n') lineStart_ = at_;
    }
    void skipComment() {
        unsigned long depth = 0;
        while (at_ < text_.size()) {
            if (beginsComment()) {
                ++depth;
                at_ += 2;
            } else if (text_[at_] == '*' && at_ + 1 < text_.size() && text_[at_ + 1] == ')') {
                at_ += 2;
                if (--depth == 0) return;
            } else {
                step();
            }
        }
    }
    void skipQuoted(char quote) {
        ++at_;
        while (at_ < text_.size() && text_[at_] != quote) {
            if (text_[at_] == '^' && at_ + 1 < text_.size()) step();
            step();
        }
        at_ = std::min(at_ + 1, text_.size());
    }

    zan::istr text_;
    unsigned long at_ = 0;
    unsigned long lineStart_ = 0;
};

// Units in the order of the text.
struct Unit {
    unsigned long parent;
    Comments leading;
    bool empty = false;  // an empty line stands ahead of it
    zan::String head;    // "name:type"
    zan::istr value;     // of a leaf
    unsigned long units = 0;
    Comments opening;     // behind "(", on its line
    Comments trailing;    // behind ")", on its line
    Comments closing;     // ahead of ")", behind the last unit
    bool single = false;  // stands on one line
};

class Tidier {
public:
    explicit Tidier(zan::istr const& text) : reader_(text) {}

    zan::String text() {
        read();
        for (unsigned long i = units_.size(); i-- != 0;) {
            Unit& unit = units_[i];
            unit.single = unit.units == 0 && unit.closing.empty() && unit.opening.empty();
            if (unit.units != 1 || !unit.opening.empty() || !unit.closing.empty()) continue;
            Unit const& child = units_[i + 1];
            unit.single = child.single && child.leading.empty() && child.trailing.empty();
        }
        write();
        return out();
    }

private:
    static constexpr unsigned long NONE = ~0UL;

    // --- Reading

    void read() {
        unsigned long open = begin(reader_.token(true), NONE);
        while (open != NONE) {
            Token t = reader_.token(true);
            Unit& unit = units_[open];
            if (t.end != ')') {
                Comments& aside = unit.units == 0 ? unit.opening : units_[last_].trailing;
                takeAside(t, aside);
                ++unit.units;
                open = begin(std::move(t), open);
                continue;
            }
            if (unit.units == 0) {
                // A text, with what is written beside it.
                char const* const start =
                    t.comments.empty() ? t.raw.begin() : t.comments.front().raw.begin();
                unit.value = zan::istr(start, t.raw.empty() && !t.comments.empty()
                                                  ? t.comments.back().raw.end()
                                                  : t.raw.end());
            } else {
                takeAside(t, units_[last_].trailing);
                unit.closing = std::move(t.comments);
            }
            last_ = open;
            open = unit.parent;
        }
        Token rest = reader_.token(true);
        rest.newline = true;
        takeAside(rest, units_[0].trailing);
        rest_ = std::move(rest.comments);
    }

    unsigned long begin(Token name, unsigned long parent) {
        Unit unit;
        unit.parent = parent;
        unit.leading = std::move(name.comments);
        unit.empty = name.empty;
        unit.head = name.raw;
        if (name.end == ':') {
            Token const type = reader_.token(false);
            unit.head << ":" << type.raw;
        }
        units_.push_back(std::move(unit));
        return units_.size() - 1;
    }

    // The comments that stand on the line of what is before them, unless the token does, too.
    static void takeAside(Token& t, Comments& aside) {
        unsigned long n = 0;
        while (n != t.comments.size() && !t.comments[n].newline) ++n;
        bool const alone = n == t.comments.size() ? t.newline || t.raw.empty() : true;
        if (!alone) return;
        auto const end = t.comments.begin() + static_cast<long>(n);
        aside.insert(aside.end(), t.comments.begin(), end);
        t.comments.erase(t.comments.begin(), end);
    }

    // --- Writing

    struct Line {
        unsigned long indent;
        zan::String text;
        zan::String comment;  // behind it
    };

    void write() {
        struct Level {
            unsigned long unit;
            unsigned long left;  // units that are still to come
        };
        std::vector<Level> open;
        for (unsigned long i = 0; i != units_.size();) {
            Unit const& unit = units_[i];
            unsigned long const depth = open.size();
            if (!open.empty()) --open.back().left;
            comments(unit.leading, depth, i == 0 || first(unit, i));
            if (unit.empty && (i != 0 || !unit.leading.empty()) &&
                (!first(unit, i) || !unit.leading.empty()))
                emptyLine();
            if (unit.single) {
                zan::String text;
                unsigned long const chain = i;
                for (;; ++i) {
                    text << units_[i].head << "(";
                    if (units_[i].units == 0) break;
                }
                text << units_[i].value;
                text.append(i - chain + 1, ')');
                ++i;
                line(depth, text, unit.trailing);
            } else {
                line(depth, zan::String(unit.head) << "(", unit.opening);
                open.push_back({i++, unit.units});
            }
            while (!open.empty() && open.back().left == 0) {
                Unit const& done = units_[open.back().unit];
                comments(done.closing, open.size(), false);
                open.pop_back();
                line(open.size(), ")", done.trailing);
            }
        }
        comments(rest_, 0, false);
    }
    bool first(Unit const& unit, unsigned long i) const { return unit.parent + 1 == i; }

    void emptyLine() {
        if (!lines_.empty() && !lines_.back().text.empty()) lines_.push_back({0, "", ""});
    }
    void line(unsigned long depth, zan::String const& text, Comments const& aside) {
        lines_.push_back({depth * INDENT, text, ""});
        for (Comment const& c : aside) {
            if (!lines_.back().comment.empty()) lines_.back().comment << " ";
            lines_.back().comment << c.raw;
        }
    }
    // Each begins a line; the further lines of one move with its first.
    void comments(Comments const& all, unsigned long depth, bool atStart) {
        for (Comment const& c : all) {
            if (c.empty && !(atStart && &c == &all.front())) emptyLine();
            zan::istr rest = c.raw;
            auto feed = std::find(rest.begin(), rest.end(), '\n');
            zan::String text(zan::istr(rest.begin(), feed));
            while (feed != rest.end()) {
                rest = zan::istr(feed + 1, rest.end());
                unsigned long blanks = 0;
                while (blanks != c.column && blanks != rest.size() && rest[blanks] == ' ') ++blanks;
                rest = rest.removeLeft(blanks);
                feed = std::find(rest.begin(), rest.end(), '\n');
                text << "\n";
                if (feed != rest.begin()) text.append(depth * INDENT, ' ');
                text << zan::istr(rest.begin(), feed);
            }
            lines_.push_back({depth * INDENT, text, ""});
        }
    }

    static unsigned long width(zan::istr const& text) {
        return static_cast<unsigned long>(
            std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xC0) != 0x80; }));
    }

    // Comments behind lines that follow each other begin in one column.
    zan::String out() const {
        zan::String all;
        for (unsigned long i = 0; i != lines_.size();) {
            unsigned long end = i;
            unsigned long column = 0;
            while (end != lines_.size() && !lines_[end].comment.empty() &&
                   lines_[end].indent == lines_[i].indent) {
                column = std::max(column, lines_[end].indent + width(lines_[end].text));
                ++end;
            }
            if (end == i) ++end;
            for (; i != end; ++i) {
                Line const& l = lines_[i];
                if (!l.text.empty()) all.append(l.indent, ' ');
                all << l.text;
                if (!l.comment.empty()) {
                    all.append(column - l.indent - width(l.text) + 2, ' ');
                    all << l.comment;
                }
                all << "\n";
            }
        }
        return all;
    }

    Reader reader_;
    std::vector<Unit> units_;
    unsigned long last_ = NONE;  // the unit that was closed last
    Comments rest_;
    std::vector<Line> lines_;
};

}  // namespace

zan::String tidyPml(zan::istr const& text) {
    return Tidier(text).text();
}

}  // namespace tool
