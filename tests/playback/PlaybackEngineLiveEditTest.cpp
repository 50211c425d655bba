#include <gtest/gtest.h>

#include "EngineRig.h"

// Edits of the playing track, pushed live: bounds and loops change under the
// walk without a reload.
namespace ostinel {
namespace {

using test::EngineRig;

// A cue without loops, its out-point moved by a live edit `after` seconds
// into playing from 0: what is heard, and where the cue ends.
struct OutPointMoved {
    EngineRig rig{3.0};
    std::size_t start = 0;
    OutPointMoved(double outPoint, double after, double movedTo) {
        rig.track.endSeconds = outPoint;
        auto& engine = rig.playFor(after);
        const double heard = engine.currentTime();
        const auto epoch = engine.positionEpoch();
        auto bounds = PlaybackEngine::Bounds::of(rig.track);
        bounds.end = movedTo;
        engine.applyBounds(bounds);
        // The playhead stays where it is heard.
        EXPECT_EQ(engine.currentTime(), heard);
        EXPECT_EQ(engine.positionEpoch(), epoch);
        rig.run(3.0 - after);
        start = rig.firstSound();
    }
};

TEST(LiveEditsOutPoint, MovedEarlierWhilePlayingEndsTheQueuedAudioThere) {
    OutPointMoved moved(2.5, 0.2, 1.0);
    moved.rig.expectWholeRun(EngineRig::Expected::of(0, 48000));
}

TEST(LiveEditsOutPoint, MovedEarlierToJustAheadOfThePlayheadEndsThere) {
    OutPointMoved moved(2.5, 0.9, 1.0); // already decoded ahead of the playhead
    moved.rig.expectWholeRun(EngineRig::Expected::of(0, 48000));
}

TEST(LiveEditsOutPoint, MovedLaterWhilePlayingGoesOnWithoutAGap) {
    OutPointMoved moved(1.0, 0.5, 2.0);
    moved.rig.expectWholeRun(EngineRig::Expected::of(0, 96000));
}

TEST(LiveEditsOutPoint, MovedBehindThePlayheadEndsWhereItIsWithoutReplaying) {
    OutPointMoved moved(2.5, 1.5, 1.0);
    const auto& rig = moved.rig;
    std::size_t silence = moved.start;
    while (silence < rig.right.size() && rig.right[silence] != 0.0f) ++silence;
    const auto heard = std::int64_t(silence - moved.start);
    EXPECT_GE(heard, 72000 - std::int64_t(moved.start));
    EXPECT_LE(heard, 72000 + EngineRig::period);
    EXPECT_EQ(rig.firstMismatch(EngineRig::Expected::of(0, heard), moved.start), -1);
    EXPECT_TRUE(rig.silentFrom(silence));
    ASSERT_TRUE(rig.reachedEndAt);
    EXPECT_LE(*rig.reachedEndAt, 72000 + EngineRig::tickFrames + EngineRig::period);
}

// The 3 s probe, an open loop from 1.0 to 1.5 s edited 0.1 s into its second
// pass: the pass being heard and the seam it owes are kept.
struct LoopEditedInItsSecondPass {
    EngineRig rig{3.0};
    PlaybackEngine& engine = rig.load();
    explicit LoopEditedInItsSecondPass(const std::function<void(Loop&)>& edit) {
        rig.track.loops = {EngineRig::loopOf(1.0, 1.5, std::nullopt)};
        engine.load(rig.track);
        engine.play();
        rig.run(1.6);
        Loop loop = rig.track.loops[0];
        edit(loop);
        rig.track.loops = {loop};
        engine.applyBounds(PlaybackEngine::Bounds::of(rig.track));
    }
};

TEST(LiveEditsLoops, AMovedEndTakesTheOwedSeamHardThenRepeatsTheNewPassBridged) {
    LoopEditedInItsSecondPass edited([](Loop& loop) { loop.endSeconds = 1.25; });
    edited.rig.run(1.2);
    EngineRig::Expected expected;
    expected.play(0, 72000);
    expected.seam(48000, 72000);
    expected.play(48000, 60000); // the old seam's bridge is gone
    expected.seam(48000, 60000);
    expected.seam(48000, 60000);
    EXPECT_EQ(edited.rig.firstMismatch(expected, edited.rig.firstSound()), -1);
    EXPECT_TRUE(edited.engine.isPlaying());
}

TEST(LiveEditsLoops, ADisabledLoopPlaysTheOwedPassThenGoesOnToTheEnd) {
    LoopEditedInItsSecondPass edited([](Loop& loop) { loop.enabled = false; });
    edited.rig.run(2.5);
    EngineRig::Expected expected;
    expected.play(0, 72000);
    expected.seam(48000, 72000);
    expected.play(48000, 144000);
    edited.rig.expectWholeRun(expected);
}

TEST(LiveEditsBounds, AnInPointMovedPastThePlayheadLeavesItAndTheAudioWhereTheyAre) {
    EngineRig rig(3.0);
    auto& engine = rig.playFor(0.5);
    const double heard = engine.currentTime();
    const auto epoch = engine.positionEpoch();
    engine.setBounds(1.0, 3.0);
    EXPECT_EQ(engine.currentTime(), heard);
    EXPECT_EQ(engine.positionEpoch(), epoch);
    rig.run(0.5);
    EXPECT_EQ(rig.firstMismatch(EngineRig::Expected::of(0, 47000), rig.firstSound()), -1);
}

} // namespace
} // namespace ostinel
