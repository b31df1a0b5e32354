#include "zan/util/binarystream.h"

#include <gtest/gtest.h>

#include "support/log_capture.h"
#include "support/seed.h"
#include "support/text.h"

namespace {

using namespace zan;
using zan_test::messageOf;

// The packing, byte by byte as it is defined.
std::string packedByRule(uint64 v, unsigned long cap) {
    std::string bytes;
    do {
        bytes += static_cast<char>(v);
        v >>= 8;
    } while (bytes.size() < cap && (v != 0 || (bytes.back() & 0x80) != 0));
    return bytes;
}

TEST(BinaryPacking, AsTheRuleAtEveryWidth) {
    auto random = zan_test::makeRandom();
    for (int round = 0; round < 20000; ++round) {
        uint64 v = random() >> random() % 64;
        if (round < 256) v = (1ull << round / 4) + static_cast<uint64>(round % 4) - 2;
        for (unsigned long cap = 1; cap <= 8; ++cap) {
            char out[9];
            out[cap] = '#';
            char const n = BinaryStream::writeInt(out, v, cap);
            ASSERT_EQ(packedByRule(v, cap), std::string(out, static_cast<unsigned char>(n)));
            ASSERT_EQ('#', out[cap]) << "written past the cap";
            uint64 const mask = cap == 8 ? ~0ull : (1ull << 8 * cap) - 1;
            ASSERT_EQ(v & mask, BinaryStream::readUint(out, n, 8));
        }
    }
}

TEST(BinaryUnpacking, SizesThatAreNone) {
    EXPECT_EQ(0x0201u, BinaryStream::readUint(istr("\1\2\3"), 2)) << "the first two";
    EXPECT_EQ(0u, BinaryStream::readUint(istr(), 4));
    EXPECT_EQ(0u, BinaryStream::readUint(istr(std::string(256, 'x')), 4)) << "narrowed to 0";
    EXPECT_EQ(0xFFFF, BinaryStream::readInt(istr("\xFF\xFF"), 4)) << "no sign";
    for (auto const& [size, text] : {std::pair(128, "-128"), std::pair(255, "-1")}) {
        zan_test::LogCapture const log;
        std::string const bytes(static_cast<std::size_t>(size), 'x');
        EXPECT_EQ("BinaryDecodeException: invalid size " + std::string(text),
                  messageOf<BinaryDecodeException>([&] { BinaryStream::readUint(bytes, 8); }));
        EXPECT_TRUE(log.has("THROWING"));
    }
    EXPECT_THROW(BinaryStream::readUint("123456789", 9, 9), BinaryDecodeException);
}

TEST(BinaryScramblers, AreTheirOwnReverse) {
    EXPECT_EQ(0x9E, BinaryStream::encrypt(static_cast<unsigned char>(0x61)));
    EXPECT_EQ(0x61, BinaryStream::decrypt(static_cast<unsigned char>(0x9E)));
    std::string text = "abc";
    BinaryStream::encrypt(ostr(text.data(), text.size()));
    EXPECT_EQ("\x9E\x9C\x9E", text);
    std::string longer(600, 'x');
    BinaryStream::encrypt(ostr(longer.data(), longer.size()));
    EXPECT_EQ(longer[0], longer[256]);
    BinaryStream::decrypt(ostr(longer.data(), longer.size()));
    EXPECT_EQ(std::string(600, 'x'), longer);
}

}  // namespace
