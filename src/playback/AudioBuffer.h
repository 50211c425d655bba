#pragma once

#include <cstdint>
#include <vector>

namespace ostinel {

// Deinterleaved 32-bit float audio in memory, at the file's rate.
struct AudioBuffer {
    double sampleRate = 44100.0;
    std::vector<std::vector<float>> channels;

    std::int64_t frames() const { return channels.empty() ? 0 : std::int64_t(channels.front().size()); }
    int channelCount() const { return int(channels.size()); }
};

} // namespace ostinel
