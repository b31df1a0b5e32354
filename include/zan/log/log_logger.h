#pragma once

#include <atomic>
#include <charconv>
#include <ostream>
#include <string>
#include <type_traits>

#include "zan/base/base_type_string.h"
#include "zan/base/report.h"
#include "zan/log/log_dumper.h"

namespace zan {

namespace pml {
class stream;
}

// Receives every line that a logger writes to a record's file, in the thread that logs. The logger
// neither owns nor deletes it: take it away (null) and let no log call be under way before it dies.
class ZAN_EXPORT LogObserver {
public:
    virtual ~LogObserver();
    virtual void onLog(istr const& line) = 0;
};

// A named destination of lines. A line is composed in the calling thread, shown on the console at
// once, and put into a cache; a flush thread moves the cache to the log file. Filters are flags
// that the macros below test before they compose a line: the logger itself writes whatever it is
// handed.
//
// Get one from logger_factory::instance(name). Lines are taken before start() too. With no file
// name they reach the console and the observer, and the cache keeps the newest: 64 KiB and
// maxNumofMsg lines at the least; the file, once it has a name, begins with how many were dropped.
// The same bound holds while a named file cannot be opened by the flush thread at its birth.
//
// Files: appended to, moved to "NAME.bak" (one generation) before a line that would take them past
//   10 MiB. Debug lines go to a twin, "NAME.debug.log" for "NAME.log", else "NAME.debug". A file
//   that cannot be opened loses the batch in hand; the next one tries again. Write errors are
//   ignored.
// Threads: all operations may be called by any thread.
// Cost: a line that its flag filters out costs a load and a test; a line that is written, its
//   composition, the console hand-over and a copy into the cache under a short lock. All disk work
//   stays in the flush thread. A cached line takes its text plus a few bytes.
class ZAN_EXPORT logger : public Interface {
public:
    ~logger() override;

    // Stops, drains and closes both files.
    virtual void close() = 0;
    // Drains, then brings up the flush thread; returns when it has opened the files.
    virtual void start() = 0;
    // Stops the flush thread, which drains what is left. Always true.
    virtual bool stop() = 0;
    // Sets the log file's name (UTF-8); null does nothing.
    virtual void open(char const* filename) = 0;
    // Stored and reported only: the file is written whenever it has a name.
    virtual bool useLogfile() = 0;
    virtual void setUseLogfile(bool on) = 0;
    // Sets the name, derives the debug twin's, and announces the file with a few lines.
    virtual void changeLogfile(char const* filename) = 0;
    // Read the unit `log` of the configuration; keys that are missing change nothing.
    virtual void load(istr const& configFile) = 0;
    virtual void load() = 0;
    // The line to the debug file (where that is in use, else the main one) and the console.
    virtual void debugLog(istr const& line) = 0;
    // The line to the main file and the console. It holds its own line end.
    virtual void log(istr const& line) = 0;
    virtual void writeLogfile(char const* text, unsigned long size) = 0;
    virtual void writeLogfile(istr const& line) = 0;
    // Only while debugOn() holds.
    virtual void writeDebugLogfile(char const* text, unsigned long size) = 0;
    virtual void writeDebugLogfile(istr const& line) = 0;
    // Wakes the flush thread and returns; without one, drains in the calling thread.
    virtual void flush() = 0;
    // Thresholds that wake the flush thread; nothing is dropped at them.
    virtual void setMaxCacheSize(unsigned long bytes) = 0;
    virtual void setMaxNumofMsg(unsigned long lines) = 0;
    // Stored and reported only: the flush thread drains at least each 3 seconds.
    virtual void setWaitSeconds(unsigned long seconds) = 0;
    virtual void setObserver(LogObserver* observer) = 0;
    virtual void setDebugObserver(LogObserver* observer) = 0;

    virtual bool infoOn() = 0;
    virtual void setInfoOn(bool on) = 0;
    // The master switch of the flags that follow, up to hbLogOn, and of msgLogOn.
    virtual bool debugOn() = 0;
    virtual void setDebugOn(bool on) = 0;
    virtual bool traceOn() = 0;
    virtual void setTraceOn(bool on) = 0;
    virtual bool dataLogOn() = 0;
    virtual bool debugLogOn() = 0;
    virtual bool traceLogOn() = 0;
    virtual bool diagLogOn() = 0;
    virtual bool cmdLogOn() = 0;
    virtual bool commLogOn() = 0;
    virtual bool hbLogOn() = 0;
    virtual bool appLogOn() = 0;
    virtual void setAppLogOn(bool on) = 0;
    // Named application categories. An unknown name is neither on nor off.
    virtual bool appLogOn(String const& name) = 0;
    virtual void setAppLog(String const& name, bool on) = 0;
    virtual bool appLogOff(String const& name) = 0;
    // Named message categories. An unknown name follows the entry "default" where there is one.
    virtual bool msgLogOn() = 0;
    virtual void setMsgLogOn(bool on) = 0;
    virtual bool msgLogOn(String const& name) = 0;
    virtual void setMsgLog(String const& name, bool on) = 0;
    virtual bool msgLogOff(String const& name) = 0;

    // File names are UTF-8.
    virtual String filename() = 0;
    virtual void setFilename(istr const& name) = 0;
    virtual bool useDebugLogfile() = 0;
    virtual void setUseDebugLogfile(bool on) = 0;
    virtual String filenameDebug() = 0;
    virtual void setFilenameDebug(istr const& name) = 0;
    // The longest text, in bytes, that a dumper shows in full.
    virtual unsigned long maxStringSize() = 0;
    virtual bool consoleOn() = 0;
    virtual void setConsoleOn(bool on) = 0;
    virtual bool mlcOn() = 0;
    virtual void setMlcOn(bool on) = 0;
    virtual std::string id() = 0;
    virtual void codec(pml::stream& s) = 0;
    virtual dumper& dump(dumper& d) = 0;
    virtual std::ostream& dump(std::ostream& os) = 0;

    // A quick answer that spares the macros a call: false means that the level is off, true that
    // the virtual test decides.
    enum Level : unsigned {
        INFO = 1u << 0,
        DEBUG = 1u << 1,
        TRACE = 1u << 2,
        TRACE_LOG = 1u << 3,
        APP = 1u << 4,
    };
    bool mayBeOn(Level level) const {
        return (levels_.load(std::memory_order_relaxed) & level) != 0;
    }

    // The name without a copy, where the implementation has told it; else null.
    istr knownId() const { return knownId_; }

protected:
    logger() = default;
    // `id` must outlive this object.
    void setKnownId(istr const& id) { knownId_ = id; }
    void setLevels(unsigned levels) { levels_.store(levels, std::memory_order_relaxed); }

private:
    std::atomic<unsigned> levels_{~0u};
    istr knownId_;
};

// Streaming it into a dumper dumps all loggers.
struct LOGGER_FACTORY {};
ZAN_EXPORT dumper& operator<<(dumper& d, LOGGER_FACTORY);

// --- Entry functions, called by the macros below once the matching flag has been tested. Each ends
// its line itself.

// DATE<pid.tid>[id][tag]{thread}func() text
ZAN_EXPORT void writeInfoLog(logger& log, char const* file, unsigned int line, char const* func,
                             char const* text, char const* tag);
// DATE<pid.tid>[id][tag]{thread}[func] text; a null tag gives empty brackets.
ZAN_EXPORT void writeDebugLog(logger& log, char const* file, unsigned int line, char const* func,
                              char const* text, char const* tag);
// The text alone.
ZAN_EXPORT void writeDataLog(logger& log, char const* file, unsigned int line, char const* func,
                             char const* text);
// A framed report with the place and the call stack, under the title; forces a flush.
ZAN_EXPORT void writeErrorLog(logger& log, char const* file, unsigned int line, char const* func,
                              char const* cause, char const* title);
// One row of 118 columns: `left`, a blank and `middle` at its left end, `right` at its right end,
// `fill` in between; a row that does not fit stands unpadded.
ZAN_EXPORT void writeEntryLog(logger& log, char const* left, char const* middle, char const* right,
                              char fill);
// A framed report: every part but `text` may be null or empty. Forces a flush.
ZAN_EXPORT void writeLog(logger& log, char const* header, char const* title, char const* text,
                         char const* footer, char const* closing);

namespace detail {

// The library's own logger. Cheaper than a look-up in the factory.
ZAN_EXPORT extern std::atomic<logger*> libraryLogger;
ZAN_EXPORT logger& makeLibraryLogger();
inline logger& zanLogger() {
    logger* const log = libraryLogger.load(std::memory_order_acquire);
    return log != nullptr ? *log : makeLibraryLogger();
}

// An application category of the library's own logger, with its last answer kept until a logger's
// settings change.
class ZAN_EXPORT LogCategory {
public:
    explicit constexpr LogCategory(char const* name) : name_(name) {}
    bool on() const {
        unsigned long const cached = cached_.load(std::memory_order_relaxed);
        if (cached >> 1 == generation.load(std::memory_order_acquire)) return (cached & 1) != 0;
        return ask();
    }
    char const* name() const { return name_; }

    static std::atomic<unsigned long> generation;

private:
    bool ask() const;

    char const* name_;
    mutable std::atomic<unsigned long> cached_{0};
};

class LineSlot;

// Composes the text of one line in a buffer of the calling thread's own pool, since building a
// std::ostringstream costs more than the line. Text and whole numbers go straight into the buffer
// as long as no format is set; everything else prints as on any std::ostream.
class ZAN_EXPORT LineStream {
public:
    LineStream();
    ~LineStream();
    LineStream(LineStream const&) = delete;
    LineStream& operator=(LineStream const&) = delete;

    template <class T>
    LineStream& operator<<(T const& value) {
        if constexpr (std::is_convertible_v<T const&, istr>) {
            if (plain_) {
                append(value);
                return *this;
            }
        } else if constexpr (std::is_same_v<T, char>) {
            if (plain_) {
                append(istr(&value, 1));
                return *this;
            }
        } else if constexpr (std::is_integral_v<T> && (sizeof(T) > 1) &&
                             !std::is_same_v<T, wchar_t> && !std::is_same_v<T, char16_t> &&
                             !std::is_same_v<T, char32_t>) {
            if (plain_ && end_ - next_ >= MAX_DIGITS) {
                next_ = std::to_chars(next_, end_, value).ptr;
                return *this;
            }
        }
        beginStream() << value;
        endStream();
        return *this;
    }
    LineStream& operator<<(std::ostream& (*manipulator)(std::ostream&)) {
        manipulator(beginStream());
        endStream();
        return *this;
    }
    LineStream& operator<<(std::ios_base& (*manipulator)(std::ios_base&)) {
        manipulator(beginStream());
        endStream();
        return *this;
    }

    // Terminated; valid until the next write.
    char const* c_str();
    istr view();

private:
    friend struct LineWriter;
    static constexpr long MAX_DIGITS = 24;

    void append(istr const& text) {
        if (text.size() > static_cast<unsigned long>(end_ - next_)) return appendSlowly(text);
        if (!text.empty()) std::memcpy(next_, text.data(), text.size());
        next_ += text.size();
    }
    void appendSlowly(istr const& text);
    std::ostream& beginStream();
    void endStream();

    LineSlot& slot_;
    // The place for the next character, and the end of the room; the stream learns of them when it
    // is needed.
    char* next_;
    char* end_;
    bool plain_ = true;  // no width, base or sign is set
};

// The information and debug lines of the macros: the prefix is put ahead of the text where it
// stands. Otherwise as writeInfoLog and writeDebugLog.
ZAN_EXPORT void writeInfoLine(logger& log, char const* func, char const* tag, LineStream& text);
ZAN_EXPORT void writeDebugLine(logger& log, char const* func, char const* tag, LineStream& text);

}  // namespace detail
}  // namespace zan

// Log macros. `log` is a logger&; `msg` is a chain of << operands, evaluated only when the line is
// written.
//
//     ZAN_INFO(log, "listening on port " << port);

#define ZAN_DETAIL_LINE(function, log, msg, tag)               \
    do {                                                       \
        ::zan::detail::LineStream zanLine_;                    \
        zanLine_ << msg;                                       \
        ::zan::detail::function(log, ZAN_FUNC, tag, zanLine_); \
    } while (false)
#define ZAN_DETAIL_REPORT(log, msg, title)                            \
    do {                                                              \
        ::zan::detail::LineStream zanLine_;                           \
        zanLine_ << msg;                                              \
        ::zan::writeErrorLog(log, ZAN_HERE, zanLine_.c_str(), title); \
    } while (false)

#define ZAN_INFO(log, msg)                                            \
    do {                                                              \
        ::zan::logger& zanLog_ = (log);                               \
        if (zanLog_.mayBeOn(::zan::logger::INFO) && zanLog_.infoOn()) \
            ZAN_DETAIL_LINE(writeInfoLine, zanLog_, msg, "INFO");     \
    } while (false)

// Written whatever the flags say.
#define ZAN_NOTICE(log, msg) ZAN_DETAIL_LINE(writeInfoLine, log, msg, "NOTICE")

#if defined(_ZAN_DEBUG_ON)
#define ZAN_TRACE(log, msg)                                                   \
    do {                                                                      \
        ::zan::logger& zanLog_ = (log);                                       \
        if (zanLog_.mayBeOn(::zan::logger::TRACE_LOG) && zanLog_.debugOn() && \
            zanLog_.traceLogOn())                                             \
            ZAN_DETAIL_LINE(writeDebugLine, zanLog_, msg, "TRACE");           \
    } while (false)
// A debug line under a tag of the application's.
#define ZAN_DEBUG(log, tag, msg)                                        \
    do {                                                                \
        ::zan::logger& zanLog_ = (log);                                 \
        if (zanLog_.mayBeOn(::zan::logger::DEBUG) && zanLog_.debugOn()) \
            ZAN_DETAIL_LINE(writeDebugLine, zanLog_, msg, tag);         \
    } while (false)
#else
#define ZAN_TRACE(log, msg) static_cast<void>(0)
#define ZAN_DEBUG(log, tag, msg) static_cast<void>(0)
#endif

// An information line of a named application category.
#define ZAN_APP_INFO(log, tag, msg)                                                      \
    do {                                                                                 \
        ::zan::logger& zanLog_ = (log);                                                  \
        if (zanLog_.mayBeOn(::zan::logger::APP) && zanLog_.appLogOn(::zan::String(tag))) \
            ZAN_DETAIL_LINE(writeInfoLine, zanLog_, msg, tag);                           \
    } while (false)

// Framed reports, written whatever the flags say.
#define ZAN_ERROR(log, msg) ZAN_DETAIL_REPORT(log, msg, "<ERROR>")
#define ZAN_WARNING(log, msg) ZAN_DETAIL_REPORT(log, msg, "<WARNING>")
