#pragma once

#include <string>

namespace zan::platform {

// The one place where a path of the library meets a path of the system.
//
// Inside the library a path is wide text, and both '\' and '/' separate. The system wants bytes
// with '/', UTF-8 by agreement but with no guarantee of it. A byte of a system name that is not
// UTF-8 becomes U+DC00 plus its value on the way in, and the same byte again on the way out; so
// does a backslash in a system name, which is an ordinary character there and must not turn
// into a separator. Hence every name that the system reports can be opened again. No decoder of
// text yields these code points, so no foreign text can forge them.
//
// Threads: any.
// Errors: only std::bad_alloc, and what nativePath says.

// The system's form. Lone surrogates other than those above and values over U+10FFFF become
// U+FFFD. A path with a NUL inside names nothing: the result is empty, and every system call
// refuses an empty path, rather than being cut to another name.
std::string nativePath(wchar_t const* path, unsigned long n);
std::string nativePath(std::wstring const& path);

// The library's form of a path that came from the system. '/' stays.
std::wstring libraryPath(char const* path, unsigned long n);
std::wstring libraryPath(std::string const& path);

}  // namespace zan::platform
