#pragma once

#include <cstdint>
#include <string>

namespace zan::platform {

// What the sources of this folder share about UTF-8; codepage.h has the rest.

// The bytes at `text` that one U+FFFD stands for: the longest start of a valid sequence, or else
// one byte. REQUIRES: n > 0, and no whole and valid sequence stands there.
unsigned long utf8Damage(char const* text, unsigned long n);

// Widens the ASCII characters at the start of the text and tells how many there are. `out` has room
// for `n`, of which more may be overwritten than that.
unsigned long widenAscii(char const* in, unsigned long n, wchar_t* out);

// Replaces `out` by the decoded text, with damage as in codepage.h.
void utf8ToWide(char const* in, unsigned long n, std::wstring& out);

}  // namespace zan::platform
