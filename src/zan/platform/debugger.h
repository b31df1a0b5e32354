#pragma once

namespace zan::platform {

// Whether a debugger (a tracer, for the kernel) is attached to this process. The kernel is asked
// at most once a second; in between the answer costs a look at the coarse clock, a few
// nanoseconds, so this may stand on the path of every log line.
//
// Threads: any.
bool debuggerPresent();

// Hands the debugger a text. By default the text goes, as UTF-8, to the empty function
//
//     extern "C" void zan_debug_output(char const* text, unsigned long size)
//
// where a debugger takes it with a breakpoint, for instance in gdb:
//
//     dprintf zan_debug_output,"%s",text
//
// Nothing is written to a descriptor: the console shows the same text on the screen anyway.
// The text handed over is terminated. Threads: any, also several at once.
void debugOutput(wchar_t const* text, unsigned long n);

// Replace the two services, for tests; null brings the system's back. Each returns what was in
// place, null for the system's. The function may be called by any thread, also shortly after it
// was replaced.
using DebuggerProbe = bool (*)();
using DebuggerChannel = void (*)(wchar_t const* text, unsigned long n);
DebuggerProbe setDebuggerProbe(DebuggerProbe probe);
DebuggerChannel setDebuggerChannel(DebuggerChannel channel);

}  // namespace zan::platform
