#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "document/LoudnessMeasurement.h"
#include "base/Expected.h"

namespace ostinel {

// BS.1770 integrated loudness with the two-stage gate, sample peak and 4x
// oversampled true peak. Fed front to back in chunks of any size, so a long
// file never has to be in memory at once; nothing is allocated per sample.
// Non-finite samples count as silence: one bad sample must not turn the
// whole file into NaN.
class LoudnessAnalyzer {
  public:
    LoudnessAnalyzer(double sampleRate, int channels);

    void add(const float* const* channels, std::int64_t frames);
    // No result for silence, for fewer frames than one block, or for a bad rate.
    std::optional<LoudnessMeasurement> finish();

    static std::optional<LoudnessMeasurement> analyze(const std::vector<std::vector<float>>& channels,
                                                      double sampleRate);
    // An error for a file that cannot be opened or read; no value for silence.
    static Expected<std::optional<LoudnessMeasurement>> measure(const std::string& path);

    struct Biquad {
        double b0, b1, b2, a1, a2;
    };
    static Biquad highShelf(double sampleRate);
    static Biquad highPass(double sampleRate);

  private:
    static constexpr int taps = 12;
    static constexpr int before = 5; // taps before the centre sample
    static constexpr int after = 6;
    static constexpr std::int64_t chunk = 4096;

    struct Candidate {
        float level; // magnitude of the centre sample
        float value; // largest interpolated magnitude around it
    };
    struct Channel {
        double s1[2]{}, s2[2]{}; // direct form II transposed state per stage
        float peak = 0;
        std::vector<float> window; // the last samples, for the interpolator
        std::int64_t windowFill = before;
        std::vector<Candidate> candidates; // Pareto front of (level, value)
    };

    void addChunk(const float* const* channels, std::int64_t frames);
    void filter(Channel& channel, const float* in, std::int64_t frames, double weight);
    void scanTruePeak(Channel& channel);
    void addPower(std::int64_t frames);
    static void keepCandidate(Channel& channel, Candidate candidate);
    float channelTruePeak(const Channel& channel) const;

    double rate_;
    int channelCount_;
    Biquad shelf_{}, pass_{};
    std::int64_t block_ = 1, hop_ = 1, segment_ = 1;
    std::int64_t segmentsPerBlock_ = 1, segmentsPerHop_ = 1;
    std::vector<Channel> channels_;
    std::vector<const float*> offsets_; // the caller's channels at the chunk being added
    std::vector<float> clean_;  // one channel's chunk with non-finite samples zeroed
    std::vector<double> power_; // weighted squares summed over channels, per frame of a chunk
    std::vector<double> ring_;  // the last block's segment sums
    std::int64_t segmentsDone_ = 0;
    std::int64_t segmentFill_ = 0;
    double segmentSum_ = 0;
    std::vector<double> blocks_;
    std::array<std::array<float, taps>, 3> phases_{};
    float maxTapSum_ = 1;
};

} // namespace ostinel
