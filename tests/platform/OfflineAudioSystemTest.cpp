#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "platform/OfflineAudioSystem.h"
#include "support/RampRenderer.h"
#include "support/ScopedEnv.h"

namespace ostinel {
namespace {

using test::RampRenderer;

// Channel c of `out` carries `sign` times the ramp from frame `first` on.
void expectRamp(const std::vector<float>& out, std::int64_t first, float sign) {
    for (std::size_t i = 0; i < out.size(); ++i)
        ASSERT_EQ(out[i], sign * RampRenderer::at(first + std::int64_t(i))) << "frame " << i;
}

void expectSilent(const std::vector<float>& out) {
    for (std::size_t i = 0; i < out.size(); ++i) ASSERT_EQ(out[i], 0.0f) << "frame " << i;
}

TEST(OfflineAudioSystem, PullsTheRendererPeriodByPeriodOnlyWhileRunning) {
    OfflineAudioSystem audio(44100.0, 256);
    RampRenderer ramp;
    ramp.attach(audio);
    EXPECT_EQ(audio.outputDevices(), (std::vector<AudioDevice>{{"offline", "Offline", 2}}));
    EXPECT_EQ(audio.currentDeviceUID(), "offline");
    EXPECT_EQ(audio.sampleRate(), 44100.0);

    auto stopped = audio.render(100);
    ASSERT_EQ(stopped.size(), 2u);
    expectSilent(stopped[0]);
    EXPECT_EQ(ramp.calls(), 0);

    ASSERT_FALSE(audio.start());
    auto out = audio.render(600);
    EXPECT_EQ(ramp.calls(), 3); // 256 + 256 + 88
    EXPECT_EQ(ramp.largestCall(), 256);
    ASSERT_EQ(out[0].size(), 600u);
    expectRamp(out[0], 0, 1.0f);
    expectRamp(out[1], 0, -1.0f);
    expectRamp(audio.render(10)[0], 600, 1.0f);

    audio.stop();
    expectSilent(audio.render(10)[0]);
    EXPECT_EQ(ramp.frames(), 610);
}

TEST(OfflineAudioSystem, RoutesSourcesThroughTheChannelMap) {
    OfflineAudioSystem audio;
    audio.addDevice({"stage", "Stage", 4});
    RampRenderer ramp;
    ramp.attach(audio);
    ASSERT_FALSE(audio.setDevice("stage"));
    EXPECT_EQ(audio.channelMap(), (std::vector<int>{0, 1, -1, -1}));
    ASSERT_FALSE(audio.setChannelMap({-1, -1, 0, 1}));
    ASSERT_FALSE(audio.start());
    auto out = audio.render(300);
    ASSERT_EQ(out.size(), 4u);
    expectSilent(out[0]);
    expectSilent(out[1]);
    expectRamp(out[2], 0, 1.0f);
    expectRamp(out[3], 0, -1.0f);

    // Mono: one source; entries naming the second stay silent.
    audio.setSourceCount(1);
    ASSERT_FALSE(audio.setChannelMap({1, 0}));
    out = audio.render(50);
    expectSilent(out[0]);
    expectRamp(out[1], 300, 1.0f);
    expectSilent(out[2]);

    // Bad maps are refused and leave the routing as it was.
    EXPECT_TRUE(audio.setChannelMap({0, 2}));
    EXPECT_TRUE(audio.setChannelMap({-1, -1, -1, -1, 0}));
    EXPECT_TRUE(audio.setChannelMap({-2}));
    EXPECT_EQ(audio.channelMap(), (std::vector<int>{1, 0}));
    auto unknown = audio.setDevice("nowhere");
    ASSERT_TRUE(unknown);
    EXPECT_NE(unknown->message.find("nowhere"), std::string::npos);
    EXPECT_EQ(audio.currentDeviceUID(), "stage");
}

TEST(OfflineAudioSystem, AVanishedDevicePlaysIntoNothingWhileTheClockGoesOn) {
    OfflineAudioSystem audio(48000.0, 128);
    int calls = 0;
    audio.setDeviceListener([&] { ++calls; });
    RampRenderer ramp;
    ramp.attach(audio);

    audio.addDevice({"usb", "USB Interface", 8}, 96000.0);
    EXPECT_EQ(calls, 1);
    ASSERT_FALSE(audio.setDevice("usb"));
    EXPECT_EQ(audio.sampleRate(), 96000.0);
    ASSERT_FALSE(audio.start());

    audio.removeDevice("usb");
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(audio.outputDevices().size(), 1u);
    EXPECT_EQ(audio.currentDeviceUID(), "usb");
    EXPECT_TRUE(audio.render(200).empty());
    EXPECT_EQ(ramp.frames(), 200); // the clock goes on
    EXPECT_EQ(audio.sampleRate(), 96000.0);
    EXPECT_TRUE(audio.setChannelMap({0, 1}));
    EXPECT_TRUE(audio.setDevice("usb"));
    audio.removeDevice("usb"); // already gone: no event
    EXPECT_EQ(calls, 2);

    ASSERT_FALSE(audio.setDevice("offline"));
    auto out = audio.render(10);
    ASSERT_EQ(out.size(), 2u);
    expectRamp(out[0], 200, 1.0f);
    EXPECT_EQ(audio.sampleRate(), 48000.0);
}

TEST(OfflineAudioSystem, TheDefaultDeviceCallsTheListenerOnlyWhenItChanges) {
    OfflineAudioSystem audio(48000.0, 128);
    int calls = 0;
    audio.setDeviceListener([&] { ++calls; });
    audio.setDefaultDevice("offline"); // unchanged: no event
    EXPECT_EQ(calls, 0);
    audio.addDevice({"usb", "USB Interface", 8}, 96000.0);
    audio.setDefaultDevice("usb");
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(audio.defaultOutputDeviceUID(), "usb");
    audio.removeDevice("usb");
    EXPECT_EQ(audio.defaultOutputDeviceUID(), std::nullopt);
    audio.setDefaultDevice("missing");
    EXPECT_EQ(audio.defaultOutputDeviceUID(), std::nullopt);
}

TEST(OfflineAudioSystem, ACompanionSharesTheDevicesButRoutesAndFlowsOnItsOwn) {
    OfflineAudioSystem audio(44100.0, 256);
    auto opened = audio.openCompanion("Timecode", 1);
    ASSERT_TRUE(opened);
    auto& companion = static_cast<OfflineAudioSystem&>(**opened);
    EXPECT_EQ(companion.sourceCount(), 1);
    EXPECT_EQ(companion.sampleRate(), 44100.0);
    EXPECT_EQ(companion.periodFrames(), 256);
    int calls = 0, companionCalls = 0;
    audio.setDeviceListener([&] { ++calls; });
    companion.setDeviceListener([&] { ++companionCalls; });

    // Plugged into one, seen by both.
    companion.addDevice({"usb", "USB", 4});
    EXPECT_EQ(audio.outputDevices(), companion.outputDevices());
    EXPECT_EQ(calls + companionCalls, 2);
    ASSERT_FALSE(companion.setDevice("usb"));
    ASSERT_FALSE(companion.setChannelMap({-1, -1, 0}));
    EXPECT_EQ(audio.currentDeviceUID(), "offline");

    RampRenderer ramp, other;
    ramp.attach(audio);
    other.attach(companion);
    ASSERT_FALSE(companion.start());
    EXPECT_TRUE(audio.render(50)[0] == std::vector<float>(50)); // stopped: the flow is each one's own
    auto out = companion.render(50);
    ASSERT_EQ(out.size(), 4u);
    expectRamp(out[2], 0, 1.0f);
    expectSilent(out[3]);
    EXPECT_EQ(ramp.frames(), 0);

    audio.removeDevice("usb");
    EXPECT_EQ(calls + companionCalls, 4);
    EXPECT_TRUE(companion.render(10).empty());
    opened->reset();
    audio.addDevice({"usb", "USB", 4}); // a closed companion hears nothing
    EXPECT_EQ(calls + companionCalls, 5);
}

TEST(AudioSystemCreate, HonoursTheForcedBackend) {
    {
        test::ScopedEnv forced("OSTINEL_AUDIO_BACKEND", "offline");
        auto offline = AudioSystem::create();
        ASSERT_TRUE(offline);
        EXPECT_EQ((*offline)->backendName(), "offline");
        EXPECT_EQ((*offline)->fallbackReason(), "");
    }
    test::ScopedEnv forced("OSTINEL_AUDIO_BACKEND", "coreaudio");
    auto bad = AudioSystem::create();
    ASSERT_FALSE(bad);
    EXPECT_NE(bad.error().message.find("\"coreaudio\""), std::string::npos);
}

} // namespace
} // namespace ostinel
