#include <gtest/gtest.h>

#include "analysis/WaveformPeaks.h"
#include "support/AudioFixtures.h"
#include "support/TempDir.h"

namespace ostinel {
namespace {

TEST(WaveformPeaks, CountIs250PerSecondWithinBounds) {
    EXPECT_EQ(waveformPeakCount(441000, 44100), 4000);        // 10 s, not 2500
    EXPECT_EQ(waveformPeakCount(88200000, 44100), 300000);    // 2000 s, not 500000
    EXPECT_EQ(waveformPeakCount(44100 * 60, 44100), 15000);
    EXPECT_EQ(waveformPeakCount(20000, 0), 300000);           // rate taken as at least 1
}

TEST(WaveformPeaks, BucketsTakeLargestAbsoluteOverChannelsCapped) {
    // 8000 frames in 4000 buckets: two frames each.
    std::vector<float> left(8000, 0.0f), right(8000, 0.0f);
    left[0] = -0.25f; right[1] = 0.5f;   // bucket 0: the other channel wins
    left[2] = 1.5f;                      // bucket 1: capped
    right[7999] = -0.75f;                // last bucket
    const float* ch[] = {left.data(), right.data()};
    PeakBuckets whole(8000, 4000);
    whole.add(0, 8000, ch, 2);
    EXPECT_FLOAT_EQ(whole.peaks()[0], 0.5f);
    EXPECT_FLOAT_EQ(whole.peaks()[1], 1.0f);
    EXPECT_FLOAT_EQ(whole.peaks()[2], 0.0f);
    EXPECT_FLOAT_EQ(whole.peaks()[3999], 0.75f);

    // Any chunking, even one that splits buckets, gives the same list.
    PeakBuckets chunked(8000, 4000);
    for (std::int64_t at = 0; at < 8000; at += 7) {
        const std::int64_t n = std::min<std::int64_t>(7, 8000 - at);
        const float* part[] = {left.data() + at, right.data() + at};
        chunked.add(at, n, part, 2);
    }
    EXPECT_EQ(chunked.peaks(), whole.peaks());
}

TEST(WaveformPeaks, ShortFileBucketsOverlapOnOneFrame) {
    std::vector<float> s = {0.1f, -0.2f, 0.3f, -0.4f, 0.5f};
    const float* ch[] = {s.data()};
    PeakBuckets b(5, 4000);
    b.add(0, 5, ch, 1);
    ASSERT_EQ(b.peaks().size(), 4000u);
    for (int i = 0; i < 4000; ++i) EXPECT_FLOAT_EQ(b.peaks()[std::size_t(i)], std::fabs(s[std::size_t(i * 5 / 4000)]));
}

TEST(WaveformPeaks, FileMatchesDirectReference) {
    test::TempDir dir;
    const std::int64_t frames = 44100 * 3 + 17;
    const auto path = test::writeSignal(dir.file("a.wav"), frames, 44100, 2, test::WavSamples::Float);
    const auto signal = test::testSignal(frames, 44100, 2);
    auto peaks = computeWaveformPeaks(path);
    ASSERT_TRUE(peaks.ok()) << peaks.error().message;
    const std::int64_t count = 4000;
    ASSERT_EQ(std::int64_t(peaks->size()), count);
    for (std::int64_t i = 0; i < count; i += 13) {
        const std::int64_t start = i * frames / count, end = std::max((i + 1) * frames / count, start + 1);
        float m = 0;
        for (std::int64_t f = start; f < end; ++f)
            m = std::max({m, std::fabs(signal[std::size_t(2 * f)]), std::fabs(signal[std::size_t(2 * f + 1)])});
        ASSERT_FLOAT_EQ((*peaks)[std::size_t(i)], m) << "bucket " << i;
    }
}

TEST(WaveformPeaks, UnreadableFileGivesTheOpenMessage) {
    auto peaks = computeWaveformPeaks("/nonexistent/x.wav");
    ASSERT_FALSE(peaks.ok());
    EXPECT_EQ(peaks.error().message.rfind("Failed to open audio file: ", 0), 0u);
}

} // namespace
} // namespace ostinel
