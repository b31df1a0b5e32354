#pragma once

#include <string>

#include "zan/base/base_type_string.h"
#include "zan/base/export.h"
#include "zan/base/source_place.h"

// The one way upwards from the core types to the logger: reports of failures. This header knows
// no more of the logger than its name.

// What a throw macro does behind its report: 1 carries out the throw. With 0 the process ends at
// the place of the throw, for callers that prefer a core dump to an unwound stack.
#ifndef _ZAN_THROW_REALLY
#define _ZAN_THROW_REALLY 1
#endif

#if defined(_ZAN_ASSERT_ABORT_ON)
#include <cassert>
#endif

namespace zan {

class logger;

// The logger under which the library itself reports.
constexpr char const* LOGGER_ID = "ZAN";

// One logger to a name, made at first use.
//
// Threads: any. The references stay valid to the end of the process: after destroy() a reference
// still held, by another thread or by the destructor of a static object, is harmless, and the
// logger behind it comes back to life with the next instance() of its name.
class ZAN_EXPORT logger_factory {
public:
    // Any text is a valid name.
    static logger& instance(std::string const& name);
    static void create();
    // Stops and drains all loggers. Safe to call twice.
    static void destroy();
};

// Each writes one framed record, with the source place and the calling thread's call stack, under a
// title: "THROWING", "ASSERT FAILURE", "ENSURE FAILURE", "EXCEPTION". Nothing is caught here.
ZAN_EXPORT void exceptionThrown(logger& log, char const* file, unsigned int line, char const* func,
                                char const* cause);
// `willDo` null or empty leaves out the line "WILL DO".
ZAN_EXPORT void assertFailure(logger& log, char const* cond, char const* file, unsigned int line,
                              char const* func, char const* willDo);
ZAN_EXPORT void ensureFailure(logger& log, char const* cond, char const* file, unsigned int line,
                              char const* func, char const* willDo);
// `text` is what the catching site has of the exception.
ZAN_EXPORT void writeExcptLog(logger& log, char const* file, unsigned int line, char const* func,
                              char const* text);

namespace detail {
[[noreturn]] ZAN_EXPORT void endProcess();
}

}  // namespace zan

// Reports, then throws `Type` from this place. `msg` may be a chain of << operands; the exception's
// message is the type as written here, ": ", and that text.
//
//     ZAN_USER_THROW_MSG(log, zan::InvalidDataException, "bad port " << port);
#define ZAN_USER_THROW_MSG(log, Type, msg)                            \
    do {                                                              \
        ::zan::String zanThrowText_;                                  \
        zanThrowText_ << #Type << ": " << msg;                        \
        ::zan::exceptionThrown(log, ZAN_HERE, zanThrowText_.c_str()); \
        ZAN_DETAIL_THROW(Type, zanThrowText_);                        \
    } while (false)

#if _ZAN_THROW_REALLY
#define ZAN_DETAIL_THROW(Type, text) throw Type(ZAN_HERE, (text).c_str())
#else
#define ZAN_DETAIL_THROW(Type, text) ::zan::detail::endProcess()
#endif

#if defined(_ZAN_ASSERT_ON)
#define ZAN_DETAIL_ASSERT_REPORT(text, willDo) \
    ::zan::assertFailure(::zan::logger_factory::instance(::zan::LOGGER_ID), text, ZAN_HERE, willDo)
#else
#define ZAN_DETAIL_ASSERT_REPORT(text, willDo) static_cast<void>(0)
#endif

#if defined(_ZAN_ASSERT_ABORT_ON)
#define ZAN_DETAIL_ASSERT_ABORT(cond) assert(cond)
#else
#define ZAN_DETAIL_ASSERT_ABORT(cond) static_cast<void>(0)
#endif

// A broken precondition. Where `cond` is false: a report with its text, the end of the process in
// a build that aborts on assertions, and otherwise `action`, usually a throw or a return (the macro
// is a loop of its own, so `break` and `continue` do not leave it). The action runs in builds
// without reports too.
#define ZAN_ASSERT_DO(cond, action) ZAN_ASSERT_TEXT_DO(cond, #cond, #action, action)

// An answer that can be given anyway: report, then `action`. Never ends the program.
#define ZAN_ENSURE_DO(cond, action) ZAN_ENSURE_TEXT_DO(cond, #cond, #action, action)

// The same with the texts of the report given; `text` may be any expression of type char const*.
#define ZAN_ASSERT_TEXT_DO(cond, text, willDo, action) \
    do {                                               \
        if (__builtin_expect(!(cond), 0)) {            \
            ZAN_DETAIL_ASSERT_REPORT(text, willDo);    \
            ZAN_DETAIL_ASSERT_ABORT(cond);             \
            action;                                    \
        }                                              \
    } while (false)

#define ZAN_ENSURE_TEXT_DO(cond, text, willDo, action)                                    \
    do {                                                                                  \
        if (__builtin_expect(!(cond), 0)) {                                               \
            ::zan::ensureFailure(::zan::logger_factory::instance(::zan::LOGGER_ID), text, \
                                 ZAN_HERE, willDo);                                       \
            action;                                                                       \
        }                                                                                 \
    } while (false)

// Throws `Type` with its own name as the text, as the library does where there is no more to say.
#define ZAN_THROW_PLAIN(Type) \
    ZAN_USER_THROW_MSG(zan::logger_factory::instance(zan::LOGGER_ID), Type, #Type)
