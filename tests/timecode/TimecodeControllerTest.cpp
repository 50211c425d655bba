#include <gtest/gtest.h>

#include "platform/LoopbackMidiSystem.h"
#include "playback/EngineRig.h"
#include "timecode/LtcRig.h"
#include "timecode/MTCSender.h"
#include "timecode/ManualQuarterFrameTimer.h"
#include "timecode/MtcReceiver.h"
#include "timecode/TimecodeController.h"

namespace ostinel {
namespace {

// The controller on the whole engine, MTC on the loopback with a hand-turned
// quarter-frame clock, LTC on the offline device.
struct TimecodeControllerTest : ::testing::Test {
    test::EngineRig music;
    PlaybackEngine& engine = music.make();
    MemoryPreferences& preferences = music.preferences;
    LoopbackMidiSystem midi;
    ManualClock clock;
    ManualQuarterFrameTimer timer{clock};
    MTCSender sender{midi, clock, timer};
    test::LtcRig ltc{music.audio, music.loop};
    test::MtcReceiver received;
    std::unique_ptr<TimecodeController> controller;

    TimecodeControllerTest() {
        midi.setTap([this](const LoopbackMessage& message) { received.receive(message); });
    }
    TimecodeController& make() {
        controller = std::make_unique<TimecodeController>(music.loop, preferences, midi, sender, ltc.ltc);
        controller->attach(engine);
        return *controller;
    }
    // Quarter frames for `seconds` more of the MTC clock.
    void pieces(double seconds) { timer.advanceTo(clock.now() + seconds); }
};

TEST_F(TimecodeControllerTest, ReadsItsPreferencesTolerantlyAndKeepsEveryChange) {
    preferences.setValue("timecodeRate", std::string("fps60"));
    preferences.setValue("ltcLevelDb", 7.0);
    preferences.setValue("ltcMode", std::string("sideways"));
    auto& timecode = make();
    EXPECT_EQ(timecode.rate(), TimecodeRate::fps25);
    EXPECT_EQ(timecode.ltcLevelDb(), 0.0);
    EXPECT_EQ(timecode.ltcMode(), LTCMode::splitMain);
    EXPECT_TRUE(timecode.enabled());
    EXPECT_TRUE(timecode.ltcSplitLTCOnRight());

    timecode.setRate(TimecodeRate::fps2997df);
    EXPECT_EQ(preferences.stringValue("timecodeRate"), "fps2997df");
    EXPECT_EQ(preferences.boolValue("timecodeEnabled"), true);
    timecode.setLtcLevelDb(-55.0);
    EXPECT_EQ(timecode.ltcLevelDb(), -40.0);
    EXPECT_EQ(preferences.doubleValue("ltcLevelDb"), -40.0);
    timecode.setLtcDeviceUID("four");
    timecode.setLtcChannel(3);
    timecode.setLtcMode(LTCMode::customRoute);
    EXPECT_EQ(preferences.stringValue("ltcDeviceUID"), "four");
    EXPECT_EQ(preferences.intValue("ltcChannel"), 3);
    EXPECT_EQ(preferences.stringValue("ltcMode"), "customRoute");
    timecode.setLtcDeviceUID(std::nullopt);
    EXPECT_FALSE(preferences.contains("ltcDeviceUID"));

    // A second run reads back what the first kept.
    controller.reset();
    auto& again = make();
    EXPECT_EQ(again.rate(), TimecodeRate::fps2997df);
    EXPECT_EQ(again.ltcLevelDb(), -40.0);
    EXPECT_EQ(again.ltcChannel(), 3);
}

// A play locates both outputs at the cue's timecode: a full frame and even
// sequences on "Ostinel MTC", LTC on the split side with the music folded to
// the other; a stop ends the quarter frames.
TEST_F(TimecodeControllerTest, TheTransportFeedsMtcAndLtcTogether) {
    preferences.setValue("ltcEnabled", true);
    make();
    EXPECT_EQ(engine.monoOutputChannel(), 0);
    ASSERT_NE(ltc.ltc.output(), nullptr);
    EXPECT_EQ(ltc.output().channelMap(), (std::vector<int>{-1, 0}));

    music.load().play();
    ASSERT_EQ(received.fullFrames.size(), 1u);
    EXPECT_EQ(received.fullFrames[0].frames(), 90000);
    EXPECT_EQ(received.ports.front(), "Ostinel MTC");
    pieces(0.4);
    ASSERT_EQ(received.sequences.size(), 5u);
    EXPECT_EQ(received.sequences[4].timecode.frames(), 90008);
    bool sounded = false;
    for (int i = 0; i < 10; ++i)
        sounded |= !test::silent(ltc.render()[1]);
    EXPECT_TRUE(sounded);

    engine.stop();
    const auto sent = received.pieceTimes.size();
    pieces(0.5);
    EXPECT_EQ(received.pieceTimes.size(), sent);
}

// Rate changes go to MTC at once; a custom LTC route on the music's pair is
// refused with the notice and leaves the music in stereo.
TEST_F(TimecodeControllerTest, ChangesReachTheOutputsAtOnce) {
    auto& timecode = make();
    music.load().play();
    timecode.setRate(TimecodeRate::fps30);
    pieces(0.2);
    ASSERT_FALSE(received.sequences.empty());
    EXPECT_EQ(received.sequences.back().timecode.rateCode, 3);
    timecode.setEnabled(false);
    const auto sent = received.pieceTimes.size();
    pieces(0.2);
    EXPECT_EQ(received.pieceTimes.size(), sent);

    timecode.setLtcMode(LTCMode::customRoute);
    timecode.setLtcChannel(1);
    timecode.setLtcEnabled(true);
    EXPECT_EQ(engine.notice(), "LTC channel overlaps the music output pair — pick another channel or use Split mode.");
    EXPECT_EQ(engine.monoOutputChannel(), std::nullopt);
}

// Selection is by name: a newcomer is on, one switched off stays off when it
// is plugged in again, one on comes back on, and the stream reaches only what
// is on.
TEST_F(TimecodeControllerTest, DestinationsAreChosenByNameAcrossReplugging) {
    auto& timecode = make();
    midi.addDestination({"14:0", "Desk"});
    midi.addDestination({"15:0", "Video"});
    music.loop.runPosted();
    EXPECT_TRUE(timecode.isDestinationSelected("Desk"));
    timecode.toggleDestination("Video");
    midi.removeDestination("15:0");
    midi.addDestination({"16:0", "Video"});
    music.loop.runPosted();
    EXPECT_FALSE(timecode.isDestinationSelected("Video"));
    EXPECT_EQ(preferences.stringListValue("timecodeDestinations"), (std::vector<std::string>{"Desk"}));

    music.load().play();
    pieces(0.05);
    bool reachedDesk = false;
    for (std::size_t i = 0; i < received.ports.size(); ++i) {
        if (received.ports[i] != "Ostinel TC Out") continue;
        EXPECT_EQ(received.endpoints[i], (std::vector<std::string>{"14:0"}));
        reachedDesk = true;
    }
    EXPECT_TRUE(reachedDesk);

    // Unplugged mid-show and back under another address: still chosen, still fed.
    midi.removeDestination("14:0");
    music.loop.runPosted();
    midi.addDestination({"17:0", "Desk"});
    music.loop.runPosted();
    EXPECT_TRUE(timecode.isDestinationSelected("Desk"));
    received.endpoints.clear();
    pieces(0.05);
    ASSERT_FALSE(received.endpoints.empty());
    EXPECT_EQ(received.endpoints.back(), (std::vector<std::string>{"17:0"}));
}

} // namespace
} // namespace ostinel
