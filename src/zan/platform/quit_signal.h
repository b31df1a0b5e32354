#pragma once

namespace zan::platform {

// Delivers SIGINT and SIGTERM to a callback on an ordinary thread, where locks, logging and
// allocation are as good as anywhere.
//
// While installed, each of these signals calls `callback(signal number)` on a thread of this
// service, one after the other and every time, so that a program may treat a second signal as
// "now". Signals that arrive faster than the callbacks run are kept, up to some thousands.
// System calls that a signal interrupts are restarted. The signals are taken over even where
// they were ignored before, as for a program that a shell started in the background: a program
// that installs this asks for them.
//
// A child made by fork does not deliver to its parent: these signals take their default action
// there, until it installs for itself or runs another program.
//
// Threads: any thread may call these, also from the callback.

// Returns 0, or the errno value, and then nothing is changed. Installing again replaces the
// callback: the old one is not called any more once this has returned, unless it is just
// running. REQUIRES: callback is not null (EINVAL).
int installQuitSignals(void (*callback)(int signal));

// Puts back what was in place before the install, unless the program has changed it since, and
// waits for a running callback; not if it is called by that very callback. Does nothing when
// nothing is installed.
void uninstallQuitSignals();

}  // namespace zan::platform
