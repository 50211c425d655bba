#include <gtest/gtest.h>

#include "EngineRig.h"

// The transport's corners: a pre-roll interrupted, a load during a fade, a
// start past the out-point.
namespace ostinel {
namespace {

using test::EngineRig;

// What the chain holds back after a stop: its delay, well within a period.
constexpr std::int64_t drain = EngineRig::period;

// The 3 s probe with a second of pre-roll and a trigger at its start.
struct PreRoll : ::testing::Test {
    EngineRig rig{3.0};
    PlaybackEngine& engine = load();
    PlaybackEngine& load() {
        rig.track.timecodePreRollEnabled = true;
        rig.track.timecodePreRollSeconds = 1.0;
        rig.track.preRollMidiTriggerEnabled = true;
        rig.track.preRollMidiTrigger.name = "pre";
        return rig.load();
    }
    // The first output frame from `from` that carries file frame `frame`.
    std::int64_t heardAt(std::int64_t frame, std::size_t from = 0) const {
        for (std::size_t k = from; k < rig.right.size(); ++k)
            if (rig.fileFrame(k) == frame) return std::int64_t(k);
        return -1;
    }
};

TEST_F(PreRoll, APauseKeepsThePlayheadAndTheNextPlayRunsThePreRollAfresh) {
    engine.play();
    rig.run(0.5);
    engine.pause();
    EXPECT_FALSE(engine.isPlaying());
    EXPECT_FALSE(engine.inPreRoll());
    EXPECT_EQ(engine.currentTime(), 0.0);
    rig.run(1.0);
    EXPECT_TRUE(rig.silentFrom(0)) << "no audio before the pre-roll is over";

    const auto again = rig.rendered();
    engine.play();
    EXPECT_TRUE(engine.inPreRoll());
    ASSERT_EQ(rig.midi.size(), 2u);
    EXPECT_EQ(rig.midi[1].name, "pre");
    rig.run(1.5);
    const auto start = heardAt(0);
    EXPECT_GE(start, again + 48000);
    EXPECT_LE(start, again + 48000 + EngineRig::tickFrames + EngineRig::period + 96);
}

TEST_F(PreRoll, ASeekStartsTheAudioAtOnceAndThePreRollsEndStartsItAgainFromThere) {
    engine.play();
    rig.run(0.3);
    const auto seekAt = rig.rendered();
    engine.seek(0.5);
    EXPECT_TRUE(engine.inPreRoll());
    rig.run(1.0);
    const auto first = heardAt(24000);
    ASSERT_GE(first, seekAt);
    EXPECT_LE(first, seekAt + drain);
    EXPECT_FALSE(engine.inPreRoll());
    const auto second = heardAt(24000, std::size_t(first + 1));
    EXPECT_GE(second, 48000);
    EXPECT_LE(second, 48000 + EngineRig::tickFrames + EngineRig::period + 96);
}

TEST(PlaybackEngineEdges, ALoadDuringAnEscFadeEndsItAndItsClosureNeverRuns) {
    EngineRig rig(3.0);
    auto& engine = rig.load();
    engine.play();
    rig.run(0.5);
    int calls = 0;
    engine.fadeOutAndStop(2.0, [&] { ++calls; });
    rig.run(0.5);
    engine.load(rig.track);
    EXPECT_FALSE(engine.isEscFading());
    EXPECT_FALSE(engine.isPlaying());
    EXPECT_EQ(engine.currentTime(), 0.0);
    EXPECT_EQ(engine.playerVolume(), float(1.0 / Constraint::maxTrackAmplitude));
    const auto loadedAt = rig.rendered();
    rig.run(2.0);
    EXPECT_EQ(calls, 0);
    EXPECT_TRUE(rig.silentFrom(std::size_t(loadedAt + drain)));

    // The next cue is heard at its own level, not the fade's.
    engine.play();
    rig.run(0.1);
    const auto start = rig.firstSound(std::size_t(loadedAt + drain));
    EXPECT_EQ(rig.fileFrame(start + 500), 500);
}

TEST(PlaybackEngineEdges, PlayFromPastTheOutPointStartsAtTheInPointAndASeekThereEndsTheCue) {
    EngineRig rig(3.0);
    rig.track.startSeconds = 0.5;
    rig.track.endSeconds = 1.0;
    auto& engine = rig.load();
    engine.seek(2.0);
    engine.play();
    EXPECT_EQ(engine.playStartPosition(), 0.5);
    rig.run(0.2);
    EXPECT_EQ(rig.fileFrame(rig.firstSound()), 24000);

    engine.seek(2.0);
    const auto seekAt = rig.rendered();
    rig.run(0.2);
    ASSERT_TRUE(rig.reachedEndAt);
    EXPECT_LE(*rig.reachedEndAt, seekAt + EngineRig::tickFrames + EngineRig::period);
    EXPECT_TRUE(rig.silentFrom(std::size_t(seekAt + drain)));
    EXPECT_FALSE(engine.isPlaying());
}

} // namespace
} // namespace ostinel
