#pragma once

#include "zan/base/base_type_bytes.h"

namespace zan {
class gzlib;
}

// The gzip format of RFC 1952 between blocks of memory. Programs take zan::gzlib, which also tells
// whether a run ended well.
class ZAN_EXPORT GZlibCompressor {
public:
    GZlibCompressor() = delete;  // static operations only

    // As zan::gzlib has them. The result is always 0.
    static int comp(char const* in, unsigned char*& out, int& size);
    static int uncomp(char const* in, char*& out, int& size);

private:
    friend class zan::gzlib;
    static bool run(char const* in, unsigned char*& out, int& size);
    static bool run(char const* in, char*& out, int& size, int maxSize);
};

namespace zan {

// The zlib format of RFC 1950. It keeps no length: the reader has to know how long the text can be.
//
//     zan::Bytes packed, text;
//     if (zan::zlib::compress(in, packed) && zan::zlib::uncompress(packed, text, in.size())) ...
//
// `out` may hold the bytes that `in` views. Threads: any. Errors: false, and std::bad_alloc where
// there is no room for `out` itself.
class ZAN_EXPORT zlib {
public:
    zlib() = delete;  // static operations only

    // Where this fails `out` is empty.
    static bool compress(istr const& in, Bytes& out);
    // At most `size` bytes, or with 0 as many as `out` has room for. False for damage, for a stream
    // that is cut short and for a longer text; `out` is then empty.
    static bool uncompress(istr const& in, Bytes& out, unsigned long size);
};

// The gzip format, as the program of that name has it.
//
//     int size = static_cast<int>(text.size());
//     unsigned char* packed;
//     if (zan::gzlib::comp(text.data(), packed, size)) send(packed, size);
//     delete[] packed;
//
// Ownership: `out` is a new array that the caller frees with delete[], after a failure too; it is
//   null where there was no memory for it. It has `size` bytes and no terminator.
// Threads: any. Errors: false, nothing is thrown. Lengths go up to that of an int: what is longer
//   fails.
class ZAN_EXPORT gzlib {
public:
    gzlib() = delete;  // static operations only

    // `size` is the length of `in`, or -1 for a text up to its NUL, and becomes the length of
    // `out`. A null `in` gives nothing, and true. Where this fails `out` is empty.
    static bool comp(char const* in, unsigned char*& out, int& size);

    // The text of all members. What is no gzip at its start, and what stands behind the last
    // member, is copied as it is. False for damage, for input that is cut short and for a text of
    // more than `maxSize` bytes; `out` has what was decoded up to there.
    //
    // A small input can hold a thousand times its size: where it comes from outside, set `maxSize`.
    // Memory is taken as the text grows, and not on the word of the input.
    static bool uncomp(char const* in, char*& out, int& size, int maxSize = MAX_SIZE);

    static constexpr int MAX_SIZE = 0x7FFFFFFF;
};

}  // namespace zan
