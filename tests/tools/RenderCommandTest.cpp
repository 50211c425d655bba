#include <gtest/gtest.h>
#include <sndfile.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "document/ShowFile.h"
#include "playback/EngineRig.h"
#include "support/CliRun.h"

namespace ostinel {
namespace {

using test::EngineRig;

TEST(RenderCommand, PlaysTheCueWithGoAndTheStopFadeAndReportsEveryEvent) {
    test::TempDir dir;
    Track track;
    track.name = "Probe";
    track.url = FileUrl::fromPath(EngineRig::writeProbe(dir.file("probe.wav"), 96000));
    track.duration = 2.0;
    track.loops = {EngineRig::loopOf(0.5, 1.0, std::nullopt)};
    track.midiTriggers = {MidiTrigger{.name = "hit", .timeSeconds = 0.75}};
    track.oscTriggers = {OSCTrigger{.name = "end", .timeSeconds = 1.5}};
    const Show show{.tracks = {track}};
    const auto showPath = dir.file("show.ot");
    ASSERT_FALSE(ShowFile::write(show, showPath, ShowFile::Flavour::pretty));

    // GO in the second pass leaves the loop; GO after the end plays again;
    // the stop fade is the user's.
    dir.write(".config/Ostinel/Ostinel.conf", "[General]\nstopFadeSeconds=0.2\n");
    const auto out = dir.file("out.wav");
    auto run = test::runCli({"render", showPath, "--cue", "1", "--seconds", "3.2", "--out", out, "--go", "1.2",
                             "--go", "2.7", "--stop-fade", "2.9"},
                            dir.path().string());
    ASSERT_EQ(run.status, 0) << run.err;

    std::vector<std::string> names;
    std::vector<double> times;
    std::istringstream lines(run.out);
    const std::string loopID = track.loops[0].id.toString();
    for (std::string line; std::getline(lines, line);) {
        auto event = nlohmann::json::parse(line);
        std::string name = event["event"];
        if (name == "loop")
            name += event["id"].is_null() ? " none" : event["id"] == loopID ? (event["exiting"] ? " exiting" : " in") : " ?";
        if (name == "timecodeLocate") name += " " + std::to_string(int(event["timecodeSeconds"].get<double>()));
        if (event.contains("name")) name += " " + event["name"].get<std::string>();
        names.push_back(name);
        times.push_back(event["t"]);
    }
    const std::vector<std::string> expected{"timecodeLocate 3600", "loop in",         "midiTrigger hit",
                                            "loop exiting",        "midiTrigger hit", "loop none",
                                            "oscTrigger end",      "reachedEnd",      "timecodeLocate 3600"};
    EXPECT_EQ(names, expected) << run.out;
    const std::vector<double> near{0.0, 0.5, 0.75, 1.2, 1.25, 1.5, 2.0, 2.5, 2.7};
    for (std::size_t i = 0; i < std::min(times.size(), near.size()); ++i) {
        EXPECT_GE(times[i], near[i]) << names[i];
        EXPECT_LT(times[i], near[i] + 0.05) << names[i];
    }

    SF_INFO info{};
    SNDFILE* file = sf_open(out.c_str(), SFM_READ, &info);
    ASSERT_TRUE(file);
    EXPECT_EQ(info.frames, 153600);
    EXPECT_EQ(info.channels, 2);
    EXPECT_EQ(info.format, SF_FORMAT_WAV | SF_FORMAT_FLOAT);
    std::vector<float> samples(std::size_t(info.frames) * 2);
    sf_readf_float(file, samples.data(), info.frames);
    sf_close(file);
    std::size_t first = 0;
    while (samples[first * 2] == 0.0f) ++first;
    for (std::int64_t k = 0; k < 24000; ++k)
        ASSERT_NEAR(samples[(first + std::size_t(k)) * 2], EngineRig::probeLeft(k) * EngineRig::unity(), 2e-6) << k;
    // Faded and stopped before the end: silent at last.
    EXPECT_EQ(samples.back(), 0.0f);
}

TEST(RenderCommand, RefusesBadArgumentsAndAMissingCue) {
    test::TempDir dir;
    const auto showPath = dir.file("show.ot");
    ASSERT_FALSE(ShowFile::write(Show{}, showPath, ShowFile::Flavour::pretty));
    const auto home = dir.path().string();
    auto missing = test::runCli({"render", showPath, "--cue", "1", "--seconds", "1", "--out", dir.file("o.wav")}, home);
    EXPECT_EQ(missing.status, 1);
    EXPECT_EQ(missing.err, "The show has 0 cues; there is no cue 1.\n");
    EXPECT_EQ(test::runCli({"render", showPath, "--cue", "x", "--seconds", "1", "--out", "o.wav"}, home).status, 1);
    EXPECT_EQ(test::runCli({"render", showPath, "--cue", "1", "--out", "o.wav"}, home).status, 1);
}

} // namespace
} // namespace ostinel
