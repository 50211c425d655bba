#pragma once

#include <memory>

#include "playback/LevelMeter.h"
#include "playback/Player.h"

namespace ostinel {

// What the audio device hears, pulled on the real-time thread:
// player (file rate) → resampler to the device rate (none when equal) →
// fixed +15 dB → look-ahead peak limiter (2 ms attack, 5 ms release, 0 dBFS)
// → stereo, or the mono fold → meter peaks. Settings are written from the
// main thread and taken up by the next render without locks.
class OutputChain {
  public:
    static constexpr double fixedGainDb = 15.0;
    // 10^(15/20): a player volume of 1 / fixedGain plays at unity.
    static constexpr float fixedGain = 5.623413251903491f;

    explicit OutputChain(Player& player);
    ~OutputChain();
    OutputChain(const OutputChain&) = delete;
    OutputChain& operator=(const OutputChain&) = delete;

    // Main thread. A new pair of rates builds its resampler and limiter here,
    // off the real-time thread (some ms of work); the render picks them up at
    // its next call and the old ones are freed here later. What was in flight
    // (a few ms) is dropped, so change rates while the player is silent.
    // Equal rates mean no resampler at all: the player's samples pass bit for
    // bit. Before the first call both rates are 48 kHz. Returns false, keeping
    // the present set-up, for rates that are not positive or that the
    // resampler refuses.
    bool setRates(double sourceRate, double deviceRate);
    void setMono(bool mono);
    bool mono() const;
    // Disabled, the limiter still delays by its look-ahead, so switching it
    // never moves the timeline.
    void setLimiterEnabled(bool enabled);
    bool limiterEnabled() const;

    // Real-time: writes `frames` frames into `outCount` buffers. Stereo is
    // left then right; mono (or a single buffer) is (left + right) / 2 in
    // every buffer given. Never allocates or locks; waits only where the
    // player waits for data (offline).
    void render(float* const* out, int outCount, int frames) noexcept;

    // Main thread: the peaks since the last call, then reset (linear, after
    // the limiter and the fold); and the limiter's present gain reduction in
    // dB (>= 0; 0 at once when disabled).
    using Peaks = LevelMeterTap::Peaks;
    Peaks takePeaks();
    float limiterReductionDb() const;

    // Of the latest setRates: frames of delay the limiter adds, and the whole
    // chain's delay from the player's output to the device, both in device
    // frames (the resampler's share rounded up).
    int limiterLookAheadFrames() const;
    int latencyFrames() const;

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace ostinel
