#include "zan/platform/codepage.h"

#include <gtest/gtest.h>
#include <iconv.h>

#include <atomic>
#include <cerrno>
#include <clocale>
#include <memory>
#include <set>

#include "support/seed.h"
#include "support/threads.h"

namespace zan::platform {
namespace {

using namespace std::string_literals;

constexpr wchar_t BAD = 0xFFFD;

// Through the raw form, in buffers of the exact size that the contract asks for, so that a memory
// checker sees each step too far; and through the string form, which must agree.
std::wstring wide(long page, std::string const& text) {
    std::unique_ptr<char[]> in(new char[text.size()]);
    std::copy(text.begin(), text.end(), in.get());
    std::unique_ptr<wchar_t[]> out(new wchar_t[text.size()]);
    unsigned long written = 0;
    EXPECT_TRUE(toWide(page, in.get(), text.size(), out.get(), written));
    std::wstring result(out.get(), written);
    std::wstring again = L"old";
    EXPECT_TRUE(toWide(page, in.get(), text.size(), again));
    EXPECT_EQ(result, again) << "page " << page;
    return result;
}

std::string narrow(long page, std::wstring const& text) {
    std::unique_ptr<wchar_t[]> in(new wchar_t[text.size()]);
    std::copy(text.begin(), text.end(), in.get());
    std::unique_ptr<char[]> out(new char[maxBytes(page, text.size())]);
    unsigned long written = 0;
    EXPECT_TRUE(fromWide(page, in.get(), text.size(), out.get(), written));
    std::string result(out.get(), written);
    std::string again = "old";
    EXPECT_TRUE(fromWide(page, in.get(), text.size(), again));
    EXPECT_EQ(result, again) << "page " << page;
    return result;
}

// UTF-8 read off the table of well-formed byte sequences of the Unicode standard, a byte at a
// time, with no regard to speed.
std::wstring model(std::string const& text) {
    // First and last byte, low and high second byte, length.
    unsigned const forms[][5] = {
        {0x00, 0x7F, 0, 0, 1},       {0xC2, 0xDF, 0x80, 0xBF, 2}, {0xE0, 0xE0, 0xA0, 0xBF, 3},
        {0xE1, 0xEC, 0x80, 0xBF, 3}, {0xED, 0xED, 0x80, 0x9F, 3}, {0xEE, 0xEF, 0x80, 0xBF, 3},
        {0xF0, 0xF0, 0x90, 0xBF, 4}, {0xF1, 0xF3, 0x80, 0xBF, 4}, {0xF4, 0xF4, 0x80, 0x8F, 4}};
    std::wstring result;
    for (unsigned long i = 0; i < text.size();) {
        unsigned const first = static_cast<unsigned char>(text[i++]);
        wchar_t decoded = BAD;
        for (auto const& [low, high, secondLow, secondHigh, length] : forms) {
            if (first < low || first > high) continue;
            unsigned c = length == 1 ? first : first & (0xFFU >> (length + 1));
            unsigned n = 1;
            for (; n < length && i < text.size(); ++n, ++i) {
                unsigned const byte = static_cast<unsigned char>(text[i]);
                if (byte < (n == 1 ? secondLow : 0x80)) break;
                if (byte > (n == 1 ? secondHigh : 0xBF)) break;
                c = c << 6 | (byte & 0x3F);
            }
            if (n == length) decoded = static_cast<wchar_t>(c);
        }
        result += decoded;
    }
    return result;
}

// The system's converter, driven one step at a time, with the treatment of damage that is promised.
class Iconv {
public:
    Iconv(char const* to, char const* from) : handle_(iconv_open(to, from)) {
        if (handle_ == reinterpret_cast<iconv_t>(-1)) throw std::runtime_error(from);
    }
    ~Iconv() { iconv_close(handle_); }
    Iconv(Iconv const&) = delete;
    Iconv& operator=(Iconv const&) = delete;

    // errno value, the output in `out`.
    int run(char const* in, unsigned long n, std::string& out) {
        char buffer[64];
        char* to = buffer;
        unsigned long room = sizeof buffer;
        char* from = const_cast<char*>(in);
        iconv(handle_, nullptr, nullptr, nullptr, nullptr);
        int const error = iconv(handle_, &from, &n, &to, &room) == ~0UL ? errno : 0;
        out.assign(buffer, to);
        return error;
    }

private:
    iconv_t handle_;
};

std::wstring modelOfPage(Iconv& decoder, std::string const& text) {
    std::wstring result;
    for (unsigned long i = 0; i < text.size();) {
        unsigned long n = 1;
        std::string out;
        int error = decoder.run(&text[i], 1, out);
        if (error == EINVAL && i + 1 < text.size()) {
            n = 2;
            error = decoder.run(&text[i], 2, out);
        }
        if (error != 0) {
            result += BAD;
            ++i;
        } else {
            result += *reinterpret_cast<wchar_t const*>(out.data());
            i += n;
        }
    }
    return result;
}

struct PageName {
    long number;
    std::string charset;
};

// Those that the library has tables of.
std::vector<PageName> tablePages() {
    std::vector<PageName> pages = {{932, "CP932"},    {936, "GBK"},         {949, "UHC"},
                                   {950, "BIG5"},     {1361, "JOHAB"},      {51949, "EUC-KR"},
                                   {874, "CP874"},    {10000, "MACINTOSH"}, {20127, "ASCII"},
                                   {20866, "KOI8-R"}, {21866, "KOI8-U"}};
    for (long n : {437, 850, 852, 855, 857, 858, 860, 861, 862, 863, 864, 865, 866, 869})
        pages.push_back({n, "IBM" + std::to_string(n)});
    for (long n : {1250, 1251, 1252, 1253, 1254, 1256, 1257})
        pages.push_back({n, "CP" + std::to_string(n)});
    for (long n = 1; n <= 16; ++n)
        if (n != 12) pages.push_back({28590 + n, "ISO-8859-" + std::to_string(n)});
    return pages;
}

PageName const OTHER_PAGES[] = {{1255, "CP1255"},  {1258, "CP1258"},   {50220, "ISO-2022-JP"},
                                {51932, "EUC-JP"}, {54936, "GB18030"}, {65000, "UTF-7"}};

// --- UTF-8: foreign bytes must not be misread, and none of them may stop the conversion.

TEST(CodePageUtf8Damage, HandCheckedCases) {
    std::pair<std::string, std::wstring> const cases[] = {
        {"", L""},
        {"a\0b"s, std::wstring(L"a\0b", 3)},
        {"\xC3\xA9\xE4\xB8\xAD\xF0\x9F\x98\x80", L"\u00e9\u4e2d\U0001f600"},
        {"\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF", L"\x7f\u0080\u07ff\u0800\uffff"},
        {"\xED\x9F\xBF\xEE\x80\x80\xF0\x90\x80\x80\xF4\x8F\xBF\xBF",
         L"\ud7ff\ue000\U00010000\U0010ffff"},
        {"\x80x\xBF", {BAD, L'x', BAD}},
        {"\xC0\xAF", {BAD, BAD}},                                      // '/' in two bytes
        {"\xE0\x80\xAF", {BAD, BAD, BAD}},                             // and in three
        {"\xF0\x80\x80\xAF", {BAD, BAD, BAD, BAD}},                    // and in four
        {"\xED\xA0\x80\xED\xBF\xBF", {BAD, BAD, BAD, BAD, BAD, BAD}},  // surrogates
        {"\xF4\x90\x80\x80", {BAD, BAD, BAD, BAD}},                    // U+110000
        {"\xF5\x80\x80\x80\xFE\xFF", {BAD, BAD, BAD, BAD, BAD, BAD}},
        {"\xE4\xB8x", {BAD, L'x'}},  // a maximal subpart is one
        {"\xE4\xE4\xB8\xAD", {BAD, L'\u4e2d'}},
        // The example of the Unicode standard, chapter 3.
        {"\x61\xF1\x80\x80\xE1\x80\xC2\x62\x80\x63\x80\xBF\x64",
         {L'a', BAD, BAD, BAD, L'b', BAD, L'c', BAD, BAD, L'd'}}};
    for (auto const& [in, out] : cases) {
        EXPECT_EQ(out, wide(65001, in));
        EXPECT_EQ(out, model(in));
    }
}

TEST(CodePageUtf8Damage, AllShortSequencesAgreeWithTheModel) {
    // Every start of a sequence with every second byte, and the bytes at all limits behind it.
    char const edges[] = "\x00\x41\x7F\x80\x8F\x90\x9F\xA0\xBF\xC0\xC2\xE1\xF1\xFF";
    std::string const last(edges, sizeof edges - 1);
    unsigned long wrong = 0;
    for (unsigned a = 0; a < 256; ++a) {
        for (unsigned b = 0; b < 256; ++b) {
            std::string text = {static_cast<char>(a), static_cast<char>(b)};
            std::wstring out(4, 0);
            auto const check = [&] {
                out.resize(text.size());
                out.resize(utf8ToWide(text.data(), text.size(), out.data()));
                wrong += out != model(text);
            };
            check();
            for (char c : last) {
                text.resize(2);
                text += c;
                check();
                if (a < 0xE0) continue;
                for (char d : last) {
                    text.resize(3);
                    text += d;
                    check();
                }
            }
        }
    }
    EXPECT_EQ(0UL, wrong);
}

TEST(CodePageUtf8Damage, RandomMixturesAgreeWithTheModel) {
    auto random = zan_test::makeRandom();
    std::string const pieces[] = {"a",
                                  "0123456789abcdefghij",
                                  "\xC3\xA9",
                                  "\xE4\xB8\xAD",
                                  "\xF0\x9F\x98\x80",
                                  "\xE4\xB8",
                                  "\x80",
                                  "\xFF",
                                  "\xED\xA0\x80",
                                  "\n",
                                  "\xF4\x90\x80\x80",
                                  "\xC3"};
    for (int round = 0; round < 3000; ++round) {
        std::string text;
        unsigned long const kinds = 1 + random() % std::size(pieces);
        // Some of them longer than what is converted in one piece.
        unsigned long n = random() % (round % 8 == 0 ? 1000 : 40);
        for (; n != 0; --n) text += pieces[random() % kinds];
        ASSERT_EQ(model(text), wide(65001, text));
    }
}

TEST(CodePageUtf8, EveryCodePointAgreesWithTheSystem) {
    Iconv encoder("UTF-8", "WCHAR_T");
    unsigned long wrong = 0;
    for (long c = 0; c < 0x110000; ++c) {
        auto const w = static_cast<wchar_t>(c);
        bool const surrogate = c >= 0xD800 && c < 0xE000;
        std::string expected = "\xEF\xBF\xBD";
        if (!surrogate) encoder.run(reinterpret_cast<char const*>(&w), sizeof w, expected);
        char bytes[4];
        unsigned long const n = wideToUtf8(&w, 1, bytes);
        wchar_t back[4];
        bool const same = std::string(bytes, n) == expected && utf8Length(&w, 1) == n &&
                          utf8ToWide(bytes, n, back) == 1 && back[0] == (surrogate ? BAD : w);
        wrong += !same;
    }
    EXPECT_EQ(0UL, wrong);
    for (long c : {0x110000L, 0x7FFFFFFFL, -1L, -0x7FFFFFFFL}) {
        EXPECT_EQ("\xEF\xBF\xBD", narrow(65001, {static_cast<wchar_t>(c)}));
        EXPECT_EQ("x?y", narrow(936, {L'x', static_cast<wchar_t>(c), L'y'}));
    }
}

TEST(CodePageUtf8, TogetherAsOneByOneInAnExactBuffer) {
    auto random = zan_test::makeRandom();
    long const edges[] = {0,        0x7F,   0x80,   0x7FF,  0x800,   0xD7FF,
                          0xD800,   0xDFFF, 0xE000, 0xFFFF, 0x10000, 0x10FFFF,
                          0x110000, -1,     0x41,   0xE9,   0x4E2D,  0x20};
    for (int round = 0; round < 2000; ++round) {
        std::wstring text;
        std::string expected;
        // Some rounds without damage, some with ASCII alone, some beyond the largest block.
        unsigned long const kinds = round % 3 == 0 ? 18 : round % 3 == 1 ? 5 : 2;
        for (unsigned long n = random() % (round % 50 == 0 ? 5000 : 100); n != 0; --n) {
            auto const c = static_cast<wchar_t>(edges[random() % kinds]);
            char bytes[4];
            text += c;
            expected.append(bytes, wideToUtf8(&c, 1, bytes));
        }
        unsigned long const length = utf8Length(text.data(), text.size());
        ASSERT_EQ(expected.size(), length);
        std::unique_ptr<char[]> out(new char[length]);
        ASSERT_EQ(length, wideToUtf8(text.data(), text.size(), out.get()));
        ASSERT_TRUE(std::string(out.get(), length) == expected);
    }
}

// --- The tables must say what the system's converter says.

TEST(CodePageTables, AllBytesAndPairsAgreeWithTheSystem) {
    std::set<long> const withPairs = {936, 932, 949, 950, 1361, 51949};
    for (PageName const& page : tablePages()) {
        Iconv decoder("WCHAR_T", page.charset.c_str());
        int const seconds = withPairs.count(page.number) != 0 ? 256 : 0;
        unsigned long wrong = 0;
        for (int a = 0; a < 256; ++a)
            for (int b = -1; b < seconds; ++b) {
                std::string text(1, static_cast<char>(a));
                if (b >= 0) text += static_cast<char>(b);
                std::wstring out;
                toWide(page.number, text.data(), text.size(), out);
                wrong += out != modelOfPage(decoder, text);
            }
        EXPECT_EQ(0UL, wrong) << page.charset;
    }
}

TEST(CodePageTables, AllCharactersAgreeWithTheSystem) {
    for (PageName const& page : tablePages()) {
        Iconv encoder(page.charset.c_str(), "WCHAR_T");
        unsigned long wrong = 0;
        for (wchar_t c = 0; c < 0x10000; ++c) {
            std::string expected;
            if (encoder.run(reinterpret_cast<char const*>(&c), sizeof c, expected) != 0)
                expected = "?";
            char bytes[4];
            unsigned long n;
            fromWide(page.number, &c, 1, bytes, n);
            wrong += std::string(bytes, n) != expected;
        }
        EXPECT_EQ(0UL, wrong) << page.charset;
    }
}

// --- The other pages: state must not leak from one text into the next.

TEST(CodePageState, EachTextStartsAndEndsInTheInitialState) {
    // Hiragana A between the escapes to JIS X 0208 and back to ASCII.
    EXPECT_EQ("\x1B$B$\"\x1B(B", narrow(50220, L"\u3042"));
    EXPECT_EQ("x\x1B$B$\"\x1B(B?y", narrow(50220, L"x\u3042\U0001f600y"));
    EXPECT_EQ("Hi ", narrow(65000, L"Hi \u53cb!").substr(0, 3));
    std::tuple<long, std::string, std::wstring> const cases[] = {
        {50220, "\x1B$B$\"\x1B(Bz", L"\u3042z"},
        {50220, "\x1B$B$\"", L"\u3042"},  // not shifted back
        {50220, "$\"", L"$\""},
        {65000, "Hi Mom +Jjo-!", L"Hi Mom \u263a!"},
        {65000, "+Jjo", L"\u263a"},
        {65000, "Jjo", L"Jjo"},
        {65000, "a\xFFz", {L'a', BAD, L'z'}},
        // Alef and patah make one character; a letter that waits for a mark comes before damage.
        {1255, "\xE0\xC7", L"\ufb2e"},
        {1255, "\xE0\xFFx", {0x05D0, BAD, L'x'}},
        {1255, "\xE0", L"\u05d0"},
        {1258, "e\xCC", L"\u00e8"},
        {1258, "e\xD2\xFF", wide(1258, "e\xD2") + wide(1258, "\xFF")}};
    for (auto const& [page, in, out] : cases) EXPECT_EQ(out, wide(page, in)) << page;
}

TEST(CodePageState, RandomBytesNeverStopAConversion) {
    auto random = zan_test::makeRandom();
    std::string const mark = "#the end#";
    for (PageName const& page : OTHER_PAGES) {
        for (int round = 0; round < 500; ++round) {
            std::string text;
            for (unsigned long n = random() % 30; n != 0; --n) text += static_cast<char>(random());
            std::wstring const out = wide(page.number, text + "\r\n" + mark);
            // In a page with shifts the noise may have put the mark into another alphabet.
            bool const shifts = page.number == 50220 || page.number == 65000;
            ASSERT_TRUE(shifts || out.find(L"#the end#") != std::wstring::npos)
                << page.charset << ' ' << testing::PrintToString(text);
        }
    }
}

TEST(CodePageState, TextThatAPageHoldsComesBack) {
    auto random = zan_test::makeRandom();
    for (PageName const& page : OTHER_PAGES) {
        if (page.number == 1255 || page.number == 1258) continue;  // marks are combined
        bool const all = page.number == 54936 || page.number == 65000;
        for (int round = 0; round < 200; ++round) {
            std::wstring text;
            for (unsigned long n = random() % 30; n != 0; --n) {
                unsigned long const kind = random() % 3;
                auto c = static_cast<wchar_t>(L' ' + random() % 0x5F);
                if (c == L'\\' || c == L'~') c = L'-';  // not the same in all Japanese pages
                if (kind == 1) c = static_cast<wchar_t>(0x3041 + random() % 80);
                if (kind == 2 && all) c = static_cast<wchar_t>(0x10400 + random() % 0x4F);
                text += c;
            }
            std::string const bytes = narrow(page.number, text);
            ASSERT_EQ(text, wide(page.number, bytes)) << page.charset;
            // Nothing that it lacks is lost without a trace, not even a tag character.
            if (all) continue;
            EXPECT_EQ(bytes + "?", narrow(page.number, text + L'\xE0041')) << page.charset;
        }
    }
}

// --- Which numbers there are.

TEST(CodePageNumbers, TheKnownOnesConvertAndTheUnknownFail) {
    std::vector<PageName> known = tablePages();
    known.insert(known.end(), std::begin(OTHER_PAGES), std::end(OTHER_PAGES));
    known.push_back({65001, ""});
    known.push_back({0, ""});
    for (auto const& [page, charset] : known) {
        EXPECT_TRUE(codePageKnown(page)) << page;
        for (std::wstring const& text : {L"abc 123"s, L""s})
            EXPECT_EQ(text, wide(page, narrow(page, text))) << page;
    }
    for (long page : {-2L, -1L, 1L, 937L, 28590L, 28602L, 65002L, 1L << 40}) {
        EXPECT_FALSE(codePageKnown(page)) << page;
        std::wstring w = L"old";
        std::string s = "old";
        EXPECT_FALSE(toWide(page, "abc", 3, w));
        EXPECT_FALSE(fromWide(page, L"abc", 3, s));
        EXPECT_TRUE(w.empty() && s.empty());
    }
}

TEST(CodePageNumbers, ZeroIsUtf8WhereTheLocaleIsPlain) {
    std::string const before = std::setlocale(LC_CTYPE, nullptr);
    for (char const* name : {"C", "C.UTF-8"}) {
        if (std::setlocale(LC_CTYPE, name) == nullptr) continue;
        EXPECT_EQ((std::wstring{0xE9, BAD}), wide(0, "\xC3\xA9\xFF")) << name;
        EXPECT_EQ("\xC3\xA9", narrow(0, L"\u00e9")) << name;
    }
    std::setlocale(LC_CTYPE, before.c_str());
}

// --- Converters and tables are shared or bound to threads.

TEST(CodePageThreads, FirstUseInManyThreadsAtOnce) {
    std::atomic<int> wrong{0};
    zan_test::Threads(8, [&wrong](unsigned) {
        for (int round = 0; round < 50; ++round) {
            std::string bytes;
            std::wstring back;
            for (long page : {932L, 50220L, 54936L, 51932L}) {
                bool const done = fromWide(page, L"\u65e5\u672c", 2, bytes) &&
                                  toWide(page, bytes.data(), bytes.size(), back);
                wrong += !done || back != L"\u65e5\u672c";
            }
        }
    });
    EXPECT_EQ(0, wrong.load());
}

}  // namespace
}  // namespace zan::platform
