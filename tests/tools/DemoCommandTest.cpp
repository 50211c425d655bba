#include <gtest/gtest.h>
#include <sndfile.h>
#include <sys/wait.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "document/BeatGrid.h"
#include "document/ShowFile.h"
#include "support/TempDir.h"

using namespace ostinel;

namespace {

struct CliRun {
    int status = -1;
    std::string output; // standard output and error together
};

CliRun runCli(const std::string& arguments) {
    const char* cli = std::getenv("OSTINEL_CLI");
    if (!cli) {
        ADD_FAILURE() << "OSTINEL_CLI must name the built ostinel-cli";
        return {};
    }
    CliRun run;
    FILE* pipe = popen(("'" + std::string(cli) + "' " + arguments + " 2>&1").c_str(), "r");
    if (!pipe) return run;
    char buffer[512];
    while (std::size_t n = std::fread(buffer, 1, sizeof buffer, pipe)) run.output.append(buffer, n);
    const int status = pclose(pipe);
    run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return run;
}

std::string shellQuoted(const std::filesystem::path& p) { return "'" + p.string() + "'"; }

struct Wav {
    int rate = 0;
    int channels = 0;
    std::vector<float> samples; // interleaved
    std::int64_t frames() const { return channels ? std::int64_t(samples.size()) / channels : 0; }
    float peak() const {
        float p = 0.0f;
        for (float v : samples) p = std::max(p, std::abs(v));
        return p;
    }
};

Wav readWav(const std::string& path) {
    SF_INFO info{};
    SNDFILE* f = sf_open(path.c_str(), SFM_READ, &info);
    if (!f) {
        ADD_FAILURE() << "unreadable " << path << ": " << sf_strerror(nullptr);
        return {};
    }
    Wav wav{info.samplerate, info.channels, std::vector<float>(std::size_t(info.frames * info.channels))};
    EXPECT_EQ(sf_readf_float(f, wav.samples.data(), info.frames), info.frames);
    EXPECT_EQ(info.format & SF_FORMAT_TYPEMASK, SF_FORMAT_WAV);
    sf_close(f);
    return wav;
}

// One demo project per test, in a folder that does not exist yet.
class DemoCommand : public ::testing::Test {
protected:
    void SetUp() override {
        folder = temp.path() / "shows" / "Demo Show";
        CliRun run = runCli("demo " + shellQuoted(folder));
        ASSERT_EQ(run.status, 0) << run.output;
        auto read = ShowFile::read((folder / "Demo Show.ot").string());
        ASSERT_TRUE(read) << read.error().message;
        show = *read;
    }

    const Track& groove() const {
        const Track* t = show.tracks.findIf([](const Track& t) { return !t.loops.empty(); });
        if (!t) throw std::runtime_error("no track with a loop");
        return *t;
    }

    test::TempDir temp;
    std::filesystem::path folder;
    Show show;
};

} // namespace

TEST_F(DemoCommand, WritesAProjectWhoseAudioMatchesItsTracks) {
    EXPECT_EQ(show.name, "Ostinel Demo");
    ASSERT_EQ(show.tracks.size(), 3u);
    EXPECT_GT(show.tracks[0].fade.fadeInSeconds, 0.0);
    EXPECT_GT(show.tracks[0].fade.fadeOutSeconds, 0.0);
    for (const Track& t : show.tracks) {
        SCOPED_TRACE(t.name);
        EXPECT_FALSE(t.name.empty());
        EXPECT_TRUE(t.colorHex.has_value());
        ASSERT_TRUE(t.relativePath.has_value());
        EXPECT_EQ(*t.relativePath, "Media/" + t.url.fileName());
        EXPECT_EQ(t.url.path(), (folder / *t.relativePath).string());

        Wav wav = readWav(t.url.path());
        EXPECT_EQ(wav.channels, 2);
        EXPECT_TRUE(wav.rate == 48000 || wav.rate == 44100) << wav.rate;
        ASSERT_GT(wav.frames(), 0);
        EXPECT_DOUBLE_EQ(t.duration, double(wav.frames()) / wav.rate);
        EXPECT_DOUBLE_EQ(t.endSeconds, t.duration);
        // Audible, but with headroom: nowhere near full scale.
        EXPECT_GT(wav.peak(), 0.25f);
        EXPECT_LT(wav.peak(), 0.71f);
        // Silent at both edges, so it never starts or stops with a click.
        EXPECT_LT(std::abs(wav.samples.front()), 1e-3f);
        EXPECT_LT(std::abs(wav.samples.back()), 1e-3f);
    }
}

TEST_F(DemoCommand, VampLoopsSeamlesslyOnBarLines) {
    const Track& t = groove();
    ASSERT_TRUE(t.beatgridEnabled);
    EXPECT_EQ(t.bpm, 120.0);
    const double bar = 60.0 / t.bpm * 4.0;
    auto onBarLine = [&](double time) {
        double bars = (time - t.beatOffsetSeconds) / bar;
        return std::abs(bars - std::round(bars)) < 1e-9;
    };
    ASSERT_EQ(t.loops.size(), 1u);
    const Loop& vamp = t.loops[0];
    EXPECT_FALSE(vamp.name.empty());
    EXPECT_FALSE(vamp.playCountEnabled);
    EXPECT_TRUE(onBarLine(vamp.startSeconds));
    EXPECT_TRUE(onBarLine(vamp.endSeconds));
    EXPECT_GE(vamp.endSeconds - vamp.startSeconds, bar - 1e-9);
    EXPECT_GT(vamp.startSeconds, t.beatOffsetSeconds);
    EXPECT_LT(vamp.endSeconds, t.duration);

    ASSERT_EQ(t.timelineNotes.size(), 1u);
    EXPECT_FALSE(t.timelineNotes[0].body.empty());
    ASSERT_EQ(t.midiTriggers.size(), 1u);
    ASSERT_EQ(t.oscTriggers.size(), 1u);
    EXPECT_TRUE(onBarLine(t.timelineNotes[0].timeSeconds));
    EXPECT_TRUE(onBarLine(t.midiTriggers[0].timeSeconds));
    EXPECT_TRUE(onBarLine(t.oscTriggers[0].timeSeconds));

    // Jumping from the loop end back to its start must sound like going on:
    // the audio around the end equals the audio around the start, tails and all.
    Wav wav = readWav(t.url.path());
    ASSERT_EQ(wav.channels, 2);
    const auto start = std::int64_t(vamp.startSeconds * wav.rate);
    const auto end = std::int64_t(vamp.endSeconds * wav.rate);
    const std::int64_t k = wav.rate / 4;
    ASSERT_GE(start, k);
    ASSERT_LE(end + k, wav.frames());
    float worst = 0.0f, energy = 0.0f;
    for (std::int64_t i = -k; i < k; ++i)
        for (std::int64_t c = 0; c < 2; ++c) {
            const float atStart = wav.samples[std::size_t(2 * (start + i) + c)];
            const float atEnd = wav.samples[std::size_t(2 * (end + i) + c)];
            worst = std::max(worst, std::abs(atStart - atEnd));
            energy += atStart * atStart;
        }
    EXPECT_LT(worst, 1e-5f);
    EXPECT_GT(energy / float(4 * k), 1e-4f) << "the seam must not be silence";
}

TEST(DemoCommandRefusal, LeavesAFolderThatIsNotEmptyAlone) {
    test::TempDir temp;
    const std::string kept = temp.write("Show/notes.txt", "keep me");
    CliRun run = runCli("demo " + shellQuoted(temp.path() / "Show"));
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.output.find((temp.path() / "Show").string()), std::string::npos) << run.output;
    EXPECT_EQ(test::readText(kept), "keep me");
    EXPECT_FALSE(std::filesystem::exists(temp.path() / "Show" / "Media"));

    const std::string file = temp.write("plain", "not a folder");
    EXPECT_EQ(runCli("demo " + shellQuoted(file)).status, 1);
    EXPECT_EQ(test::readText(file), "not a folder");
    EXPECT_EQ(runCli("demo").status, 1);
}
