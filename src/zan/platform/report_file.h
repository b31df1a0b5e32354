#pragma once

#include <cstdio>

namespace zan::platform {

// Opens for append, or truncates, and makes the file if it isn't there. Null where it can't be had;
// errno says why.
std::FILE* openReportStream(char const* name, bool append);

// Runs `work` to its end on a thread whose files, but for the three standard ones, are none of the
// process's: it can open some even where the process has used up its own. Where the system has no
// such thread, it runs in the calling one.
void runWithFreeFiles(void (*work)(void* argument), void* argument);

}  // namespace zan::platform
