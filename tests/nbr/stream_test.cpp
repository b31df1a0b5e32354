#include "zan/nbr/stream.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <climits>
#include <limits>
#include <sstream>
#include <string>

#include "support/log_capture.h"
#include "support/seed.h"
#include "zan/log/log_dumper.h"

namespace {

using namespace zan;
using nbr::InputStream;
using nbr::OutputStream;

std::string hexOf(istr const& bytes) {
    std::ostringstream os;
    for (unsigned long i = 0; i < bytes.size(); ++i) {
        if (i != 0) os << ' ';
        os << HexToChar(static_cast<unsigned char>(static_cast<unsigned char>(bytes[i]) >> 4))
           << HexToChar(static_cast<unsigned char>(bytes[i]));
    }
    return os.str();
}

template <class T>
std::string bytesOf(T const& v) {
    OutputStream out;
    out << v;
    return hexOf(out.str());
}

// --- Bytes on the wire, by hand

TEST(NbrWire, Values) {
    EXPECT_EQ("00", bytesOf(null_type()));
    EXPECT_EQ("01 00", bytesOf(empty_type()));
    EXPECT_EQ("01 01 01", bytesOf(true));
    EXPECT_EQ("01 01 01", bytesOf(Bit(true)));
    EXPECT_EQ("01 01 C8", bytesOf(static_cast<unsigned char>(200)));
    EXPECT_EQ("01 01 C8", bytesOf(Byte(200)));
    EXPECT_EQ("01 01 41", bytesOf('A'));
    EXPECT_EQ("01 02 FF FF", bytesOf(static_cast<char>(-1)));
    EXPECT_EQ("01 02 80 FF", bytesOf(Char(-128)));
    EXPECT_EQ("01 01 00", bytesOf(short(0)));
    EXPECT_EQ("01 01 7F", bytesOf(short(127)));
    EXPECT_EQ("01 02 80 00", bytesOf(Short(128)));
    EXPECT_EQ("01 02 2C 01", bytesOf(short(300)));
    EXPECT_EQ("01 02 38 FF", bytesOf(short(-200)));
    EXPECT_EQ("01 02 FF 00", bytesOf(static_cast<unsigned short>(255)));
    EXPECT_EQ("01 02 FF FF", bytesOf(Wchar(0xFFFF)));
    EXPECT_EQ("01 01 05", bytesOf(5L));
    EXPECT_EQ("01 01 05", bytesOf(5));
    EXPECT_EQ("01 04 78 56 34 12", bytesOf(Long(305419896)));
    EXPECT_EQ("01 04 00 00 80 00", bytesOf(8388608L));
    EXPECT_EQ("01 04 FF FF FF FF", bytesOf(-1L));
    EXPECT_EQ("01 04 00 00 00 80", bytesOf(2147483648ul));
    EXPECT_EQ("01 04 00 00 00 80", bytesOf(Ulong(2147483648u)));
    EXPECT_EQ("01 08 FF FF FF FF FF FF FF FF", bytesOf(static_cast<__int64>(-1)));
    EXPECT_EQ("01 06 00 00 00 00 00 01", bytesOf(1ull << 40));
    EXPECT_EQ("01 08 FF FF FF FF FF FF FF FF", bytesOf(~0ull));
    EXPECT_EQ("01 04 00 00 80 3F", bytesOf(1.0f));
    EXPECT_EQ("01 01 00", bytesOf(Float(0)));
    EXPECT_EQ("01 08 00 00 00 00 00 00 F0 3F", bytesOf(1.0));
    EXPECT_EQ("01 02 80 00", bytesOf(Time::microSeconds(128)));
    EXPECT_EQ("F1 03 61 62 63", bytesOf(String("abc")));
    EXPECT_EQ("01 03 61 62 63", bytesOf(istr("abc")));
    EXPECT_EQ("01 03 61 62 63", bytesOf("abc"));
    EXPECT_EQ("01 03 61 62 63", bytesOf(std::wstring(L"abc")));
    EXPECT_EQ("01 02 C3 A9", bytesOf(L"\u00E9"));
    EXPECT_EQ("F1 00", bytesOf(String()));
    EXPECT_EQ("01 00", bytesOf(istr()));
}

TEST(NbrWire, SizesAtTheEdges) {
    for (auto const& [size, head] :
         std::vector<std::pair<unsigned, char const*>>{{1, "01 01"},
                                                       {7, "01 07"},
                                                       {8, "01 08"},
                                                       {15, "01 0F"},
                                                       {16, "01 10"},
                                                       {17, "01 11"},
                                                       {127, "01 7F"},
                                                       {128, "02 80 00"},
                                                       {255, "02 FF 00"},
                                                       {256, "02 00 01"},
                                                       {300, "02 2C 01"},
                                                       {32767, "02 FF 7F"},
                                                       {32768, "03 00 80 00"},
                                                       {70000, "03 70 11 01"}}) {
        std::string data;
        for (unsigned i = 0; i < size; ++i) data += static_cast<char>(i * 31);
        OutputStream out;
        out << istr(data);
        istr const wire = out.str();
        EXPECT_EQ(head, hexOf(wire.leftstr(wire.size() - size)));
        EXPECT_EQ(istr(data), wire.rightstr(size));
        EXPECT_EQ(istr(data), InputStream(wire).getSimpleValue()->data());
    }
}

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
    EXPECT_EQ("FF 01 28 01 01 01 01 07 FF 01 28 03 01 02 FF FF FF 01 29 09 00 FF 01 29",
              hexOf(out.str()));
    out.reset();
    { OutputStream::Entry const root(out); }
    EXPECT_EQ("FF 01 28 FF 01 29", hexOf(out.str()));
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
    zan_test::LogCapture log;
    try {
        out << ~0ul;
        FAIL();
    } catch (OutOfRangeException const& e) {
        EXPECT_STREQ("OutOfRangeException: OutOfRangeException", e.msg());
    }
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
    for (bool v : {true, false}) expectBack(v), expectBack(Bit(v));
    for (int v = -128; v < 128; ++v) {
        expectBack(static_cast<char>(v));
        expectBack(static_cast<unsigned char>(v));
    }
    for (int shift = 0; shift < 64; ++shift)
        for (int delta : {-1, 0, 1}) {
            uint64 const u = (1ull << shift) + static_cast<uint64>(delta);
            auto const s = static_cast<__int64>(u);
            expectBack(u), expectBack(0 - u), expectBack(s), expectBack(Longlong(s));
            expectBack(Ulonglong(u)), expectBack(Time::microSeconds(s));
            expectBack(static_cast<int>(u)), expectBack(static_cast<unsigned int>(u));
            expectBack(static_cast<short>(u)), expectBack(static_cast<unsigned short>(u));
            expectBack(static_cast<long>(static_cast<int>(u)));
            expectBack(static_cast<unsigned long>(static_cast<unsigned int>(u)));
            expectBack(Long(static_cast<int>(u))), expectBack(Ulong(static_cast<unsigned>(u)));
            expectBack(Wchar(static_cast<wchar_t>(u & 0xFFFF)));
        }
    for (double v : {0.0, -0.0, 1.5, DBL_MAX, DBL_MIN, -DBL_MAX, HUGE_VAL}) {
        expectBack(v), expectBack(Double(v));
        expectBack(static_cast<float>(v > FLT_MAX ? HUGE_VALF : v));
    }
    expectBack(String("a\xC3\xA9"));
    expectBack(std::wstring(L"\u00E9\U0001F600"));
    expectBack(Bytes(istr("a\0b", 3)));
}

// Random trees, written by walking and read again.
void writeRandom(std::mt19937_64& random, OutputStream& out, std::ostream& model, int depth) {
    OutputStream::Entry const entry(out);
    model << '{';
    for (auto n = random() % 6; n > 0; --n) {
        auto const id = static_cast<unsigned char>(random());
        model << (model.tellp() && static_cast<std::ostringstream&>(model).str().back() != '{'
                      ? " ["
                      : "[")
              << static_cast<int>(id) << "] ";
        if (depth < 5 && random() % 3 == 0) {
            out.write(id, String("t"));
            model << "'t'";
        } else {
            out.write(id, static_cast<unsigned char>(7));
            model << "07";
        }
    }
    model << '}';
}

TEST(NbrRoundTrip, RandomLists) {
    auto random = zan_test::makeRandom();
    for (int round = 0; round < 200; ++round) {
        OutputStream out;
        std::ostringstream model;
        writeRandom(random, out, model, 0);
        dumper d(true);
        d << *InputStream(out.str()).get();
        EXPECT_EQ(model.str(), std::string(d.str()));
    }
}

// --- The streams

TEST(NbrStreams, NullAndWrongKinds) {
    nbr::CodecStream const codec{istr("")};
    EXPECT_FALSE(codec.encoding());
    InputStream none(istr(""));
    EXPECT_EQ(nullptr, none.getSimpleValue());
    EXPECT_EQ(nullptr, none.getChild(1));
    InputStream const simple(istr("\1\1a"));
    EXPECT_EQ(nullptr, simple.getChild(1));
    EXPECT_NE(nullptr, simple.getSimpleValue());
    InputStream const complex(istr("\xFF\x01("));
    zan_test::LogCapture log;
    try {
        complex.getSimpleValue();
        FAIL();
    } catch (nbr::DecodeException const& e) {
        EXPECT_STREQ("zan::nbr::DecodeException: not simple value", e.msg());
    }
    EXPECT_TRUE(log.has("THROWING"));
    InputStream const borrowed(complex.get());
    InputStream moved(istr("\1\1b"));
    moved.swap(none);
    EXPECT_EQ(nullptr, moved.get());
    EXPECT_NE(nullptr, none.get());
    OutputStream a;
    a << istr("abc");
    OutputStream b(a);
    a.reset();
    a.swap(b);
    EXPECT_EQ("01 03 61 62 63", hexOf(a.str()));
    EXPECT_EQ("", hexOf(b.str()));
}

// [point]
struct Point : zan::nbr::CodecInterface {
    int x = 0;
    zan::String label;

    void codec(zan::nbr::CodecStream& s) override {
        if (s.encoding()) {
            zan::nbr::OutputStream::Entry const entry(s.bos());
            s.bos().write(1, x);
            s.bos().write(2, label);
        } else {
            s.bis().read(1, x);
            s.bis().read(2, label);
        }
    }
};
// [/point]

struct Failing : nbr::CodecInterface {
    void codec(nbr::CodecStream& s) override {
        OutputStream::Entry const entry(s.bos());
        s.bos().write(1, std::string(400, 'x').c_str());
        throw std::runtime_error("fail");
    }
};

struct Line : nbr::CodecInterface {
    Point a;
    Point b;

    void codec(nbr::CodecStream& s) override {
        if (s.encoding()) {
            OutputStream::Entry const entry(s.bos());
            s.bos().write(1, a);
            s.bos().write(2, b);
        } else {
            s.bis().read(1, a);
            s.bis().read(2, b);
        }
    }
};

TEST(NbrCodec, ObjectsInObjects) {
    Line line;
    line.a.x = -7;
    line.b.label = std::string(400, 'l');
    OutputStream out;
    line.encode(out);
    unsigned long const once = out.str().size();
    line.encode(out);
    EXPECT_EQ(2 * once, out.str().size()) << "appends";
    InputStream in(out.str());
    Line back;
    back.decode(in);
    EXPECT_NE(nullptr, in.get()) << "comes back";
    EXPECT_EQ(-7, back.a.x);
    EXPECT_EQ(line.b.label, back.b.label);
}

TEST(NbrCodec, AFailedEncodeLosesNothing) {
    OutputStream out;
    out << 5;
    EXPECT_THROW(Failing().encode(out), std::runtime_error);
    EXPECT_EQ("01 01 05 FF 01 28", hexOf(out.str()).substr(0, 17));
    std::string const before = out.str();
    EXPECT_THROW(out.write(1, Failing()), std::runtime_error);
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
    os << nbr::dump_buf(
        istr("\xFF\x01(\x01\x01\x01\x05\x02\xF1\x02"
             "ab\xFF\x01)",
             15));
    EXPECT_EQ(
        "@zan::nbr::InputStream{\n"
        "    {\n"
        "        [1] 05\n"
        "        [2] 'ab'\n"
        "    }\n"
        "}",
        os.str());
    zan_test::LogCapture log;
    std::ostringstream none;
    none << nbr::dump_buf(istr("\x25\0", 2));
    EXPECT_EQ("", none.str());
    EXPECT_TRUE(log.has("EXCEPTION"));
    EXPECT_TRUE(log.has("invalid high part of lengthOfSize 25"));
    OutputStream out;
    out << 5;
    std::ostringstream hex;
    hex << out;
    EXPECT_NE(std::string::npos, hex.str().find("@zan::nbr::OutputStream{\n        00 01"));
    EXPECT_NE(std::string::npos, hex.str().find("000000: 01 01 05"));
}

}  // namespace
