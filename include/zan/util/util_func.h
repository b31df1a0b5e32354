#pragma once

#include <vector>

#include "zan/base/base_type_string.h"

// Queries about the process, and what is too small for a class. The function sleep() stands with
// the threads, in zan/mt/thread.h.
//
// Threads: any.
// Errors: none is reported; what is not there is empty text.

namespace zan {

// The environment variable's value; empty for a null name and for a variable that is not set.
ZAN_EXPORT String getenv(char const* name);

// The calling thread's last error of the system, an errno value.
ZAN_EXPORT int getLastErrno();

// "(2) No such file or directory": the number, then the system's text. Leaves the last error as
// it is.
ZAN_EXPORT String getLastErrorMsg();
ZAN_EXPORT String getLastErrorMsg(int code);

// The directory of the running program, in the system's form and without a separator at its end;
// empty where the system does not tell. Found out once.
ZAN_EXPORT String getProgramDir();

// Always empty in this version.
ZAN_EXPORT String getApplicationDir(int which);

// The old form of these functions, as static members.
class ZAN_EXPORT Util {
public:
    Util() = delete;  // static operations only

    // `first` is the text up to the first blank, `rest` what follows up to the next newline,
    // without its leading space.
    static void split(String const& text, String& first, String& rest);

    // Appends the parts between the separators to `out`, one more than there are separators, each
    // without its leading space unless `keepBlanks`.
    static void split(String const& text, std::vector<String>& out, char sep, bool keepBlanks);
};

}  // namespace zan
