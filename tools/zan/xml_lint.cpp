#include "xml_lint.h"

#include <algorithm>
#include <set>
#include <string_view>

namespace tool {

namespace {

bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

bool endsName(char c) {
    return isBlank(c) || c == '>' || c == '/' || c == '=' || c == '<' || c == '"' || c == '\'';
}

std::string inMessage(std::string_view text) {
    return shown(zan::istr(text.data(), text.size()));
}

class Scanner {
public:
    Scanner(zan::istr const& text, XmlLint& lint) : text_(text.data(), text.size()), lint_(lint) {}

    void document() {
        unsigned long const nul = text_.find('\0');
        if (nul != std::string_view::npos) return find(nul, "a NUL is no character");
        if (text_.substr(0, 3) == "\xEF\xBB\xBF") at_ = 3;
        while (at_ < text_.size() && item()) continue;
        if (at_ < text_.size()) return;  // given up
        if (!open_.empty()) {
            Place const place(zan::istr(text_.data(), text_.size()), open_.back().offset);
            find(at_, "the input ends in <" + inMessage(open_.back().name) + "> of line " +
                          std::to_string(place.line));
        } else if (!root_) {
            find(at_, "no element here");
        }
    }

private:
    struct Element {
        std::string_view name;
        unsigned long offset;
        bool text;
        bool child;
    };

    void find(unsigned long offset, std::string text) {
        addFinding(lint_.findings, offset, std::move(text));
    }
    // Nothing behind can be understood.
    bool giveUp(unsigned long offset, std::string text) {
        find(offset, std::move(text));
        return false;
    }
    bool begins(std::string_view word) const { return text_.substr(at_, word.size()) == word; }
    void skipBlanks() {
        while (at_ < text_.size() && isBlank(text_[at_])) ++at_;
    }
    void lose() {
        if (lint_.lost++ == 0) lint_.firstLost = at_;
    }
    bool skipTo(std::string_view end, unsigned long skip, char const* what) {
        unsigned long const close = text_.find(end, at_ + skip);
        if (close == std::string_view::npos)
            return giveUp(at_,
                          std::string(what) + " does not end, " + std::string(end) + " is missing");
        at_ = close + end.size();
        return true;
    }

    bool item() {
        if (text_[at_] != '<') return characters();
        if (begins("<!--")) {
            lose();
            return skipTo("-->", 4, "this comment");
        }
        if (begins("<?")) {
            lose();
            return skipTo("?>", 2, "this instruction");
        }
        if (begins("<![CDATA[")) {
            if (open_.empty())
                find(at_, "text outside of the root element");
            else
                sawText(at_);
            return skipTo("]]>", 9, "this section");
        }
        if (begins("<!DOCTYPE")) {
            lose();
            return doctype();
        }
        if (begins("<!")) return giveUp(at_, "a declaration that is none");
        return begins("</") ? endTag() : startTag();
    }

    // Up to its '>', with quotes and an internal subset in brackets stepped over.
    bool doctype() {
        unsigned long const start = at_;
        bool inside = false;
        while (++at_ < text_.size()) {
            char const c = text_[at_];
            if (c == '"' || c == '\'') {
                at_ = text_.find(c, at_ + 1);
                if (at_ == std::string_view::npos) break;
            } else if (inside && begins("<!--")) {
                if (!skipTo("-->", 4, "this comment")) return false;
                --at_;
            } else if (c == '[') {
                inside = true;
            } else if (c == ']') {
                inside = false;
            } else if (c == '>' && !inside) {
                ++at_;
                return true;
            }
        }
        at_ = start;
        return giveUp(start, "this declaration does not end, > is missing");
    }

    void sawText(unsigned long offset) {
        Element& element = open_.back();
        if (element.child && lint_.mixed++ == 0) lint_.firstMixed = offset;
        element.text = true;
    }

    bool characters() {
        unsigned long const end = std::min(text_.find('<', at_), text_.size());
        unsigned long first = at_;
        while (first < end && isBlank(text_[first])) ++first;
        if (first != end) {
            if (open_.empty())
                find(first, "text outside of the root element");
            else
                sawText(first);
            references(first, end);
        }
        at_ = end;
        return true;
    }

    void references(unsigned long from, unsigned long end) {
        for (unsigned long i = text_.find('&', from); i < end; i = text_.find('&', i + 1)) {
            unsigned long const close = text_.find(';', i);
            if (close >= end || close - i > 12) {
                find(i, "& alone: &amp; is meant");
                continue;
            }
            std::string_view const name = text_.substr(i + 1, close - i - 1);
            if (name.empty() || name[0] != '#') {
                static std::set<std::string_view> const KNOWN = {"amp", "lt", "gt", "quot", "apos"};
                if (KNOWN.count(name) == 0)
                    find(i, "nobody knows the reference " +
                                inQuotes(zan::istr(name.data(), name.size())));
                continue;
            }
            bool const hex = name.size() > 1 && name[1] == 'x';
            std::string const digits(name.substr(hex ? 2 : 1));
            char* stop = nullptr;
            unsigned long const number = std::strtoul(digits.c_str(), &stop, hex ? 16 : 10);
            if (digits.empty() || *stop != 0 || digits[0] == '-' || digits[0] == '+' || number == 0)
                find(i, "a reference to no character");
            else if (number > 255)
                find(i, "a reference above 255: the reader keeps its low eight bits");
        }
    }

    bool endTag() {
        unsigned long const start = at_;
        unsigned long const close = text_.find('>', at_);
        if (close == std::string_view::npos)
            return giveUp(at_, "this tag does not end, > is missing");
        std::string_view name = text_.substr(at_ + 2, close - at_ - 2);
        while (!name.empty() && isBlank(name.back())) name.remove_suffix(1);
        at_ = close + 1;
        std::string const tag = "</" + inMessage(name) + ">";
        auto const match = std::find_if(open_.rbegin(), open_.rend(),
                                        [&](Element const& e) { return e.name == name; });
        if (match == open_.rend()) {
            find(start, tag + " ends no element");
            return true;
        }
        if (match != open_.rbegin()) {
            Place const place(zan::istr(text_.data(), text_.size()), open_.back().offset);
            find(start, tag + " stands where </" + inMessage(open_.back().name) + "> of line " +
                            std::to_string(place.line) + " is due");
        }
        open_.erase(match.base() - 1, open_.end());
        return true;
    }

    std::string_view name() {
        unsigned long const start = at_;
        while (at_ < text_.size() && !endsName(text_[at_])) ++at_;
        return text_.substr(start, at_ - start);
    }

    bool startTag() {
        unsigned long const start = at_++;
        std::string_view const tag = name();
        if (tag.empty()) return giveUp(start, "< alone: &lt; is meant");
        ++lint_.elements;
        if (open_.empty()) {
            if (root_) find(start, "a second root element");
            root_ = true;
        } else {
            Element& parent = open_.back();
            if (parent.text && lint_.mixed++ == 0) lint_.firstMixed = start;
            parent.child = true;
        }
        attributes_.clear();
        for (;;) {
            unsigned long const before = at_;
            skipBlanks();
            if (at_ == text_.size()) return giveUp(start, "this tag does not end, > is missing");
            if (text_[at_] == '>') {
                ++at_;
                open_.push_back({tag, start, false, false});
                return true;
            }
            if (begins("/>")) {
                at_ += 2;
                return true;
            }
            if (before == at_) find(at_, "a blank is missing");
            if (!attribute(start)) return false;
        }
    }

    bool attribute(unsigned long tag) {
        unsigned long const start = at_;
        std::string_view const key = name();
        if (key.empty()) return giveUp(start, "no attribute, and not the end of the tag");
        skipBlanks();
        if (at_ == text_.size() || text_[at_] != '=')
            return giveUp(start, "an attribute without =");
        ++at_;
        skipBlanks();
        if (at_ == text_.size()) return giveUp(tag, "this tag does not end, > is missing");
        char const quote = text_[at_];
        if (quote != '"' && quote != '\'') return giveUp(at_, "a value without quotes");
        unsigned long const close = text_.find(quote, at_ + 1);
        if (close == std::string_view::npos) return giveUp(at_, "this value does not end");
        unsigned long const less = text_.substr(at_, close - at_).find('<');
        if (less != std::string_view::npos)
            find(at_ + less, "< in a value: &lt; is meant, or a quote is missing");
        references(at_ + 1, close);
        at_ = close + 1;
        if (!attributes_.insert(key).second)
            find(start, "a second attribute " + inQuotes(zan::istr(key.data(), key.size())));
        return true;
    }

    std::string_view text_;
    XmlLint& lint_;
    unsigned long at_ = 0;
    bool root_ = false;
    std::vector<Element> open_;
    std::set<std::string_view> attributes_;
};

}  // namespace

XmlLint::XmlLint(zan::istr const& text) {
    try {
        Scanner(text, *this).document();
    } catch (TooManyFindings const&) {
        // The last one says so.
    }
}

}  // namespace tool
