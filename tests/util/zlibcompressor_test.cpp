#include "zan/util/zlibcompressor.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <memory>

#include "support/seed.h"
#include "support/temp_dir.h"

namespace {

using namespace zan;
using zan_test::randomBytes;

std::string packed(std::string const& text) {
    int size = static_cast<int>(text.size());
    unsigned char* out = nullptr;
    EXPECT_TRUE(gzlib::comp(text.data(), out, size));
    std::string const result(reinterpret_cast<char*>(out), static_cast<std::size_t>(size));
    delete[] out;
    return result;
}

struct Unpacked {
    bool good;
    std::string text;
};

// From a copy on the heap, so that a look beyond its end is found.
Unpacked unpacked(std::string const& in, int maxSize = gzlib::MAX_SIZE) {
    std::unique_ptr<char[]> const copy(new char[in.size()]);
    in.copy(copy.get(), in.size());
    int size = static_cast<int>(in.size());
    char* out = nullptr;
    bool const good = gzlib::uncomp(copy.get(), out, size, maxSize);
    EXPECT_NE(nullptr, out);
    Unpacked result{good, std::string(out, static_cast<std::size_t>(size))};
    delete[] out;
    return result;
}

void expectUnpacked(std::string const& in, bool good, std::string const& text) {
    Unpacked const got = unpacked(in);
    EXPECT_EQ(good, got.good) << in.size() << " bytes in";
    EXPECT_TRUE(text == got.text) << got.text.size() << " bytes, expected " << text.size();
}

TEST(GzipProgram, ReadsOursAndWeReadItsOwn) {
    if (std::system("gzip --version >/dev/null 2>&1") != 0) GTEST_SKIP() << "no gzip here";
    auto random = zan_test::makeRandom();
    zan_test::TempDir const dir;
    std::string const plain = dir.file("plain");
    std::string const zipped = dir.file("zipped.gz");
    auto const run = [&](std::string const& command) {
        ASSERT_EQ(0, std::system(command.c_str())) << command;
    };
    for (std::size_t const size : {0ul, 1ul, 4095ul, 4096ul, 4097ul, 300000ul})
        for (unsigned const kinds : {1u, 256u}) {
            std::string const text = randomBytes(random, size, kinds);
            dir.put("zipped.gz", packed(text));
            run("gzip -dc " + zipped + " >" + plain);
            EXPECT_TRUE(text == dir.content("plain")) << size;
            dir.put("plain", text);
            for (char const* options : {"-1c ", "-9c ", "-Nkc "}) {
                run("gzip " + std::string(options) + plain + " >" + zipped);
                expectUnpacked(dir.content("zipped.gz"), true, text);
            }
        }
}

TEST(GzipMember, BytesAndSizes) {
    std::string const empty("\x1F\x8B\x08\0\0\0\0\0\0\x0B\x03\0\0\0\0\0\0\0\0\0", 20);
    EXPECT_EQ(empty, packed(""));
    expectUnpacked(empty, true, "");
    // Up to the NUL with -1, over it with a size.
    int size = -1;
    unsigned char* out = nullptr;
    EXPECT_EQ(0, GZlibCompressor::comp("abc\0def", out, size));
    std::string const short_(reinterpret_cast<char*>(out), static_cast<std::size_t>(size));
    delete[] out;
    expectUnpacked(short_, true, "abc");
    std::string const nul("abc\0def", 7);
    expectUnpacked(packed(nul), true, nul);
    // Nothing comes of nothing, and of a size that is none.
    char* text = nullptr;
    for (int const given : {0, 5, -1}) {
        int sizes[] = {given, given};
        EXPECT_TRUE(gzlib::comp(nullptr, out, sizes[0]));
        EXPECT_TRUE(gzlib::uncomp(nullptr, text, sizes[1]));
        EXPECT_THAT(sizes, testing::Each(0));
        delete[] out;
        delete[] text;
    }
    size = -2;
    EXPECT_FALSE(gzlib::comp("abc", out, size));
    delete[] out;
    size = -1;
    EXPECT_FALSE(gzlib::uncomp("abc", text, size));
    delete[] text;
}

TEST(GzipMember, PlainDataAndWhatFollows) {
    std::string const a = packed("first ");
    std::string const b = packed("second");
    expectUnpacked("", true, "");
    for (char const* plain : {"p", "plain text", "\x1F", "\x8B\x1F"})
        expectUnpacked(plain, true, plain);
    expectUnpacked(a + b, true, "first second");
    expectUnpacked(a + "stray" + b, true, "first stray" + b);
    expectUnpacked(a + "\x1F", true, "first \x1F");
    expectUnpacked(a + "\x1F\x8B", false, "first ");
    expectUnpacked(a + "\x1F\x8B\x07" + b, false, "first ");
    // All the flags of a header.
    std::string const body = a.substr(10);
    std::string const extra("\x05\0ab\0cd", 7);
    for (int flags = 0; flags < 256; ++flags) {
        std::string in = a.substr(0, 10);
        in[3] = static_cast<char>(flags);
        if (flags & 4) in += extra;
        if (flags & 8) in += std::string("name\0", 5);
        if (flags & 16) in += std::string("\0", 1);
        if (flags & 2) in += "\x12\x34";
        bool const good = (flags & 0xE0) == 0;
        expectUnpacked(in + body, good, good ? "first " : "");
        for (std::size_t cut = 2; good && cut < in.size(); ++cut)
            expectUnpacked(in.substr(0, cut), false, "");
    }
}

TEST(GzipMember, DamageIsToldAndWhatWasReadStays) {
    auto random = zan_test::makeRandom();
    std::string const text = randomBytes(random, 3000, 4);
    std::string const whole = packed(text);
    for (std::size_t cut = 2; cut < whole.size(); ++cut) {
        Unpacked const got = unpacked(whole.substr(0, cut));
        EXPECT_FALSE(got.good) << cut;
        bool const onlyOfTheTrailer = cut + 8 >= whole.size();
        EXPECT_EQ(onlyOfTheTrailer ? text : text.substr(0, got.text.size()), got.text) << cut;
    }
    for (std::size_t at = 0; at < whole.size(); ++at) {
        std::string damaged = whole;
        damaged[at] = static_cast<char>(damaged[at] ^ (1 << random() % 8));
        Unpacked const got = unpacked(damaged);
        bool const ignored = at >= 4 && (at < 10 || at + 4 >= whole.size());
        if (at < 2) {
            EXPECT_EQ(damaged, got.text) << "plain";
        } else if (at != 3) {  // a flag may find what it asks for in the data
            EXPECT_TRUE(got.good == ignored || got.text == text) << at << ": not all bits count";
        }
        EXPECT_TRUE(at + 8 < whole.size() || got.text == text) << at;
    }
    char* out = nullptr;
    std::string damaged = whole;
    damaged[whole.size() - 6] ^= 1;
    int size = static_cast<int>(damaged.size());
    EXPECT_EQ(0, GZlibCompressor::uncomp(damaged.data(), out, size));
    EXPECT_EQ(text, std::string(out, static_cast<std::size_t>(size)));
    delete[] out;
}

TEST(GzipMember, TheLimitHolds) {
    std::string const bomb = packed(std::string(4000000, 'a'));
    EXPECT_LT(bomb.size(), 4100u);
    for (int const limit : {0, 1, 4096, 1000000, 3999999, 4000000, 4000001}) {
        Unpacked const got = unpacked(bomb, limit);
        EXPECT_EQ(limit >= 4000000, got.good) << limit;
        EXPECT_EQ(static_cast<std::size_t>(std::min(limit, 4000000)), got.text.size());
        EXPECT_EQ(std::string::npos, got.text.find_first_not_of('a'));
    }
    EXPECT_TRUE(unpacked(packed(""), 0).good);
    EXPECT_EQ("pl", unpacked("plain", 2).text);
    EXPECT_FALSE(unpacked("plain", 2).good);
    EXPECT_FALSE(unpacked("plain", -1).good);
    // A length that is a lie costs nothing.
    std::string lie = packed("short");
    lie.replace(lie.size() - 4, 4, "\xFF\xFF\xFF\x7F");
    expectUnpacked(lie, true, "short");
}

TEST(ZlibStream, ThereAndBack) {
    auto random = zan_test::makeRandom();
    for (std::size_t const size : {0ul, 1ul, 100ul, 5000ul, 300000ul})
        for (unsigned const kinds : {1u, 256u}) {
            std::string const text = randomBytes(random, size, kinds);
            Bytes stream;
            ASSERT_TRUE(zlib::compress(text, stream));
            Bytes out;
            EXPECT_TRUE(zlib::uncompress(stream, out, size + 1));
            EXPECT_TRUE(istr(text) == istr(out));
            EXPECT_TRUE(zlib::uncompress(stream, out, 0)) << "the room that there is";
            EXPECT_TRUE(istr(text) == istr(out));
            if (size > 1) {
                EXPECT_FALSE(zlib::uncompress(stream, out, size - 1));
                EXPECT_TRUE(out.empty());
            }
            EXPECT_FALSE(zlib::uncompress(istr(stream).leftstr(stream.size() - 1), out, size + 1));
            // Where the input stands.
            EXPECT_TRUE(zlib::uncompress(stream, stream, size + 1));
            EXPECT_TRUE(zlib::compress(stream, stream));
            EXPECT_TRUE(zlib::uncompress(stream, out, size + 1));
            EXPECT_TRUE(istr(text) == istr(out));
        }
    Bytes out;
    EXPECT_FALSE(zlib::uncompress(istr(), out, 0));
    EXPECT_FALSE(zlib::uncompress("no stream", out, 100));
}

}  // namespace
