#include "zan/nbr/lsd.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "zan/base/mlcheck.h"
#include "zan/log/log_dumper.h"
#include "zan/nbr/parser.h"

namespace {

using namespace zan;
using nbr::ComplexValue;
using nbr::SimpleValue;
using nbr::ValueBase;

SimpleValue of(istr const& data) {
    return SimpleValue(data, false);
}

template <class T>
T read(istr const& data) {
    T v{};
    of(data).read(v);
    return v;
}

// --- Numbers take the bytes that the type has, whatever there is.

TEST(NbrReadNumbers, WidthsAndSigns) {
    istr const ones("\xFF\xFF\xFF\xFF\xFF", 5);
    EXPECT_EQ(0xFFFFFFFFul, read<unsigned long>(ones));
    EXPECT_EQ(-1, read<long>(ones)) << "32-bit data";
    EXPECT_EQ(-1, read<int>(ones));
    EXPECT_EQ(0xFFFFFFFFFF, read<__int64>(ones));
    EXPECT_EQ(-1, read<short>(ones));
    EXPECT_EQ('\xFF', read<char>(ones));
    EXPECT_TRUE(read<bool>(ones));
    EXPECT_EQ(65535, read<long>(istr("\xFF\xFF"))) << "no sign of fewer bytes is extended";
    EXPECT_EQ(0, read<long>(istr()));
    EXPECT_EQ(0.0, read<double>(istr()));
    EXPECT_EQ(1.0f, read<float>(istr("\0\0\x80\x3F", 4)));
    EXPECT_EQ(1.0, read<Double>(istr("\0\0\0\0\0\0\xF0\x3F", 8)).value());
    EXPECT_EQ(0xFFFF, static_cast<int>(read<Wchar>(ones).value()));
    EXPECT_EQ(Time::microSeconds(258), read<Time>(istr("\2\1")));
    EXPECT_THROW(read<int>(istr(std::string(128, 'x'))), BinaryDecodeException);
    EXPECT_EQ(0x78787878, read<int>(istr(std::string(127, 'x'))));
}

TEST(NbrReadBytes, AnyTypeTakesTextAndBytes) {
    SimpleValue const text(istr("a\xC3\xA9"), true);
    String s;
    text.read(s);
    EXPECT_EQ("a\xC3\xA9", s);
    std::wstring w;
    text.read(w);
    EXPECT_EQ(L"a\u00E9", w);
    Bytes b;
    text.read(b);
    EXPECT_EQ(istr(s), istr(b));
    istr view;
    text.read(view);
    EXPECT_EQ(text.data().data(), view.data()) << "no copy";
}

// --- Ownership

TEST(NbrOwnership, TheLastAddedIsFoundAndAllAreKept) {
    auto const tree = std::make_unique<ComplexValue>();
    EXPECT_EQ(nullptr, tree->get(5));
    auto* const a = new SimpleValue;
    auto* const b = ZAN_NEW(SimpleValue(true));
    tree->add(5, a);
    EXPECT_EQ(a, tree->get(5));
    EXPECT_EQ(1u, tree->data().size());
    tree->add(5, b);
    tree->add(6, nullptr);
    EXPECT_EQ(b, tree->get(5)) << "after the list was made";
    ASSERT_EQ(2u, tree->data().size());
    EXPECT_EQ(a, tree->begin()->value);
    EXPECT_EQ(nullptr, tree->get(6));
    for (unsigned id = 10; id < 60; ++id)
        tree->add(static_cast<unsigned char>(id), new SimpleValue);
    EXPECT_EQ(b, tree->get(5)) << "by index";
    tree->add(5, a == b ? nullptr : new SimpleValue(istr("z"), true));
    EXPECT_NE(b, tree->get(5)) << "the index follows";
    EXPECT_EQ(53u, tree->data().size());
}

TEST(NbrOwnership, ParsedAndBuiltTreesMix) {
    std::string const bytes("\xFF\x01(\x01\xFF\x01(\x02\x01\x01z\xFF\x01)\xFF\x01)", 17);
    // A parsed tree below one that was built, with built nodes in its inside.
    auto* const parsed = static_cast<ComplexValue*>(nbr::parser::from(istr(bytes)));
    auto* const inner = static_cast<ComplexValue*>(parsed->get(1));
    auto* const added = new ComplexValue;
    added->add(1, new SimpleValue);
    added->add(2, nbr::parser::from(istr(bytes)));
    inner->add(3, added);
    inner->data();
    parsed->add(4, new SimpleValue);
    auto tree = std::make_unique<ComplexValue>();
    tree->add(9, parsed);
    EXPECT_EQ(added, inner->get(3));
    EXPECT_EQ(2u, inner->data().size());
    tree.reset();

    // Each way of deleting.
    ValueBase* root = nbr::parser::from(istr("\1\1a"));
    delete root;
    root = nbr::parser::from(istr(bytes));
    ZAN_DELETE(root);
    root = nbr::parser::from(istr(bytes), 1);
    ZAN_DELETE(root);
    ComplexValue onStack;
    onStack.add(1, new ComplexValue);
}

TEST(NbrOwnership, ACopyOfASimpleValueIsItsOwn) {
    auto const tree = std::make_unique<ComplexValue>();
    auto* const a = new SimpleValue(istr("a"), true);
    tree->add(1, a);
    tree->add(2, new SimpleValue(istr("b"), true));
    SimpleValue copy(*a);
    copy = static_cast<SimpleValue const&>(*tree->get(2));
    EXPECT_EQ(istr("b"), copy.data());
    *a = copy;
    EXPECT_EQ(2u, tree->data().size());
}

// --- Dumps

TEST(NbrDump, BothForms) {
    std::string const bytes(
        "\xFF\x01(\x01\x01\x01\x05\x02\xF1\x02"
        "ab\x03\xFF\x01(\xC8\x01\x00\x04\xF1\x00\xFF\x01)\x07\x01\x01\x01\xFF\x01)",
        33);
    std::unique_ptr<ValueBase> const tree(nbr::parser::from(istr(bytes)));
    std::ostringstream os;
    os << *tree;
    EXPECT_EQ(
        "{\n"
        "    [1] 05\n"
        "    [2] 'ab'\n"
        "    [3] {\n"
        "        [200] \n"
        "        [4] \n"
        "    }\n"
        "    [7] 01\n"
        "}",
        os.str());
    dumper compact(true);
    compact << *tree;
    EXPECT_EQ("{[1] 05 [2] 'ab' [3] {[200]  [4] } [7] 01}", compact.str());
}

}  // namespace
