#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>

#include "analysis/TempoAnalyzer.h"
#include "document/ShowFile.h"
#include "platform/AudioFile.h"
#include "support/CliRun.h"
#include "support/TempDir.h"

using namespace ostinel;

TEST(DemoCommand, WritesAProjectWhoseAudioMatchesItsTracksAndVampsSeamlessly) {
    test::TempDir temp;
    const auto folder = temp.path() / "shows" / "Demo Show"; // not there yet
    auto run = test::runCli({"demo", folder.string()}, temp.path().string());
    ASSERT_EQ(run.status, 0) << run.err;
    auto show = ShowFile::read((folder / "Demo Show.ot").string());
    ASSERT_TRUE(show) << show.error().message;
    EXPECT_EQ(show->name, "Ostinel Demo");
    ASSERT_EQ(show->tracks.size(), 3u);
    for (const Track& t : show->tracks) {
        SCOPED_TRACE(t.name);
        EXPECT_EQ(t.relativePath, "Media/" + t.url.fileName());
        EXPECT_EQ(t.url.path(), (folder / t.relativePath.value_or("")).string());
        auto file = AudioFile::open(t.url.path());
        ASSERT_TRUE(file) << file.error().message;
        EXPECT_EQ((*file)->channels(), 2);
        EXPECT_DOUBLE_EQ(t.duration, (*file)->duration());
        EXPECT_DOUBLE_EQ(t.endSeconds, t.duration);
        auto audio = (*file)->readAll(0, (*file)->frames());
        ASSERT_TRUE(audio);
        float peak = 0.0f;
        for (const auto& channel : *audio) {
            for (float v : channel)
                peak = std::max(peak, std::abs(v));
            // Silent at both edges, so it never starts or stops with a click.
            EXPECT_LT(std::abs(channel.front()), 1e-3f);
            EXPECT_LT(std::abs(channel.back()), 1e-3f);
        }
        // Audible, but with headroom: nowhere near full scale.
        EXPECT_GT(peak, 0.25f);
        EXPECT_LT(peak, 0.71f);
    }

    const Track* groove = show->tracks.findIf([](const Track& t) { return !t.loops.empty(); });
    ASSERT_TRUE(groove && groove->beatgridEnabled && groove->loops.size() == 1);
    ASSERT_TRUE(groove->timelineNotes.size() == 1 && groove->midiTriggers.size() == 1 &&
                groove->oscTriggers.size() == 1);
    EXPECT_EQ(groove->bpm, 120.0);
    const double bar = 60.0 / groove->bpm * 4.0;
    const Loop& vamp = groove->loops[0];
    EXPECT_FALSE(vamp.playCountEnabled) << "a vamp repeats until GO";
    EXPECT_GE(vamp.endSeconds - vamp.startSeconds, bar - 1e-9);
    EXPECT_GT(vamp.startSeconds, groove->beatOffsetSeconds);
    EXPECT_LT(vamp.endSeconds, groove->duration);
    for (double time : {vamp.startSeconds, vamp.endSeconds, groove->timelineNotes[0].timeSeconds,
                        groove->midiTriggers[0].timeSeconds, groove->oscTriggers[0].timeSeconds}) {
        const double bars = (time - groove->beatOffsetSeconds) / bar;
        EXPECT_NEAR(bars, std::round(bars), 1e-9) << "off the bar lines: " << time;
    }

    // Jumping from the loop end back to its start must sound like going on:
    // the audio around the end equals the audio around the start, tails and all.
    auto file = AudioFile::open(groove->url.path());
    ASSERT_TRUE(file);
    const auto k = std::int64_t((*file)->sampleRate() / 4);
    auto atStart = (*file)->readAll(std::int64_t(vamp.startSeconds * (*file)->sampleRate()) - k, 2 * k);
    auto atEnd = (*file)->readAll(std::int64_t(vamp.endSeconds * (*file)->sampleRate()) - k, 2 * k);
    ASSERT_TRUE(atStart && atEnd && (*atEnd)[0].size() == std::size_t(2 * k));
    float worst = 0.0f, energy = 0.0f;
    for (std::size_t c = 0; c < 2; ++c)
        for (std::size_t i = 0; i < std::size_t(2 * k); ++i) {
            worst = std::max(worst, std::abs((*atStart)[c][i] - (*atEnd)[c][i]));
            energy += (*atStart)[c][i] * (*atStart)[c][i];
        }
    EXPECT_LT(worst, 1e-5f);
    EXPECT_GT(energy / float(4 * k), 1e-4f) << "the seam must not be silence";

    // Detect Tempo on the groove lays the grid the demo already has.
    const auto tempo = TempoAnalyzer::detect(groove->url.path());
    ASSERT_TRUE(tempo);
    EXPECT_EQ(tempo->bpm, groove->bpm);
    const double bars = (tempo->anchorSeconds - groove->beatOffsetSeconds) / bar;
    EXPECT_NEAR((bars - std::round(bars)) * bar, 0.0, 0.02) << "downbeat at " << tempo->anchorSeconds;
    EXPECT_FALSE(tempo->isDrifting);
}

TEST(DemoCommand, LeavesWhatIsInTheWayAlone) {
    test::TempDir temp;
    const std::string kept = temp.write("Show/notes.txt", "keep me"), file = temp.write("plain", "not a folder");
    auto run = test::runCli({"demo", temp.file("Show")}, temp.path().string());
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find(temp.file("Show")), std::string::npos) << run.err;
    EXPECT_EQ(test::readText(kept), "keep me");
    EXPECT_FALSE(std::filesystem::exists(temp.file("Show/Media")));
    EXPECT_EQ(test::runCli({"demo", file}, temp.path().string()).status, 1);
    EXPECT_EQ(test::readText(file), "not a folder");
    EXPECT_EQ(test::runCli({"demo"}, temp.path().string()).status, 1);
}
