#include <gtest/gtest.h>

#include <string>

#include "base/CowList.h"

using namespace ostinel;

namespace {
struct Item {
    int key = 0;
    std::string text;
    friend bool operator==(const Item&, const Item&) = default;
};
auto byKey = [](const Item& i) { return i.key; };
} // namespace

TEST(CowList, EditingACopyLeavesTheOriginalAndSharesTheUntouched) {
    CowList<Item> a{{1, "one"}, {2, "two"}, {3, "three"}};
    CowList<Item> b = a;
    b.stableSortBy(byKey); // already sorted: still shared
    EXPECT_TRUE(a.sharesStorageWith(b));
    b.edit(1).text = "TWO";
    EXPECT_EQ(a[1].text, "two");
    EXPECT_EQ(b[1].text, "TWO");
    EXPECT_FALSE(a.sharesStorageWith(b));
    // Untouched elements still share one object between both lists.
    EXPECT_EQ(&a[0], &b[0]);
    EXPECT_EQ(&a[2], &b[2]);
    EXPECT_NE(&a[1], &b[1]);
    EXPECT_NE(a, b);
    b.edit(1).text = "two";
    EXPECT_EQ(a, b); // equal by value though no longer shared

    // The sole owner edits in place.
    const Item* before = &b[1];
    b.edit(1).key = 7;
    EXPECT_EQ(&b[1], before);
    EXPECT_EQ(b[1].key, 7);
}

TEST(CowList, InsertEraseAndStableSort) {
    CowList<Item> a;
    a.push_back({3, "c"});
    a.push_back({1, "a1"});
    a.insert(0, Item{1, "a0"});
    a.stableSortBy(byKey);
    ASSERT_EQ(a.size(), 3u);
    EXPECT_EQ(a[0].text, "a0");
    EXPECT_EQ(a[1].text, "a1"); // ties keep their order
    EXPECT_EQ(a[2].text, "c");
    EXPECT_EQ(a.eraseIf([](const Item& i) { return i.key == 1; }), 2u);
    EXPECT_EQ(a.toVector(), std::vector<Item>({{3, "c"}}));
    a.erase(0);
    EXPECT_EQ(a, CowList<Item>{});
}

TEST(Cow, WritesUnshareAndCompareByValue) {
    Cow<std::string> a(std::string("x"));
    Cow<std::string> b = a;
    b.edit() += "y";
    EXPECT_EQ(*a, "x");
    EXPECT_EQ(*b, "xy");
    EXPECT_NE(a, b);
    EXPECT_EQ(a, Cow<std::string>(std::string("x")));
    Cow<std::string> empty1, empty2;
    empty2.edit() = "z";
    EXPECT_EQ(*empty1, ""); // the shared empty value is never written
}
