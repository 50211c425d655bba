#pragma once

#include <cmath>
#include <random>
#include <vector>

namespace ostinel::test {

inline std::vector<float> sine(double rate, double hz, double amplitude, int frames) {
    std::vector<float> out(static_cast<std::size_t>(frames));
    for (int i = 0; i < frames; ++i)
        out[std::size_t(i)] = float(amplitude * std::sin(2 * M_PI * hz * i / rate));
    return out;
}

// Uniform white noise from a fixed seed.
inline std::vector<float> noise(int frames, float amplitude, unsigned seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> draw(-amplitude, amplitude);
    std::vector<float> out(static_cast<std::size_t>(frames));
    for (auto& v : out)
        v = draw(random);
    return out;
}

} // namespace ostinel::test
