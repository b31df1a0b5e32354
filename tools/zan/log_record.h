#pragma once

#include "tool.h"

namespace tool {

// What a line of a log says of itself; see docs/formats/log_line.md.
struct LogHead {
    enum Level { TRACE, DEBUG, INFO, NOTICE, WARNING, ERROR };

    // False where the line does not begin with the three fields of the prefix.
    bool parse(zan::istr const& line);

    std::string time;  // "2014-06-16 14:13:07.125"
    std::string process, thread;
    std::string threadName;  // of a managed thread, where the line has it
    std::string logger;
    std::string tag;  // without brackets: "INFO", "TCP.ERROR", "THROWING"; empty on a plain line
    Level level = INFO;
    bool framed = false;       // the first row of a report
    unsigned long prefix = 0;  // the length of the three fields
};

// One entry of a log: a line, or a report of many, and the lines without a prefix behind it.
struct LogRecord {
    LogHead head;
    bool headless = true;    // nothing with a prefix has come yet
    bool continued = false;  // more of the record before
    zan::String text;
};

// Puts lines together. A record is complete when the next one begins; where nothing waits to be
// read, finish() gives out what there is, and lines that come later are `continued`.
//
// Memory: a record of more than 1 MiB is given out in pieces.
class LogAssembler {
public:
    using Sink = std::function<void(LogRecord const&)>;
    explicit LogAssembler(Sink sink) : sink_(std::move(sink)) {}

    // Cut anywhere.
    void add(zan::istr bytes);
    // Gives out whole lines.
    void finish();
    // The input is at its end: a last line without a line feed gets one.
    void end();

private:
    void line(zan::istr const& text);
    void emit();

    Sink sink_;
    std::string partial_;  // a line of which the end is still to come
    bool blank_ = false;   // an empty line, which belongs to a report if one follows
    LogRecord record_;
};

}  // namespace tool
