#pragma once

#include <string>

namespace zan::platform {

// The calling thread's last error of the system, an errno value.
int lastError();
void setLastError(int code);

// The system's English text for an error number, or null where the system has none. The text
// lives as long as the process.
char const* errorDescription(int code);

// The same as a string, "Unknown error N" where the system has none.
//
// All of these leave errno as it was and may be called by any thread at any time.
std::string errorText(int code);

}  // namespace zan::platform
