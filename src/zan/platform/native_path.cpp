#include "zan/platform/native_path.h"

#include <cstring>

#include "zan/platform/codepage.h"
#include "zan/platform/utf8.h"

namespace zan::platform {

namespace {

constexpr wchar_t ESCAPE = 0xDC00;

bool escaped(wchar_t c) {
    return (c >= ESCAPE + 0x80 && c <= ESCAPE + 0xFF) || c == ESCAPE + L'\\';
}

}  // namespace

std::string nativePath(wchar_t const* path, unsigned long n) {
    std::string result;
    result.reserve(utf8Length(path, n));
    for (wchar_t const* const end = path + n; path != end; ++path) {
        if (*path == 0) return std::string();
        if (*path == L'\\') {
            result += '/';
        } else if (escaped(*path)) {
            result += static_cast<char>(*path - ESCAPE);
        } else {
            char bytes[4];
            result.append(bytes, wideToUtf8(path, 1, bytes));
        }
    }
    return result;
}

std::string nativePath(std::wstring const& path) {
    return nativePath(path.data(), path.size());
}

std::wstring libraryPath(char const* path, unsigned long n) {
    // Most names are sound: decode at full speed, and look again only if there is damage or a
    // backslash.
    std::wstring result;
    utf8ToWide(path, n, result);
    if (result.find(L'\xFFFD') == std::wstring::npos && std::memchr(path, '\\', n) == nullptr)
        return result;
    result.clear();
    wchar_t wide[4];
    for (unsigned long i = 0; i < n;) {
        unsigned long length = 1;
        auto const lead = static_cast<unsigned char>(path[i]);
        if (lead >= 0xC0) length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
        // A whole sequence gives one character. U+FFFD that stands in the name has three bytes;
        // one that stands for damage of this length, a single byte.
        bool const sound = length <= n - i && utf8ToWide(path + i, length, wide) == 1 &&
                           (wide[0] != 0xFFFD || length == 3);
        if (sound && path[i] != '\\') {
            result += wide[0];
            i += length;
        } else {
            result += static_cast<wchar_t>(ESCAPE + lead);
            ++i;
        }
    }
    return result;
}

std::wstring libraryPath(std::string const& path) {
    return libraryPath(path.data(), path.size());
}

}  // namespace zan::platform
