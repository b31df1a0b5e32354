#pragma once

#include "zan/base/export.h"
#include "zan/base/system.h"

namespace zan {

// Bring the library's services up and down in one order. Every service also works before init():
// each is built at its first use. All four belong to the main thread, outside other activity of the
// library, and catch nothing: an exception leaves the sequence at that step.
//
// `logFile` (UTF-8) names the log file; null leaves the name as it is. `consoleOn` shows log lines
// on the standard error stream. `maxTimers` bounds the number of timers; 0 keeps the built-in
// bound.

// Creates what the library needs and writes the banner lines to the log. The arguments have no
// effect; they are those of startup().
ZAN_EXPORT void init(char const* logFile, bool consoleOn, int maxTimers);
// Applies the arguments and starts the log and the timer service. May follow shutdown().
ZAN_EXPORT void startup(char const* logFile, bool consoleOn, int maxTimers);
// Stops the timer service, the log and the console. From here on System::closing() is true.
ZAN_EXPORT void shutdown();
// shutdown(), then destroys what was created. Harmless without init(), and a second time.
ZAN_EXPORT void fini();

// The form for applications: one object at the top of main(), one to a process.
struct ZAN_EXPORT InitFini {
    explicit InitFini(char const* logFile = nullptr, bool consoleOn = true, int maxTimers = 0);
    InitFini(InitFini const&) = delete;
    InitFini& operator=(InitFini const&) = delete;
    ~InitFini();
};

}  // namespace zan
