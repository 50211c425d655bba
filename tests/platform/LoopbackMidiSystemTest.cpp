#include "platform/LoopbackMidiSystem.h"

#include <gtest/gtest.h>

namespace ostinel {
namespace {

TEST(LoopbackMidi, TheTapSeesPortBytesTimeAndThePresentDestinationsReached) {
    double now = 12.5;
    LoopbackMidiSystem midi([&] { return now; });
    std::vector<LoopbackMessage> seen;
    midi.setTap([&](const LoopbackMessage& m) { seen.push_back(m); });
    midi.addDestination({"14:0", "Desk"});

    auto mtc = midi.createOutput("Ostinel MTC");
    auto triggers = midi.createOutput("Ostinel Triggers");
    EXPECT_EQ(midi.portNames(), (std::vector<std::string>{"Ostinel MTC", "Ostinel Triggers"}));
    triggers->setDestinations({"14:0", "20:0"});

    const std::uint8_t quarter[] = {0xF1, 0x21};
    const std::uint8_t note[] = {0x90, 60, 100};
    mtc->send(quarter, sizeof quarter, 3.25);
    triggers->send(note, sizeof note);
    ASSERT_EQ(seen.size(), 2u);
    EXPECT_EQ(seen[0].time, 3.25);
    EXPECT_EQ(seen[0].port, "Ostinel MTC");
    EXPECT_EQ(seen[0].bytes, (std::vector<std::uint8_t>{0xF1, 0x21}));
    EXPECT_TRUE(seen[0].endpoints.empty());
    EXPECT_EQ(seen[1].time, 12.5);
    EXPECT_EQ(seen[1].port, "Ostinel Triggers");
    EXPECT_EQ(seen[1].endpoints, std::vector<std::string>{"14:0"});

    mtc.reset();
    EXPECT_EQ(midi.portNames(), std::vector<std::string>{"Ostinel Triggers"});
}

TEST(LoopbackMidi, PluggingAndUnpluggingCallsTheListenerAndChangesWhatIsReached) {
    LoopbackMidiSystem midi;
    int calls = 0;
    midi.addDestinationListener([&] { ++calls; });
    std::vector<std::string> reached;
    midi.setTap([&](const LoopbackMessage& m) { reached = m.endpoints; });
    auto output = midi.createOutput("Ostinel Triggers");
    output->setDestinations({"14:0"});
    const std::uint8_t cc[] = {0xB0, 7, 0};

    midi.addDestination({"14:0", "Desk"});
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(midi.destinations(), (std::vector<MidiDestination>{{"14:0", "Desk"}}));
    output->send(cc, sizeof cc);
    EXPECT_EQ(reached, std::vector<std::string>{"14:0"});

    midi.removeDestination("14:0");
    EXPECT_EQ(calls, 2);
    EXPECT_TRUE(midi.destinations().empty());
    output->send(cc, sizeof cc);
    EXPECT_TRUE(reached.empty());
}

} // namespace
} // namespace ostinel
