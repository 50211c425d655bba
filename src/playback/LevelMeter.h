#pragma once

#include <algorithm>
#include <atomic>
#include <cmath>

namespace ostinel {

// The meter's peak tap: the largest absolute sample per side since the last
// take. The render thread ingests, the tick takes and resets; no lock, so the
// render never waits on the tick.
class LevelMeterTap {
  public:
    struct Peaks {
        float left = 0.0f;
        float right = 0.0f;
    };

    // Real-time side.
    void ingest(float left, float right) noexcept {
        raise(left_, left);
        raise(right_, right);
    }
    // Tick side.
    Peaks take() noexcept { return {left_.exchange(0.0f), right_.exchange(0.0f)}; }

    static float peakOf(const float* samples, int frames) noexcept {
        float peak = 0.0f;
        for (int i = 0; i < frames; ++i)
            peak = std::max(peak, std::fabs(samples[i]));
        return peak;
    }

  private:
    // A take between the load and the store makes the exchange fail and the
    // peak land in the fresh interval, so nothing is lost or counted twice.
    static void raise(std::atomic<float>& peak, float value) noexcept {
        float seen = peak.load(std::memory_order_relaxed);
        while (value > seen && !peak.compare_exchange_weak(seen, value, std::memory_order_relaxed)) {
        }
    }
    std::atomic<float> left_{0.0f};
    std::atomic<float> right_{0.0f};
};

namespace LevelMeter {

constexpr float attackFraction = 0.7f;
constexpr float releaseFraction = 0.15f;

// One tick of the meter's ballistics (also used for the limiter's reduction):
// fast toward a higher value, slow toward a lower one.
inline float approach(float level, float target) {
    return level + (target - level) * (target > level ? attackFraction : releaseFraction);
}

} // namespace LevelMeter

} // namespace ostinel
