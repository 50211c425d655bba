#include <gtest/gtest.h>

#include "workspace/showlist/ShowListClick.h"
#include "workspace/showlist/ShowListReorder.h"

namespace ostinel {
namespace {

struct ClickRules : ::testing::Test {
    Uuid a = Uuid::random(), b = Uuid::random(), c = Uuid::random(), d = Uuid::random();
    std::vector<Uuid> order{a, b, c, d};
    ClickEffect click(const ListSelection& now, const Uuid& row, bool command = false, bool shift = false) {
        return editModeClick(order, now, row, {command, shift});
    }
};

TEST_F(ClickRules, PlainClickSelectsTheRowAloneAndRenamesTheOnlySelection) {
    auto e = click({a, {a, c}, c}, b);
    EXPECT_FALSE(e.rename);
    EXPECT_EQ(e.selection.current, b);
    EXPECT_EQ(e.selection.group, std::set<Uuid>{b});
    EXPECT_EQ(e.selection.anchor, b);

    EXPECT_TRUE(click({b, {b}, b}, b).rename);
    // Part of a larger group, or current but out of the group: not renaming.
    EXPECT_FALSE(click({b, {a, b}, a}, b).rename);
    EXPECT_FALSE(click({b, {}, b}, b).rename);
    EXPECT_EQ(click({b, {}, b}, b).selection.group, std::set<Uuid>{b});
}

TEST_F(ClickRules, CommandTogglesAndKeepsTheCurrentRowInTheGroup) {
    auto e = click({a, {a}, a}, c, true);
    EXPECT_EQ(e.selection.current, a);
    EXPECT_EQ(e.selection.group, (std::set<Uuid>{a, c}));
    EXPECT_EQ(e.selection.anchor, c);

    // The only selected row leaves the set; the current track stays.
    e = click({a, {a}, a}, a, true);
    EXPECT_EQ(e.selection.current, a);
    EXPECT_TRUE(e.selection.group.empty());

    // A group that lost the current row gets it back when growing.
    e = click({a, {}, a}, b, true);
    EXPECT_EQ(e.selection.group, (std::set<Uuid>{a, b}));

    e = click({std::nullopt, {}, std::nullopt}, d, true);
    EXPECT_EQ(e.selection.current, d);
    EXPECT_EQ(e.selection.group, std::set<Uuid>{d});
}

TEST_F(ClickRules, ShiftSpansFromTheAnchorOrTheCurrentRow) {
    auto e = click({b, {b}, b}, d, false, true);
    EXPECT_EQ(e.selection.group, (std::set<Uuid>{b, c, d}));
    EXPECT_EQ(e.selection.anchor, b);
    EXPECT_EQ(e.selection.current, b);

    e = click({b, {b, d}, d}, a, false, true); // upwards, anchor stays
    EXPECT_EQ(e.selection.group, (std::set<Uuid>{a, b, c, d}));
    EXPECT_EQ(e.selection.anchor, d);

    e = click({c, {c}, std::nullopt}, a, false, true); // no anchor
    EXPECT_EQ(e.selection.group, (std::set<Uuid>{a, b, c}));
    EXPECT_EQ(e.selection.anchor, c);

    e = click({a, {a, c}, c}, d, false, true); // the range leaves the current row out
    EXPECT_EQ(e.selection.group, (std::set<Uuid>{c, d}));
    EXPECT_EQ(e.selection.current, d);

    e = click({std::nullopt, {}, std::nullopt}, b, true, true);
    EXPECT_EQ(e.selection.group, std::set<Uuid>{b});
    EXPECT_EQ(e.selection.current, b);
}

TEST_F(ClickRules, MovingRowsKeepsTheirOrderAndSharesTheRest) {
    CowList<Track> tracks;
    for (const auto& id : order) {
        Track t;
        t.id = id;
        tracks.push_back(t);
    }
    auto ids = [&] {
        std::vector<Uuid> v;
        for (const auto& t : tracks) v.push_back(t.id);
        return v;
    };
    const auto before = tracks;
    EXPECT_FALSE(moveTracks(tracks, {b}, 1));
    EXPECT_FALSE(moveTracks(tracks, {b}, 2));
    EXPECT_TRUE(moveTracks(tracks, {a}, 4));
    EXPECT_EQ(ids(), (std::vector<Uuid>{b, c, d, a}));
    EXPECT_TRUE(moveTracks(tracks, {a, c}, 0));
    EXPECT_EQ(ids(), (std::vector<Uuid>{c, a, b, d}));
    EXPECT_TRUE(moveTracks(tracks, {c, b}, 99));
    EXPECT_EQ(ids(), (std::vector<Uuid>{a, d, c, b}));
    EXPECT_EQ(&tracks[1], before.findIf([&](const Track& t) { return t.id == d; }));

    EXPECT_EQ(gapAt(-4, 52, 4), 0u);
    EXPECT_EQ(gapAt(70, 52, 4), 1u);
    EXPECT_EQ(gapAt(80, 52, 4), 2u);
    EXPECT_EQ(gapAt(900, 52, 4), 4u);
}

} // namespace
} // namespace ostinel
