#pragma once

#include <cstdio>

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

// Records of all allocations, and a report of what was never freed.
//
// Where the library libzanmlc.so is linked or preloaded, each block that is allocated between
// beginAllocCheck() and endAllocCheck() is entered in a table with 1280 bytes of its stack, and
// leaves it when it is freed. What is left at the end is written to the file beside the program
// named like it with ".mem.xml-leaks" behind, or ".mem.log" for the text forms: each block with the
// calls that led to it, from the statement that asked for the memory. The file of the XML form is
// begun anew, the others are appended to. Where no file can be had, the report goes to the standard
// output. Without libzanmlc.so a line on the console says that nothing is recorded, and no report
// is written.
//
// Left out are what the loader of modules and the C library keep for themselves, and what this
// library allocates for the life of the process.
//
// Threads: the program's, any number, also across a fork, whose child goes on with a copy. Begin
//   and end are for one thread. What other threads hold at the end counts as not freed.
// Cost: half a microsecond for a block made and freed; while it lives 100 to 1400 bytes, as a rule
//   some 250: of the 1280 what other blocks have the same is kept once.

// What is written of each operation, to the file of the report: nothing; a line; a stack for each
// allocation; a stack for each release too. A trace level that isn't in 0 to 3 counts as 0.
//
// 0; 1 where names can't be had, for want of the library libdw.so.1; 2 where a check runs already,
// and then only the reports of crashes change.
ZAN_EXPORT int beginAllocCheck(OutputForm form, bool catchExceptions, int traceLevel);
// Writes the report, and ends the reports of crashes too. The bytes that were left of the task
// allocator; a block without a size counts as 1.
ZAN_EXPORT unsigned long endAllocCheck();

// The process's task allocator, for memory that one module allocates and another one frees. The
// report has its blocks in a table of their own; they are known without libzanmlc.so, too. As
// malloc(), realloc() and free(), through a lock.
ZAN_EXPORT void* taskAlloc(unsigned long size);
ZAN_EXPORT void* taskRealloc(void* p, unsigned long size);
ZAN_EXPORT void taskFree(void* p);

// Where a walk begins, as the checker saves it. All zero is the call of writeStack() itself.
struct StackContext {
    void const* instruction = nullptr;
    void const* frame = nullptr;
};
// Copies `size` bytes of the stack that is walked; false where they can't be met in full.
using ReadMemory = bool (*)(unsigned long process, unsigned long address, void* to,
                            unsigned long size);
// Writes a stack, in the form of the check that runs; to the standard output where the stream is
// null. Memory is read through `readMemory`, which gets `process` as it is, or directly where that
// is null. The context says all about the thread.
ZAN_EXPORT void writeStack(void* thread, StackContext const& context, std::FILE* stream,
                           ReadMemory readMemory, unsigned long process);

}  // namespace zan
