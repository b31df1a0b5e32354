#include "zan/base/call_stack.h"

#include <cstring>
#include <ostream>
#include <sstream>

#include "zan/log/log_row.h"

namespace zan {

namespace {

int compareText(char const* a, char const* b) {
    if (a == b) return 0;
    if (a == nullptr) return -1;
    if (b == nullptr) return 1;
    return std::strcmp(a, b);
}

istr baseName(char const* path) {
    istr const whole(path);
    unsigned long i = whole.size();
    while (i != 0 && whole[i - 1] != '/' && whole[i - 1] != '\\') --i;
    return whole.removeLeft(i);
}

}  // namespace

Current::Current(Current const& other)
    : file_(other.file_),
      func_(other.func_),
      prefix_(other.prefix_ ? std::make_unique<std::string>(*other.prefix_) : nullptr),
      line_(other.line_) {}

Current& Current::operator=(Current const& other) {
    Current copy(other);
    return *this = std::move(copy);
}

Current const& Current::prefix(char const* text) const {
    if (prefix_)
        *prefix_ = SafeStr(text);
    else
        prefix_ = std::make_unique<std::string>(SafeStr(text));
    return *this;
}

bool operator<(Current const& a, Current const& b) {
    if (int const r = compareText(a.file(), b.file())) return r < 0;
    if (a.line() != b.line()) return a.line() < b.line();
    return compareText(a.func(), b.func()) < 0;
}

std::ostream& operator<<(std::ostream& os, Current const& place) {
    std::string text(place.func() != nullptr ? place.func() : "");
    if (place.file() != nullptr) {
        text += '(';
        text += baseName(place.file());
        text += ':' + std::to_string(place.line()) + ')';
    }
    istr const prefix = place.prefix();
    if (prefix.empty()) return os << text;

    // The prefix begins with a line feed, which takes no column.
    unsigned long const width =
        prefix.size() <= LogRow::WIDTH ? LogRow::WIDTH - prefix.size() + 1 : 1;
    os.write(prefix.data(), static_cast<std::streamsize>(prefix.size()));
    if (text.size() <= width) return os << text;
    os.write(text.data(), static_cast<std::streamsize>(width));
    LogRow row(' ');
    row.right(istr(text).removeLeft(width));
    os << '\n';
    return os.write(row.text().data(), static_cast<std::streamsize>(row.text().size()));
}

std::ostream& operator<<(std::ostream& os, CallStack const& calls) {
    auto const& frames = calls.container().container();
    std::string const separator(calls.separator());
    bool first = true;
    for (auto it = frames.rbegin(); it != frames.rend(); ++it) {
        if (!first) it->prefix(separator.c_str());
        os << *it;
        first = false;
    }
    return os;
}

}  // namespace zan
