#include "zan/nbr/stream.h"

#include <gmock/gmock.h>

#include <cfloat>
#include <cmath>
#include <memory>

#include "support/log_capture.h"
#include "support/seed.h"
#include "support/text.h"
#include "support/vectors.h"

namespace {

using namespace zan;
using nbr::InputStream;
using nbr::OutputStream;
using testing::HasSubstr;
using namespace zan_test;

// --- Bytes on the wire; those of single values are in tests/vectors/nbr.txt.

TEST(NbrWire, NestedAsByHand) {
    OutputStream out;
    {
        OutputStream::Entry const root(out);
        out.write(1, true);
        {
            OutputStream::Entry const nested(out, 7);
            out.write(3, short(-1));
        }
        out.write(9, null_type());
    }
    EXPECT_EQ(fromDigits("FF 01 28 01 01 01 01 07 FF 01 28 03 01 02 FF FF FF 01 29 09 00 FF 01 29"),
              std::string(out.str()));
    out.reset();
    { OutputStream::Entry const root(out); }
    EXPECT_EQ(fromDigits("FF 01 28 FF 01 29"), std::string(out.str()));
}

// --- What does not fit is an error, and leaves no trace.

TEST(NbrOutOfRange, NothingIsWritten) {
    OutputStream out;
    out << 1;
    std::string const before = out.str();
    EXPECT_THROW(out << 0x80000000l, OutOfRangeException);
    EXPECT_THROW(out << -0x80000001l, OutOfRangeException);
    EXPECT_THROW(out << 0x100000000ul, OutOfRangeException);
    EXPECT_THROW(out << Wchar(0x10000), OutOfRangeException);
    EXPECT_THROW(out << istr("", 0x100000000ul), OutOfRangeException);
    EXPECT_THROW(out.write(1, 0x80000000l), OutOfRangeException);
    EXPECT_THROW(out.write(1, Wchar(0x1F600)), OutOfRangeException);
    EXPECT_EQ(before, std::string(out.str()));
    zan_test::LogCapture const log;
    EXPECT_EQ("OutOfRangeException: OutOfRangeException",
              messageOf<OutOfRangeException>([&out] { out << ~0ul; }));
    EXPECT_TRUE(log.has("THROWING"));
}

TEST(NbrOutOfRange, TheEndMarkIsNotImitated) {
    for (unsigned size : {40u, 41u, 42u}) {
        OutputStream out;
        {
            OutputStream::Entry const root(out);
            out.write(255, istr(std::string(size, 'x')));
            out.write(255, String(std::string(size, 'y')));
            out.write(1, 5);
        }
        InputStream const in(out.str());
        int v = 0;
        EXPECT_TRUE(in.read(1, v));
        istr data;
        EXPECT_TRUE(in.read(255, data));
        EXPECT_EQ(istr(std::string(size, 'y')), data);
        auto const& list = static_cast<nbr::ComplexValue*>(in.get())->data();
        ASSERT_EQ(3u, list.size());
        static_cast<nbr::SimpleValue*>(list.front().value)->read(data);
        EXPECT_EQ(istr(std::string(size, 'x')), data);
    }
}

// --- Every type comes back as it was written.

template <class T>
void expectBack(T const& v) {
    OutputStream out;
    {
        OutputStream::Entry const root(out);
        out.write(3, v);
    }
    T back{};
    EXPECT_TRUE(InputStream(out.str()).read(3, back));
    EXPECT_TRUE(v == back);
}

TEST(NbrRoundTrip, AllTypesAtTheirBounds) {
    for (int v = -128; v < 128; ++v) {
        expectBack(static_cast<char>(v));
        expectBack(static_cast<unsigned char>(v));
    }
    for (int shift = 0; shift < 64; ++shift)
        for (int delta : {-1, 0, 1}) {
            uint64 const u = (1ull << shift) + static_cast<uint64>(delta);
            auto const s = static_cast<__int64>(u);
            expectBack(u);
            expectBack(Longlong(s));
            expectBack(Bit(s < 0));
            expectBack(Ulonglong(0 - u));
            expectBack(Time::microSeconds(s));
            expectBack(static_cast<int>(u));
            expectBack(Ulong(static_cast<unsigned int>(u)));
            expectBack(Short(static_cast<short>(u)));
            expectBack(static_cast<unsigned short>(u));
            expectBack(static_cast<long>(static_cast<int>(u)));
            expectBack(static_cast<unsigned long>(static_cast<unsigned int>(u)));
            expectBack(Long(static_cast<int>(u)));
            expectBack(Wchar(static_cast<wchar_t>(u & 0xFFFF)));
        }
    for (double v : {0.0, -0.0, 1.5, DBL_MAX, DBL_MIN, -DBL_MAX, HUGE_VAL}) {
        expectBack(Double(v));
        expectBack(static_cast<float>(v > FLT_MAX ? HUGE_VALF : v));
    }
    expectBack(std::wstring(L"\u00E9\U0001F600"));
    // Short data are written otherwise than long.
    std::string data("\0", 1);
    for (; data.size() < 300; data += static_cast<char>(data.size() * 31)) {
        expectBack(Bytes(istr(data)));
        expectBack(String(data));
    }
}

// Writes a list, and gives what its dump will be.
std::string writeRandom(std::mt19937_64& random, OutputStream& out, int depth) {
    std::string text;
    for (auto n = random() % 6; n > 0; --n) {
        auto const id = static_cast<unsigned char>(random());
        text += (text.empty() ? "[" : " [") + std::to_string(id) + "] ";
        if (depth < 5 && random() % 3 == 0) {
            OutputStream::Entry const entry(out, id);
            text += writeRandom(random, out, depth + 1);
        } else {
            out.write(id, static_cast<unsigned char>(7));
            text += "07";
        }
    }
    return "{" + text + "}";
}

TEST(NbrRoundTrip, RandomTrees) {
    auto random = zan_test::makeRandom();
    for (int round = 0; round < 200; ++round) {
        OutputStream out;
        std::string text;
        {
            OutputStream::Entry const root(out);
            text = writeRandom(random, out, 0);
        }
        EXPECT_EQ(text, dumped(*InputStream(out.str()).get(), true));
    }
}

// --- The streams

TEST(NbrStreams, NullAndWrongKinds) {
    InputStream none(istr(""));
    EXPECT_EQ(nullptr, none.getSimpleValue());
    EXPECT_EQ(nullptr, none.getChild(1));
    InputStream simple(istr("\1\1a"));
    EXPECT_EQ(nullptr, simple.getChild(1));
    InputStream const complex(istr("\xFF\x01("));
    zan_test::LogCapture const log;
    EXPECT_EQ("zan::nbr::DecodeException: not simple value",
              messageOf<nbr::DecodeException>([&complex] { complex.getSimpleValue(); }));
    EXPECT_TRUE(log.has("THROWING"));
    InputStream const borrowed(complex.get());
    simple.swap(none);
    EXPECT_EQ(nullptr, simple.get());
    EXPECT_NE(nullptr, none.getSimpleValue());
    OutputStream a;
    a << "abc";
    a << L"\u00E9";
    OutputStream b(a);
    a.reset();
    a.swap(b);
    EXPECT_EQ(istr("\1\3abc\1\2\xC3\xA9"), a.str());
    EXPECT_EQ(istr(), b.str());
}

// A list of itself.
struct Node : nbr::CodecInterface {
    String name;
    std::unique_ptr<Node> next;

    void codec(nbr::CodecStream& s) override {
        if (s.encoding()) {
            OutputStream::Entry const entry(s.bos());
            s.bos().write(1, name);
            if (name.empty()) throw std::runtime_error("no name");
            if (next) s.bos().write(2, *next);
        } else {
            s.bis().read(1, name);
            next = std::make_unique<Node>();
            if (!s.bis().read(2, *next)) next.reset();
        }
    }
};

TEST(NbrCodec, ObjectsInObjects) {
    Node node;
    node.name = "first";
    node.next = std::make_unique<Node>();
    node.next->name = std::string(400, 'l');
    OutputStream out;
    node.encode(out);
    unsigned long const once = out.str().size();
    node.encode(out);
    EXPECT_EQ(2 * once, out.str().size()) << "appends";
    InputStream in(out.str());
    Node back;
    back.decode(in);
    EXPECT_NE(nullptr, in.get()) << "comes back";
    EXPECT_EQ("first", back.name);
    EXPECT_EQ(node.next->name, back.next->name);
    EXPECT_EQ(nullptr, back.next->next);
}

TEST(NbrCodec, AFailedEncodeLosesNothing) {
    OutputStream out;
    out << 5;
    EXPECT_THROW(Node().encode(out), std::runtime_error);
    std::string const before = out.str();
    EXPECT_EQ(fromDigits("01 01 05 FF 01 28 01 F1 00 FF 01 29"), before);
    EXPECT_THROW(out.write(1, Node()), std::runtime_error);
    EXPECT_EQ(before, std::string(out.str())) << "a child goes with its id";
    InputStream in(istr("\xFF\x01(\x01\xFF\x01("));
    int v = 7;
    EXPECT_THROW(in.read(1, v), nbr::DecodeException);
    EXPECT_FALSE(in.read(2, v));
    EXPECT_EQ(7, v);
    EXPECT_NE(nullptr, in.get());
}

// --- Dumps

TEST(NbrDump, OfBuffers) {
    std::ostringstream os;
    os << nbr::dump_buf(fromDigits(
        "FF 01 28 01 01 01 05 02 F1 02 61 62 03 FF 01 28 C8 01 00 04 F1 00 FF 01 29 FF 01 29"));
    EXPECT_EQ(
        "@zan::nbr::InputStream{\n"
        "    {\n"
        "        [1] 05\n"
        "        [2] 'ab'\n"
        "        [3] {\n"
        "            [200] \n"
        "            [4] \n"
        "        }\n"
        "    }\n"
        "}",
        os.str());
    zan_test::LogCapture const log;
    os.str("");
    os << nbr::dump_buf(istr("\x25\0", 2));
    EXPECT_EQ("", os.str());
    EXPECT_TRUE(log.has("EXCEPTION"));
    EXPECT_TRUE(log.has("invalid high part of lengthOfSize 25"));
    OutputStream out;
    out << 5;
    os << out;
    EXPECT_THAT(os.str(), HasSubstr("@zan::nbr::OutputStream{\n        00 01"));
    EXPECT_THAT(os.str(), HasSubstr("000000: 01 01 05"));
}

}  // namespace
