#include "log_capture.h"

#include <regex>

namespace zan_test {

LogCapture::LogCapture(std::string const& name)
    : log_(zan::logger_factory::instance(name)), consoleOn_(log_.consoleOn()) {
    log_.setConsoleOn(false);
    log_.setObserver(this);
}

LogCapture::~LogCapture() {
    log_.setObserver(nullptr);
    log_.setConsoleOn(consoleOn_);
}

void LogCapture::onLog(zan::istr const& line) {
    zan::MutexLock const guard(mutex_);
    text_ += static_cast<std::string>(line);
}

std::string LogCapture::text() const {
    zan::MutexLock const guard(mutex_);
    return text_;
}

void LogCapture::clear() {
    zan::MutexLock const guard(mutex_);
    text_.clear();
}

unsigned long LogCapture::count(std::string const& what) const {
    return occurrences(text(), what);
}

std::string normalized(std::string const& text) {
    static std::regex const date(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3})");
    static std::regex const plain(R"(< *\d+\. *\d+>)");
    static std::regex const simple(R"(\{ *\d+\. *\d+\})");
    static std::regex const place(R"(\((\w+\.\w+):\d+\))");
    std::string out = std::regex_replace(text, date, "DATE");
    out = std::regex_replace(out, plain, "<T>");
    out = std::regex_replace(out, simple, "{T}");
    return std::regex_replace(out, place, "($1:N)");
}

unsigned long occurrences(std::string const& text, std::string const& what) {
    unsigned long n = 0;
    for (auto at = text.find(what); at != std::string::npos; at = text.find(what, at + what.size()))
        ++n;
    return n;
}

}  // namespace zan_test
