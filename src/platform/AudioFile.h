#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "base/Expected.h"

namespace ostinel {

// An audio file opened for sample-exact random reads. A read of N frames at
// frame F gives exactly frames F..F+N of a full sequential decode, for every
// format; compressed formats report their length without encoder delay and
// padding. Not thread-safe: one reader per object.
class AudioFile {
public:
    virtual ~AudioFile() = default;

    // WAV, AIFF, FLAC, CAF and MP3 through libsndfile, everything else (Ogg,
    // M4A with AAC or ALAC, MP4, raw AAC, ...) through FFmpeg.
    // Refuses a file with no frames or no rate, with the library's reason.
    static Expected<std::unique_ptr<AudioFile>> open(const std::string& path);

    virtual double sampleRate() const = 0;
    virtual int channels() const = 0;
    virtual std::int64_t frames() const = 0;
    double duration() const { return double(frames()) / sampleRate(); }

    // Reads up to `count` frames from `frame` into one buffer per channel
    // (each at least `count` long). Returns the frames read: fewer only at
    // the end of the file; an error for a read the decoder refuses.
    virtual Expected<std::int64_t> read(std::int64_t frame, std::int64_t count, float* const* channels) = 0;

    // Convenience for callers off the real-time path.
    Expected<std::vector<std::vector<float>>> readAll(std::int64_t frame, std::int64_t count);
};

} // namespace ostinel
