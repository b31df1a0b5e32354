#pragma once

#include <iosfwd>
#include <string>

#include "zan/base/base_type_string.h"

namespace zan {

// The library's screen. Printing only appends to a cache; the thread "screen" writes it to the
// standard error stream, so a slow terminal never holds up a thread that logs. It reads lines from
// the keyboard too, and keeps the prompt and the output apart.
//
// Threads: any may print. One thread at a time reads lines.
// Errors: none is reported. What is printed while the console is off is lost for the screen; an
//   attached debugger sees it all the same.
// Cost: a conversion to wide text, and a short lock. There is no limit on the cache.
class ZAN_EXPORT console {
public:
    static void create();
    // Closes, then frees.
    static void destroy();
    // Starts the thread "screen"; does nothing while the console is off. A second open() replaces
    // the thread.
    static void open();
    // Stops the thread and writes what is left.
    static void close();
    // Wakes the thread; without one, writes in the calling thread.
    static void flush();

    static void print(String const& text);
    static void println(String const& text);
    static void print(char const* text, unsigned long size = npos);
    static void println(char const* text, unsigned long size = npos);
    static void print(std::wstring const& text);
    static void println(std::wstring const& text);
    // The size counts wide characters.
    static void print(wchar_t const* text, unsigned long size = npos);
    static void println(wchar_t const* text, unsigned long size = npos);

    // Shows the prompt, where it does not stand on the screen yet, and takes a line if one waits.
    // False after a pause of 100 milliseconds if none does: the caller polls.
    static bool readline(String& line, char const* prompt);
    static bool readline(std::wstring& line, wchar_t const* prompt);

    static bool isOn();
    static void setOn(bool on);
    // The flag itself, so that a configuration field can be bound to it.
    static bool volatile& on();
};

ZAN_EXPORT std::istream& std_in();
ZAN_EXPORT std::ostream& std_out();
ZAN_EXPORT std::ostream& std_err();
ZAN_EXPORT std::ostream& std_log();

}  // namespace zan
