#pragma once

#include "zan/base/exception.h"
#include "zan/nbr/lsd.h"
#include "zan/string/string_slice.h"

namespace zan::nbr {

// Bytes that cannot be NBR, or a value of the wrong kind.
struct ZAN_EXPORT DecodeException : Exception {
    DecodeException(char const* file, unsigned int line, char const* func, char const* msg);
    ~DecodeException() noexcept override;
};

// Reads the one value at the start of a buffer; bytes behind it are ignored.
//
//     std::unique_ptr<nbr::ValueBase> const tree(nbr::parser::from(bytes));
//
// Ownership: the caller owns the tree. Nothing is copied: the buffer must outlive the tree.
// Threads: any number of parsers may work on one buffer that nobody writes.
// Errors: DecodeException where a length byte cannot be one. Input that ends too soon is no error:
//   the result is what there was, or null, and a debug line says where it ended. The call stack of
//   an exception shows the operations of the parse as entered: one parseValue for each open level,
//   of which all beyond 128 are left out, since they are alike and the peer decides how many.
// Cost: time linear in the bytes read, no recursion. The tree takes 40 bytes for a simple
//   value and 64 for a complex one, in a few blocks; direct look-up takes no memory.
class ZAN_EXPORT parser {
public:
    explicit parser(istr const& data) : iptr_(data) {}

    // The whole tree, null where there is no value.
    static ValueBase* from(istr data);
    // Direct look-up without building the tree: the first child with this id of the complex value
    // at the start of `data`. Null if the input is no complex value, no child has the id, or the
    // child is complex or null. Bytes behind the child are not looked at.
    static ValueBase* from(istr data, unsigned char id);

private:
    struct Input;

    ValueBase* parseValue();
    ValueBase* parseValue(unsigned char id);
    template <class Levels>
    static bool peekValue(Input& in, istr& data, bool& text, Levels const& levels);

    StringSlice iptr_;
};

}  // namespace zan::nbr
