#pragma once

#include <atomic>
#include <cstdint>

#include "platform/AudioSystem.h"

namespace ostinel::test {

// A renderer whose every sample says where it is: source 0 carries at(n) for
// the n-th frame since the first call, source 1 carries -at(n). Real-time
// safe, so it can feed a live server.
class RampRenderer {
public:
    // Never 0 and exact in float, so silence and every lost or repeated
    // frame show.
    static float at(std::int64_t frame) { return float(frame % 8191 + 1) / 8192.0f; }

    void attach(AudioSystem& system) { system.setRenderer(&RampRenderer::render, this); }

    std::int64_t frames() const { return frames_.load(); }
    int calls() const { return calls_.load(); }
    int largestCall() const { return largest_.load(); }

private:
    static void render(void* context, float* const* sources, int sourceCount, int frames);

    std::atomic<std::int64_t> frames_{0};
    std::atomic<int> calls_{0};
    std::atomic<int> largest_{0};
};

} // namespace ostinel::test
