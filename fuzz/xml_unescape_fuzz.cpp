// References: what is decoded is never longer, plain text stays, and what is encoded decodes to
// what it was, in both encodings.

#include <cstdint>
#include <string>

#include "require.h"
#include "zan/xml/xmlparser.h"

using zan::istr;
using zan::String;

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    istr const text(data, size);
    String const plain(text);

    String decoded("=");
    zan::xml::unescape(decoded, text);
    require(decoded[0] == '=' && decoded.size() <= size + 1);
    if (plain.find('&') == std::string::npos) require(decoded == "=" + plain);

    String encoded;
    zan::xml::escape(encoded, text);
    require(encoded.find_first_of("<>\"'") == std::string::npos);
    zan::xml::decode_attr(encoded);
    require(encoded == plain);

    encoded = plain;
    zan::xml::encode_cdata(encoded);
    zan::xml::decode_cdata(encoded);
    require(encoded == plain);

    encoded = plain;
    zan::xml::decode_cdata(encoded);
    require(encoded.size() <= size);
    return 0;
}
