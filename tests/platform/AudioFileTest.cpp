#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <memory>

#include "platform/AudioFile.h"
#include "support/AudioFixtures.h"
#include "support/TempDir.h"

namespace ostinel {
namespace {

using Channels = std::vector<std::vector<float>>;

constexpr int kRate = 44100;
// A little over two of the FFmpeg reader's 2^18-frame decoding blocks.
constexpr std::int64_t kFrames = 13 * kRate + 77;

struct Format {
    std::string name;
    std::string file;
    double tolerance; // against the written signal; negative for lossy codecs
    bool gapless;     // the file says how long the audio is and where it starts
};

const std::vector<Format> formats{
    {"Wav16", "s16.wav", 1e-4, true}, {"Wav24", "s24.wav", 1e-6, true},
    {"Wav32", "s32.wav", 1e-6, true}, {"WavFloat", "f32.wav", 0, true},
    {"Aiff", "s.aiff", 1e-4, true},   {"Flac", "s.flac", 1e-4, true},
    {"Caf", "s.caf", 1e-4, true},     {"Alac", "alac.m4a", 1e-4, true},
    {"Mp3", "s.mp3", -1, true},       {"Aac", "aac.m4a", -1, true},
    {"Mp4Video", "v.mp4", -1, true},  {"OggVorbis", "s.ogg", -1, true},
    {"AdtsAac", "s.aac", -1, false},  {"Mp3NoXing", "vbr.mp3", -1, false},
};

class AudioFormats : public ::testing::TestWithParam<Format> {
  protected:
    static void SetUpTestSuite() {
        dir_ = new test::TempDir;
        const auto wav = test::writeSignal(path("s16.wav"), kFrames);
        test::writeSignal(path("s24.wav"), kFrames, kRate, 2, test::WavSamples::Int24);
        test::writeSignal(path("s32.wav"), kFrames, kRate, 2, test::WavSamples::Int32);
        test::writeSignal(path("f32.wav"), kFrames, kRate, 2, test::WavSamples::Float);
        for (auto name : {"s.aiff", "s.flac", "s.caf", "s.ogg"})
            test::writeSignal(path(name), kFrames);
        test::ffmpegConvert(wav, path("alac.m4a"), "-c:a alac");
        test::ffmpegConvert(wav, path("s.mp3"), "-c:a libmp3lame -b:a 128k");
        test::ffmpegConvert(wav, path("aac.m4a"), "-c:a aac -b:a 128k");
        test::ffmpegConvert(wav, path("plain.m4a"), "-c:a aac -b:a 128k -aac_pns 0");
        test::ffmpegConvert(wav, path("s.aac"), "-c:a aac");
        test::ffmpegConvert(wav, path("vbr.mp3"), "-c:a libmp3lame -q:a 2 -write_xing 0");
        test::ffmpegConvert(wav, path("v.mp4"),
                            "-f lavfi -i testsrc=size=64x48:rate=10:duration=14 -c:v mpeg4 -c:a aac");
    }
    static void TearDownTestSuite() {
        delete dir_;
        dir_ = nullptr;
        decodes_.clear();
    }
    static std::string path(const std::string& name) { return dir_->file(name); }

    static std::unique_ptr<AudioFile> open(const std::string& name) {
        auto file = AudioFile::open(path(name));
        if (!file) ADD_FAILURE() << name << ": " << file.error().message;
        return file ? std::move(*file) : nullptr;
    }

    // The whole file read front to back in odd-sized pieces, once per file.
    static const Channels& straightDecode(const std::string& name) {
        auto [it, fresh] = decodes_.try_emplace(name);
        if (!fresh) return it->second;
        auto file = open(name);
        if (!file) return it->second;
        it->second.resize(std::size_t(file->channels()));
        for (std::int64_t at = 0;;) {
            auto piece = file->readAll(at, 1000);
            if (!piece || (*piece)[0].empty()) break;
            for (std::size_t c = 0; c < it->second.size(); ++c)
                it->second[c].insert(it->second[c].end(), (*piece)[c].begin(), (*piece)[c].end());
            at += std::int64_t((*piece)[0].size());
        }
        return it->second;
    }

    static test::TempDir* dir_;
    static std::map<std::string, Channels> decodes_;
};

test::TempDir* AudioFormats::dir_ = nullptr;
std::map<std::string, Channels> AudioFormats::decodes_;

TEST_P(AudioFormats, DecodesTheWrittenSignalInPlace) {
    const auto& decoded = straightDecode(GetParam().file);
    ASSERT_EQ(decoded.size(), 2u);
    const auto written = test::testSignal(kFrames, kRate, 2);
    if (GetParam().tolerance >= 0) {
        for (std::int64_t i = 0; i < kFrames; ++i)
            for (std::size_t c = 0; c < 2; ++c)
                ASSERT_NEAR(decoded[c][std::size_t(i)], written[std::size_t(i) * 2 + c], GetParam().tolerance)
                    << "frame " << i << " channel " << c;
        return;
    }
    if (!GetParam().gapless) return;
    // A lossy tone is only near the original; but it must be nearest with
    // no shift at all, or the encoder's delay leaked into the timeline.
    const std::size_t from = 3 * kRate, span = 4096;
    auto error = [&](int lag) {
        double sum = 0;
        for (std::size_t i = 0; i < span; ++i)
            sum += std::pow(decoded[0][from + i] - written[(from + i + std::size_t(lag)) * 2], 2);
        return sum;
    };
    int bestLag = -64;
    for (int lag = -63; lag <= 64; ++lag)
        if (error(lag) < error(bestLag)) bestLag = lag;
    EXPECT_EQ(bestLag, 0);
}

TEST_P(AudioFormats, ReportsItsLengthWithoutCodingPaddingAndEveryReadEqualsTheStraightDecode) {
    const auto& reference = straightDecode(GetParam().file);
    auto file = open(GetParam().file);
    ASSERT_TRUE(file && !reference.empty());
    EXPECT_EQ(file->sampleRate(), kRate);
    EXPECT_EQ(file->channels(), 2);
    const std::int64_t frames = file->frames();
    if (GetParam().gapless) {
        EXPECT_EQ(frames, kFrames);
    } else { // without gapless information the encoder's delay and padding stay
        EXPECT_GE(frames, kFrames);
        EXPECT_LT(frames, kFrames + 4096);
    }
    EXPECT_DOUBLE_EQ(file->duration(), double(frames) / kRate);
    EXPECT_EQ(std::int64_t(reference[0].size()), frames);

    // Backward and forward jumps, block edges from both sides, the very end,
    // and reads that carry on where the last one stopped.
    const std::int64_t block = std::int64_t(1) << 18;
    const std::vector<std::pair<std::int64_t, std::int64_t>> reads{
        {kRate * 7, 5000},        {0, 3000},            {block - 10, 40},       {block + 30, 2000},
        {2 * block - 2500, 5000}, {frames - 100, 5000}, {kRate * 4, 777},       {kRate * 4 + 777, 6000},
        {1, 1},                   {block, 1},           {kRate * 11 + 5, 3000}, {kRate * 2, 4096},
        {kRate * 2 + 4096, 4096}};
    for (auto [at, count] : reads) {
        auto got = file->readAll(at, count);
        ASSERT_TRUE(got) << got.error().message;
        const auto expected = std::min(count, frames - at);
        ASSERT_EQ(std::int64_t((*got)[0].size()), expected) << "read at " << at;
        for (std::size_t c = 0; c < 2; ++c)
            for (std::int64_t i = 0; i < expected; ++i)
                ASSERT_EQ((*got)[c][std::size_t(i)], reference[c][std::size_t(at + i)])
                    << "read at " << at << ", frame " << at + i << ", channel " << c;
    }
    auto past = file->readAll(frames, 10);
    ASSERT_TRUE(past);
    EXPECT_TRUE((*past)[0].empty());
    EXPECT_FALSE(file->readAll(-1, 10));
}

INSTANTIATE_TEST_SUITE_P(AllFormats, AudioFormats, ::testing::ValuesIn(formats),
                         [](const auto& info) { return info.param.name; });

// The reader decodes lossy files in independently primed blocks; with no
// noise substitution in the stream that is sample for sample the decode of
// one uninterrupted decoder.
TEST_F(AudioFormats, BlockedDecodingEqualsOneUninterruptedDecode) {
    for (auto name : {"plain.m4a", "s.ogg", "alac.m4a"}) {
        const auto& ours = straightDecode(name);
        const auto theirs = test::ffmpegDecode(path(name));
        ASSERT_EQ(ours.size(), 2u);
        ASSERT_GE(theirs.size(), ours[0].size() * 2) << name;
        for (std::size_t i = 0; i < ours[0].size(); ++i)
            for (std::size_t c = 0; c < 2; ++c)
                ASSERT_EQ(ours[c][i], theirs[i * 2 + c]) << name << " frame " << i << " channel " << c;
    }
}

TEST_F(AudioFormats, RefusesWhatCannotBePlayedWithTheReason) {
    const auto m4a = test::readText(path("aac.m4a"));
    const std::map<std::string, std::string> refused{
        {path("missing.wav"), "No such file"},
        {dir_->write("notes.wav", "these are my notes, not audio\n"), "not recognised"},
        {dir_->write("cut.m4a", m4a.substr(0, m4a.size() / 2)), ""},
        {dir_->write("cut.flac", test::readText(path("s.flac")).substr(0, 30)), ""},
        {test::writeSignal(path("empty.wav"), 0), "no audio frames"},
    };
    for (const auto& [refusedPath, reason] : refused) {
        auto file = AudioFile::open(refusedPath);
        ASSERT_FALSE(file) << refusedPath;
        EXPECT_NE(file.error().message, "") << refusedPath;
        EXPECT_NE(file.error().message.find(reason), std::string::npos) << refusedPath << ": " << file.error().message;
    }
}

} // namespace
} // namespace ostinel
