#include <gtest/gtest.h>
#include <time.h>

#include <thread>

#include "OpenSystems.h"
#include "CallCounter.h"
#include "Eventually.h"
#include "JackMidiCapture.h"
#include "JackServer.h"
#include "platform/AudioSystem.h"
#include "platform/MidiSystem.h"
#include "platform/OfflineAudioSystem.h"
#include "support/ScopedEnv.h"

namespace ostinel {
namespace {

using test::eventually;
using test::JackMidiCapture;
using test::ScopedEnv;
using Bytes = std::vector<std::uint8_t>;

double monotonicNow() {
    timespec t{};
    clock_gettime(CLOCK_MONOTONIC, &t);
    return double(t.tv_sec) + double(t.tv_nsec) * 1e-9;
}

void sleepUntil(double seconds) {
    timespec t{};
    t.tv_sec = time_t(seconds);
    t.tv_nsec = long((seconds - double(t.tv_sec)) * 1e9);
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &t, nullptr) != 0) {
    }
}

void send(MidiOutput& output, const Bytes& bytes, std::optional<double> at = {}) {
    output.send(bytes.data(), bytes.size(), at);
}

std::vector<Bytes> bytesOf(const std::vector<JackMidiCapture::Event>& events) {
    std::vector<Bytes> all;
    for (const auto& e : events)
        all.push_back(e.bytes);
    return all;
}

// Other clients see a connection change a moment after it is made.
bool connectedTo(const JackMidiCapture& capture, const std::vector<std::string>& expected) {
    return eventually([&] { return capture.connections() == expected; });
}

class JackMidi : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(test::openSystems(audio, midi));
    }

    test::JackServer server;
    ScopedEnv audioForced{"OSTINEL_AUDIO_BACKEND", "jack"};
    ScopedEnv midiForced{"OSTINEL_MIDI_BACKEND", "jack"};
    std::unique_ptr<AudioSystem> audio;
    test::CallCounter destinationCalls;
    std::unique_ptr<MidiSystem> midi;
};

TEST_F(JackMidi, PortsLiveOnTheAudioClientAndCarryWhatEachThreadSendsInOrder) {
    ASSERT_EQ(midi->backendName(), "jack");
    auto mtc = midi->createOutput("Ostinel MTC");
    auto triggers = midi->createOutput("Ostinel Triggers");
    ASSERT_TRUE(mtc && triggers);
    JackMidiCapture desk("Desk");
    desk.connectFrom("Ostinel:Ostinel MTC");
    ASSERT_TRUE(connectedTo(desk, {"Ostinel:Ostinel MTC"}));
    EXPECT_TRUE(desk.portExists("Ostinel:Ostinel Triggers"));

    const Bytes fullFrame{0xF0, 0x7F, 0x7F, 0x01, 0x01, 0x21, 0x02, 0x03, 0x04, 0xF7};
    send(*mtc, {0xF1, 0x21});
    send(*mtc, fullFrame);
    send(*triggers, {0x90, 60, 100});
    ASSERT_TRUE(desk.waitFor(2));
    EXPECT_EQ(bytesOf(desk.events()), (std::vector<Bytes>{{0xF1, 0x21}, fullFrame}));

    // The clock thread and the main thread on one port: all arrives, each
    // thread's messages in the order sent.
    desk.clear();
    auto burst = [&](std::uint8_t status) {
        for (std::uint8_t n = 0; n < 100; ++n)
            send(*mtc, {status, n, 1});
    };
    std::thread clock(burst, std::uint8_t(0x90));
    burst(0x91);
    clock.join();
    ASSERT_TRUE(desk.waitFor(200));
    std::uint8_t next[2] = {0, 0};
    for (const auto& bytes : bytesOf(desk.events()))
        EXPECT_EQ(bytes[1], next[bytes[0] & 1]++);
    EXPECT_EQ(next[0] + next[1], 200);

    mtc.reset();
    EXPECT_TRUE(eventually([&] { return !desk.portExists("Ostinel:Ostinel MTC"); }));
    EXPECT_TRUE(connectedTo(desk, {}));
}

TEST_F(JackMidi, TimedMessagesArriveSpacedToTheSample) {
    auto mtc = midi->createOutput("Ostinel MTC");
    ASSERT_TRUE(mtc);
    JackMidiCapture desk("Desk");
    desk.connectFrom("Ostinel:Ostinel MTC");
    ASSERT_TRUE(connectedTo(desk, {"Ostinel:Ostinel MTC"}));

    // 10 ms apart is 480 frames at 48 kHz: not a multiple of the 256-frame
    // period, so messages bunched at period starts would show. Each leaves a
    // little before its time, as from a clock thread. A message without a
    // time, sent after the sixth, waits behind it. A take spoiled by a server
    // overrun is sent again.
    constexpr int count = 12;
    constexpr int untimedAfter = 5;
    std::vector<JackMidiCapture::Event> events;
    for (int attempt = 0; attempt < 10 && events.empty(); ++attempt) {
        desk.clear();
        std::thread sender([&] {
            const double first = monotonicNow() + 0.05;
            for (int k = 0; k < count; ++k) {
                const double at = first + 0.01 * k;
                sleepUntil(at - 0.02);
                send(*mtc, {0xF1, std::uint8_t(k)}, at);
                if (k == untimedAfter) send(*mtc, {0xF8});
            }
        });
        sender.join();
        ASSERT_TRUE(desk.waitFor(count + 1));
        if (desk.xruns() == 0) events = desk.events();
    }
    ASSERT_EQ(events.size(), std::size_t(count + 1));
    const auto untimed = events[untimedAfter + 1];
    EXPECT_EQ(untimed.bytes, Bytes{0xF8});
    EXPECT_EQ(untimed.frame, events[untimedAfter].frame);
    events.erase(events.begin() + untimedAfter + 1);
    for (int k = 1; k < count; ++k) {
        EXPECT_EQ(events[k].bytes[1], k);
        EXPECT_NEAR(double(events[k].frame - events[k - 1].frame), 480.0, 1.0) << "message " << k;
    }
}

// A clock thread wakes a little after each deadline and sends then; the
// message must still land on its frame. 500 frames apart (24 fps quarter
// frames) puts them at every place in a 256-frame period, its end too. A
// take where a send itself was held up by milliseconds, or the server
// overran, is sent again.
TEST_F(JackMidi, MessagesSentALittleAfterTheirTimeStillLandOnTheirFrames) {
    auto mtc = midi->createOutput("Ostinel MTC");
    ASSERT_TRUE(mtc);
    JackMidiCapture desk("Desk");
    desk.connectFrom("Ostinel:Ostinel MTC");
    ASSERT_TRUE(connectedTo(desk, {"Ostinel:Ostinel MTC"}));

    constexpr int count = 64;
    constexpr double interval = 500.0 / 48000.0;
    std::vector<JackMidiCapture::Event> events;
    for (int attempt = 0; attempt < 10 && events.empty(); ++attempt) {
        desk.clear();
        double latest = 0.0;
        const double first = monotonicNow() + 0.05;
        for (int k = 0; k < count; ++k) {
            const double at = first + interval * k;
            sleepUntil(at + 0.0005);
            send(*mtc, {0xF1, std::uint8_t(k)}, at);
            latest = std::max(latest, monotonicNow() - at);
        }
        ASSERT_TRUE(desk.waitFor(count));
        if (desk.xruns() == 0 && latest < 0.002) events = desk.events();
    }
    ASSERT_EQ(events.size(), std::size_t(count));
    for (int k = 1; k < count; ++k)
        EXPECT_NEAR(double(events[k].frame - events[k - 1].frame), 500.0, 1.0) << "message " << k;
}

TEST_F(JackMidi, DestinationsComeAndGoAndAreConnectedAgainOnReturn) {
    midi->addDestinationListener(destinationCalls.listener());
    auto callsSoFar = [&] { return destinationCalls.count(); };
    auto waitPast = [&](int seen) { return destinationCalls.waitPast(seen); };

    auto triggers = midi->createOutput("Ostinel Triggers");
    ASSERT_TRUE(triggers);
    int seen = callsSoFar();
    auto desk = std::make_unique<JackMidiCapture>("Desk");
    ASSERT_TRUE(waitPast(seen));
    const std::vector<MidiDestination> deskOnly{{"Desk:in", "Desk:in"}};
    EXPECT_EQ(midi->destinations(), deskOnly);

    // A subscriber connected from the other side is left alone by routing.
    JackMidiCapture lights("Lights");
    lights.connectFrom("Ostinel:Ostinel Triggers");
    triggers->setDestinations({"Desk:in", "Absent:in"});
    EXPECT_TRUE(connectedTo(*desk, {"Ostinel:Ostinel Triggers"}));
    send(*triggers, {0x90, 60, 100});
    ASSERT_TRUE(desk->waitFor(1));
    EXPECT_EQ(bytesOf(desk->events()), (std::vector<Bytes>{{0x90, 60, 100}}));

    seen = callsSoFar();
    desk.reset();
    ASSERT_TRUE(waitPast(seen));
    EXPECT_TRUE(eventually([&] {
        return midi->destinations() == std::vector<MidiDestination>{{"Lights:in", "Lights:in"}};
    }));

    seen = callsSoFar();
    desk = std::make_unique<JackMidiCapture>("Desk");
    ASSERT_TRUE(waitPast(seen));
    ASSERT_TRUE(connectedTo(*desk, {"Ostinel:Ostinel Triggers"}));
    send(*triggers, {0x80, 60, 0});
    ASSERT_TRUE(desk->waitFor(1));
    EXPECT_EQ(bytesOf(desk->events()), (std::vector<Bytes>{{0x80, 60, 0}}));

    triggers->setDestinations({});
    EXPECT_TRUE(connectedTo(*desk, {}));
    EXPECT_TRUE(connectedTo(lights, {"Ostinel:Ostinel Triggers"}));
}

TEST(MidiSystemChoice, JackWithJackAudioLoopbackWhenForcedAndAnUnknownChoiceIsAnError) {
    test::JackServer server;
    ScopedEnv audioForced("OSTINEL_AUDIO_BACKEND", "jack");
    auto audio = AudioSystem::create();
    ASSERT_TRUE(audio) << audio.error().message;
    OfflineAudioSystem offline;
    {
        ScopedEnv unset("OSTINEL_MIDI_BACKEND", "");
        unsetenv("OSTINEL_MIDI_BACKEND");
        auto automatic = MidiSystem::create(**audio);
        ASSERT_TRUE(automatic) << automatic.error().message;
        EXPECT_EQ((*automatic)->backendName(), "jack");
        EXPECT_EQ((*automatic)->fallbackReason(), "");
    }
    {
        ScopedEnv forced("OSTINEL_MIDI_BACKEND", "jack");
        auto jack = MidiSystem::create(offline);
        ASSERT_FALSE(jack);
        EXPECT_EQ(jack.error().message, "JACK MIDI: the audio does not run on JACK.");
    }
    {
        ScopedEnv forced("OSTINEL_MIDI_BACKEND", "loopback");
        auto loopback = MidiSystem::create(**audio);
        ASSERT_TRUE(loopback);
        EXPECT_EQ((*loopback)->backendName(), "loopback");
    }
    ScopedEnv forced("OSTINEL_MIDI_BACKEND", "coremidi");
    auto unknown = MidiSystem::create(**audio);
    ASSERT_FALSE(unknown);
    EXPECT_EQ(unknown.error().message,
              "OSTINEL_MIDI_BACKEND is \"coremidi\"; it must be jack, alsa or loopback.");
}

} // namespace
} // namespace ostinel
