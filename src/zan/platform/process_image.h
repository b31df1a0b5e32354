#pragma once

#include <string>

namespace zan::platform {

// The path of the running executable as the system knows it: absolute, with '/', in the bytes of
// the file system (UTF-8 by agreement), symbolic links resolved. If the file was removed or
// replaced while it runs, the path is that of the time it was started. Empty if the system does
// not tell, as where /proc is not mounted.
//
// Threads: any. Cost: a system call each time.
std::string executablePath();

}  // namespace zan::platform
