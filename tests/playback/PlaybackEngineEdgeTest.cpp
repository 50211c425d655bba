#include <gtest/gtest.h>

#include "EngineRig.h"

// The transport's corners: a pre-roll interrupted, a load during a fade, a
// start past the out-point.
namespace ostinel {
namespace {

using test::EngineRig;

// What the chain holds back after a stop: its delay, well within a period.
constexpr std::int64_t drain = EngineRig::period;

// Where the audio may start once a second of pre-roll from `at` is over.
void expectStartAfterPreRoll(std::int64_t start, std::int64_t at) {
    EXPECT_GE(start, at + 48000);
    EXPECT_LE(start, at + 48000 + EngineRig::tickFrames + EngineRig::period + 96);
}

// The 3 s probe with a second of pre-roll, a trigger at its start, and
// timecode from 0.5 s: held at 0 until the pre-roll catches up.
struct PreRoll : ::testing::Test {
    EngineRig rig{3.0};
    PlaybackEngine& engine = load();
    PlaybackEngine& load() {
        rig.track.timecodePreRollEnabled = true;
        rig.track.timecodePreRollSeconds = 1.0;
        rig.track.timecodeStartSeconds = 0.5;
        rig.track.preRollMidiTriggerEnabled = true;
        rig.track.preRollMidiTrigger.name = "pre";
        return rig.load();
    }
};

TEST_F(PreRoll, RunsTimecodeFirstThenTheAudio) {
    engine.play();
    EXPECT_TRUE(engine.isPlaying());
    EXPECT_TRUE(engine.inPreRoll());
    EXPECT_EQ(rig.locates, std::vector<double>{0.0});
    ASSERT_EQ(rig.midi.size(), 1u);
    EXPECT_EQ(rig.midi[0].name, "pre");
    rig.run(1.5);

    double last = 0.0;
    for (const auto& tick : rig.ticks) {
        if (tick.rendered >= 48000) break;
        EXPECT_EQ(tick.cap, 0.5);
        EXPECT_NEAR(tick.position, std::max(0.0, double(tick.rendered) / EngineRig::rate - 0.5), 0.011);
        EXPECT_GE(tick.position, last);
        last = tick.position;
    }
    EXPECT_EQ(rig.ticks.front().position, 0.0);
    expectStartAfterPreRoll(std::int64_t(rig.firstSound()), 0);
    EXPECT_EQ(rig.midi.size(), 1u);
}

TEST_F(PreRoll, StartingPastTheInPointSkipsItAndItsTriggers) {
    engine.seek(1.0);
    engine.play();
    EXPECT_FALSE(engine.inPreRoll());
    EXPECT_EQ(rig.locates.back(), 1.5);
    EXPECT_TRUE(rig.midi.empty());
}

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
    expectStartAfterPreRoll(rig.heardAt(0), again);
}

TEST_F(PreRoll, ASeekStartsTheAudioAtOnceAndThePreRollsEndStartsItAgainFromThere) {
    engine.play();
    rig.run(0.3);
    const auto seekAt = rig.rendered();
    engine.seek(0.5);
    EXPECT_TRUE(engine.inPreRoll());
    rig.run(1.0);
    const auto first = rig.heardAt(24000);
    ASSERT_GE(first, seekAt);
    EXPECT_LE(first, seekAt + drain);
    EXPECT_FALSE(engine.inPreRoll());
    expectStartAfterPreRoll(rig.heardAt(24000, std::size_t(first + 1)), 0);
}

TEST(PlaybackEngineEdges, ALoadDuringAnEscFadeEndsItAndItsClosureNeverRuns) {
    EngineRig rig(3.0);
    auto& engine = rig.playFor(0.5);
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
