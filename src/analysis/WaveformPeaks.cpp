#include "analysis/WaveformPeaks.h"

#include <algorithm>
#include <cmath>

namespace ostinel {

int waveformPeakCount(std::int64_t frames, double sampleRate) {
    const double rate = std::max(sampleRate, 1.0);
    const double wanted = std::clamp(double(frames) / rate * 250.0, 4000.0, 300000.0);
    return int(wanted);
}

PeakBuckets::PeakBuckets(std::int64_t frames, int count)
    : frames_(std::max<std::int64_t>(frames, 0)), count_(std::max(count, 0)), peaks_(std::size_t(count_), 0.0f) {}

std::int64_t PeakBuckets::bucketStart(std::int64_t i) const { return i * frames_ / count_; }

std::int64_t PeakBuckets::bucketEnd(std::int64_t i) const {
    return std::max((i + 1) * frames_ / count_, bucketStart(i) + 1);
}

void PeakBuckets::add(std::int64_t firstFrame, std::int64_t frameCount, const float* const* channels,
                      int channelCount) {
    const std::int64_t chunkEnd = firstFrame + frameCount;
    for (std::int64_t b = first_; b < count_; ++b) {
        const std::int64_t start = bucketStart(b);
        if (start >= chunkEnd) break;
        const std::int64_t end = bucketEnd(b);
        const std::int64_t from = std::max(start, firstFrame) - firstFrame;
        const std::int64_t to = std::min(end, chunkEnd) - firstFrame;
        float m = peaks_[std::size_t(b)];
        for (int c = 0; c < channelCount; ++c) {
            const float* s = channels[c];
            for (std::int64_t f = from; f < to; ++f) m = std::max(m, std::fabs(s[f]));
        }
        peaks_[std::size_t(b)] = std::min(m, 1.0f);
        // Short files have overlapping buckets, so only a bucket wholly
        // behind this chunk is done with.
        if (end <= chunkEnd && b == first_) ++first_;
    }
}

} // namespace ostinel
