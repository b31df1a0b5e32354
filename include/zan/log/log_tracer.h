#pragma once

#include <iosfwd>
#include <string>

#include "zan/base/call_stack.h"
#include "zan/log/log_dumper.h"
#include "zan/log/log_logger.h"
#include "zan/mt/mutex.h"

namespace zan {

// The way to the call stacks: each thread has its own, made of the source places that it has
// entered. Exceptions copy it and error reports print it, whether or not anything is logged.
//
// Threads: every operation is about the calling thread's stack. A stack goes with its thread.
class ZAN_EXPORT tracer : noncopyable {
public:
    static tracer*& instance();
    // Empties the calling thread's stack. Those of threads that still run stay with them.
    static void destroy();

    CallStack& callStack() { return detail::currentCallStack(); }
    CallStack const& callStack() const { return detail::currentCallStack(); }
    CallStack::Frames& container() { return callStack().container(); }
    CallStack::Frames const& container() const { return callStack().container(); }
    void push(char const* file, unsigned int line, char const* func) {
        container().push(Current(file, line, func));
    }
    // REQUIRES: a push without its pop.
    void pop() { container().pop(); }
    tracer const& separator(char const* text) const {
        callStack().separator(text);
        return *this;
    }
    istr separator() const { return callStack().separator(); }
    // Frees the calling thread's stack; the next use makes a new one.
    void destroy_current_stack();

    std::ostream& dump(std::ostream& os) const;
    dumper& dump(dumper& d) const;

private:
    tracer() = default;
    ~tracer() = default;
};

// Prints the calling thread's stack.
ZAN_EXPORT void printTraceStack(std::ostream& os);

// What a TraceEntry logs; a bit set.
enum LogType : unsigned { LOG_NONE = 0, LOG_ENTRY = 1, LOG_LEAVE = 2, LOG_BOTH = 3 };

namespace detail {
// The calling thread's stack, null before its first use. Here so that a frame costs no call.
ZAN_EXPORT extern __thread CallStack* threadCallStack __attribute__((tls_model("initial-exec")));
inline CallStack& fastCallStack() {
    CallStack* const calls = threadCallStack;
    return __builtin_expect(calls != nullptr, 1) ? *calls : currentCallStack();
}
}  // namespace detail

// A frame of the call stack, for the lifetime of this object; can write a line on entering and on
// leaving, indented by depth. The usual form is one of the macros below.
//
// Ownership: keeps the logger by reference. Threads: lives and dies in one thread.
// Cost: some nanoseconds, whatever the log settings and the number of threads.
class ZAN_EXPORT TraceEntry : noncopyable {
public:
    // A null `info` counts as empty.
    TraceEntry(logger& log, char const* file, unsigned int line, char const* func,
               LogType type = LOG_NONE, char const* info = nullptr)
        : log_(log), type_(type) {
        if (info != nullptr && *info != 0) info_ = info;
        if ((type & LOG_ENTRY) != 0) logEntering(func);
        detail::fastCallStack().container().push(Current(file, line, func));
    }
    ~TraceEntry() {
        CallStack::Frames& frames = detail::fastCallStack().container();
        // An unbalanced stack must not underflow.
        if (frames.empty()) return;
        if ((type_ & LOG_LEAVE) != 0) logLeaving();
        frames.pop();
    }

    LogType& logType() { return type_; }
    LogType logType() const { return type_; }
    void addType(LogType type) { type_ = static_cast<LogType>(type_ | type); }
    std::string& info() { return info_; }
    std::string const& info() const { return info_; }

    // Appends 4 * `depth` times `c`.
    static void indentString(std::string& s, unsigned long depth, char c);

private:
    void logEntering(char const* func);
    void logLeaving();
    void writeLog(bool entering, char const* func, char fill, unsigned long depth);

    logger& log_;
    LogType type_;
    std::string info_;
};

namespace detail {
// A frame that never writes a line: a TraceEntry of LOG_NONE without what only a line needs.
class TraceFrame : noncopyable {
public:
    TraceFrame(logger const&, char const* file, unsigned int line, char const* func) {
        fastCallStack().container().push(Current(file, line, func));
    }
    ~TraceFrame() {
        CallStack::Frames& frames = fastCallStack().container();
        // An unbalanced stack must not underflow.
        if (!frames.empty()) frames.pop();
    }
};
}  // namespace detail

}  // namespace zan

// A frame for the rest of the scope. ZAN_TRACE_FRAME is silent; the others write the entry, or the
// entry and the leaving, while the logger's traceOn holds, with `info` (a chain of << operands)
// composed only then.
#if defined(_ZAN_TRACE_ON)
#define ZAN_TRACE_FRAME(log) ::zan::detail::TraceFrame const zanTraceEntry_(log, ZAN_HERE)
#else
#define ZAN_TRACE_FRAME(log) static_cast<void>(0)
#endif

#if defined(_ZAN_TRACE_ON) && defined(_ZAN_TRACE_LOG_ON)
#define ZAN_DETAIL_TRACE_TYPE(log, type) \
    ((log).mayBeOn(::zan::logger::TRACE) && (log).traceOn() ? (type) : ::zan::LOG_NONE)
#define ZAN_TRACE_ENTRY(log)                              \
    ::zan::TraceEntry const zanTraceEntry_(log, ZAN_HERE, \
                                           ZAN_DETAIL_TRACE_TYPE(log, ::zan::LOG_ENTRY))
#define ZAN_TRACE_SCOPE(log)                              \
    ::zan::TraceEntry const zanTraceEntry_(log, ZAN_HERE, \
                                           ZAN_DETAIL_TRACE_TYPE(log, ::zan::LOG_BOTH))
#define ZAN_DETAIL_TRACE_INFO(log, type, msg)                              \
    ::zan::LogType const zanTraceType_ = ZAN_DETAIL_TRACE_TYPE(log, type); \
    ::zan::String zanTraceInfo_;                                           \
    if (zanTraceType_ != ::zan::LOG_NONE) zanTraceInfo_ << msg;            \
    ::zan::TraceEntry const zanTraceEntry_(log, ZAN_HERE, zanTraceType_, zanTraceInfo_.c_str())
#define ZAN_TRACE_ENTRY_INFO(log, msg) ZAN_DETAIL_TRACE_INFO(log, ::zan::LOG_ENTRY, msg)
#define ZAN_TRACE_SCOPE_INFO(log, msg) ZAN_DETAIL_TRACE_INFO(log, ::zan::LOG_BOTH, msg)
#else
#define ZAN_TRACE_ENTRY(log) ZAN_TRACE_FRAME(log)
#define ZAN_TRACE_SCOPE(log) ZAN_TRACE_FRAME(log)
#define ZAN_TRACE_ENTRY_INFO(log, msg) ZAN_TRACE_FRAME(log)
#define ZAN_TRACE_SCOPE_INFO(log, msg) ZAN_TRACE_FRAME(log)
#endif
