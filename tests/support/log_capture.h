#pragma once

#include <string>

#include "zan/log/log_factory.h"
#include "zan/mt/mutex.h"

namespace zan_test {

// Collects what a logger writes to its main record while this object lives, with the console off.
class LogCapture : public zan::LogObserver {
public:
    explicit LogCapture(std::string const& name = zan::LOGGER_ID);
    ~LogCapture() override;
    LogCapture(LogCapture const&) = delete;
    LogCapture& operator=(LogCapture const&) = delete;

    void onLog(zan::istr const& line) override;

    std::string text() const;
    void clear();
    // How often `what` occurs.
    unsigned long count(std::string const& what) const;
    bool has(std::string const& what) const { return count(what) != 0; }

private:
    zan::logger& log_;
    bool consoleOn_;
    zan::Mutex mutex_;
    std::string text_;
};

// The text with each date and time replaced by "DATE", and each thread identity by "<T>" or "{T}",
// and each line number in a source place by "N".
std::string normalized(std::string const& text);

// How often `what` occurs in `text`.
unsigned long occurrences(std::string const& text, std::string const& what);

}  // namespace zan_test
