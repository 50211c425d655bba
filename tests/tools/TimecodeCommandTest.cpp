#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/CliRun.h"
#include "support/TempDir.h"

namespace ostinel {
namespace {

using Args = std::vector<std::string>;

TEST(TimecodeCommand, ConvertsSecondsAndTimecodeEitherWayAtTheGivenRate) {
    test::TempDir home;
    const std::pair<Args, std::string> cases[] = {
        {{"timecode", "90"}, "00:01:30:00\n"}, // fps25 unless told
        {{"timecode", "00:01:30:12"}, "90.480000\n"},
        {{"timecode", "--rate", "fps2997df", "3600"}, "01:00:00;00\n"},
        {{"timecode", "01:00:00;00", "--rate", "fps2997df"}, "3599.996400\n"}, // 107892 frames
        {{"timecode", "90000", "--rate", "fps30"}, "25:00:00:00\n"},
        {{"timecode", "1:30,5", "--rate", "fps24"}, "00:01:30:12\n"},
        {{"timecode", "-2"}, "00:00:00:00\n"},
    };
    for (const auto& [args, out] : cases) {
        const auto run = test::runCli(args, home.path().string());
        EXPECT_EQ(run.status, 0) << args[1] << ": " << run.err;
        EXPECT_EQ(run.out, out) << args[1];
    }
}

TEST(TimecodeCommand, RefusesWhatIsNeitherAndUnknownRates) {
    test::TempDir home;
    const Args refused[] = {
        {"timecode", "soon"},
        {"timecode", "00:00:10"},
        {"timecode", "1e300"},
        {"timecode", "nan"},
        {"timecode", "10", "--rate", "fps29"},
        {"timecode", "10", "--rate"},
        {"timecode"},
        {"timecode", "10", "11"},
        {"timecode", "10", "--fps", "fps25"},
    };
    for (const auto& args : refused) {
        const auto run = test::runCli(args, home.path().string());
        EXPECT_EQ(run.status, 1) << args.back();
        EXPECT_FALSE(run.err.empty()) << args.back();
        EXPECT_EQ(run.out, "") << args.back();
    }
}

} // namespace
} // namespace ostinel
