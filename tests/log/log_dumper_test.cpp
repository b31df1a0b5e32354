#include "zan/log/log_dumper.h"

#include <gtest/gtest.h>

#include <array>

#include "support/text.h"

namespace {

using namespace zan;

struct Sample {
    int count_ = 7;
    String name_ = "ab";
    std::vector<String> list_ = {"x", "y"};

    dumper& dump(dumper& d) const {
        dumper::_Entry const entry(d, "zan::Sample");
        d << indent << namestring("count_") << count_ << endline;
        d << indent << namestring("name_") << name_ << endline;
        d << indent << namestring("list_") << list_ << endline;
        return d;
    }
};

template <class T>
std::string normal(T const& value) {
    return zan_test::dumped(value);
}
template <class T>
std::string compact(T const& value) {
    return zan_test::dumped(value, true);
}

TEST(DumpShape, NormalAndCompactToTheByte) {
    EXPECT_EQ(
        "@zan::Sample{\n"
        "    count_ = 7\n"
        "    name_ = 'ab'\n"
        "    list_ = @zan::vector{\n"
        "        [0]'x'\n"
        "        [1]'y'\n"
        "    }\n"
        "}",
        normal(Sample()));
    EXPECT_EQ("{count_=7 name_='ab' list_={[0]'x' [1]'y'}}", compact(Sample()));
}

TEST(DumpShape, TheCompactFormKeepsOneFlagOnly) {
    // After the outer structure is closed, a following value gets a separator although it is the
    // second one only by the flag of the inner structure.
    std::list<std::list<int>> const nested{{1, 2}, {3}};
    EXPECT_EQ("{{1 2} {3}}", compact(nested));
    dumper d(true);
    d << nested << indent << 5;
    EXPECT_EQ("{{1 2} {3}} 5", d.str());
}

TEST(DumpShape, ContainersAndSettings) {
    std::map<int, String> const map{{1, "a"}, {2, "b"}};
    EXPECT_EQ("@zan::map{\n    1 : 'a'\n    2 : 'b'\n}", normal(map));
    EXPECT_EQ("{1:'a' 2:'b'}", compact(map));
    EXPECT_EQ("@zan::set{\n    1\n    3\n}", normal(std::set<int>{3, 1}));
    EXPECT_EQ("{[0]1 [1]2}", compact(std::array<int, 2>{1, 2}));
    EXPECT_EQ("@zan::multimap{\n    1 : 2\n    1 : 3\n}",
              normal(std::multimap<int, int>{{1, 2}, {1, 3}}));
    stack<int> frames;
    frames.push(4);
    EXPECT_EQ("@zan::stack{\n    4\n}", normal(frames));

    dumper d(false, "|", "..", 1, ";", "(", ")", "#", ":", ",");
    d << std::vector<int>{8};
    EXPECT_EQ("#zan::vector(;|....[0]8;|..);", d.str());
    dumper args;
    args.enter("T", "arg", "x", "y");
    args.leave();
    EXPECT_EQ("@T<arg>@x@y{\n}", args.str());
}

TEST(DumpValues, PlainAndDumpForm) {
    dumper d(true);
    d.write(true) << rawstring(" ") << true << rawstring(" ") << 'a' << '\n' << '\x7f';
    d << static_cast<unsigned char>('b') << -5L << 1.5 << Time();
    d.write(Time());
    EXPECT_EQ("1 true 'a''<LF>''\\177''b'-51.5'<null>'<null>", d.str());
    EXPECT_EQ("", normal(String()) + normal(Bytes()) + normal(std::wstring()) + normal(istr()));
    EXPECT_EQ("\"\xc3\xa4\"", normal(std::wstring(L"\u00e4")));
    EXPECT_EQ("", normal(namestring("")));
    EXPECT_EQ("a = ", normal(namestring("a")));
    EXPECT_EQ("a=", compact(namestring("a")));
    EXPECT_EQ("a->", normal(namestring("a", "->")));
}

TEST(DumpValues, EscapedBytes) {
    EXPECT_EQ("\"A\\x{0001}B\"", normal(Bytes(istr("A\0\1B", 4))));
    EXPECT_EQ("\"\\x{FF}\"", normal(Bytes(istr("\xff"))));
    dumper d(true);
    d.level(1);
    d << Bytes(istr("a\nb\x01"));
    EXPECT_EQ("\"a\n    b\\x{01}\"", d.str()) << "a line feed breaks the line, compact or not";
    dumper plain;
    plain << Bytes(istr("\x01")) << 10 << rawstring(" ") << 255;
    EXPECT_EQ("\"\\x{01}\"10 255", plain.str()) << "the stream is put back";
}

TEST(DumpValues, LongTextIsCutWithTheWholeSize) {
    std::string const text(300, 'x');
    EXPECT_EQ("'" + text.substr(0, 256) + "<omit data up to 300>'", normal(text));
    EXPECT_EQ("'" + text.substr(0, 256) + "'", normal(text.substr(0, 256)));
    EXPECT_EQ("\"" + text.substr(0, 256) + "<omit data up to 300>\"", normal(Bytes(istr(text))));
    std::string const hex = compact(hexdata(istr(text)));
    EXPECT_EQ(256u * 3 - 1 + std::string("<omit data up to 300>").size(), hex.size());
    EXPECT_EQ("78 78<omit data up to 300>", hex.substr(hex.size() - 26));
    dumper d;
    d.write(istr(text));
    EXPECT_EQ(text, d.str());
    std::string const table = normal(hexdata(istr(text)));
    EXPECT_EQ("\n000100: <omit data up to 12C>", table.substr(table.size() - 30));
}

TEST(HexViews, TheTable) {
    EXPECT_EQ("\n        00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F  0123456789ABCDEF\n" +
                  std::string(73, '-') + "\n000000: 41 42 0A " + std::string(40, ' ') + "AB.",
              normal(hexdata("AB\n", 3)));
    EXPECT_EQ("41 42 0A", compact(hexdata("AB\n", 3)));
    EXPECT_EQ("\n        00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F  0123456789ABCDEF\n" +
                  std::string(73, '-'),
              normal(hexdata(istr())));
    std::ostringstream os;
    os << hexdata(istr("AB"), 1) << ' ' << write_hex(istr("\xfe")) << ' ' << 17;
    EXPECT_EQ("41 FE 17", os.str());
}

}  // namespace
