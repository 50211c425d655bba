#include <gtest/gtest.h>

#include <vector>

#include "playback/EngineRig.h"
#include "timecode/LTCRouting.h"
#include "timecode/LtcRig.h"

namespace ostinel {
namespace {

using test::LtcRig;
using test::ReferenceLtc;
using test::silent;
using Level = LTCOutputEngine::LogLevel;

struct LtcRouting : ::testing::Test {
    test::EngineRig music;
    PlaybackEngine& engine = music.make();
    LtcRig ltc{music.audio, music.loop};

    void apply(LTCRouting settings) { applyLTCRouting(settings, ltc.ltc, engine); }
    static LTCRouting split(bool right) {
        return {.enabled = true, .mode = LTCMode::splitMain, .splitLTCOnRight = right};
    }
    static LTCRouting custom(std::optional<std::string> uid, int channel) {
        return {
            .enabled = true, .mode = LTCMode::customRoute, .deviceUID = std::move(uid), .channel = channel};
    }
};

TEST_F(LtcRouting, SplitPutsLTCOnOneSideOfThePairAndTheMusicMonoOnTheOtherNeverThroughItsChain) {
    music.audio.addDevice({"four", "Four", 4});
    engine.setOutputDeviceUID("four");
    engine.setOutputChannelOffset(2);
    apply(split(true));
    EXPECT_EQ(engine.monoOutputChannel(), 2);
    EXPECT_EQ(music.audio.channelMap(), (std::vector<int>{-1, -1, 0, -1}));
    EXPECT_EQ(ltc.output().currentDeviceUID(), "four");
    EXPECT_EQ(ltc.output().channelMap(), (std::vector<int>{-1, -1, -1, 0}));

    // LTC at full level while the music plays: bit for bit the encoder's on
    // its channel (no gain, no limiter), nothing of it in the music's output
    // or its meters.
    ltc.ltc.setLevelDb(0.0);
    ltc.clock.set(ltc.now());
    ltc.ltc.locate(3600.0);
    ReferenceLtc ref(TimecodeRate::fps25, 3600.0);
    music.load().play();
    bool musicHeard = false;
    for (int k = 0; k < 40; ++k) {
        const auto out = music.audio.render(test::EngineRig::period);
        music.loop.advance(test::EngineRig::period / test::EngineRig::rate);
        const auto tc = ltc.render();
        ASSERT_EQ(tc[3], ref.next(1.0f)) << k;
        for (int c = 0; c < 3; ++c)
            ASSERT_TRUE(silent(tc[std::size_t(c)])) << c;
        ASSERT_TRUE(silent(out[3]) && silent(out[0]) && silent(out[1])) << k;
        musicHeard = musicHeard || !silent(out[2]);
    }
    EXPECT_TRUE(musicHeard);
    engine.updateMeter();
    EXPECT_LT(engine.meterLevelL(), 0.5f);
    EXPECT_EQ(engine.limiterReductionDb(), 0.0f);

    apply(split(false));
    EXPECT_EQ(engine.monoOutputChannel(), 3);
    EXPECT_EQ(ltc.output().channelMap(), (std::vector<int>{-1, -1, 0, -1}));
    apply({});
    EXPECT_EQ(engine.monoOutputChannel(), std::nullopt);
    EXPECT_FALSE(ltc.ltc.isActive());
    EXPECT_FALSE(ltc.output().isRunning());
}

TEST_F(LtcRouting, ACustomRouteOnTheMusicPairIsRefusedAndOneBeyondTheDeviceFallsToItsFirstChannel) {
    apply(split(true));
    ASSERT_EQ(engine.monoOutputChannel(), 0);
    // An unknown device stands for the default, the music's device here.
    apply(custom("gone", 1));
    EXPECT_EQ(engine.notice(), ltcOverlapNotice);
    EXPECT_EQ(engine.monoOutputChannel(), std::nullopt);
    EXPECT_FALSE(ltc.ltc.isActive());
    ltc.ltc.locate(5.0);
    EXPECT_TRUE(silent(ltc.render()[1]));

    engine.setNotice(std::nullopt);
    music.audio.addDevice({"stage", "Stage", 2});
    apply(custom("stage", 5));
    EXPECT_EQ(engine.notice(), std::nullopt);
    EXPECT_TRUE(ltc.output().isRunning());
    EXPECT_EQ(ltc.output().currentDeviceUID(), "stage");
    EXPECT_EQ(ltc.output().channelMap(), (std::vector<int>{0, -1}));
    EXPECT_TRUE(ltc.logged(Level::info, "LTC channel 5 exceeds device channels (2) — using channel 1"));
    EXPECT_FALSE(silent(ltc.render()[0]));
    // The music's own device, off its pair, is fine.
    music.audio.addDevice({"four", "Four", 4});
    engine.setOutputDeviceUID("four");
    apply(custom("four", 2));
    EXPECT_EQ(engine.notice(), std::nullopt);
    EXPECT_EQ(ltc.output().channelMap(), (std::vector<int>{-1, -1, 0, -1}));
}

TEST_F(LtcRouting, AnUnpluggedDeviceGivesWayToTheDefaultUntilTheRoutingIsAppliedAgain) {
    music.audio.addDevice({"usb", "USB", 2});
    apply(custom("usb", 1));
    ASSERT_EQ(ltc.output().currentDeviceUID(), "usb");
    ltc.ltc.locate(1.0);

    music.audio.removeDevice("usb");
    music.loop.runPosted();
    EXPECT_TRUE(
        ltc.logged(Level::error, "LTC output device disappeared (uid: usb) — following the system default"));
    EXPECT_EQ(ltc.output().currentDeviceUID(), "offline");
    EXPECT_EQ(ltc.output().channelMap(), (std::vector<int>{-1, 0}));
    EXPECT_FALSE(silent(ltc.render()[1]));

    music.audio.addDevice({"usb", "USB", 2});
    music.loop.runPosted();
    EXPECT_EQ(ltc.output().currentDeviceUID(), "offline");
    apply(custom("usb", 1));
    EXPECT_EQ(ltc.output().currentDeviceUID(), "usb");

    // Not there at all at a routing pass: logged, the routing kept.
    apply(custom("elsewhere", 3));
    EXPECT_TRUE(
        ltc.logged(Level::error, "LTC output device not found (uid: elsewhere) — keeping current routing"));
    EXPECT_EQ(ltc.output().currentDeviceUID(), "usb");
}

TEST_F(LtcRouting, InSplitTheLTCFollowsTheMusicsDeviceAtTheNextPass) {
    music.audio.addDevice({"four", "Four", 4});
    engine.setOutputDeviceUID("four");
    engine.setOutputChannelOffset(2);
    apply(split(true));

    music.audio.removeDevice("four"); // the music falls back to the default and its pair there
    music.loop.runPosted();
    apply(split(true));
    EXPECT_EQ(engine.outputDeviceUID(), std::nullopt);
    EXPECT_EQ(ltc.output().currentDeviceUID(), "offline");
    EXPECT_EQ(ltc.output().channelMap(), (std::vector<int>{-1, 0}));
    EXPECT_EQ(engine.monoOutputChannel(), 0);

    music.audio.addDevice({"four", "Four", 4}); // and returns to it
    music.loop.runPosted();
    apply(split(true));
    EXPECT_EQ(ltc.output().currentDeviceUID(), "four");
    EXPECT_EQ(ltc.output().channelMap(), (std::vector<int>{-1, -1, -1, 0}));
    EXPECT_EQ(engine.monoOutputChannel(), 2);
}

} // namespace
} // namespace ostinel
