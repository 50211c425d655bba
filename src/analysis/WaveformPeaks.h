#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/Expected.h"

namespace ostinel {

// 250 peaks a second, never fewer than 4000 nor more than 300000; the
// spectral list uses the same count so both share one index.
int waveformPeakCount(std::int64_t frames, double sampleRate);

// Bucket i covers [i*frames/count, max((i+1)*frames/count, start+1)); the
// multiplication comes first so the edges never drift against the audio.
// Feed the file front to back in chunks of any size; each bucket keeps the
// largest absolute sample over all channels, capped at 1.0.
class PeakBuckets {
public:
    PeakBuckets(std::int64_t frames, int count);

    // `channels` hold `frameCount` samples each, starting at `firstFrame`.
    void add(std::int64_t firstFrame, std::int64_t frameCount, const float* const* channels, int channelCount);
    const std::vector<float>& peaks() const { return peaks_; }

private:
    std::int64_t bucketStart(std::int64_t i) const;
    std::int64_t bucketEnd(std::int64_t i) const;

    std::int64_t frames_;
    std::int64_t count_;
    std::int64_t first_ = 0; // first bucket not yet complete
    std::vector<float> peaks_;
};

// Decodes the whole file and gives its peaks. The error is the log line.
Expected<std::vector<float>> computeWaveformPeaks(const std::string& path);

} // namespace ostinel
