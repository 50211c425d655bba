#pragma once

#include <cstdint>
#include <vector>

namespace ostinel {

// Stereo-linked look-ahead peak limiter with a hard 0 dBFS ceiling: no output
// sample's magnitude exceeds 1.0 while it is enabled. The signal is delayed by
// the look-ahead so the gain has fully come down by the time a peak leaves;
// the gain falls along a straight line over the attack and recovers
// exponentially with the release time constant.
//
// The delay stays the same when disabled, so toggling never shifts the
// timeline; disabled, samples pass delayed and untouched. Allocates only in
// the constructor; process() is real-time safe. Not thread-safe.
class PeakLimiter {
  public:
    static constexpr double attackSeconds = 0.002;
    static constexpr double releaseSeconds = 0.005;
    static constexpr double ceiling = 1.0;

    explicit PeakLimiter(double sampleRate);

    double sampleRate() const { return sampleRate_; }
    // The delay it adds, in frames; equal to the attack.
    int lookAheadFrames() const { return lookAhead_; }

    void setEnabled(bool enabled) { enabled_ = enabled; }
    bool enabled() const { return enabled_; }

    // In place. Non-finite input is treated as silence.
    void process(float* left, float* right, int frames) noexcept;

    // The gain on the last frame out (1 when disabled), and the same as a
    // reduction in dB (>= 0).
    double gain() const;
    double reductionDb() const;

    // Silence in the delay line, no reduction.
    void reset();

  private:
    // Gains are summed as fixed-point integers so the moving average is
    // exact and never drifts above the smallest gain it covers.
    static constexpr std::int64_t unity = std::int64_t(1) << 40;

    bool idle() const { return holdCount_ == 0 && released_ == 1.0 && boxSum_ == boxFull_; }
    void processFrame(float& left, float& right) noexcept;

    double sampleRate_;
    int lookAhead_;
    double releaseCoefficient_;
    bool enabled_ = true;

    std::vector<float> delayLeft_, delayRight_;
    int delayAt_ = 0;

    // Sliding minimum of the needed gain over the last lookAhead_ + 1 frames:
    // a monotonic queue in a ring; only gains below 1 are kept.
    struct Held {
        double gain;
        std::int64_t frame;
    };
    std::vector<Held> hold_;
    int holdHead_ = 0;
    int holdCount_ = 0;
    std::int64_t frame_ = 0;

    double released_ = 1.0;

    // Moving average over lookAhead_ frames of the released gain.
    std::vector<std::int64_t> box_;
    int boxAt_ = 0;
    std::int64_t boxSum_;
    std::int64_t boxFull_;
    double lastGain_ = 1.0;
};

} // namespace ostinel
