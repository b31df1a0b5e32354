#include "zan/nbr/lsd.h"

#include <gtest/gtest.h>

#include <memory>

#include "support/text.h"
#include "zan/zan.h"

namespace {

using namespace zan;
using nbr::ComplexValue;
using nbr::SimpleValue;
using nbr::ValueBase;

TEST(NbrRead, NumbersOfMoreThanAnyHas) {
    int v = 0;
    SimpleValue(istr(std::string(127, 'x')), false).read(v);
    EXPECT_EQ(0x78787878, v);
    SimpleValue const tooLong(istr(std::string(128, 'x')), false);
    EXPECT_THROW(tooLong.read(v), BinaryDecodeException);
}

TEST(NbrRead, AnyTypeTakesTextAndBytes) {
    SimpleValue const text(istr("a\xC3\xA9"), true);
    std::wstring w;
    text.read(w);
    EXPECT_EQ(L"a\u00E9", w);
    istr view;
    text.read(view);
    EXPECT_EQ(text.data().data(), view.data()) << "no copy";
}

// --- Ownership

TEST(NbrOwnership, TheLastAddedIsFoundAndAllAreKept) {
    auto const tree = std::make_unique<ComplexValue>();
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
    tree->add(5, new SimpleValue);
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
    parsed->add(4, new SimpleValue);
    auto tree = std::make_unique<ComplexValue>();
    tree->add(9, parsed);
    EXPECT_EQ(added, inner->get(3));
    EXPECT_EQ(2u, inner->data().size());
    tree.reset();

    // Each way of deleting.
    delete nbr::parser::from(istr(bytes));
    for (ValueBase* root : {nbr::parser::from(istr(bytes)), nbr::parser::from(istr(bytes), 1)})
        ZAN_DELETE(root);
    ComplexValue onStack;
    onStack.add(1, new ComplexValue);
}

TEST(NbrOwnership, ACopyOfASimpleValueIsItsOwn) {
    ComplexValue tree;
    auto* const a = new SimpleValue(istr("a"), true);
    tree.add(1, a);
    tree.add(2, new SimpleValue(istr("b"), true));
    SimpleValue copy(*a);
    copy = static_cast<SimpleValue const&>(*tree.get(2));
    EXPECT_EQ("'b'", zan_test::printed(copy));
    *a = copy;
    EXPECT_EQ(2u, tree.data().size());
}

}  // namespace
