#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>

#include "platform/AudioFile.h"
#include "support/AudioFixtures.h"
#include "support/CliRun.h"
#include "support/TempDir.h"

namespace ostinel {
namespace {

TEST(ProbeCommand, PrintsEveryFileAndFailsIfOneCannotBeRead) {
    test::TempDir dir;
    const auto wav = test::writeSignal(dir.file("a.wav"), 44100 + 7, 48000, 2);
    const auto missing = dir.file("gone.flac");
    auto run = test::runCli({"probe", missing, wav}, dir.path().string());
    EXPECT_EQ(run.status, 1);
    std::vector<nlohmann::json> lines;
    std::istringstream in(run.out);
    for (std::string line; std::getline(in, line);)
        lines.push_back(nlohmann::json::parse(line));
    ASSERT_EQ(lines.size(), 2u) << run.out;
    EXPECT_EQ(lines[0]["path"], missing);
    EXPECT_FALSE(lines[0]["error"].get<std::string>().empty());
    EXPECT_EQ(
        lines[1],
        (nlohmann::json{
            {"path", wav}, {"sampleRate", 48000}, {"channels", 2}, {"frames", 44107}, {"duration", 44107.0 / 48000}}));
    EXPECT_EQ(test::runCli({"probe", wav}, dir.path().string()).status, 0);
}

TEST(DecodeCommand, WritesTheRegionThePlayerReadsAndRefusesBadArguments) {
    test::TempDir dir;
    const auto m4a =
        test::ffmpegConvert(test::writeSignal(dir.file("a.wav"), 8 * 44100), dir.file("a.m4a"), "-c:a aac");
    const auto out = dir.file("out.wav");
    for (const std::vector<std::string>& args :
         std::vector<std::vector<std::string>>{{"decode", m4a, "--out", out, "--from", "-5"},
                                               {"decode", m4a, "--out", out, "--frames", "ten"},
                                               {"decode", m4a, "--out", out, "--from", "352800"},
                                               {"decode", m4a, "--out", out, "--loud"},
                                               {"decode", m4a},
                                               {"decode", dir.file("none.wav"), "--out", out}}) {
        auto run = test::runCli(args, dir.path().string());
        EXPECT_EQ(run.status, 1) << args.back();
        EXPECT_FALSE(run.err.empty()) << args.back();
    }
    EXPECT_FALSE(std::filesystem::exists(out));

    auto run = test::runCli({"decode", m4a, "--out", out, "--from", "262000", "--frames", "9000"}, dir.path().string());
    ASSERT_EQ(run.status, 0) << run.err;
    auto source = AudioFile::open(m4a);
    auto written = AudioFile::open(out);
    ASSERT_TRUE(source && written);
    EXPECT_EQ((*written)->sampleRate(), 44100);
    auto expected = (*source)->readAll(262000, 9000);
    auto got = (*written)->readAll(0, (*written)->frames());
    ASSERT_TRUE(expected && got);
    EXPECT_EQ(*got, *expected);
}

} // namespace
} // namespace ostinel
