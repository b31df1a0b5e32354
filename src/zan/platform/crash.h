#pragma once

namespace zan::platform {

// Reports of fatal signals: SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT.
//
// While installed, the first fatal signal of any thread calls `report` on that thread, once, and
// then the process comes to the end that the signal would have given it: with the same exit status
// and, where the system writes them, a core dump of the state at the fault. Other threads that fail
// meanwhile wait for that end. After a fault inside `report` it is called once more, to finish as
// best it can, and then, or after another fault, the process ends by the first signal.
// A handler that was in place before the install runs behind the report.
//
// The handler needs a stack of its own where a thread has used up the one it has. The thread that
// installs gets one, and so does each thread that ThreadHandle starts afterwards. On all others a
// stack overflow ends the process without a report, as it would have done.
//
// All of it but the install is async-signal-safe, with no allocation and no lock, and the same is
// REQUIRED of `report`; runApart() is the way out of that.

struct Crash {
    static constexpr unsigned long MAX_FRAMES = 256;

    int signal = 0;
    // The kind of fault, by the number that it has in the report's table.
    unsigned int code = 0;
    // 1 where the program can't go on even in principle, as it ended itself; else 0.
    unsigned int flags = 0;
    // Of the instruction at fault, or of the call that ended the process.
    void const* address = nullptr;
    // For a fault of access: whether it was a write, and to where.
    bool isAccess = false;
    bool isWrite = false;
    void const* accessed = nullptr;
    // The second call, after a fault in the first.
    bool again = false;
    // Instruction addresses, from the innermost frame, as far as findCrashFrames() has come. All
    // but the first are return addresses.
    void* frames[MAX_FRAMES] = {};
    unsigned long frameCount = 0;
    // There were more, further out.
    bool cut = false;
};

// False where a report is installed already, and then nothing changes.
bool installCrashReport(void (*report)(Crash const& crash));
bool crashReportInstalled();
void uninstallCrashReport();
// Gives the calling thread its stack for the handler, while a report is installed.
void prepareThreadForCrash();

// --- For use in a report

// Follows the stack from the fault on. It may be the one that is broken: that is a fault again.
void findCrashFrames();

// Opens for append, making the file if it isn't there. A file of `limit` bytes or more becomes
// `old` first, in place of a former one. -1 where it can't be had. It finds a descriptor even in a
// process that has used up its own.
int openReport(char const* name, char const* old, unsigned long limit);
void closeReport(int file);
// Descriptors 1 and 2 are standard output and error.
void writeReport(int file, char const* text, unsigned long size);

// Runs `work` in a copy of the process, which sees all that this one does but can't harm it: what
// it allocates, locks or breaks ends with it. Of the files only `file` is open there. False where
// `work` gives false or doesn't come to its end in time, as where the fault has left a lock of the
// heap behind.
bool runApart(bool (*work)(int file), int file, unsigned int seconds);

// What is loaded at that address. False where nothing is.
struct LoadedModule {
    char const* path = nullptr;  // empty for the program itself
    unsigned long base = 0;      // the addresses in the file count from here
};
bool loadedModule(void const* address, LoadedModule& module);

struct WallClock {
    int year, month, day, hour, minute, second;
};
// Local time, with the difference to UTC of the install, or of the last call of the second.
WallClock wallClock();
void readTimeZone();

}  // namespace zan::platform
