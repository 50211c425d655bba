#include <gtest/gtest.h>

#include <cmath>
#include <nlohmann/json.hpp>
#include <sstream>

#include "analysis/LoudnessAnalyzer.h"
#include "support/AudioFixtures.h"
#include "support/CliRun.h"
#include "support/TempDir.h"

namespace ostinel {
namespace {

TEST(LoudnessCommand, PrintsEveryFileWithNullsForSilenceAndFailsOnAMissingOne) {
    test::TempDir dir;
    const auto tone = test::writeSignal(dir.file("tone.wav"), 48000 * 2, 48000, 2, test::WavSamples::Float);
    const auto silent =
        test::writeSamples(dir.file("silent.wav"), std::vector<float>(2 * 48000, 0.0f), 48000, 2);
    const auto missing = dir.file("gone.wav");
    auto run = test::runCli({"loudness", tone, missing, silent}, dir.path().string());
    EXPECT_EQ(run.status, 1);
    std::vector<nlohmann::json> lines;
    std::istringstream in(run.out);
    for (std::string line; std::getline(in, line);)
        lines.push_back(nlohmann::json::parse(line));
    ASSERT_EQ(lines.size(), 3u) << run.out;

    const auto measured = LoudnessAnalyzer::measure(tone);
    ASSERT_TRUE(measured && *measured);
    EXPECT_EQ(lines[0], (nlohmann::json{{"file", tone},
                                        {"lufs", (*measured)->lufs},
                                        {"peakDb", (*measured)->peakDb},
                                        {"truePeakDb", (*measured)->truePeakDb}}));
    EXPECT_EQ(lines[1]["file"], missing);
    EXPECT_NE(lines[1]["error"].get<std::string>().find("gone.wav"), std::string::npos);
    EXPECT_EQ(
        lines[2],
        (nlohmann::json{{"file", silent}, {"lufs", nullptr}, {"peakDb", nullptr}, {"truePeakDb", nullptr}}));

    EXPECT_EQ(test::runCli({"loudness", tone, silent}, dir.path().string()).status, 0);
    EXPECT_EQ(test::runCli({"loudness"}, dir.path().string()).status, 1);
}

} // namespace
} // namespace ostinel
