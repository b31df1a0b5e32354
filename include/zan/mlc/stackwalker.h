#pragma once

#include "zan/base/export.h"

// Reports of crashes. A program that dies of a fatal signal (SIGSEGV, SIGBUS, SIGILL, SIGFPE,
// SIGABRT, and with that an exception that nobody caught) leaves a report of what happened and of
// the calls that led there, with functions, files and lines, in a file beside the program: its own
// path and ".exp.xml", or ".exp.log" for the text forms. Then it ends as it would have ended: by
// the signal, with its exit status and core dump.
//
// A report is appended. A file of 1 MiB or more first becomes ".old", in place of the one before.
// Where no file can be had, the report goes to the standard output. The innermost 256 frames are
// listed. For SIGABRT the list begins at the call of the C or C++ library that ended the program.
//
// The line that says what happened is on disk before anything else is tried. The names are looked
// up in a copy of the process; where the fault has left it unable to, within ten seconds, the
// report lists modules and addresses for addr2line.
//
// Names need the library libdw.so.1 of elfutils, which is loaded when reports begin. Files and
// lines need debug information (-g), in the program or where the system looks for that of its
// packages; else the names of exported functions remain (-rdynamic).
//
// Threads: a stack overflow is reported in the thread that installs the reports and in the threads
//   of the library that start later. In others it ends the process without a report.

namespace zan {

enum OutputForm {
    SIMPLE_TEXT = 0,
    DETAILED_TEXT = 1,
    XML = 2,
};

// Has crashes reported from now on. Does nothing where they are reported already.
ZAN_EXPORT void catchExceptionsOnly(OutputForm form);

// The reports of crashes, if `catchExceptions` is set. There is no record of allocations in this
// version: the trace level, in 0 to 3, has no effect, and a line on the console says so.
ZAN_EXPORT void beginAllocCheck(OutputForm form, bool catchExceptions, int traceLevel);
// Ends the reports of crashes. 0: no leaks are known.
ZAN_EXPORT unsigned long endAllocCheck();

}  // namespace zan
