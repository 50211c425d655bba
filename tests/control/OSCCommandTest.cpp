#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "control/OSCCommand.h"
#include "control/OSCDiagnostics.h"
#include "control/OSCTriggerMessage.h"
#include "support/TempDir.h"

using namespace ostinel;

namespace {

std::optional<OSCCommand> parse(const OSCMessage& message) { return OSCCommand::parse(message.encoded()); }

TEST(OSCCommand, AddressTableMatchesExactlyAndChecksTheFirstArgument) {
    EXPECT_EQ(parse({"/ostinel/go", {}}), OSCCommand{MidiAction::go});
    EXPECT_EQ(parse({"/ostinel/go", {std::int64_t(1), std::string("x"), 0.5}}), OSCCommand{MidiAction::go})
        << "extra arguments are ignored";
    EXPECT_EQ(parse({"/ostinel/stop", {}}), OSCCommand{MidiAction::stop});
    EXPECT_EQ(parse({"/ostinel/playPause", {}}), OSCCommand{MidiAction::playPause});
    EXPECT_EQ(parse({"/ostinel/next", {}}), OSCCommand{MidiAction::next});
    EXPECT_EQ(parse({"/ostinel/previous", {}}), OSCCommand{MidiAction::previous});
    EXPECT_EQ(parse({"/ostinel/track/select", {std::int64_t(3)}}), OSCCommand{OSCCommand::SelectIndex{3}});
    EXPECT_EQ(parse({"/ostinel/track/go", {std::int64_t(-2)}}), OSCCommand{OSCCommand::GoIndex{-2}});
    EXPECT_EQ(parse({"/ostinel/mode", {std::string("show")}}), OSCCommand{OSCCommand::Mode{"show"}});

    EXPECT_EQ(parse({"/ostinel/track/go", {2.0}}), std::nullopt) << "only an int counts";
    EXPECT_EQ(parse({"/ostinel/track/select", {}}), std::nullopt);
    EXPECT_EQ(parse({"/ostinel/mode", {std::int64_t(1)}}), std::nullopt);
    EXPECT_EQ(parse({"/ostinel/GO", {}}), std::nullopt) << "case-sensitive";
    EXPECT_EQ(parse({"/ostinel/*", {}}), std::nullopt) << "no patterns";
    EXPECT_EQ(parse({"/ostinel/go/", {}}), std::nullopt);
    const std::vector<std::uint8_t> garbage{'/', 'o', 's', 't'};
    EXPECT_EQ(OSCCommand::parse(garbage), std::nullopt);
    EXPECT_EQ(OSCCommand::parse({}), std::nullopt);
}

TEST(OSCTriggerMessage, AddressIsMadeAbsoluteAndTheTextReadAsItsKind) {
    OSCTrigger trigger;
    trigger.address = "cue/1/go";
    EXPECT_EQ(oscTriggerMessage(trigger), (OSCMessage{"/cue/1/go", {}}));
    trigger.address = "/light/fade";
    trigger.argumentKind = OSCArgumentKind::int_;
    trigger.argumentText = " 12 ";
    EXPECT_EQ(oscTriggerMessage(trigger).args, std::vector<OSCMessage::Arg>{std::int64_t(12)});
    for (const char* bad : {"abc", "1.5", "", "12abc"}) {
        trigger.argumentText = bad;
        EXPECT_EQ(oscTriggerMessage(trigger).args, std::vector<OSCMessage::Arg>{std::int64_t(0)}) << bad;
    }
    trigger.argumentKind = OSCArgumentKind::float_;
    trigger.argumentText = "\t0.25\n";
    EXPECT_EQ(oscTriggerMessage(trigger).args, std::vector<OSCMessage::Arg>{0.25});
    trigger.argumentText = "loud";
    EXPECT_EQ(oscTriggerMessage(trigger).args, std::vector<OSCMessage::Arg>{0.0});
    trigger.argumentKind = OSCArgumentKind::string;
    trigger.argumentText = " as typed ";
    EXPECT_EQ(oscTriggerMessage(trigger).args, std::vector<OSCMessage::Arg>{std::string(" as typed ")});
}

TEST(OSCDiagnostics, FileGetsStampedLinesAndRollsOneGenerationPastTheLimit) {
    test::TempDir dir;
    const std::string path = dir.file("Logs/osc.log");
    {
        OSCDiagnostics diagnostics(path);
        diagnostics.record("listener ready on port 53000");
        diagnostics.flush();
        std::ifstream in(path);
        std::string line;
        std::getline(in, line);
        EXPECT_TRUE(line.ends_with("Z listener ready on port 53000")) << line;
        EXPECT_EQ(line.find('T'), 10u) << line;
    }
    std::filesystem::resize_file(path, OSCDiagnostics::rollBytes);
    OSCDiagnostics diagnostics(path);
    diagnostics.record("at the limit");
    diagnostics.flush();
    EXPECT_FALSE(std::filesystem::exists(path + ".1")) << "512000 bytes is not yet past the limit";
    diagnostics.record("past it");
    diagnostics.flush();
    EXPECT_EQ(std::filesystem::file_size(path + ".1"), OSCDiagnostics::rollBytes + 34);
    std::ifstream in(path);
    std::string line;
    std::getline(in, line);
    EXPECT_TRUE(line.ends_with(" past it")) << line;

    std::filesystem::resize_file(path, OSCDiagnostics::rollBytes + 1);
    diagnostics.record("again");
    diagnostics.flush();
    EXPECT_EQ(std::filesystem::file_size(path + ".1"), OSCDiagnostics::rollBytes + 1) << "only one old generation";
}

} // namespace
