#include "zan/util/util_func.h"

#include <ace/ACE.h>
#include <ace/OS_NS_stdlib.h>

#include "zan/platform/last_error.h"
#include "zan/platform/process_image.h"

namespace zan {

String getenv(char const* name) {
    return name == nullptr ? String() : String(ACE_OS::getenv(name));
}

int getLastErrno() {
    return platform::lastError();
}

String getLastErrorMsg() {
    return getLastErrorMsg(getLastErrno());
}

String getLastErrorMsg(int code) {
    int const saved = platform::lastError();
    String result("(");
    result << code << ") " << platform::errorText(ACE::map_errno(code));
    platform::setLastError(saved);
    return result;
}

String getProgramDir() {
    static String const dir = [] {
        std::string const path = platform::executablePath();
        unsigned long const end = path.rfind('/');
        return String(end == std::string::npos ? std::string() : path.substr(0, end));
    }();
    return dir;
}

String getApplicationDir(int) {
    return String();
}

void Util::split(String const& text, String& first, String& rest) {
    istr const all(text);
    unsigned long const blank = text.find(' ');
    istr const tail = blank == String::npos ? istr() : all.removeLeft(blank + 1);
    unsigned long end = 0;
    while (end < tail.size() && tail[end] != '\n') ++end;
    // Both are made before either is stored: `text` may be one of them.
    String newRest(tail.leftstr(end).trimLeft());
    String newFirst(all.leftstr(blank));
    first.swap(newFirst);
    rest.swap(newRest);
}

void Util::split(String const& text, std::vector<String>& out, char sep, bool keepBlanks) {
    istr left(text);
    for (;;) {
        unsigned long end = 0;
        while (end < left.size() && left[end] != sep) ++end;
        istr const part = left.leftstr(end);
        bool const last = end == left.size();
        out.emplace_back(keepBlanks ? part : part.trimLeft());
        if (last) return;
        left = left.removeLeft(end + 1);
    }
}

}  // namespace zan
