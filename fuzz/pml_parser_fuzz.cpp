// Any bytes as PML: the two readers agree, and what is rendered reads back as what was rendered.

#include <cstdint>
#include <sstream>
#include <string>

#include "pml.h"
#include "require.h"

using zan::istr;
using zan::String;
using zan::pml::ntv::Unit;

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    // A view ends at a NUL, a stream does not.
    istr text(data, size);
    text = text.leftstr(zan::StrLenN(text.data(), size));
    Unit u;
    Unit streamed;
    std::istringstream is{static_cast<std::string>(text)};
    require(parse(u, text) == parse(streamed, is));
    String const compact = u.str(1, 7);
    require(compact == streamed.str(1, 7));

    String value(u.getStringValue());
    zan::pml::escapeString(value);
    Unit back;
    require(parse(back, istr("a(" + value + ")")).empty());
    require(back.getStringValue() == u.getStringValue());

    // Names with marks of PML read back differently, so one round may change the tree; what comes
    // out must always be text that the parser takes or refuses in good order.
    for (int mode = 1; mode <= 4; ++mode) parse(back, istr(u.str(mode, 15)));

    Unit const copy(u);
    require(copy.str(1, 7) == compact);
    zan::dumper d(true);
    copy.dump(d);
    return 0;
}
