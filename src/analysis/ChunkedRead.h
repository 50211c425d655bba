#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "base/Expected.h"

namespace ostinel {

class AudioFile;

// Reads the whole file front to back, `chunk` frames at a time into one
// reused planar buffer, and hands each block to `take` with its first frame.
// A read error stops it and is answered; a short file simply ends early.
std::optional<Error> readInChunks(
    AudioFile& file, std::int64_t chunk,
    const std::function<void(const float* const* channels, std::int64_t at, std::int64_t count)>& take);

} // namespace ostinel
