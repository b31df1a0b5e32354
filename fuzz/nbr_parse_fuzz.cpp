// Any bytes: the tree and the error are those of the plain model; what was read and is written
// again reads as the same tree; dumps end.

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <sstream>

#include "../tests/support/nbr_model.h"
#include "zan/log/log_dumper.h"
#include "zan/log/log_factory.h"
#include "zan/nbr/stream.h"

namespace {

using namespace zan;

// What is thrown is reported in the log, and need not be shown.
[[maybe_unused]] bool const quiet = [] {
    logger_factory::instance(LOGGER_ID).setConsoleOn(false);
    return true;
}();

void check(bool ok) {
    if (!ok) std::abort();
}

void write(nbr::OutputStream& out, zan_test::NbrNode const& node, unsigned char const* id) {
    if (node.complex) {
        std::unique_ptr<nbr::OutputStream::Entry> const entry(
            id != nullptr ? new nbr::OutputStream::Entry(out, *id)
                          : new nbr::OutputStream::Entry(out));
        for (auto const& [childId, child] : node.children) {
            if (child)
                write(out, *child, &childId);
            else
                out.write(childId, null_type());
        }
    } else if (node.text) {
        id != nullptr ? out.write(*id, String(node.data)) : out << String(node.data);
    } else {
        id != nullptr ? out.write(*id, istr(node.data)) : out << istr(node.data);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    if (size > 8192) return 0;  // the model recurses
    std::string const bytes(reinterpret_cast<char const*>(data), size);
    std::optional<zan_test::NbrNode> want;
    std::string error;
    try {
        want = zan_test::NbrModel(bytes).value();
    } catch (std::runtime_error const& e) {
        error = e.what();
    }

    std::ostringstream shown;
    shown << nbr::dump_buf(istr(data, size));
    try {
        std::unique_ptr<nbr::ValueBase> const tree(nbr::parser::from(istr(data, size)));
        check(error.empty() && zan_test::nbrDifference(want, tree.get()).empty());
    } catch (nbr::DecodeException const& e) {
        check(error == e.msg());
        return 0;
    }
    if (!want) return 0;

    nbr::OutputStream out;
    write(out, *want, nullptr);
    nbr::InputStream const again(out.str());
    check(zan_test::nbrDifference(want, again.get()).empty());
    return 0;
}
