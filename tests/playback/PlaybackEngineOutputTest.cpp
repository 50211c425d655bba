#include <gtest/gtest.h>

#include "EngineRig.h"

namespace ostinel {
namespace {

using test::EngineRig;

const std::string disconnected = "Audio output device disconnected — switched to the system default until it is back.";

TEST(PlaybackEngineOutput, AMissingPreferredDeviceIsWaitedForAndTakenUpWhenItComes) {
    EngineRig rig;
    rig.preferences.setValue("outputDeviceUID", std::string("usb"));
    rig.preferences.setValue("outputDeviceName", std::string("USB Interface"));
    auto& engine = rig.make();
    EXPECT_EQ(engine.notice(), "USB Interface is not connected — using the system default until it is.");
    EXPECT_FALSE(engine.outputDeviceUID());
    EXPECT_EQ(engine.preferredOutputDeviceUID(), "usb");

    rig.audio.addDevice({"usb", "USB Interface", 2});
    EXPECT_FALSE(engine.outputDeviceUID()); // the listener hops to the main loop
    rig.loop.runPosted();
    EXPECT_EQ(engine.outputDeviceUID(), "usb");
    EXPECT_EQ(rig.audio.currentDeviceUID(), "usb");
    EXPECT_EQ(engine.notice(), "USB Interface connected — switched back to it.");

    // Choosing the system default forgets the preferred device.
    engine.setOutputDeviceUID(std::nullopt);
    EXPECT_FALSE(engine.preferredOutputDeviceUID());
    EXPECT_FALSE(rig.preferences.contains("outputDeviceUID"));
    EXPECT_EQ(rig.audio.currentDeviceUID(), "offline");
}

TEST(PlaybackEngineOutput, ADeviceLostDuringACueFallsBackWithoutLosingItsPlaceAndReturnsWhenItEnds) {
    EngineRig rig(2.0);
    rig.audio.addDevice({"usb", "USB Interface", 2});
    auto& engine = rig.make();
    engine.setOutputDeviceUID(std::string("usb"));
    EXPECT_EQ(rig.preferences.stringValue("outputDeviceName"), "USB Interface");
    engine.load(rig.track);
    engine.play();
    rig.run(0.75);

    rig.audio.removeDevice("usb");
    rig.loop.runPosted();
    EXPECT_EQ(engine.notice(), disconnected);
    EXPECT_FALSE(engine.outputDeviceUID());
    EXPECT_EQ(engine.preferredOutputDeviceUID(), "usb");
    EXPECT_EQ(engine.currentTime(), 0.75);

    // Back during the cue: nothing moves until the cue is over.
    rig.run(0.5);
    rig.audio.addDevice({"usb", "USB Interface", 2});
    rig.loop.runPosted();
    EXPECT_FALSE(engine.outputDeviceUID());
    EXPECT_EQ(engine.notice(), disconnected);
    rig.run(1.0);

    EXPECT_EQ(rig.firstMismatch(EngineRig::Expected::of(0, 96000), rig.firstSound()), -1);
    ASSERT_TRUE(rig.reachedEndAt);
    EXPECT_EQ(engine.outputDeviceUID(), "usb");
    EXPECT_EQ(rig.audio.currentDeviceUID(), "usb");
    EXPECT_EQ(engine.notice(), "USB Interface connected — switched back to it.");
}

TEST(PlaybackEngineOutput, ANewSystemDefaultDuringACueTakesTheCueOnFromWhereItWas) {
    EngineRig rig(2.0);
    auto& engine = rig.playFor(0.5);
    rig.audio.addDevice({"hdmi", "HDMI", 2});
    rig.audio.setDefaultDevice("hdmi");
    rig.loop.runPosted();
    EXPECT_EQ(rig.audio.currentDeviceUID(), "hdmi");
    EXPECT_FALSE(engine.outputDeviceUID());
    EXPECT_EQ(engine.currentTime(), 0.5);
    const auto switchedAt = rig.rendered();

    // The same event again changes nothing: no second gap.
    rig.run(0.2);
    rig.audio.setDefaultDevice("hdmi");
    rig.audio.addDevice({"hdmi", "HDMI", 2});
    rig.loop.runPosted();
    rig.run(0.3);
    const auto k = rig.heardAt(24000, std::size_t(switchedAt));
    ASSERT_GE(k, 0);
    EXPECT_EQ(rig.firstMismatch(EngineRig::Expected::of(24000, 47000), std::size_t(k)), -1);
}

TEST(PlaybackEngineOutput, ADeviceAtZeroHertzKeepsTheChainAsItWasAndTheCueGoesOn) {
    EngineRig rig(2.0);
    rig.audio.addDevice({"zero", "Not Ready", 2}, 0.0);
    auto& engine = rig.playFor(0.25);
    engine.setOutputDeviceUID(std::string("zero"));
    EXPECT_EQ(rig.audio.currentDeviceUID(), "zero");
    rig.run(0.25);
    EXPECT_GT(engine.currentTime(), 0.25);
    EXPECT_GT(engine.displayTime(rig.loop.now() + 1.0), 0.25);

    engine.setOutputDeviceUID(std::string("offline"));
    const auto backAt = rig.rendered();
    rig.run(0.25);
    const auto start = rig.firstSound(std::size_t(backAt));
    ASSERT_LT(start + 4800, rig.right.size());
    const auto frame = rig.fileFrame(start + 2400);
    ASSERT_TRUE(frame);
    EXPECT_EQ(rig.firstMismatch(EngineRig::Expected::of(*frame, *frame + 2400), start + 2400), -1);
}

// A four-channel and a two-channel device; the pair 3-4 saved for the latter.
struct ChannelRouting : ::testing::Test {
    EngineRig rig;
    PlaybackEngine& engine = make();
    PlaybackEngine& make() {
        rig.audio.addDevice({"usb", "USB Interface", 4});
        rig.audio.addDevice({"duo", "Duo", 2});
        rig.preferences.setValue("outputChannelOffset.duo", std::int64_t(2));
        return rig.make();
    }
};

const std::string pairUnavailable = "Selected output channels aren't available on this device — using channels 1-2.";

TEST_F(ChannelRouting, PairsAreEvenAndRememberedPerDevice) {
    engine.setOutputDeviceUID(std::string("usb"));
    engine.setOutputChannelOffset(3);
    EXPECT_EQ(engine.outputChannelOffset(), 2);
    EXPECT_EQ(rig.preferences.intValue("outputChannelOffset.usb"), 2);
    EXPECT_EQ(rig.audio.channelMap(), (std::vector<int>{-1, -1, 0, 1}));
    EXPECT_FALSE(engine.notice());

    engine.setOutputDeviceUID(std::string("duo"));
    engine.setOutputDeviceUID(std::string("usb"));
    EXPECT_EQ(engine.outputChannelOffset(), 2);
    EXPECT_EQ(rig.audio.channelMap(), (std::vector<int>{-1, -1, 0, 1}));
}

TEST_F(ChannelRouting, APairOutOfRangeFallsBackToOneTwoWithOneWarningAndIsKept) {
    engine.setOutputDeviceUID(std::string("duo"));
    EXPECT_EQ(engine.outputChannelOffset(), 2);
    EXPECT_EQ(rig.audio.channelMap(), (std::vector<int>{0, 1}));
    EXPECT_EQ(engine.notice(), pairUnavailable);
    engine.setNotice(std::nullopt);
    engine.applyOutputDevice();
    EXPECT_FALSE(engine.notice());
    EXPECT_EQ(rig.preferences.intValue("outputChannelOffset.duo"), 2);
}

TEST_F(ChannelRouting, AMonoChannelOutOfRangeUsesChannelOneWithOneWarning) {
    engine.setOutputDeviceUID(std::string("duo"));
    engine.setNotice(std::nullopt);
    engine.setMonoOutputChannel(7);
    EXPECT_EQ(rig.audio.sourceCount(), 1);
    EXPECT_EQ(rig.audio.channelMap(), (std::vector<int>{0, -1}));
    EXPECT_EQ(engine.notice(), "Selected output channel isn't available on this device — using channel 1.");
    engine.setMonoOutputChannel(std::nullopt);
    EXPECT_EQ(rig.audio.sourceCount(), 2);
}

TEST_F(ChannelRouting, AOneChannelDeviceIsChannelOneWithoutWarningUnlessALaterPairWasSaved) {
    rig.audio.addDevice({"mono", "Mono Speaker", 1});
    engine.setOutputDeviceUID(std::string("mono"));
    EXPECT_EQ(rig.audio.channelMap(), std::vector<int>{0});
    EXPECT_FALSE(engine.notice());

    engine.setOutputDeviceUID(std::string("usb"));
    engine.setOutputChannelOffset(2);
    rig.preferences.setValue("outputChannelOffset.mono", std::int64_t(2));
    engine.setOutputDeviceUID(std::string("mono"));
    EXPECT_EQ(rig.audio.channelMap(), std::vector<int>{0});
    EXPECT_EQ(engine.notice(), pairUnavailable);
}

TEST(PlaybackEngineOutput, TheLimiterSwitchIsRememberedAndItsReductionDropsAtOnce) {
    EngineRig rig;
    rig.preferences.setValue("limiterEnabled", false);
    auto& engine = rig.make();
    EXPECT_FALSE(engine.limiterEnabled());

    engine.setLimiterEnabled(true);
    rig.track.volume = Constraint::maxTrackAmplitude; // +15 dB drives the limiter
    engine.load(rig.track);
    engine.play();
    rig.run(0.5);
    EXPECT_GT(engine.limiterReductionDb(), 1.0f);
    EXPECT_GT(engine.meterLevelR(), 0.5f);
    engine.setLimiterEnabled(false);
    EXPECT_EQ(engine.limiterReductionDb(), 0.0f);
    EXPECT_EQ(rig.preferences.boolValue("limiterEnabled"), false);
    engine.stop();
    EXPECT_EQ(engine.meterLevelR(), 0.0f);
}

} // namespace
} // namespace ostinel
