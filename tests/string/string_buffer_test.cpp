#include "zan/string/string_buffer.h"

#include <gtest/gtest.h>

#include "support/seed.h"

namespace {

using namespace zan;

bool terminated(StringBuffer const& b) {
    return b.c_str()[b.size()] == 0;
}

// --- Where the content lives

TEST(StringBufferGrowth, OutOfTheInternalArrayAtTheExactByte) {
    StringBuffer b;
    EXPECT_TRUE(b.isInternal());
    EXPECT_EQ(255u, b.max_size());
    b.append(std::string(255, 'x').c_str(), 255);
    EXPECT_TRUE(b.isInternal());
    EXPECT_TRUE(terminated(b));
    b += 'y';
    EXPECT_FALSE(b.isInternal());
    EXPECT_EQ(512u, b.max_size());
    EXPECT_EQ(std::string(255, 'x') + 'y', b.str());
    EXPECT_TRUE(terminated(b));
    b.assign("a", 1);
    EXPECT_EQ(512u, b.max_size()) << "keeps the block";
    b.append(std::string(5000, 'z').c_str(), 5000);
    EXPECT_EQ(5001u, b.max_size());

    EXPECT_TRUE(StringBuffer(255).isInternal());
    EXPECT_FALSE(StringBuffer(256).isInternal());
    EXPECT_EQ(256u, StringBuffer(256).max_size());
}

TEST(StringBufferGrowth, NoMemoryCutsQuietly) {
    StringBuffer b(istr("abc"));
    EXPECT_FALSE(b.reserve(~0ul));
    EXPECT_FALSE(b.reserve(~0ul / 4));
    EXPECT_EQ("abc", b.str());
    EXPECT_EQ(255u, b.max_size());
    b.append(std::string(300, 'x').c_str(), 300);
    EXPECT_FALSE(b.reserve(~0ul - 400));
    EXPECT_EQ(303u, b.size());
}

TEST(StringBufferGrowth, ItsOwnBytesMayBeAppended) {
    StringBuffer b(istr("0123456789"));
    std::string model = b.str();
    for (int i = 0; i < 8; ++i) {
        b += istr(b);
        model += model;
        b.append(b.data() + 3, 4);
        model += model.substr(3, 4);
        ASSERT_EQ(model, b.str());
    }
}

// --- Two positions

TEST(StringBufferReading, MovesGsizeAlone) {
    StringBuffer b(istr("abcdef"));
    unsigned char c = 0;
    StringBuffer const copy = b - c;
    EXPECT_EQ('a', c);
    EXPECT_EQ(0u, b.gsize());
    EXPECT_EQ(1u, copy.gsize());
    unsigned char out[8] = {};
    StringRef ref(out, 8);
    b -= ref;
    EXPECT_EQ(istr("abcdef"), istr(out, 6));
    EXPECT_EQ(6u, b.gsize());
    b -= c;
    EXPECT_EQ('a', c) << "at the end the byte keeps its value";
    b = istr("xy");
    EXPECT_EQ(0u, b.gsize());
}

TEST(StringBufferCopies, AreTheirOwn) {
    for (unsigned long size : {3ul, 255ul, 256ul, 1000ul})
        for (unsigned long other : {0ul, 200ul, 300ul}) {
            StringBuffer a{istr(std::string(size, 'a'))};
            StringBuffer b{istr(std::string(other, 'b'))};
            StringBuffer c(a);
            c += 'c';
            a.gsize(1);
            a.swap(b);
            EXPECT_EQ(std::string(size, 'a'), b.str());
            EXPECT_EQ(std::string(other, 'b'), a.str());
            EXPECT_EQ(1u, b.gsize());
            EXPECT_EQ(other < 256, a.isInternal());
            StringBuffer moved(std::move(b));
            EXPECT_EQ(std::string(size, 'a'), moved.str());
            a = moved;
            a = static_cast<StringBuffer const&>(a);
            EXPECT_EQ(moved.str(), a.str());
            EXPECT_EQ(std::string(size, 'a') + "c", c.str());
            EXPECT_EQ(std::string(size, 'a') + "xy", ((moved + istr("x")) + 'y').str());
        }
}

TEST(StringBufferModel, RandomOperations) {
    auto random = zan_test::makeRandom();
    StringBuffer b;
    std::string model;
    std::size_t got = 0;
    for (int i = 0; i < 3000; ++i) {
        std::string const piece(random() % 97, static_cast<char>('a' + random() % 26));
        auto const kind = random() % 5;
        if (kind == 0) {
            b += istr(piece);
            model += piece;
        } else if (kind == 1) {
            b += '#';
            model += '#';
        } else if (kind == 2) {
            unsigned char out[64];
            unsigned long n = random() % 64;
            b.read(out, n);
            ASSERT_EQ(istr(model).substr(got, n), istr(out, n));
            got += n;
        } else if (kind == 3) {
            StringBuffer copy(b);
            copy.gsize(b.gsize());
            b.swap(copy);
        } else if (random() % 20 == 0) {
            b = istr(piece);
            model = piece;
            got = 0;
        }
        ASSERT_EQ(model, b.str());
        ASSERT_EQ(got, b.gsize());
        ASSERT_TRUE(terminated(b));
    }
}

}  // namespace
