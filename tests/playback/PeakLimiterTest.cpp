#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "TestSignals.h"
#include "playback/PeakLimiter.h"
#include "support/PlayerFixtures.h"

using namespace ostinel;
using test::sine;

namespace {

using test::Stereo;

// Processes the whole signal in uneven blocks, as devices deliver it.
Stereo limit(PeakLimiter& limiter, Stereo s) {
    const std::size_t sizes[] = {1, 64, 7, 512, 33, 1024, 2};
    for (std::size_t at = 0, k = 0; at < s.left.size(); at += sizes[k++ % 7]) {
        const auto n = std::min(s.left.size() - at, sizes[k % 7]);
        limiter.process(s.left.data() + at, s.right.data() + at, int(n));
    }
    return s;
}

// Samples above full scale, or not numbers at all.
int overs(const Stereo& s) {
    int count = 0;
    for (std::size_t i = 0; i < s.left.size(); ++i)
        count += !(std::fabs(s.left[i]) <= 1.0f) + !(std::fabs(s.right[i]) <= 1.0f);
    return count;
}

constexpr double kPlus15 = 5.623413251903491;

} // namespace

TEST(PeakLimiter, NoSampleEverExceedsFullScaleOnHardMaterial) {
    for (double rate : {44100.0, 48000.0, 96000.0}) {
        const int n = int(rate);
        // Squares at +15 dB, out of phase; lone spikes on one side, some back
        // to back; noise at +15 dB with infinity and NaN in it.
        Stereo square{std::vector<float>(std::size_t(n)), std::vector<float>(std::size_t(n))};
        Stereo spikes = square;
        for (std::size_t i = 0; i < std::size_t(n); ++i) {
            square.left[i] = float((i / 37) % 2 ? kPlus15 : -kPlus15);
            square.right[i] = -square.left[i];
        }
        for (std::size_t i = 100; i + 2 < std::size_t(n); i += 997) {
            spikes.right[i] = 1000.0f;
            spikes.left[i + 1] = -3.0f;
            spikes.left[i + 2] = 1.0001f;
        }
        Stereo white{test::noise(n, float(kPlus15), 7), test::noise(n, float(kPlus15), 8)};
        white.left[5000] = std::numeric_limits<float>::infinity();
        white.right[9000] = std::numeric_limits<float>::quiet_NaN();
        for (const Stereo& signal : {square, spikes, white}) {
            PeakLimiter limiter(rate);
            EXPECT_EQ(overs(limit(limiter, signal)), 0) << rate;
        }
    }
}

TEST(PeakLimiter, GainIsDownWhenThePeakArrivesAndRecoversWithTheReleaseTimeConstant) {
    PeakLimiter limiter(48000);
    const int la = limiter.lookAheadFrames();
    EXPECT_EQ(la, 96);
    EXPECT_EQ(PeakLimiter(44100).lookAheadFrames(), 88);

    // A DC bed at 0.5 shows the gain directly; a 4.0 burst needs a gain of 1/4.
    const int burstAt = 1000, burstLength = 200;
    std::vector<float> input(20000, 0.5f);
    std::fill(input.begin() + burstAt, input.begin() + burstAt + burstLength, 4.0f);
    const Stereo out = limit(limiter, {input, input});
    auto gainAt = [&](int frame) {
        return double(out.left[std::size_t(frame + la)]) / input[std::size_t(frame)];
    };

    // Untouched until one look-ahead before the burst, then a straight fall.
    EXPECT_EQ(gainAt(burstAt - la - 1), 1.0);
    for (int i = burstAt - la; i < burstAt; ++i)
        EXPECT_NEAR(gainAt(i - 1) - gainAt(i), 0.75 / la, 1e-6) << i;
    // In place when the burst arrives and held through it: exactly the ceiling.
    for (int i = burstAt; i < burstAt + burstLength; ++i)
        ASSERT_EQ(out.left[std::size_t(i + la)], 1.0f) << i;

    // Then the remaining reduction shrinks by e every 5 ms (240 frames), once
    // the smoothing has taken in the whole release.
    const int after = burstAt + burstLength + la;
    for (int t = after; t < after + 600; t += 120)
        EXPECT_NEAR((1.0 - gainAt(t + 240)) / (1.0 - gainAt(t)), std::exp(-1.0), 1e-3) << t;
    EXPECT_EQ(gainAt(19000), 1.0);
}

TEST(PeakLimiter, TransparentBelowTheCeilingReportsReductionAndBypassesWithTheSameDelay) {
    // -20 dBFS after +15 dB is -5 dBFS; a sine peaking at exactly full scale
    // isn't touched either; both come out bit for bit, only delayed.
    for (double amplitude : {0.1 * kPlus15, 1.0}) {
        PeakLimiter limiter(48000);
        const std::size_t la = std::size_t(limiter.lookAheadFrames());
        const Stereo in{sine(48000, 1000, amplitude, 48000), sine(48000, 250, amplitude, 48000)};
        const Stereo out = limit(limiter, in);
        for (std::size_t i = 0; i < out.left.size(); ++i) {
            ASSERT_EQ(out.left[i], i < la ? 0.0f : in.left[i - la]) << i;
            ASSERT_EQ(out.right[i], i < la ? 0.0f : in.right[i - la]) << i;
        }
        EXPECT_EQ(limiter.reductionDb(), 0.0);
    }

    PeakLimiter limiter(48000);
    const std::size_t la = std::size_t(limiter.lookAheadFrames());
    const auto loud = sine(48000, 1000, 4.0, 48000);
    limit(limiter, {loud, loud});
    EXPECT_NEAR(limiter.reductionDb(), 20 * std::log10(4.0), 0.05);

    // Bypassed: the same delay, nothing limited, nothing reported.
    limiter.setEnabled(false);
    Stereo out = limit(limiter, {loud, loud});
    EXPECT_EQ(limiter.reductionDb(), 0.0);
    for (std::size_t i = la; i < out.left.size(); ++i)
        ASSERT_EQ(out.left[i], loud[i - la]) << i;

    // Back on, the envelope has kept up: even the first frames are held down.
    limiter.setEnabled(true);
    EXPECT_EQ(overs(limit(limiter, {loud, loud})), 0);
}
