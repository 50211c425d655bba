#include <gtest/gtest.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "CallCounter.h"
#include "Eventually.h"
#include "JackServer.h"
#include "platform/AudioSystem.h"
#include "support/CliRun.h"
#include "support/RampRenderer.h"
#include "support/ScopedEnv.h"
#include "support/TempDir.h"

namespace ostinel {
namespace {

using test::eventually;
using test::JackRecorder;
using test::RampRenderer;
using test::ScopedEnv;

// The index of the first sound after the silence before the start.
std::size_t firstSound(const std::vector<float>& in) {
    std::size_t i = 0;
    while (i < in.size() && in[i] == 0.0f) ++i;
    return i;
}

// From `start` on, `in` is the ramp (times `sign`) from frame `first` on.
void expectRampFrom(const std::vector<float>& in, std::size_t start, float sign, std::int64_t first) {
    ASSERT_GT(in.size(), start + 2048) << "too little sound arrived";
    for (std::size_t i = start; i < in.size(); ++i)
        ASSERT_EQ(in[i], sign * RampRenderer::at(first + std::int64_t(i - start))) << "frame " << i - start;
}

// Plays the ramp from stopped into `recorder` until `frames` frames are in,
// and stops. A take spoiled by a server overrun is played again. Returns the
// ramp frame the sound must begin with.
std::optional<std::int64_t> take(AudioSystem& audio, const RampRenderer& ramp, JackRecorder& recorder,
                                 std::int64_t frames) {
    for (int attempt = 0; attempt < 5; ++attempt) {
        const std::int64_t first = ramp.frames();
        recorder.record(frames);
        const bool started = !audio.start();
        const bool heard = started && recorder.waitFor(frames);
        audio.stop();
        if (!heard) return std::nullopt;
        if (recorder.xruns() == 0) return first;
    }
    return std::nullopt;
}

void expectSilent(const std::vector<float>& in) { EXPECT_EQ(firstSound(in), in.size()); }

// Other clients see a connection change a moment after it is made.
bool connectedTo(const JackRecorder& recorder, const std::string& port, std::vector<std::string> expected) {
    std::sort(expected.begin(), expected.end());
    return eventually([&] {
        auto connections = recorder.connections(port);
        std::sort(connections.begin(), connections.end());
        return connections == expected;
    });
}

class JackOutput : public ::testing::Test {
protected:
    void SetUp() override {
        auto created = AudioSystem::create();
        ASSERT_TRUE(created) << created.error().message;
        audio = std::move(*created);
        ramp.attach(*audio);
    }

    test::JackServer server;
    ScopedEnv forced{"OSTINEL_AUDIO_BACKEND", "jack"};
    test::CallCounter deviceCalls;
    std::unique_ptr<AudioSystem> audio;
    RampRenderer ramp;
};

TEST_F(JackOutput, ListsTheServersDevicesAndPlaysExactlyWhatIsRendered) {
    EXPECT_EQ(audio->backendName(), "jack");
    EXPECT_EQ(audio->sampleRate(), 48000.0);
    EXPECT_EQ(audio->periodFrames(), 256);
    EXPECT_EQ(audio->outputDevices(), (std::vector<AudioDevice>{{"jack:system", "system", 2}}));
    EXPECT_EQ(audio->defaultOutputDeviceUID(), "jack:system");
    EXPECT_EQ(audio->currentDeviceUID(), "jack:system");

    // Routed to the default device from the start; a capture client hears
    // what reaches its ports.
    JackRecorder capture("capture", 2, false);
    EXPECT_EQ(capture.connections("system:playback_1"), std::vector<std::string>{"Ostinel:out_1"});
    EXPECT_EQ(capture.connections("system:playback_2"), std::vector<std::string>{"Ostinel:out_2"});
    capture.connectFrom("Ostinel:out_1", 0);
    capture.connectFrom("Ostinel:out_2", 1);
    const auto first = take(*audio, ramp, capture, 12000);
    ASSERT_TRUE(first);
    const auto left = capture.received(0);
    const auto start = firstSound(left);
    expectRampFrom(left, start, 1.0f, *first);
    expectRampFrom(capture.received(1), start, -1.0f, *first);
    EXPECT_LE(ramp.largestCall(), 256);
    // Stopping gates the sound; the routing stays made.
    EXPECT_EQ(capture.connections("system:playback_1"), std::vector<std::string>{"Ostinel:out_1"});

    // Mono feeds the first port alone.
    audio->setSourceCount(1);
    ASSERT_TRUE(take(*audio, ramp, capture, 4096));
    EXPECT_LT(firstSound(capture.received(0)), 4096u);
    expectSilent(capture.received(1));
}

TEST_F(JackOutput, TheChannelMapRoutesToChannelsThreeAndFourOfAFourPortDevice) {
    JackRecorder stage("Stage", 4, true);
    ASSERT_FALSE(audio->setDevice("jack:Stage"));
    EXPECT_EQ(audio->channelMap(), (std::vector<int>{0, 1, -1, -1}));
    ASSERT_FALSE(audio->setChannelMap({-1, -1, 0, 1}));
    EXPECT_TRUE(connectedTo(stage, "system:playback_1", {}));
    EXPECT_TRUE(connectedTo(stage, "Stage:playback_3", {"Ostinel:out_1"}));

    const auto first = take(*audio, ramp, stage, 8192);
    ASSERT_TRUE(first);
    expectSilent(stage.received(0));
    expectSilent(stage.received(1));
    const auto third = stage.received(2);
    const auto start = firstSound(third);
    expectRampFrom(third, start, 1.0f, *first);
    expectRampFrom(stage.received(3), start, -1.0f, *first);

    EXPECT_TRUE(audio->setChannelMap({-1, -1, -1, -1, 0}));
    EXPECT_TRUE(audio->setDevice("jack:nowhere"));
    EXPECT_EQ(audio->currentDeviceUID(), "jack:Stage");
}

TEST_F(JackOutput, ADeviceComingAndGoingCallsTheListenerAndGetsItsRoutingBack) {
    audio->setDeviceListener(deviceCalls.listener());
    auto callsSoFar = [&] { return deviceCalls.count(); };
    auto waitPast = [&](int seen) { return deviceCalls.waitPast(seen); };
    auto listed = [&] {
        for (const auto& d : audio->outputDevices())
            if (d == AudioDevice{"jack:Stage", "Stage", 4}) return true;
        return false;
    };

    JackRecorder observer("observer", 1, false);
    int seen = callsSoFar();
    auto stage = std::make_unique<JackRecorder>("Stage", 4, true);
    ASSERT_TRUE(waitPast(seen));
    EXPECT_TRUE(listed());
    EXPECT_EQ(audio->defaultOutputDeviceUID(), "jack:system");
    ASSERT_FALSE(audio->setDevice("jack:Stage"));
    ASSERT_FALSE(audio->setChannelMap({-1, -1, 0, 1}));

    seen = callsSoFar();
    stage.reset();
    EXPECT_TRUE(waitPast(seen));
    EXPECT_FALSE(listed());
    EXPECT_EQ(audio->currentDeviceUID(), "jack:Stage");
    EXPECT_TRUE(audio->setChannelMap({0, 1}));

    seen = callsSoFar();
    stage = std::make_unique<JackRecorder>("Stage", 4, true);
    EXPECT_TRUE(waitPast(seen));
    EXPECT_TRUE(listed());
    EXPECT_TRUE(eventually([&] {
        return observer.connections("Stage:playback_3") == std::vector<std::string>{"Ostinel:out_1"} &&
               observer.connections("Stage:playback_4") == std::vector<std::string>{"Ostinel:out_2"};
    }));
    EXPECT_TRUE(observer.connections("Stage:playback_1").empty());
}

TEST_F(JackOutput, ACompanionIsAClientOfItsOwnWithItsOwnRouting) {
    JackRecorder stage("Stage", 4, true);
    auto opened = audio->openCompanion("Ostinel LTC", 1);
    ASSERT_TRUE(opened) << opened.error().message;
    auto& ltc = **opened;
    EXPECT_EQ(ltc.sourceCount(), 1);
    ltc.setSourceCount(2);
    EXPECT_EQ(ltc.sourceCount(), 1);
    // One port for one source, on the default device from the start.
    EXPECT_TRUE(connectedTo(stage, "system:playback_1", {"Ostinel:out_1", "Ostinel LTC:out_1"}));
    EXPECT_TRUE(connectedTo(stage, "system:playback_2", {"Ostinel:out_2"}));

    ASSERT_FALSE(ltc.setDevice("jack:Stage"));
    ASSERT_FALSE(ltc.setChannelMap({-1, 1, 0}));
    EXPECT_TRUE(connectedTo(stage, "Stage:playback_3", {"Ostinel LTC:out_1"}));
    EXPECT_TRUE(connectedTo(stage, "Stage:playback_2", {}));
    EXPECT_EQ(audio->currentDeviceUID(), "jack:system");

    RampRenderer code;
    code.attach(ltc);
    const auto start = take(ltc, code, stage, 8192);
    ASSERT_TRUE(start);
    expectSilent(stage.received(0));
    expectSilent(stage.received(1));
    expectSilent(stage.received(3));
    const auto third = stage.received(2);
    expectRampFrom(third, firstSound(third), 1.0f, *start);
}

TEST_F(JackOutput, TheDevicesCommandListsTheServersDevices) {
    test::TempDir home;
    auto run = test::runCli({"devices"}, home.path().string());
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(nlohmann::json::parse(run.out), (nlohmann::json{{"backend", "jack"},
                                                              {"uid", "jack:system"},
                                                              {"name", "system"},
                                                              {"channels", 2},
                                                              {"default", true}}));
}

TEST(JackBackend, AForcedJackWithoutAServerIsAnError) {
    ScopedEnv server("JACK_DEFAULT_SERVER", "ostinel-absent-" + std::to_string(getpid()));
    ScopedEnv forced("OSTINEL_AUDIO_BACKEND", "jack");
    auto created = AudioSystem::create();
    ASSERT_FALSE(created);
    EXPECT_EQ(created.error().message, "JACK: no server is running.");
}

} // namespace
} // namespace ostinel
