#include "zan/nbr/parser.h"

#include <gmock/gmock.h>

#include <memory>
#include <set>

#include "support/log_capture.h"
#include "support/nbr_model.h"
#include "support/seed.h"
#include "support/text.h"
#include "support/threads.h"
#include "support/vectors.h"
#include "zan/zan.h"

namespace {

using namespace zan;
using nbr::ComplexValue;
using nbr::DecodeException;
using nbr::parser;
using nbr::SimpleValue;
using nbr::ValueBase;
using testing::ElementsAre;
using namespace zan_test;
using Tree = std::unique_ptr<ValueBase>;

Tree parse(std::string const& bytes) {
    return Tree(parser::from(istr(bytes)));
}

ComplexValue const& complex(Tree const& tree) {
    return dynamic_cast<ComplexValue const&>(*tree);
}

// What the parse must do with any bytes: what the model says.
void compareWithModel(std::string const& bytes) {
    std::optional<zan_test::NbrNode> want;
    std::string error;
    try {
        want = zan_test::NbrModel(bytes).value();
    } catch (std::runtime_error const& e) {
        error = e.what();
    }
    // On the heap and to the byte, so that a sanitizer sees a read behind it.
    std::vector<char> const exact(bytes.begin(), bytes.end());
    istr const in(exact.data(), exact.size());
    try {
        Tree const tree(parser::from(in));
        ASSERT_EQ("", error);
        ASSERT_EQ("", zan_test::nbrDifference(want, tree.get()));
    } catch (DecodeException const& e) {
        ASSERT_EQ(error, e.msg());
        return;
    }
    std::set<unsigned char> ids(bytes.begin(), bytes.end());
    ids.insert(5);
    for (unsigned char const id : ids) {
        nbr::InputStream const found(in, id);
        auto const expected = zan_test::nbrLookup(want, id);
        ASSERT_EQ("", zan_test::nbrDifference(expected, found.get())) << "id " << +id;
    }
}

// All three forms, text, several widths of size, nesting, repeated ids.
std::string sample() {
    return fromDigits(
        "FF 01 28  01 01 01 05  02 F1 02 61 62  03 00"
        "  07 FF 01 28  01 02 FF FF  07 FF 01 28  FF 01 00  FF 01 29  FF 01 29"
        "  02 02 82 00 78*130  09 01 01 01  FF 01 29");
}

// --- Input that ends too soon is no error, and what it has is not lost.

TEST(NbrTruncation, AtEachByteAsTheModel) {
    std::string const whole = sample();
    for (std::size_t n = 0; n <= whole.size(); ++n) compareWithModel(whole.substr(0, n));
}

TEST(NbrDamage, OfEachByteToEachValueAsTheModel) {
    zan_test::LogCapture const log;
    std::string const whole = sample().substr(0, 48);
    for (std::size_t i = 0; i < whole.size(); ++i)
        for (int v = 0; v < 256; ++v) {
            std::string damaged = whole;
            damaged[i] = static_cast<char>(v);
            compareWithModel(damaged);
            if (HasFatalFailure()) FAIL() << "byte " << i << " as " << v;
        }
    EXPECT_EQ("", log.text()) << "no record of a throw";
}

TEST(NbrDamage, RandomBytesOfTheFormatsAlphabetAsTheModel) {
    auto random = zan_test::makeRandom();
    static unsigned char const alphabet[] = {0xFF, 1, 0x28, 0x29, 0, 2, 0xF1, 3, 0xF0, 4};
    for (int round = 0; round < 2000; ++round) {
        std::string bytes = round % 2 == 0 ? "\xFF\x01(" : "";
        for (auto n = random() % 64; n > 0; --n)
            bytes += static_cast<char>(alphabet[random() % sizeof alphabet]);
        compareWithModel(bytes);
        if (HasFatalFailure()) FAIL() << "round " << round;
    }
}

// --- The exception says on which path through the parse it arose.

std::vector<std::string> frames(CallStack const& stack, std::size_t from) {
    std::vector<std::string> names;
    auto const& all = stack.container().container();
    for (std::size_t i = from; i < all.size(); ++i) names.push_back(all[i].func());
    return names;
}

TEST(NbrCallStack, ShowsEachOpenLevel) {
    std::size_t const before = detail::currentCallStack().container().size();
    std::string const value = "zan::nbr::parser::parseValue";
    std::string const simple = "zan::nbr::parser::readSimple";
    std::string const peek = "zan::nbr::parser::peekValue";
    try {
        nbr::InputStream const in(istr(fromDigits("FF 01 28 01 FF 01 28 02 25 00")));
        FAIL();
    } catch (DecodeException const& e) {
        EXPECT_STREQ("zan::nbr::DecodeException", e.name());
        EXPECT_EQ(peek, e.func());
        EXPECT_THAT(frames(e.stack(), before),
                    ElementsAre("zan::nbr::InputStream::InputStream", "zan::nbr::parser::from",
                                value, value, value, simple, peek));
    }
    try {
        Tree const found(parser::from(fromDigits("FF 01 28 25 00 02 05 00"), 9));
        FAIL();
    } catch (DecodeException const& e) {
        EXPECT_THAT(frames(e.stack(), before), ElementsAre(value, simple, peek));
    }
    EXPECT_EQ(before, detail::currentCallStack().container().size());
}

TEST(NbrCallStack, APeerCannotMakeItLarge) {
    std::string bytes;
    for (int i = 0; i < 100000; ++i) bytes += "\xFF\x01(\x01";
    bytes += fromDigits("25 00");
    try {
        parse(bytes);
        FAIL();
    } catch (DecodeException const& e) {
        EXPECT_GT(200u, e.stack().container().size());
    }
}

// --- Nesting as deep as the peer likes

TEST(NbrDepth, AMillionLevelsInLinearTime) {
    constexpr unsigned DEPTH = 1000000;
    std::string begin;
    std::string end;
    for (unsigned i = 0; i < DEPTH; ++i) {
        begin += "\xFF\x01(\x01";
        end += "\xFF\x01)";
    }
    for (bool closed : {true, false}) {
        std::string const bytes = begin + fromDigits("01 01 07") + (closed ? end : "");
        Tree const tree = parse(bytes);
        ASSERT_NE(nullptr, tree);
        ValueBase const* value = tree.get();
        unsigned depth = 0;
        for (; !value->simple(); ++depth) value = static_cast<ComplexValue const*>(value)->get(1);
        EXPECT_EQ(DEPTH, depth);
        std::string const text = dumped(tree.get(), true);
        EXPECT_EQ(DEPTH * std::string("{[1] }").size() + 2, text.size());
    }
    // Step over all of it to the field behind.
    std::string const field =
        begin + fromDigits("01 00") + end.substr(3) + fromDigits("02 01 01 63 FF 01 29");
    Tree const found(parser::from(field, 2));
    ASSERT_NE(nullptr, found);
    EXPECT_EQ("63", dumped(found.get(), true));
}

TEST(NbrDepth, IndentedDumpsHaveNoLimitButTheirSize) {
    std::string bytes;
    for (int i = 0; i < 2000; ++i) bytes += "\xFF\x01(\x01";
    std::string const text = dumped(parse(bytes).get());
    std::string const innermost = "\n" + std::string(4 * 1999, ' ') + "[1] {\n";
    EXPECT_NE(std::string::npos, text.find(innermost));
}

TEST(NbrDepth, AMillionLevelsBuiltByHand) {
    auto* tree = new ComplexValue;
    tree->add(2, new SimpleValue);
    for (int i = 0; i < 1000000; ++i) {
        auto* const parent = new ComplexValue;
        parent->add(1, tree);
        parent->add(2, parser::from(istr("\1\1a")));
        tree = parent;
    }
    delete tree;
}

// --- Debug lines

TEST(NbrDebugLines, SayWhereTheInputEnded) {
    auto& log = logger_factory::instance(LOGGER_ID);
    bool const debugOn = log.debugOn();
    log.setDebugOn(true);
    // Only a configuration turns this category on.
    auto const configure = [&log](char const* section) {
        pml::stream in(section, false);
        log.codec(in);
    };
    configure("log(traceLogOn(1))");
    zan_test::LogCapture capture;
    log.setDebugObserver(&capture);
    std::vector<std::pair<char const*, std::string>> const cases{
        {"", "eof: empty iptr_"},
        {"FF 01 28 01", "eof: empty value"},
        {"01", "no data after length of size"},
        {"00 00", "null data: zero length of size"},
        {"01 05", "no data after size"},
        {"FF 00",
         fromDigits("B4 F2 D3 A1 C8 D5 D6 BE CA B1 B8 B4 D4 D3 CA FD BE DD B1 BB BD D8 B6 CF") +
             ".."},
        {"02 05",
         fromDigits("B4 F2 D3 A1 C8 D5 D6 BE CA B1 CA FD BE DD B1 BB BD D8 B6 CF 3A B3 A4 B6 C8 "
                    "CA FD BE DD B2 BB B9 BB") +
             ".."}};
    for (auto const& [bytes, line] : cases) parse(fromDigits(bytes));
    configure("log(traceLogOn(0))");
    log.setDebugObserver(nullptr);
    log.setDebugOn(debugOn);
    for (auto const& [bytes, line] : cases) EXPECT_TRUE(capture.has(line)) << bytes;
}

// --- Several threads read one tree

TEST(NbrSharing, ReadersMakeListsAndIndexesAtOnce) {
    nbr::OutputStream out;
    {
        nbr::OutputStream::Entry const root(out);
        for (int i = 0; i < 300; ++i) out.write(static_cast<unsigned char>(i % 200), i);
    }
    std::string const bytes = out.str();
    for (int round = 0; round < 20; ++round) {
        Tree const tree = parse(bytes);
        zan_test::Threads(4, [&tree](unsigned) {
            unsigned count = 0;
            for (unsigned id = 0; id < 200; ++id) {
                int v = -1;
                auto const* const value = static_cast<SimpleValue const*>(
                    complex(tree).get(static_cast<unsigned char>(id)));
                value->read(v);
                count += v == static_cast<int>(id < 100 ? id + 200 : id);
            }
            for (auto const& item : complex(tree)) count += item.value->simple();
            EXPECT_EQ(500u, count);
        });
    }
}

}  // namespace
