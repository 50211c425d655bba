#include <gtest/gtest.h>

#include <QStringList>
#include <QtGlobal>

#include <cmath>
#include <limits>
#include <numbers>

#include "DrumCorpus.h"
#include "analysis/TempoAnalyzer.h"
#include "support/AudioFixtures.h"
#include "support/TempDir.h"

namespace ostinel {
namespace {

namespace TA = TempoAnalyzer;
constexpr int kRate = 44100;
constexpr double kOdfRate = kRate / 256.0;

std::vector<float> clickTrack(double bpm, double seconds) {
    std::vector<float> s(std::size_t(seconds * kRate), 0.0f);
    for (double t = 0.1; t < seconds; t += 60 / bpm) {
        const auto at = std::size_t(std::llround(t * kRate));
        for (std::size_t i = 0; i < 220 && at + i < s.size(); ++i)
            s[at + i] = float(0.8 * std::sin(2 * std::numbers::pi * 2000 * double(i) / kRate) *
                              std::exp(-double(i) / 60));
    }
    return s;
}

// Unit pulses at a tempo, split between neighbouring frames at fractional
// positions; `ramp` is the tempo gained by the end.
std::vector<float> pulses(double bpm, double seconds, double odfRate, double ramp = 0) {
    std::vector<float> odf(std::size_t(seconds * odfRate), 0.0f);
    for (double t = 0.2; t * odfRate + 1 < double(odf.size()); t += 60 / (bpm + ramp * t / seconds)) {
        const double at = t * odfRate;
        const auto i = std::size_t(at);
        odf[i] += float(1 - (at - double(i)));
        odf[i + 1] += float(at - double(i));
    }
    return odf;
}

std::size_t nearestCandidate(double bpm) {
    const auto& c = TA::candidateBPMs();
    return std::size_t(
        std::min_element(c.begin(), c.end(),
                         [&](double a, double b) { return std::abs(a - bpm) < std::abs(b - bpm); }) -
        c.begin());
}

TEST(TempoAnalyzer, ClickTrackAt120IsExactAndNearMissesSnapOnlyWhenCoherent) {
    const auto estimate = TA::analyze(clickTrack(120, 30), kRate, 0);
    ASSERT_TRUE(estimate);
    EXPECT_EQ(estimate->bpm, 120.0);
    const double beats = (estimate->anchorSeconds - 0.1) / 0.5;
    EXPECT_NEAR(beats, std::round(beats), 0.04) << estimate->anchorSeconds;
    EXPECT_FALSE(estimate->isDrifting);
    EXPECT_GT(estimate->confidence, 0.5);

    // At 120.03 the half-BPM grid point loses coherence with length: a
    // minute still snaps, twelve minutes slip a third of a beat and do not.
    for (const double seconds : {60.0, 720.0}) {
        const auto odf = pulses(120.03, seconds, 20);
        const auto refined = TA::refine(120.2, odf, 20);
        const double atGrid = TA::coherence(odf, 20 * 60 / 120.0);
        const double atPeak = TA::coherence(odf, 20 * 60 / 120.03);
        const bool snaps = seconds < 600;
        EXPECT_EQ(atGrid >= 0.9 * atPeak, snaps) << seconds;
        if (snaps)
            EXPECT_EQ(refined.bpm, 120.0);
        else
            EXPECT_NEAR(refined.bpm, 120.03, 0.003);
    }
}

TEST(TempoAnalyzer, CandidateAxisAndOctaveChoice) {
    const auto& bpms = TA::candidateBPMs();
    ASSERT_EQ(bpms.size(), 404u);
    EXPECT_EQ(bpms.front(), 40.0);
    EXPECT_NEAR(bpms.back(), 298.53, 0.01);
    EXPECT_NEAR(bpms[100] / bpms[99], 1.005, 1e-12);

    // A peak and half its height an octave down: the octave wins from just
    // above 140, never from just inside the band.
    const auto& c = bpms;
    const std::size_t inside = std::size_t(std::upper_bound(c.begin(), c.end(), 140.0) - c.begin()) - 1;
    for (const std::size_t peak : {inside, inside + 1}) {
        std::vector<double> curve(c.size(), 0.0);
        curve[peak] = 1;
        curve[nearestCandidate(c[peak] / 2)] = 0.7;
        EXPECT_EQ(TA::chooseTempo(curve, curve), peak == inside ? c[peak] : c[nearestCandidate(c[peak] / 2)]);
    }
    const std::size_t low = std::size_t(std::lower_bound(c.begin(), c.end(), 70.0) - c.begin());
    std::vector<double> single(c.size(), 0.0);
    single[low] = 1;
    single[nearestCandidate(c[low] * 2)] = 0.9;
    EXPECT_EQ(TA::chooseTempo(single, single), c[low]);

    // 200 gives way to 100 unless it is more than 2.5 times as strong.
    for (const double weaker : {1.0, 0.05}) {
        std::vector<double> curve(c.size(), 0.0);
        curve[nearestCandidate(200)] = 1;
        curve[nearestCandidate(100)] = weaker;
        EXPECT_NEAR(*TA::chooseTempo(curve, curve), weaker == 1.0 ? 100 : 200, 0.5);
    }
    EXPECT_FALSE(TA::chooseTempo(std::vector<double>(c.size(), 0.0), std::vector<double>(c.size(), 1.0)));
}

TEST(TempoAnalyzer, WindowsVotesTransformAndDrift) {
    EXPECT_EQ(TA::windowVotes(pulses(120, 10, kOdfRate), kOdfRate).size(), 1u);
    EXPECT_EQ(TA::windowVotes(pulses(120, 30, kOdfRate), kOdfRate).size(), 4u);
    const auto vote = TA::voteForWindow(pulses(120, 12, kOdfRate), kOdfRate);
    ASSERT_TRUE(vote);
    const auto best = std::max_element(vote->scores.begin(), vote->scores.end()) - vote->scores.begin();
    EXPECT_NEAR(TA::candidateBPMs()[std::size_t(best)], 120, 1);
    EXPECT_FALSE(TA::combScore(std::vector<double>(10, 1.0), 10));

    // The mean never leaks into a bin, whatever the fractional period; a
    // cosine of amplitude 1 gives half its length.
    std::vector<float> constant(1000, 3.0f), wave(1000);
    for (std::size_t n = 0; n < wave.size(); ++n)
        wave[n] = float(2 + std::cos(2 * std::numbers::pi * double(n) / 12.5));
    EXPECT_NEAR(std::abs(TA::dftBin(constant, 37.3)), 0, 1e-6);
    EXPECT_NEAR(std::abs(TA::dftBin(wave, 12.5)), 500, 0.5);
    EXPECT_EQ(TA::dftBin(wave, 0), std::complex<double>(0, 0));
    // Taking the mean out analytically is the plain transform of the centred
    // envelope, over a whole track's length too.
    const auto track = pulses(97.3, 300, kOdfRate);
    double mean = 0;
    for (const float v : track)
        mean += v / double(track.size());
    std::complex<double> plain;
    const double w = 2 * std::numbers::pi / 106.21;
    for (std::size_t n = 0; n < track.size(); ++n)
        plain += (track[n] - mean) * std::polar(1.0, -w * double(n));
    EXPECT_LT(std::abs(TA::dftBin(track, 106.21) - plain), 1e-9 * std::abs(plain));

    // Pulses that speed up slide off a rigid grid, once there are 24 seconds
    // to measure it in.
    const double phase = 0.2 * kOdfRate;
    EXPECT_EQ(TA::gridFit(pulses(100, 20, kOdfRate, 3), kOdfRate, 100, phase), 0);
    EXPECT_GT(TA::gridFit(pulses(100, 40, kOdfRate, 3), kOdfRate, 100, phase), 0.3);
    EXPECT_LT(TA::gridFit(pulses(100, 40, kOdfRate), kOdfRate, 100, phase), 0.02);
}

TEST(TempoAnalyzer, RegionOfAFileAnchorsInFileTime) {
    test::TempDir dir;
    test::DrumStyle style;
    style.bpm = 110;
    style.seconds = 40;
    const auto piece = test::renderDrums(style, kRate);
    const auto path =
        test::writeSamples(dir.file("drums.wav"), piece.samples, kRate, 1, test::WavSamples::Float);
    const auto estimate = TA::detect(path, TempoRange{10.3, 32});
    ASSERT_TRUE(estimate);
    EXPECT_NEAR(estimate->bpm, 110, 1.1);
    EXPECT_GE(estimate->anchorSeconds, 10.3);
    const double bars = (estimate->anchorSeconds - piece.firstDownbeat) / (4 * 60 / 110.0);
    EXPECT_NEAR(bars, std::round(bars), 0.02 * 110 / 60 / 4) << estimate->anchorSeconds;
}

TEST(TempoAnalyzer, BadInputGivesNothingAndIsLogged) {
    EXPECT_FALSE(TA::analyze(std::vector<float>(kRate * 20, 0.0f), kRate, 0));
    EXPECT_FALSE(TA::analyze(std::vector<float>(1, 0.5f), kRate, 0));
    EXPECT_FALSE(TA::analyze(clickTrack(120, 30), 0, 0));
    const auto clicks = clickTrack(120, 2);
    EXPECT_FALSE(TA::analyze(std::span(clicks).first(4096), kRate, 0));
    EXPECT_FALSE(TA::spectrogram(clicks, 60));
    EXPECT_FALSE(TA::spectrogram(std::span(clicks).first(1535), kRate));

    test::TempDir dir;
    test::DrumStyle style;
    style.seconds = 20;
    // A corrupt sample counts as silence rather than spoiling the file.
    auto drums = test::renderDrums(style, kRate).samples;
    for (std::size_t i = 5000; i < drums.size(); i += 40000)
        drums[i] = 0;
    const auto clean = TA::analyze(drums, kRate, 0);
    for (std::size_t i = 5000; i < drums.size(); i += 40000)
        drums[i] =
            i % 80000 ? std::numeric_limits<float>::quiet_NaN() : std::numeric_limits<float>::infinity();
    const auto glitched =
        test::writeSamples(dir.file("glitched.wav"), drums, kRate, 1, test::WavSamples::Float);
    EXPECT_EQ(TA::detect(glitched), clean);
    std::vector<float> broken(kRate * 5, std::numeric_limits<float>::quiet_NaN());
    for (std::size_t i = 0; i < broken.size(); i += 2)
        broken[i] = -std::numeric_limits<float>::infinity();
    const auto nonFinite = test::writeSamples(dir.file("nan.wav"), broken, kRate, 1, test::WavSamples::Float);

    static QStringList logged;
    logged.clear();
    const auto previous =
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext& context, const QString& text) {
            if (QString(context.category) == "com.ostinel.tempo") logged << text;
        });
    EXPECT_FALSE(TA::detect(nonFinite));
    EXPECT_FALSE(TA::detect(glitched, TempoRange{5, 5.9}));
    EXPECT_FALSE(TA::detect(dir.file("missing.wav")));
    qInstallMessageHandler(previous);
    EXPECT_EQ(logged, QStringList({"No stable tempo in nan.wav", "No stable tempo in glitched.wav"}));
}

} // namespace
} // namespace ostinel
