#include <gtest/gtest.h>

#include "EngineRig.h"

namespace ostinel {
namespace {

using test::EngineRig;
constexpr std::int64_t tickFrames = EngineRig::tickFrames;

// The 3 s probe with three passes of the loop from 1.0 to 1.5 s.
EngineRig::Expected threePassesOfOneToOneAndAHalf() {
    EngineRig::Expected expected;
    expected.play(0, 72000);
    expected.seam(48000, 72000);
    expected.seam(48000, 72000);
    expected.play(72000, 144000);
    return expected;
}

TEST(PlaybackEngineLoops, PlayCountThreeRepeatsExactlyWithBridgedSeamsAndEndsAfterTheLastSample) {
    EngineRig rig(3.0);
    rig.track.loops = {EngineRig::loopOf(1.0, 1.5, 3)};
    rig.playFor(4.2);
    rig.expectWholeRun(threePassesOfOneToOneAndAHalf());
}

TEST(PlaybackEngineLoops, GoLeavesAfterThePassThatIsPlayingAndTheDisplayFollows) {
    EngineRig rig(3.0);
    rig.track.loops = {EngineRig::loopOf(1.0, 1.5, std::nullopt)};
    const Uuid loopID = rig.track.loops[0].id;
    auto& engine = rig.playFor(2.1); // 100 ms into the third pass
    EXPECT_EQ(engine.activeLoopID(), loopID);
    EXPECT_FALSE(engine.loopExiting());
    // Inside the loop the display never runs past its end.
    EXPECT_EQ(engine.displayTime(engine.tickDate() + 5.0), 1.5);

    engine.requestLoopExit();
    EXPECT_TRUE(engine.loopExiting());
    EXPECT_FALSE(engine.cueLoopExiting());
    EXPECT_EQ(engine.displayTime(engine.tickDate() + 5.0), 3.0);
    rig.run(2.2);
    rig.expectWholeRun(threePassesOfOneToOneAndAHalf());
    EXPECT_FALSE(engine.activeLoopID());
    EXPECT_FALSE(engine.loopExiting());
}

TEST(PlaybackEngineLoops, TheCueLoopIsHeardOutAfterItsExitBeforeTheEnd) {
    EngineRig rig(3.0);
    rig.track.endSeconds = 0.5;
    rig.track.loopCue = true;
    auto& engine = rig.playFor(1.2);
    EXPECT_EQ(engine.activeLoopID(), Loop::cueLoopID);
    engine.requestLoopExit();
    EXPECT_TRUE(engine.cueLoopExiting());
    EXPECT_TRUE(engine.loopExiting());
    rig.run(0.6);

    EngineRig::Expected expected;
    expected.play(0, 24000);
    expected.seam(0, 24000);
    expected.seam(0, 24000);
    rig.expectWholeRun(expected);
}

TEST(PlaybackEngineTriggers, FireOncePerPassFromWhatWasHeardAndNeverForSkippedAudio) {
    EngineRig rig(4.0);
    rig.track.loops = {EngineRig::loopOf(1.0, 1.5, 3)};
    rig.track.midiTriggers = {MidiTrigger{.name = "in", .timeSeconds = 1.25}, MidiTrigger{.name = "start"},
                              MidiTrigger{.name = "after", .timeSeconds = 2.0}};
    rig.track.oscTriggers = {OSCTrigger{.name = "skipped", .timeSeconds = 2.6},
                             OSCTrigger{.name = "landed", .timeSeconds = 2.95}};
    auto& engine = rig.playFor(3.1); // file time 2.1 after three passes of 0.5 s
    engine.seek(2.9);
    rig.run(0.5);

    // Output sample at which each trigger's frame was heard.
    const std::vector<std::pair<std::string, std::int64_t>> heard{
        {"start", 0}, {"in", 60000}, {"in", 84000}, {"in", 108000}, {"after", 144000}};
    ASSERT_EQ(rig.midi.size(), heard.size());
    for (std::size_t i = 0; i < heard.size(); ++i) {
        EXPECT_EQ(rig.midi[i].name, heard[i].first);
        EXPECT_GE(rig.midi[i].rendered, heard[i].second) << i;
        EXPECT_LE(rig.midi[i].rendered, heard[i].second + tickFrames + EngineRig::period) << i;
    }
    ASSERT_EQ(rig.osc.size(), 1u);
    EXPECT_EQ(rig.osc[0].name, "landed");

    // Switched off, nothing fires.
    auto bounds = PlaybackEngine::Bounds::of(rig.track);
    bounds.midiTriggersEnabled = false;
    engine.applyBounds(bounds);
    engine.seek(0.0);
    rig.run(0.2);
    EXPECT_EQ(rig.midi.size(), heard.size());
}

// The 3 s probe with a fade-in of a second, so the player's volume shows
// whether a stop left the envelope in it.
struct Stops : ::testing::Test {
    EngineRig rig{3.0};
    PlaybackEngine& engine = load();
    const float level = float(1.0 / Constraint::maxTrackAmplitude);
    PlaybackEngine& load() {
        rig.track.fade.fadeInSeconds = 1.0;
        return rig.load();
    }
};

TEST_F(Stops, APauseKeepsThePlayheadAndTheVolumeAndPlayGoesOnFromThere) {
    engine.play();
    rig.run(0.5);
    const float faded = engine.playerVolume();
    EXPECT_GT(faded, 0.0f);
    EXPECT_LT(faded, level * 0.05f);
    engine.pause();
    EXPECT_FALSE(engine.isPlaying());
    EXPECT_EQ(engine.currentTime(), 0.5);
    EXPECT_EQ(engine.playerVolume(), faded);

    engine.play();
    EXPECT_EQ(rig.locates.back(), 3600.5);
    rig.run(0.25);
    EXPECT_NEAR(engine.currentTime(), 0.75, 0.04);
}

TEST_F(Stops, StopHereAndStopAtPlayStartKeepTheirPlacesAndResetTheVolume) {
    engine.seek(0.5);
    engine.play();
    rig.run(0.25);
    const double heard = engine.currentTime();
    EXPECT_NEAR(heard, 0.75, 0.04);
    engine.stopHere();
    EXPECT_EQ(engine.currentTime(), heard);
    EXPECT_EQ(engine.playerVolume(), level);

    engine.play();
    EXPECT_EQ(engine.playStartPosition(), heard);
    rig.run(0.3);
    engine.stopAtPlayStart();
    EXPECT_EQ(engine.currentTime(), heard);
    EXPECT_EQ(engine.playerVolume(), level);
}

TEST_F(Stops, StopRewindsToTheInPointAndResetsTheVolume) {
    engine.play();
    rig.run(0.2);
    engine.stop();
    EXPECT_FALSE(engine.isPlaying());
    EXPECT_EQ(engine.currentTime(), 0.0);
    EXPECT_EQ(engine.playerVolume(), level);
}

TEST_F(Stops, ASeekWhileStoppedMovesThePlayheadAndWhilePlayingTheAudio) {
    const auto epoch = engine.positionEpoch();
    engine.seek(2.0);
    EXPECT_EQ(engine.positionEpoch(), epoch + 1);
    EXPECT_EQ(engine.currentTime(), 2.0);
    engine.play();
    rig.run(0.1);
    const auto before = rig.rendered();
    engine.seek(1.0);
    EXPECT_EQ(rig.locates.back(), 3601.0);
    rig.run(0.1);
    const auto k = rig.heardAt(48000, std::size_t(before));
    ASSERT_GE(k, 0) << "the audio after the seek never started at 1.0 s";
    EXPECT_EQ(rig.firstMismatch(EngineRig::Expected::of(48000, 50400), std::size_t(k)), -1);
}

TEST(PlaybackEngineTransport, BoundsKeepAStoppedPlayheadInRange) {
    EngineRig rig(3.0);
    auto& engine = rig.load();
    engine.seek(2.5);
    const auto epoch = engine.positionEpoch();
    engine.setBounds(0.5, 2.0);
    EXPECT_EQ(engine.currentTime(), 2.0);
    EXPECT_EQ(engine.positionEpoch(), epoch + 1);
    engine.setBounds(0.5, 0.2); // an out-point before the in-point means the end
    EXPECT_EQ(engine.endTime(), 3.0);
}

TEST(PlaybackEngineTransport, PlayingWithinTenMillisecondsOfTheOutPointStartsAtTheInPoint) {
    EngineRig rig(3.0);
    auto& engine = rig.load();
    engine.setBounds(0.5, 2.0);
    engine.seek(1.995);
    engine.play();
    EXPECT_EQ(engine.playStartPosition(), 0.5);
    EXPECT_EQ(rig.locates.back(), 3600.5);
}

TEST(PlaybackEngineTransport, AFailedLoadNamesWhatFailedAndLeavesNothingToPlay) {
    EngineRig rig(3.0);
    auto& engine = rig.load();
    engine.play();
    Track missing = rig.track;
    missing.url = FileUrl::fromPath(rig.dir.file("gone.wav"));
    engine.setAutoPlayOnNextLoad(true);
    engine.load(missing);
    EXPECT_FALSE(engine.isPlaying());
    EXPECT_FALSE(engine.hasFile());
    EXPECT_FALSE(engine.autoPlayOnNextLoad());
    EXPECT_EQ(engine.duration(), 0.0);
    EXPECT_EQ(engine.notice(), "Audio file missing: Probe");
    engine.play();
    EXPECT_FALSE(engine.isPlaying());

    Track broken = rig.track;
    broken.url = FileUrl::fromPath(rig.dir.write("broken.wav", "not audio"));
    engine.load(broken);
    EXPECT_EQ(engine.notice(), "Audio file could not be opened: Probe");

    engine.setAutoPlayOnNextLoad(true);
    engine.load(rig.track);
    EXPECT_TRUE(engine.isPlaying());
    EXPECT_EQ(engine.currentURL(), rig.track.url);
}

} // namespace
} // namespace ostinel
