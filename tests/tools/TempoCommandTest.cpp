#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "analysis/TempoAnalyzer.h"
#include "support/AudioFixtures.h"
#include "support/CliRun.h"
#include "support/TempDir.h"

namespace ostinel {
namespace {

// A kick-like thump every half second from 0.25 s, in stereo.
std::vector<float> beats(double seconds) {
    std::vector<float> s(std::size_t(seconds * 44100) * 2, 0.0f);
    for (double t = 0.25; t < seconds; t += 0.5) {
        const auto at = std::size_t(t * 44100);
        for (std::size_t i = 0; i < 4000 && at + i < s.size() / 2; ++i)
            s[(at + i) * 2] = s[(at + i) * 2 + 1] =
                float(0.8 * std::sin(0.01 * double(i)) * std::exp(-double(i) / 1500));
    }
    return s;
}

TEST(TempoCommand, PrintsTheEstimateOrNullsAndRefusesBadArguments) {
    test::TempDir dir;
    const auto home = dir.path().string();
    const auto drums = test::writeSamples(dir.file("beats.wav"), beats(30), 44100, 2);
    const auto silent =
        test::writeSamples(dir.file("silent.wav"), std::vector<float>(44100 * 4, 0.0f), 44100, 2);

    for (const auto& [args, range] :
         {std::pair{std::vector<std::string>{"tempo", drums}, std::optional<TempoRange>()},
          {{"tempo", drums, "--from", "5", "--to", "20.5"}, TempoRange{5, 20.5}}}) {
        const auto run = test::runCli(args, home);
        ASSERT_EQ(run.status, 0) << run.err;
        const auto estimate = TempoAnalyzer::detect(drums, range);
        ASSERT_TRUE(estimate);
        EXPECT_EQ(nlohmann::json::parse(run.out), (nlohmann::json{{"file", drums},
                                                                  {"bpm", estimate->bpm},
                                                                  {"anchorSeconds", estimate->anchorSeconds},
                                                                  {"confidence", estimate->confidence},
                                                                  {"variable", estimate->isDrifting}}));
    }

    const auto none = test::runCli({"tempo", silent}, home);
    EXPECT_EQ(none.status, 0);
    EXPECT_EQ(nlohmann::json::parse(none.out), (nlohmann::json{{"file", silent},
                                                               {"bpm", nullptr},
                                                               {"anchorSeconds", nullptr},
                                                               {"confidence", nullptr},
                                                               {"variable", false}}));
    const auto missing = test::runCli({"tempo", dir.file("gone.wav")}, home);
    EXPECT_EQ(missing.status, 1);
    EXPECT_NE(nlohmann::json::parse(missing.out)["error"].get<std::string>().find("gone.wav"),
              std::string::npos);

    for (const auto& [args, message] : std::vector<std::pair<std::vector<std::string>, std::string>>{
             {{"tempo"}, "usage"},
             {{"tempo", drums, "--from"}, "--from needs a value"},
             {{"tempo", drums, "--to", "ten"}, "--to takes a number of seconds"},
             {{"tempo", drums, "--from", "-1"}, "--from takes a number of seconds"},
             {{"tempo", drums, "--from", "9", "--to", "3"}, "--from must not come after --to"},
             {{"tempo", drums, silent}, "unknown argument"}}) {
        const auto run = test::runCli(args, home);
        EXPECT_EQ(run.status, 1) << args.back();
        EXPECT_NE(run.err.find(message), std::string::npos) << run.err;
        EXPECT_TRUE(run.out.empty()) << run.out;
    }
}

} // namespace
} // namespace ostinel
