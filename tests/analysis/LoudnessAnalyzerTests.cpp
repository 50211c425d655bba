#include <gtest/gtest.h>

#include <cmath>
#include <ebur128.h>
#include <numbers>
#include <random>

#include "analysis/LoudnessAnalyzer.h"
#include "platform/AudioFile.h"
#include "support/AudioFixtures.h"
#include "support/TempDir.h"

namespace ostinel {

void PrintTo(const LoudnessMeasurement& m, std::ostream* out) {
    *out << m.lufs << " LUFS, peak " << m.peakDb << " dB, true peak " << m.truePeakDb << " dB";
}

namespace {

using Channels = std::vector<std::vector<float>>;

struct Reference {
    double lufs = 0, peakDb = -INFINITY, truePeakDb = -INFINITY;
};

// libebur128 as the independent meter. Channels from the fourth on are
// surround channels to it too (+1.5 dB), LFE included.
Reference reference(const Channels& channels, unsigned rate) {
    const auto count = unsigned(channels.size());
    ebur128_state* st =
        ebur128_init(count, rate, EBUR128_MODE_I | EBUR128_MODE_SAMPLE_PEAK | EBUR128_MODE_TRUE_PEAK);
    for (unsigned c = 0; c < count; ++c)
        ebur128_set_channel(st, c,
                            c == 0   ? EBUR128_LEFT
                            : c == 1 ? EBUR128_RIGHT
                            : c == 2 ? EBUR128_CENTER
                                     : EBUR128_LEFT_SURROUND);
    const std::size_t frames = channels[0].size();
    std::vector<float> interleaved(frames * count);
    for (std::size_t i = 0; i < frames; ++i)
        for (unsigned c = 0; c < count; ++c)
            interleaved[i * count + c] = channels[c][i];
    ebur128_add_frames_float(st, interleaved.data(), frames);
    Reference r;
    ebur128_loudness_global(st, &r.lufs);
    for (unsigned c = 0; c < count; ++c) {
        double peak = 0, truePeak = 0;
        ebur128_sample_peak(st, c, &peak);
        ebur128_true_peak(st, c, &truePeak);
        r.peakDb = std::max(r.peakDb, 20 * std::log10(peak));
        r.truePeakDb = std::max(r.truePeakDb, 20 * std::log10(truePeak));
    }
    ebur128_destroy(&st);
    return r;
}

// Appends a sine of `seconds` at `dbfs` peak level to every channel.
void appendSine(Channels& channels, double rate, double seconds, double dbfs, double hz = 1000,
                double phase = 0) {
    const double amplitude = std::pow(10.0, dbfs / 20);
    for (auto& channel : channels) {
        const std::size_t start = channel.size(), frames = std::size_t(std::llround(seconds * rate));
        for (std::size_t i = 0; i < frames; ++i)
            channel.push_back(
                float(amplitude * std::sin(2 * std::numbers::pi * hz * double(start + i) / rate + phase)));
    }
}

Channels sines(int channelCount, double rate, std::initializer_list<std::pair<double, double>> secondsAtDb) {
    Channels channels(static_cast<std::size_t>(channelCount));
    for (auto [seconds, db] : secondsAtDb)
        appendSine(channels, rate, seconds, db);
    return channels;
}

// The EBU Tech 3341 cases that are defined by their signal alone: each must
// read -23.0 +/- 0.1 LUFS (case 2: -33.0), and we must agree with libebur128.
TEST(LoudnessAnalyzer, MeetsTheTech3341CasesAndAgreesWithTheReference) {
    struct Case {
        std::vector<std::pair<double, double>> segments;
        double expected;
    };
    const std::vector<Case> cases{
        {{{20, -23}}, -23},
        {{{20, -33}}, -33},
        {{{10, -36}, {60, -23}, {10, -36}}, -23},
        {{{10, -72}, {10, -36}, {60, -23}, {10, -36}, {10, -72}}, -23},
        {{{20, -26}, {20.1, -20}, {20, -26}}, -23},
    };
    for (const auto& c : cases) {
        Channels channels(2);
        for (auto [seconds, db] : c.segments)
            appendSine(channels, 48000, seconds, db);
        const auto ours = LoudnessAnalyzer::analyze(channels, 48000);
        ASSERT_TRUE(ours);
        const auto ref = reference(channels, 48000);
        EXPECT_NEAR(ours->lufs, c.expected, 0.1);
        EXPECT_NEAR(ours->lufs, ref.lufs, 0.05);
        EXPECT_EQ(ours->peakDb, ref.peakDb);
    }
}

TEST(LoudnessAnalyzer, AgreesWithTheReferenceOnRandomMaterialAtEveryRate) {
    std::mt19937 random(7);
    std::normal_distribution<float> noise(0, 1);
    std::uniform_real_distribution<double> level(-60, 0);
    for (unsigned rate : {44100u, 48000u, 96000u}) {
        for (int channelCount : {1, 2, 6, 8}) {
            Channels channels(static_cast<std::size_t>(channelCount));
            // One level per half second, so both gates have work to do.
            for (int part = 0; part < 20; ++part) {
                const float gain = float(std::pow(10.0, level(random) / 20) * 0.2);
                for (auto& channel : channels)
                    for (unsigned i = 0; i < rate / 2; ++i)
                        channel.push_back(noise(random) * gain);
            }
            const auto ours = LoudnessAnalyzer::analyze(channels, rate);
            ASSERT_TRUE(ours);
            const auto ref = reference(channels, rate);
            EXPECT_NEAR(ours->lufs, ref.lufs, 0.05) << rate << " Hz, " << channelCount;
            EXPECT_EQ(ours->peakDb, ref.peakDb) << rate << " Hz, " << channelCount;
            EXPECT_GE(ours->truePeakDb, ours->peakDb);
            // Both interpolators are short; on noise they part by up to 0.25 dB.
            EXPECT_NEAR(ours->truePeakDb, ref.truePeakDb, 0.3) << rate << " Hz, " << channelCount;
        }
    }
}

// A sine at a quarter of the rate with a 45 degree phase has every sample
// at 1/sqrt(2) of its crest: 3.01 dB of true peak between the samples. The
// 12-tap interpolator overshoots that crest a little (measured: +0.072 dB,
// 0.032 dB above libebur128's reading); 0.1 dB is what we allow.
TEST(LoudnessAnalyzer, FindsThePeakBetweenTheSamples) {
    for (double rate : {44100.0, 48000.0}) {
        Channels channels(2);
        appendSine(channels, rate, 1, -6, rate / 4, std::numbers::pi / 4);
        const auto ours = LoudnessAnalyzer::analyze(channels, rate);
        ASSERT_TRUE(ours);
        EXPECT_NEAR(ours->peakDb, -6 - 10 * std::log10(2.0), 1e-4);
        EXPECT_NEAR(ours->truePeakDb, -6, 0.1);
        EXPECT_NEAR(ours->truePeakDb, reference(channels, unsigned(rate)).truePeakDb, 0.1);
    }
}

TEST(LoudnessAnalyzer, GivesTheSameFiguresHoweverTheInputIsChunked) {
    // Peaks between the samples everywhere, so every chunk edge is scanned.
    Channels channels(3);
    appendSine(channels, 44100, 1.3, -20, 44100.0 / 4, std::numbers::pi / 4);
    appendSine(channels, 44100, 2, -40, 1000);
    const auto whole = LoudnessAnalyzer::analyze(channels, 44100);
    ASSERT_TRUE(whole);
    for (std::int64_t size : {1, 37, 4096, 5000}) {
        LoudnessAnalyzer analyzer(44100, 3);
        const auto frames = std::int64_t(channels[0].size());
        for (std::int64_t at = 0; at < frames; at += size) {
            const float* pointers[] = {channels[0].data() + at, channels[1].data() + at,
                                       channels[2].data() + at};
            analyzer.add(pointers, std::min(size, frames - at));
        }
        EXPECT_EQ(analyzer.finish(), whole) << size;
    }
}

TEST(LoudnessAnalyzer, GivesNothingForSilenceShortOrMalformedInput) {
    EXPECT_FALSE(LoudnessAnalyzer::analyze(Channels(2, std::vector<float>(48000, 0.0f)), 48000));
    EXPECT_FALSE(LoudnessAnalyzer::analyze(sines(2, 48000, {{20, -80}}), 48000)); // below the absolute gate
    EXPECT_FALSE(LoudnessAnalyzer::analyze(Channels{{0.5f}}, 48000));
    EXPECT_FALSE(LoudnessAnalyzer::analyze(sines(2, 48000, {{0.399, -10}}), 48000)); // short of one block
    EXPECT_TRUE(LoudnessAnalyzer::analyze(sines(2, 48000, {{0.4, -10}}), 48000));
    EXPECT_FALSE(LoudnessAnalyzer::analyze(Channels{}, 48000));
    EXPECT_FALSE(LoudnessAnalyzer::analyze(sines(2, 48000, {{1, -10}}), 0));
    EXPECT_FALSE(LoudnessAnalyzer::analyze(sines(2, 48000, {{1, -10}}), NAN));
}

TEST(LoudnessAnalyzer, TreatsNonFiniteSamplesAsSilence) {
    auto clean = sines(2, 48000, {{3, -23}});
    auto dirty = clean;
    for (std::size_t i : {0u, 1000u, 50000u, 143999u}) {
        clean[0][i] = clean[1][i] = 0;
        dirty[0][i] = NAN;
        dirty[1][i] = i % 2 ? -INFINITY : INFINITY;
    }
    const auto measured = LoudnessAnalyzer::analyze(dirty, 48000);
    ASSERT_TRUE(measured);
    EXPECT_EQ(measured, LoudnessAnalyzer::analyze(clean, 48000));
    EXPECT_TRUE(std::isfinite(measured->lufs) && std::isfinite(measured->truePeakDb));
}

TEST(LoudnessAnalyzer, MeasuresAFileAsItsDecodedSamples) {
    test::TempDir dir;
    const auto path = test::writeSignal(dir.file("a.wav"), 96000 * 3, 96000, 3, test::WavSamples::Float);
    auto file = AudioFile::open(path);
    ASSERT_TRUE(file);
    auto samples = (*file)->readAll(0, (*file)->frames());
    ASSERT_TRUE(samples);
    const auto measured = LoudnessAnalyzer::measure(path);
    ASSERT_TRUE(measured);
    ASSERT_TRUE(*measured);
    EXPECT_EQ(**measured, *LoudnessAnalyzer::analyze(*samples, 96000));

    const auto silent =
        test::writeSamples(dir.file("silent.wav"), std::vector<float>(2 * 48000, 0.0f), 48000, 2);
    const auto nothing = LoudnessAnalyzer::measure(silent);
    ASSERT_TRUE(nothing);
    EXPECT_FALSE(*nothing);

    const auto missing = LoudnessAnalyzer::measure(dir.file("gone.wav"));
    ASSERT_FALSE(missing);
    EXPECT_NE(missing.error().message.find("Cannot measure loudness of gone.wav"), std::string::npos);
}

} // namespace
} // namespace ostinel
