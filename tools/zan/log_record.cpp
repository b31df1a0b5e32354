#include "log_record.h"

#include <algorithm>
#include <cstring>

namespace tool {

namespace {

constexpr unsigned long LONGEST = 1 << 20;

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

// Steps over blanks and digits; false where there is no digit.
bool number(char const*& p, char const* end, std::string& out) {
    while (p != end && *p == ' ') ++p;
    char const* const start = p;
    while (p != end && isDigit(*p)) ++p;
    out.assign(start, p);
    return p != start;
}

bool enclosed(char const*& p, char const* end, char open, char close, std::string& out) {
    if (p == end || *p != open) return false;
    char const* const found = std::find(p + 1, end, close);
    if (found == end) return false;
    out.assign(p + 1, found);
    p = found + 1;
    return true;
}

bool endsWith(std::string const& text, char const* tail) {
    unsigned long const n = std::strlen(tail);
    return text.size() >= n && text.compare(text.size() - n, n, tail) == 0;
}

}  // namespace

bool LogHead::parse(zan::istr const& line) {
    constexpr char FORM[] = "dddd-dd-dd dd:dd:dd.ddd";
    constexpr unsigned long TIME = sizeof(FORM) - 1;
    if (line.size() <= TIME) return false;
    for (unsigned long i = 0; i != TIME; ++i)
        if (FORM[i] == 'd' ? !isDigit(line[i]) : line[i] != FORM[i]) return false;
    char const* p = line.data() + TIME;
    char const* const end = line.end();
    if (*p != '<' && *p != '{') return false;
    char const close = *p++ == '<' ? '>' : '}';
    if (!number(p, end, process) || p == end || *p++ != '.' || !number(p, end, thread))
        return false;
    if (p == end || *p++ != close || !enclosed(p, end, '[', ']', logger)) return false;
    time.assign(line.data(), TIME);
    prefix = static_cast<unsigned long>(p - line.data());
    level = INFO;
    framed = false;
    threadName.clear();
    bool const tagged = enclosed(p, end, '[', ']', tag);
    if (!tagged) tag.clear();
    enclosed(p, end, '{', '}', threadName);
    zan::istr const rest(p, end);
    if (!tagged) {
        if (rest.beginWith(" TRACE ") || rest.beginWith(" TRACE~")) {
            tag = "TRACE";
            level = TRACE;
        }
        return true;
    }
    framed = rest.beginWith(" ----") && rest.endWith("-");
    if (tag.size() > 2 && tag.front() == '<' && tag.back() == '>')
        tag = tag.substr(1, tag.size() - 2);
    if (tag == "WARNING" || tag == "THROWING" || endsWith(tag, ".WARNING"))
        level = WARNING;
    else if (framed || tag == "ERROR" || endsWith(tag, ".ERROR"))
        level = ERROR;
    else if (tag == "TRACE" || endsWith(tag, ".TRACE"))
        level = TRACE;
    else if (rest.beginWith("[") || endsWith(tag, ".DEBUG"))
        level = DEBUG;
    else if (tag == "NOTICE")
        level = NOTICE;
    return true;
}

void LogAssembler::add(zan::istr bytes) {
    while (!bytes.empty()) {
        auto const* const feed =
            static_cast<char const*>(std::memchr(bytes.data(), '\n', bytes.size()));
        if (feed == nullptr) {
            partial_.append(bytes.data(), bytes.size());
            if (partial_.size() > LONGEST) {
                line(partial_);
                partial_.clear();
                emit();
                record_.continued = true;
            }
            return;
        }
        zan::istr const whole(bytes.data(), feed + 1);
        if (partial_.empty()) {
            line(whole);
        } else {
            partial_.append(whole.data(), whole.size());
            line(partial_);
            partial_.clear();
        }
        bytes = bytes.removeLeft(whole);
    }
}

// With its line feed.
void LogAssembler::line(zan::istr const& text) {
    if (text.size() == 1) {
        if (blank_) record_.text += "\n";
        blank_ = true;
        return;
    }
    zan::istr const bare = text.endWith("\n") ? text.removeRight(1) : text;
    LogHead head;
    if (!head.parse(bare)) {
        if (blank_) record_.text += "\n";
        record_.text += text;
        blank_ = false;
        if (record_.text.size() > LONGEST) {
            emit();
            record_.continued = true;
        }
        return;
    }
    bool const nothingBefore = record_.headless && record_.text.empty();
    if (blank_ && !head.framed && !nothingBefore) {
        record_.text += "\n";
        blank_ = false;
    }
    emit();
    record_.head = std::move(head);
    record_.headless = false;
    record_.continued = false;
    if (blank_) record_.text += "\n";
    blank_ = false;
    record_.text += text;
}

void LogAssembler::emit() {
    if (record_.text.empty()) return;
    sink_(record_);
    record_.text.clear();
}

void LogAssembler::finish() {
    if (blank_) record_.text += "\n";
    blank_ = false;
    emit();
    record_.continued = !record_.headless;
}

void LogAssembler::end() {
    if (!partial_.empty()) {
        partial_ += '\n';
        line(partial_);
        partial_.clear();
    }
    finish();
}

}  // namespace tool
