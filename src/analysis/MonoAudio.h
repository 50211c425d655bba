#pragma once

#include <optional>
#include <string>
#include <vector>

namespace ostinel {

// A whole file mixed to one channel, the mean of its channels.
struct MonoAudio {
    std::vector<float> samples;
    double sampleRate = 0;
};

// Nothing for a file that cannot be opened or read, or has no frames.
std::optional<MonoAudio> readMono(const std::string& path);

} // namespace ostinel
