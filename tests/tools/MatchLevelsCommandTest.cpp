#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "analysis/LoudnessAnalyzer.h"
#include "document/LevelMatch.h"
#include "document/ShowFile.h"
#include "support/AudioFixtures.h"
#include "support/CliRun.h"
#include "support/TempDir.h"

using namespace ostinel;

TEST(MatchLevelsCommand, PrintsEveryCueWithItsReasonWritesTheMatchedShowAndRejectsBadArguments) {
    test::TempDir home, files;
    auto run = [&](const std::vector<std::string>& arguments) { return test::runCli(arguments, home.path().string()); };
    const auto tone = test::writeSignal(files.file("tone.wav"), 48000 * 2, 48000, 2, test::WavSamples::Float);
    const auto silent = test::writeSamples(files.file("silent.wav"), std::vector<float>(2 * 48000, 0.0f), 48000, 2);
    Show show;
    for (const auto& path : {tone, silent, files.file("gone.wav")})
        show.tracks.push_back(Track{.name = FileUrl::fromPath(path).fileName(), .url = FileUrl::fromPath(path),
                                    .duration = 2, .volume = 0.5, .endSeconds = 2});
    const auto original = files.file("show.ot");
    ASSERT_FALSE(ShowFile::write(show, original, ShowFile::Flavour::compact));

    auto result = run({"match-levels", original, "--target", "-20", "--out", files.file("matched.ot")});
    ASSERT_EQ(result.status, 0) << result.err;
    std::vector<nlohmann::json> lines;
    std::istringstream in(result.out);
    for (std::string line; std::getline(in, line);) lines.push_back(nlohmann::json::parse(line));
    ASSERT_EQ(lines.size(), 4u) << result.out;

    const auto m = **LoudnessAnalyzer::measure(tone);
    const auto c = LevelMatch::change(m, -20.0);
    EXPECT_EQ(lines[0]["cue"], 1);
    EXPECT_DOUBLE_EQ(lines[0]["lufs"].get<double>(), m.lufs);
    EXPECT_DOUBLE_EQ(lines[0]["volume"].get<double>(), c.volume);
    EXPECT_EQ(lines[0]["stopsShort"], LevelMatch::note(c) ? nlohmann::json(*LevelMatch::note(c)) : nlohmann::json());
    EXPECT_EQ(lines[1]["lufs"], nullptr);
    EXPECT_EQ(lines[1]["volume"], 0.5);
    EXPECT_EQ(lines[2]["error"], "missing");
    EXPECT_EQ(lines[3]["measured"], 1);
    EXPECT_EQ(lines[3]["cues"], 3);

    auto matched = ShowFile::decode(test::readText(files.file("matched.ot")));
    ASSERT_TRUE(matched.ok());
    EXPECT_DOUBLE_EQ(matched->tracks[0].volume, c.volume);
    EXPECT_EQ(matched->tracks[1].volume, 0.5);
    EXPECT_EQ(matched->tracks[2].volume, 0.5);

    // Without --out nothing is written; a loud target hits the peak ceiling.
    auto loud = run({"match-levels", original, "--target", "0"});
    ASSERT_EQ(loud.status, 0) << loud.err;
    EXPECT_NE(loud.out.find("peak-limited — no headroom left to reach the target"), std::string::npos);
    EXPECT_NE(loud.out.find("Levels matched — 1 stayed below the target"), std::string::npos);

    for (const auto& bad : std::vector<std::vector<std::string>>{{"match-levels"},
                                                                 {"match-levels", original, "--target"},
                                                                 {"match-levels", original, "--target", "loud"},
                                                                 {"match-levels", original, "--target", "5"}}) {
        auto r = run(bad);
        EXPECT_EQ(r.status, 1);
        EXPECT_FALSE(r.err.empty());
    }
    auto broken = run({"match-levels", files.write("bad.ot", "{")});
    EXPECT_EQ(broken.status, 1);
    EXPECT_EQ(broken.err.rfind("Could not open the show.", 0), 0u) << broken.err;
}
