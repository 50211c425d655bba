#include <gtest/gtest.h>

#include <mutex>
#include <thread>

#include "OpenSystems.h"
#include "Eventually.h"
#include "JackMidiSender.h"
#include "JackServer.h"
#include "control/MidiController.h"
#include "platform/AudioSystem.h"
#include "platform/ManualMainLoop.h"
#include "platform/MemoryPreferences.h"
#include "platform/MidiSystem.h"
#include "support/ScopedEnv.h"

namespace ostinel {
namespace {

using test::eventually;
using test::JackMidiSender;
using test::ScopedEnv;
using Bytes = std::vector<std::uint8_t>;
using Names = std::vector<std::string>;

constexpr const char* ourInput = "Ostinel:Ostinel MIDI In";
// A loaded machine can hold the server's threads up for a long while.
constexpr double patience = 20.0;

// What an input's handler was given, from whichever thread.
class Heard {
public:
    MidiInputHandler handler() {
        return [this](const std::uint8_t* bytes, std::size_t size) {
            std::lock_guard lock(mutex_);
            messages_.emplace_back(bytes, bytes + size);
            if (std::this_thread::get_id() == mainThread_) onMainThread_ = true;
        };
    }
    std::vector<Bytes> messages() const {
        std::lock_guard lock(mutex_);
        return messages_;
    }
    bool waitFor(std::size_t count) const {
        return eventually([&] { return messages().size() >= count; }, patience);
    }
    bool onMainThread() const {
        std::lock_guard lock(mutex_);
        return onMainThread_;
    }

private:
    mutable std::mutex mutex_;
    std::vector<Bytes> messages_;
    const std::thread::id mainThread_ = std::this_thread::get_id();
    bool onMainThread_ = false;
};

class JackMidiIn : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(test::openSystems(audio, midi));
        ASSERT_EQ(midi->backendName(), "jack");
    }

    ::testing::AssertionResult connectedTo(const JackMidiSender& client, const Names& expected) {
        if (eventually([&] { return client.connections(ourInput) == expected; }, patience))
            return ::testing::AssertionSuccess();
        return ::testing::AssertionFailure()
               << ourInput << " is connected to " << ::testing::PrintToString(client.connections(ourInput));
    }

    test::JackServer server;
    ScopedEnv audioForced{"OSTINEL_AUDIO_BACKEND", "jack"};
    ScopedEnv midiForced{"OSTINEL_MIDI_BACKEND", "jack"};
    std::unique_ptr<AudioSystem> audio;
    std::unique_ptr<MidiSystem> midi;
};

TEST_F(JackMidiIn, HearsEveryOtherClientsOutputAndNewcomersButNoOstinelsOwn) {
    auto mtc = midi->createOutput("Ostinel MTC");
    ASSERT_TRUE(mtc);
    JackMidiSender keys("Keys");
    const std::string first = keys.addPort("out");
    JackMidiSender otherOstinel("Other");
    otherOstinel.addPort("Ostinel MTC");
    otherOstinel.addPort("Ostinel Triggers");

    Heard heard;
    auto input = midi->createInput(heard.handler());
    ASSERT_TRUE(input);
    EXPECT_EQ(input->name(), "Ostinel MIDI In");
    ASSERT_TRUE(connectedTo(keys, {first}));

    // A SysEx between them is no control's business.
    keys.send(0, {0x90, 60, 100});
    keys.send(0, {0xF0, 0x7E, 0x7F, 0x06, 0x01, 0xF7});
    keys.send(0, {0xB1, 7, 64});
    ASSERT_TRUE(heard.waitFor(2));
    EXPECT_EQ(heard.messages(), (std::vector<Bytes>{{0x90, 60, 100}, {0xB1, 7, 64}}));
    EXPECT_FALSE(heard.onMainThread());

    // Plugged in while we listen: a controller's port is taken in, an
    // Ostinel output that came before it is not.
    otherOstinel.addPort("Ostinel Triggers Out");
    const std::string second = keys.addPort("second");
    ASSERT_TRUE(connectedTo(keys, {first, second}));
    keys.send(1, {0x9F, 1, 1});
    ASSERT_TRUE(heard.waitFor(3));
    EXPECT_EQ(heard.messages().back(), (Bytes{0x9F, 1, 1}));

    input.reset();
    EXPECT_TRUE(eventually([&] { return !keys.portExists(ourInput); }, patience));
    EXPECT_EQ(heard.messages().size(), 3u);
}

TEST_F(JackMidiIn, AControllerLearnsANoteFromAnotherClientThenFiresItsActionAndATracksKey) {
    JackMidiSender keys("Keys");
    const std::string port = keys.addPort("out");
    ManualMainLoop loop;
    MemoryPreferences preferences;
    MidiController controller(*midi, loop, preferences);
    ASSERT_TRUE(controller.inputOpen());
    ASSERT_TRUE(connectedTo(keys, {port}));

    std::vector<MidiAction> actions;
    std::vector<Uuid> tracks;
    controller.actionHandler = [&](MidiAction action) { actions.push_back(action); };
    controller.trackActionHandler = [&](const Uuid& id) { tracks.push_back(id); };
    const Uuid track = Uuid::random();
    const MidiKey fader{MidiKey::Kind::cc, 2, 20};
    controller.replaceTrackMappings({{track, fader}});

    controller.beginLearning(MidiAction::go);
    keys.send(0, {0x90, 60, 100});
    ASSERT_TRUE(test::runUntil(loop, [&] { return !controller.learning(); }, patience));
    EXPECT_EQ(controller.mapping(MidiAction::go), (MidiKey{MidiKey::Kind::note, 0, 60}));
    EXPECT_TRUE(actions.empty());

    keys.send(0, {0x80, 60, 0});
    keys.send(0, {0x90, 60, 90});
    ASSERT_TRUE(test::runUntil(loop, [&] { return !actions.empty(); }, patience));
    keys.send(0, {0xB2, 20, 127});
    ASSERT_TRUE(test::runUntil(loop, [&] { return !tracks.empty(); }, patience));
    EXPECT_EQ(actions, std::vector<MidiAction>{MidiAction::go});
    EXPECT_EQ(tracks, std::vector<Uuid>{track});
}

} // namespace
} // namespace ostinel
