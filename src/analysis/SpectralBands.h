#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace ostinel {

using SpectralBands = std::vector<std::array<float, 3>>;

// Bass (below 250 Hz), mid (below 4 kHz) and high energy of each 1024-sample
// frame, scaled so the largest is 1 (all 0 when silent), then resampled to
// `count` entries so the colour list shares the peak list's index. `threads`
// splits the frames; below 1 means one per processor. Empty for no samples.
SpectralBands computeSpectralBands(const float* mono, std::int64_t sampleCount, double sampleRate, int count,
                                   int threads = 0);

// Decodes the file, mixes it to mono and gives its bands at the peak count;
// empty on any failure.
SpectralBands computeBands(const std::string& path);

} // namespace ostinel
