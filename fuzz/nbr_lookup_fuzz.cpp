// Direct look-up of an id, the first byte, in any bytes: what the tree has under it first. It may
// find a child where the whole is no NBR, and then stops ahead of the error.

#include <cstdint>
#include <cstdlib>
#include <memory>

#include "../tests/support/nbr_model.h"
#include "zan/nbr/parser.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    using namespace zan;
    if (size == 0 || size > 8192) return 0;  // the model recurses
    std::string const bytes(reinterpret_cast<char const*>(data + 1), size - 1);
    std::optional<zan_test::NbrNode> want;
    std::string error;
    try {
        want = zan_test::nbrLookup(zan_test::NbrModel(bytes).value(), data[0]);
    } catch (std::runtime_error const& e) {
        error = e.what();
    }
    try {
        std::unique_ptr<nbr::ValueBase> const found(
            nbr::parser::from(istr(data + 1, size - 1), data[0]));
        if (error.empty() && !zan_test::nbrDifference(want, found.get()).empty()) std::abort();
    } catch (nbr::DecodeException const& e) {
        if (error != e.msg()) std::abort();
    }
    return 0;
}
