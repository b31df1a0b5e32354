#include "zan/util/zlibcompressor.h"

#include <zlib.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <utility>

#include "zan/util/overlap.h"

namespace zan {

namespace {

constexpr unsigned long MAX_INT = std::numeric_limits<int>::max();
constexpr unsigned char MEMBER_HEADER[10] = {0x1F, 0x8B, 8, 0, 0, 0, 0, 0, 0, 0x0B};
constexpr unsigned long TRAILER_SIZE = 8;

// zlib only reads from it.
Bytef* inputOf(unsigned char const* p) {
    return const_cast<Bytef*>(p);
}

unsigned long getWord(unsigned char const* p) {
    return static_cast<unsigned long>(p[0]) | static_cast<unsigned long>(p[1]) << 8 |
           static_cast<unsigned long>(p[2]) << 16 | static_cast<unsigned long>(p[3]) << 24;
}

// What is made of the input. It grows twofold, up to a limit.
template <class Char>
class Output {
public:
    explicit Output(unsigned long limit) : limit_(limit) {}

    // Room for more, `wanted` in all if that is nothing yet. False at the limit or without memory.
    bool grow(unsigned long wanted) {
        unsigned long const capacity =
            std::min(limit_, capacity_ == 0 ? std::max(wanted, 64UL) : 2 * capacity_);
        if (capacity == capacity_) return false;
        std::unique_ptr<Char[]> bigger(new (std::nothrow) Char[capacity]);
        if (bigger == nullptr) return false;
        if (size_ != 0) std::memcpy(bigger.get(), data_.get(), size_);
        data_ = std::move(bigger);
        capacity_ = capacity;
        return true;
    }
    unsigned char* end() { return reinterpret_cast<unsigned char*>(data_.get()) + size_; }
    unsigned long room() const { return capacity_ - size_; }
    void add(unsigned long n) { size_ += n; }
    bool append(unsigned char const* p, unsigned long n) {
        while (n != 0) {
            if (room() == 0 && !grow(n)) return false;
            unsigned long const part = std::min(n, room());
            std::memcpy(end(), p, part);
            add(part);
            p += part;
            n -= part;
        }
        return true;
    }
    void clear() { size_ = 0; }
    unsigned long size() const { return size_; }
    // An array even for no bytes. Null only where there is no memory.
    Char* release() {
        if (data_ == nullptr) data_.reset(new (std::nothrow) Char[1]);
        return data_.release();
    }

private:
    std::unique_ptr<Char[]> data_;
    unsigned long capacity_ = 0;
    unsigned long size_ = 0;
    unsigned long const limit_;
};

// One member of the text.
bool writeMember(unsigned char const* in, unsigned long n, Output<unsigned char>& out) {
    z_stream stream{};
    if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, -MAX_WBITS, 8,
                     Z_DEFAULT_STRATEGY) != Z_OK)
        return false;
    // Text gets much shorter, and what does not only a little longer.
    bool good = out.grow(n / 2 + 64) && out.append(MEMBER_HEADER, sizeof MEMBER_HEADER);
    stream.next_in = inputOf(in);
    stream.avail_in = static_cast<uInt>(n);
    int result = Z_OK;
    while (good && result == Z_OK) {
        if (out.room() == 0) {
            good = out.grow(0);
            continue;
        }
        auto const room = static_cast<uInt>(out.room());
        stream.next_out = out.end();
        stream.avail_out = room;
        result = deflate(&stream, Z_FINISH);
        out.add(room - stream.avail_out);
    }
    deflateEnd(&stream);
    if (!good || result != Z_STREAM_END) return false;
    unsigned char trailer[TRAILER_SIZE];
    unsigned long const sum = crc32(0, in, static_cast<uInt>(n));
    for (int i = 0; i < 4; ++i) {
        trailer[i] = static_cast<unsigned char>(sum >> (8 * i));
        trailer[4 + i] = static_cast<unsigned char>(n >> (8 * i));
    }
    return out.append(trailer, sizeof trailer);
}

// Members one behind the other.
class MemberReader {
public:
    MemberReader(unsigned char const* in, unsigned long n, Output<char>& out)
        : p_(in), end_(in + n), out_(out) {
        // A member ends with the length of its text. No more is taken on its word than what a
        // text of good sense would need.
        unsigned long const told = n > TRAILER_SIZE ? getWord(in + n - 4) : 0;
        wanted_ = told <= 8 * n ? told + 1 : 4 * n;
    }

    // Whether all of it was sound.
    bool read() {
        z_stream stream{};
        bool good = true;
        bool open = false;
        while (good && left() != 0) {
            if (!atMember()) {
                good = out_.append(p_, left());
                break;
            }
            good = skipHeader();
            if (good) {
                good = (open ? inflateReset(&stream) : inflateInit2(&stream, -MAX_WBITS)) == Z_OK;
                open = open || good;
            }
            good = good && inflateMember(stream);
        }
        if (open) inflateEnd(&stream);
        return good;
    }

private:
    // At a time, so that the sum is made of what is still in the cache.
    static constexpr unsigned long STEP = 256 * 1024;

    enum HeaderFlag { HEADER_CRC = 0x02, EXTRA = 0x04, NAME = 0x08, COMMENT = 0x10 };
    static constexpr unsigned char RESERVED_FLAGS = 0xE0;

    unsigned long left() const { return static_cast<unsigned long>(end_ - p_); }
    bool atMember() const { return left() >= 2 && p_[0] == 0x1F && p_[1] == 0x8B; }

    bool skip(unsigned long n) {
        if (n > left()) return false;
        p_ += n;
        return true;
    }

    bool skipText() {
        void const* const nul = std::memchr(p_, 0, left());
        if (nul == nullptr) return false;
        p_ = static_cast<unsigned char const*>(nul) + 1;
        return true;
    }

    bool skipHeader() {
        if (left() < sizeof MEMBER_HEADER) return false;
        unsigned const method = p_[2];
        unsigned const flags = p_[3];
        p_ += sizeof MEMBER_HEADER;
        if (method != Z_DEFLATED || (flags & RESERVED_FLAGS) != 0) return false;
        if ((flags & EXTRA) != 0) {
            if (left() < 2) return false;
            unsigned long const n = p_[0] + 256ul * p_[1];
            if (!skip(2 + n)) return false;
        }
        if ((flags & NAME) != 0 && !skipText()) return false;
        if ((flags & COMMENT) != 0 && !skipText()) return false;
        return (flags & HEADER_CRC) == 0 || skip(2);
    }

    bool inflateMember(z_stream& stream) {
        unsigned long sum = crc32(0, nullptr, 0);
        stream.next_in = inputOf(p_);
        stream.avail_in = static_cast<uInt>(left());
        int result = Z_OK;
        while (result == Z_OK) {
            // With no room left there may still be the end of the stream to read, and no more.
            unsigned char none;
            bool const full = out_.room() == 0 && !out_.grow(wanted_);
            auto const room = full ? 1u : static_cast<uInt>(std::min(STEP, out_.room()));
            stream.next_out = full ? &none : out_.end();
            stream.avail_out = room;
            result = inflate(&stream, Z_NO_FLUSH);
            unsigned long const made = room - stream.avail_out;
            if (full && made != 0) return false;
            sum = crc32(sum, full ? &none : out_.end(), static_cast<uInt>(made));
            out_.add(made);
        }
        p_ = stream.next_in;
        if (result != Z_STREAM_END || left() < TRAILER_SIZE) return false;
        bool const same = getWord(p_) == sum;
        p_ += TRAILER_SIZE;
        return same;
    }

    unsigned char const* p_;
    unsigned char const* const end_;
    Output<char>& out_;
    unsigned long wanted_;
};

unsigned char const* bytesOf(char const* p) {
    return reinterpret_cast<unsigned char const*>(p);
}

}  // namespace

bool zlib::compress(istr const& in, Bytes& out) {
    if (detail::within(in, out.data(), out.max_size())) {
        Bytes result;
        bool const good = compress(in, result);
        out = std::move(result);
        return good;
    }
    unsigned long const n = in.empty() ? 0 : in.size();
    out.init(0);
    out.resize(n * 11 / 10 + 30);
    uLongf made = out.max_size();
    bool const good = ::compress(out.buffer(), &made, bytesOf(in.data()), n) == Z_OK;
    out.size(good ? made : 0);
    return good;
}

bool zlib::uncompress(istr const& in, Bytes& out, unsigned long size) {
    if (detail::within(in, out.data(), out.max_size())) {
        Bytes result;
        bool const good = uncompress(in, result, size != 0 ? size : out.max_size());
        out = std::move(result);
        return good;
    }
    out.init(0);
    out.resize(size);
    uLongf made = size != 0 ? size : out.max_size();
    bool const good =
        ::uncompress(out.buffer(), &made, bytesOf(in.data()), in.empty() ? 0 : in.size()) == Z_OK;
    out.size(good ? made : 0);
    return good;
}

bool gzlib::comp(char const* in, unsigned char*& out, int& size) {
    return GZlibCompressor::run(in, out, size);
}

bool gzlib::uncomp(char const* in, char*& out, int& size, int maxSize) {
    return GZlibCompressor::run(in, out, size, maxSize);
}

}  // namespace zan

bool GZlibCompressor::run(char const* in, unsigned char*& out, int& size) {
    zan::Output<unsigned char> made(zan::MAX_INT);
    bool good = true;
    if (in != nullptr) {
        unsigned long const n = size == -1 ? std::strlen(in) : static_cast<unsigned long>(size);
        good = size >= -1 && n <= zan::MAX_INT && zan::writeMember(zan::bytesOf(in), n, made);
        if (!good) made.clear();
    }
    size = static_cast<int>(made.size());
    out = made.release();
    return good && out != nullptr;
}

bool GZlibCompressor::run(char const* in, char*& out, int& size, int maxSize) {
    zan::Output<char> made(static_cast<unsigned long>(std::max(0, maxSize)));
    bool good = true;
    if (in != nullptr) {
        good = size >= 0;
        if (size > 0)
            good =
                zan::MemberReader(zan::bytesOf(in), static_cast<unsigned long>(size), made).read();
    }
    size = static_cast<int>(made.size());
    out = made.release();
    return good && out != nullptr;
}

int GZlibCompressor::comp(char const* in, unsigned char*& out, int& size) {
    run(in, out, size);
    return 0;
}

int GZlibCompressor::uncomp(char const* in, char*& out, int& size) {
    run(in, out, size, zan::gzlib::MAX_SIZE);
    return 0;
}
