// The wide parser does with wide text what the narrow one does with the same characters.

#include <cstdint>
#include <cstring>
#include <string>

#include "pml.h"
#include "require.h"

using zan::pml::ntv::Unit;

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    // Characters of four bytes, as they come.
    std::wstring wild(size / 4, 0);
    if (!wild.empty()) std::memcpy(wild.data(), data, wild.size() * 4);
    Unit u;
    parse(u, zan::iwstr(wild));

    // ASCII, in both widths.
    std::string narrow;
    for (std::size_t i = 0; i < size; ++i)
        if ((data[i] & 127) != 0) narrow += static_cast<char>(data[i] & 127);
    std::wstring const wide(narrow.begin(), narrow.end());
    Unit other;
    require(parse(u, zan::iwstr(wide)) == parse(other, zan::istr(narrow)));
    require(u.str(1, 7) == other.str(1, 7));

    std::wstring escaped = wide;
    zan::pml::escapeString(escaped);
    parse(u, zan::iwstr(L"a(" + escaped + L")"));
    require(std::string(u.getStringValue()) == narrow);
    return 0;
}
