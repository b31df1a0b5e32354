// The wide parser does with wide text what the narrow one does with the same characters.

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "zan/log/log_factory.h"
#include "zan/log/log_logger.h"
#include "zan/pml/pml_t.h"

namespace {

using zan::pml::ntv::Unit;

void require(bool ok) {
    if (!ok) std::abort();
}

template <class View>
std::string parse(Unit& u, View const& in) {
    try {
        zan::pml::ntvFromPml(u, in);
        return "";
    } catch (zan::pml::DecodeException const& e) {
        return e.msg();
    } catch (zan::DuplicatedUnitException const& e) {
        return e.msg();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static bool const quiet = [] {
        zan::detail::zanLogger().setConsoleOn(false);
        return true;
    }();
    static_cast<void>(quiet);
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
