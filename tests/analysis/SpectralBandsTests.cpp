#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "analysis/SpectralBands.h"
#include "analysis/WaveformPeaks.h"
#include "support/AudioFixtures.h"
#include "support/TempDir.h"

namespace ostinel {
namespace {

// A sine with a whole number of cycles in every 1024-sample frame: its
// Hann-windowed spectrum is bin `bin` at twice the height of each neighbour
// and nothing elsewhere, so band sums can be worked out by hand.
std::vector<float> binSine(double bin, std::int64_t samples, double amplitude = 0.5) {
    std::vector<float> s(static_cast<std::size_t>(samples));
    for (std::int64_t i = 0; i < samples; ++i)
        s[std::size_t(i)] = float(amplitude * std::sin(2.0 * M_PI * bin * double(i) / 1024.0 + 0.3));
    return s;
}

void expectBand(const std::array<float, 3>& got, std::array<float, 3> want) {
    for (std::size_t c = 0; c < 3; ++c)
        EXPECT_NEAR(got[c], want[c], 2e-3) << "component " << c;
}

TEST(SpectralBands, ToneFallsInItsBandWithEdgesAt250And4000Hz) {
    const auto n = std::int64_t(44100) * 2;
    // 44.1 kHz: 43.07 Hz a bin, so the low band ends below bin 5 and the mid
    // band below bin 92. A tone on bin 4 spills into bins 3 and 5 at half its
    // height, so low = sqrt(2² + 1²) and mid = 1.
    const double spill = 1.0 / std::sqrt(5.0);
    const auto low = binSine(4, n), lowEdge = binSine(5, n), high = binSine(92, n), mid = binSine(40, n);
    const int count = waveformPeakCount(n, 44100);
    const auto bass = computeSpectralBands(low.data(), n, 44100, count);
    ASSERT_EQ(bass.size(), std::size_t(count));
    for (std::size_t i : {std::size_t(0), bass.size() / 2, bass.size() - 1})
        expectBand(bass[i], {1, float(spill), 0});
    // Bin 5 is already mid: bin 4 is its only bass neighbour.
    expectBand(computeSpectralBands(lowEdge.data(), n, 44100, count)[100], {float(spill), 1, 0});
    expectBand(computeSpectralBands(mid.data(), n, 44100, count)[100], {0, 1, 0});
    expectBand(computeSpectralBands(high.data(), n, 44100, count)[100], {0, float(spill), 1});

    // At 8 kHz the mid band reaches the top bin, so nothing is ever high.
    std::vector<float> noise(16000);
    unsigned seed = 7;
    for (auto& s : noise)
        s = float((seed = seed * 1103515245u + 12345u) >> 16 & 0x7fff) / 32768.0f - 0.5f;
    for (const auto& b : computeSpectralBands(noise.data(), 16000, 8000, 4000))
        EXPECT_EQ(b[2], 0.0f);
}

TEST(SpectralBands, FramesBlendLinearlyAndThreadingChangesNothing) {
    // First half bass, second half treble: the colour crosses over between
    // the two frames at the join and nowhere else.
    auto signal = binSine(4, 1024 * 50);
    const auto treble = binSine(200, 1024 * 50);
    signal.insert(signal.end(), treble.begin(), treble.end());
    const auto n = std::int64_t(signal.size());
    const auto one = computeSpectralBands(signal.data(), n, 44100, 4000, 1);
    EXPECT_EQ(computeSpectralBands(signal.data(), n, 44100, 4000, 3), one);
    // 100 frames over 4000 entries: entry 2000 sits between frames 49 and 50.
    const float t = float(2000.0 * 99.0 / 3999.0 - 49.0);
    expectBand(one[2000], {1 - t, (1 - t) / float(std::sqrt(5.0)), t});
    EXPECT_LT(one[1000][2], 1e-4f);
    EXPECT_LT(one[3000][0], 1e-4f);
}

TEST(SpectralBands, SilenceShortFilesAndBadSamples) {
    const std::vector<float> silence(44100, 0.0f);
    for (const auto& b : computeSpectralBands(silence.data(), 44100, 44100, 4000))
        expectBand(b, {0, 0, 0});

    // Under one frame: every entry is that one frame, padded with silence.
    const auto shortTone = binSine(4, 500);
    const auto bands = computeSpectralBands(shortTone.data(), 500, 44100, 4000);
    ASSERT_EQ(bands.size(), 4000u);
    EXPECT_EQ(bands.front(), bands.back());
    EXPECT_FLOAT_EQ(bands.front()[0], 1.0f);

    auto broken = binSine(4, 1024 * 8);
    broken[10] = std::numeric_limits<float>::quiet_NaN();
    broken[3000] = std::numeric_limits<float>::infinity();
    for (const auto& b : computeSpectralBands(broken.data(), std::int64_t(broken.size()), 44100, 4000))
        for (float c : b)
            EXPECT_TRUE(c >= 0.0f && c <= 1.0f);
    EXPECT_TRUE(computeSpectralBands(broken.data(), 0, 44100, 4000).empty());
}

TEST(SpectralBands, FileIsMixedToMonoAtThePeakCount) {
    test::TempDir dir;
    // Bass on the left, silence on the right: the mix keeps the bass.
    const auto tone = binSine(4, 44100 * 3);
    std::vector<float> stereo;
    for (float s : tone)
        stereo.insert(stereo.end(), {s, 0.0f});
    const auto path = test::writeSamples(dir.file("bass.wav"), stereo, 44100, 2);
    const auto bands = computeBands(path);
    ASSERT_EQ(bands.size(), std::size_t(waveformPeakCount(44100 * 3, 44100)));
    expectBand(bands[bands.size() / 2], {1, float(1.0 / std::sqrt(5.0)), 0});
    EXPECT_TRUE(computeBands(dir.file("missing.wav")).empty());
}

} // namespace
} // namespace ostinel
