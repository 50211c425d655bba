#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <vector>

#include "control/MidiOutputController.h"
#include "platform/LoopbackMidiSystem.h"
#include "platform/ManualMainLoop.h"
#include "platform/MemoryPreferences.h"

using namespace ostinel;

namespace {

using Bytes = std::vector<std::uint8_t>;

class MidiOutputControllerTest : public ::testing::Test {
protected:
    ManualMainLoop loop;
    MemoryPreferences preferences;
    LoopbackMidiSystem midi{[this] { return loop.now(); }};
    std::vector<LoopbackMessage> sent;
    std::unique_ptr<MidiOutputController> controller;

    void SetUp() override {
        midi.setTap([this](const LoopbackMessage& m) { sent.push_back(m); });
    }
    void start() { controller = std::make_unique<MidiOutputController>(midi, loop, preferences); }
    void plug(const std::string& name) {
        midi.addDestination({name + ":in", name});
        loop.runPosted();
    }
    void unplug(const std::string& name) {
        midi.removeDestination(name + ":in");
        loop.runPosted();
    }
    static MidiTrigger trigger(MidiTriggerType type, std::int64_t channel, std::int64_t number,
                               std::int64_t value, double duration = 0.1) {
        MidiTrigger t;
        t.type = type;
        t.channel = channel;
        t.number = number;
        t.value = value;
        t.durationSeconds = duration;
        return t;
    }
    std::vector<LoopbackMessage> on(const std::string& port) const {
        std::vector<LoopbackMessage> out;
        for (const auto& m : sent)
            if (m.port == port) out.push_back(m);
        return out;
    }
    std::vector<std::string> reached() const {
        auto out = on("Ostinel Triggers Out");
        return out.empty() ? std::vector<std::string>{} : out.back().endpoints;
    }
};

TEST_F(MidiOutputControllerTest, NotesAreClampedAndEndAfterAtLeastTheMinimumLength) {
    plug("Synth");
    start();
    controller->send(trigger(MidiTriggerType::noteOn, 0, 60, 200, 0.0));
    controller->send(trigger(MidiTriggerType::noteOn, 17, 300, -5, -1.0));
    loop.advance(0.009);
    const auto early = on("Ostinel Triggers");
    ASSERT_EQ(early.size(), 2u);
    EXPECT_EQ(early[0].bytes, (Bytes{0x90, 60, 127}));
    EXPECT_EQ(early[1].bytes, (Bytes{0x9F, 127, 0}));
    loop.advance(0.001);
    const auto all = on("Ostinel Triggers");
    ASSERT_EQ(all.size(), 4u);
    EXPECT_EQ(all[2].bytes, (Bytes{0x80, 60, 0}));
    EXPECT_EQ(all[3].bytes, (Bytes{0x8F, 127, 0}));
    EXPECT_DOUBLE_EQ(all[3].time, 0.01);
    // The same four through the physical route.
    ASSERT_EQ(on("Ostinel Triggers Out").size(), 4u);
    EXPECT_EQ(reached(), std::vector<std::string>{"Synth:in"});
}

TEST_F(MidiOutputControllerTest, SendingOffSendsNothingYetASoundingNoteStillEnds) {
    start();
    EXPECT_EQ(midi.portNames(), (std::vector<std::string>{"Ostinel Triggers", "Ostinel Triggers Out"}));
    controller->setEnabled(false);
    controller->send(trigger(MidiTriggerType::noteOn, 1, 60, 100));
    controller->send(trigger(MidiTriggerType::cc, 1, 7, 100));
    loop.advance(1.0);
    EXPECT_TRUE(sent.empty());
    EXPECT_EQ(preferences.boolValue("midiTriggersEnabled"), false);

    controller->setEnabled(true);
    controller->send(trigger(MidiTriggerType::noteOn, 1, 60, 100, 0.5));
    controller->setEnabled(false);
    loop.advance(0.5);
    ASSERT_EQ(sent.size(), 2u);
    EXPECT_EQ(sent[1].bytes, (Bytes{0x80, 60, 0}));
}

TEST_F(MidiOutputControllerTest, ControlChangeGoesOnceEvenWithValueZero) {
    start();
    controller->send(trigger(MidiTriggerType::cc, 2, 7, 0, 5.0));
    loop.advance(10.0);
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent[0].bytes, (Bytes{0xB1, 7, 0}));
}

TEST_F(MidiOutputControllerTest, OverlappingNotesEachGetTheirNoteOffAndTeardownEndsTheRest) {
    start();
    controller->send(trigger(MidiTriggerType::noteOn, 1, 60, 100, 0.5));
    loop.advance(0.2);
    controller->send(trigger(MidiTriggerType::noteOn, 1, 60, 100, 0.5));
    controller->send(trigger(MidiTriggerType::noteOn, 1, 62, 100, 10.0));
    loop.advance(0.5);
    std::vector<double> offs;
    for (const auto& m : sent)
        if (m.bytes[0] == 0x80) offs.push_back(m.time);
    EXPECT_EQ(offs, (std::vector<double>{0.5, 0.7}));
    controller.reset();
    EXPECT_EQ(sent.back().bytes, (Bytes{0x80, 62, 0}));
    EXPECT_EQ(loop.pendingTimers(), 0u);
    plug("Late"); // the listener outlives us and must find nobody
}

TEST_F(MidiOutputControllerTest, VirtualPortOffLeavesOnlyThePhysicalRoute) {
    plug("Synth");
    start();
    controller->setVirtualPortEnabled(false);
    controller->send(trigger(MidiTriggerType::cc, 1, 1, 1));
    EXPECT_TRUE(on("Ostinel Triggers").empty());
    EXPECT_EQ(on("Ostinel Triggers Out").size(), 1u);
    EXPECT_EQ(preferences.boolValue("midiTriggersVirtualEnabled"), false);
}

TEST_F(MidiOutputControllerTest, SelectionIsByNameAndSurvivesReplugging) {
    plug("A");
    plug("B");
    start();
    EXPECT_TRUE(controller->isDestinationSelected("A") && controller->isDestinationSelected("B"));
    controller->toggleDestination("B");
    controller->send(trigger(MidiTriggerType::cc, 1, 1, 1));
    EXPECT_EQ(reached(), std::vector<std::string>{"A:in"});

    // Gone: dropped from the routes but still chosen, so it works again on return.
    unplug("A");
    EXPECT_EQ(controller->destinations().size(), 1u);
    EXPECT_TRUE(controller->isDestinationSelected("A"));
    controller->send(trigger(MidiTriggerType::cc, 1, 1, 2));
    EXPECT_EQ(on("Ostinel Triggers Out").size(), 1u);
    plug("A");
    controller->send(trigger(MidiTriggerType::cc, 1, 1, 3));
    EXPECT_EQ(reached(), std::vector<std::string>{"A:in"});

    // Switched off by the user: stays off when replugged; a newcomer is on.
    unplug("B");
    plug("B");
    plug("C");
    EXPECT_FALSE(controller->isDestinationSelected("B"));
    EXPECT_TRUE(controller->isDestinationSelected("C"));
    EXPECT_EQ(preferences.stringListValue("midiTriggersDestinations"), (std::vector<std::string>{"A", "C"}));
    EXPECT_EQ(preferences.stringListValue("midiTriggersKnownDestinations"),
              (std::vector<std::string>{"A", "B", "C"}));
}

// The MIDI server reports changes on a thread of its own; the list is only
// read again on ours.
TEST_F(MidiOutputControllerTest, AChangeReportedOnAnotherThreadIsTakenUpOnTheMainLoop) {
    start();
    std::thread server([this] { midi.addDestination({"synth:in", "Synth"}); });
    server.join();
    EXPECT_TRUE(controller->destinations().empty());
    loop.runPosted();
    EXPECT_EQ(controller->destinations(), (std::vector<MidiDestination>{{"synth:in", "Synth"}}));
    EXPECT_TRUE(controller->isDestinationSelected("Synth"));
}

TEST_F(MidiOutputControllerTest, TheOldSingleDestinationIsReadAndNotWrittenBackUntilAChange) {
    preferences.setValue("midiTriggersDestination", std::string("A"));
    preferences.setValue("midiTriggersKnownDestinations", std::vector<std::string>{"A", "B"});
    plug("A");
    plug("B");
    start();
    EXPECT_EQ(controller->selectedDestinationNames(), (std::set<std::string>{"A"}));
    EXPECT_FALSE(preferences.contains("midiTriggersDestinations"));
    controller->toggleDestination("B");
    EXPECT_EQ(preferences.stringListValue("midiTriggersDestinations"), (std::vector<std::string>{"A", "B"}));
}

} // namespace
