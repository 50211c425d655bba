#include <cmath>
#include <limits>

#include "document/LevelMatch.h"
#include "document/AppStateFixture.h"

namespace ostinel {
namespace {

constexpr double inf = std::numeric_limits<double>::infinity();

TEST(LevelMatchRule, PeakCeilingWinsOverTheTargetAndTheGainCeilingOverBoth) {
    // Hot cue: pulled down to the target.
    auto hot = LevelMatch::change({-10.0, -3.0, -2.0}, -16.0);
    EXPECT_DOUBLE_EQ(hot.gainDb, -6.0);
    EXPECT_FALSE(hot.peakLimited);
    EXPECT_NEAR(hot.volume, std::pow(10.0, -6.0 / 20.0), 1e-12);
    EXPECT_EQ(LevelMatch::note(hot), std::nullopt);

    // No headroom: the peak stays at -1 dBFS, below the target.
    auto limited = LevelMatch::change({-20.0, -1.0, -0.5}, -16.0);
    EXPECT_DOUBLE_EQ(limited.gainDb, -0.5);
    EXPECT_TRUE(limited.peakLimited);
    EXPECT_FALSE(limited.ceilingHit);
    EXPECT_EQ(LevelMatch::note(limited), "peak-limited — no headroom left to reach the target");

    auto quiet = LevelMatch::change({-40.0, -31.0, -30.0}, -16.0);
    EXPECT_DOUBLE_EQ(quiet.gainDb, 15.0);
    EXPECT_TRUE(quiet.ceilingHit);
    EXPECT_FALSE(quiet.peakLimited);
    EXPECT_EQ(quiet.volume, Constraint::maxTrackAmplitude);
    EXPECT_EQ(LevelMatch::note(quiet), "at the +15 dB level ceiling");

    // Both: the peak note wins.
    auto both = LevelMatch::change({-60.0, -40.0, -20.0}, -16.0);
    EXPECT_TRUE(both.peakLimited && both.ceilingHit);
    EXPECT_EQ(LevelMatch::note(both), "peak-limited — no headroom left to reach the target");
}

TEST(LevelMatchRule, MessageNamesOnlyTheCuesThatStoppedShort) {
    EXPECT_EQ(LevelMatch::message(0, 0), std::nullopt);
    EXPECT_EQ(LevelMatch::message(2, 0),
              "Levels matched — 2 stayed below the target to keep the peaks under 1 dB of headroom.");
    EXPECT_EQ(LevelMatch::message(0, 1), "Levels matched — 1 hit the +15 dB level ceiling.");
    EXPECT_EQ(LevelMatch::message(1, 3), "Levels matched — 1 stayed below the target to keep the peaks under 1 dB "
                                         "of headroom, 3 hit the +15 dB level ceiling.");
}

using LevelMatchApply = test::AppStateFixture;

TEST_F(LevelMatchApply, SetsOnlyMeasuredTracksAsOneUndoStepAndIsIdempotent) {
    auto ids = openShow({"a", "b", "c"});
    state.editTrack(ids[2], [](Track& t) { t.volume = 0.5; });
    std::map<Uuid, LoudnessMeasurement> m{{ids[0], {-20.0, -1.0, -0.5}}, {ids[1], {-40.0, -31.0, -30.0}}};

    EXPECT_EQ(state.applyLoudnessMatch({}, -16.0), std::nullopt);
    EXPECT_EQ(state.applyLoudnessMatch(m, -16.0),
              "Levels matched — 1 stayed below the target to keep the peaks under 1 dB of headroom, "
              "1 hit the +15 dB level ceiling.");
    EXPECT_NEAR(state.show().tracks[0].volume, std::pow(10.0, -0.5 / 20.0), 1e-12);
    EXPECT_EQ(state.show().tracks[1].volume, Constraint::maxTrackAmplitude);
    EXPECT_EQ(state.show().tracks[2].volume, 0.5);

    // Applied again at once: the same volumes, and no step that changes nothing.
    state.applyLoudnessMatch(m, -16.0);
    EXPECT_NEAR(state.show().tracks[0].volume, std::pow(10.0, -0.5 / 20.0), 1e-12);
    state.undo();
    EXPECT_EQ(state.show().tracks[0].volume, 1.0);
    EXPECT_EQ(state.show().tracks[1].volume, 1.0);
    EXPECT_EQ(state.show().tracks[2].volume, 0.5); // the edit before is a step of its own

    // A damaged measurement leaves its track alone.
    state.applyLoudnessMatch({{ids[2], {std::nan(""), -inf, -inf}}, {ids[1], {-16.0, -inf, -inf}}}, -16.0);
    EXPECT_EQ(state.show().tracks[2].volume, 0.5);
    EXPECT_EQ(state.show().tracks[1].volume, 1.0);

    // A plain match reports nothing; the caller says what the target was.
    EXPECT_EQ(state.applyLoudnessMatch({{ids[2], {-18.0, -12.0, -11.0}}}, -16.0), std::nullopt);
    EXPECT_NEAR(state.show().tracks[2].volume, std::pow(10.0, 2.0 / 20.0), 1e-12);
}

} // namespace
} // namespace ostinel
