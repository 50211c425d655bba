#pragma once

// The decoders behind AudioFile::open; private to the platform folder.

#include <memory>
#include <string>

#include "platform/AudioFile.h"

namespace ostinel::audio {

// How a backend's attempt ended: a file, a refusal to pass on as it is
// (nothing more to try), or a reason this backend cannot read the file.
struct Attempt {
    std::unique_ptr<AudioFile> file;
    std::string reason;
    bool final = false;
};

Attempt openWithSndfile(const std::string& path);
Attempt openWithFfmpeg(const std::string& path);

// Shared by both backends: the same refusal for files with nothing to play,
// and the same reading of a request: how many frames to deliver, never past
// the end.
std::string checkPlayable(double sampleRate, int channels, std::int64_t frames);
Expected<std::int64_t> readableCount(std::int64_t frame, std::int64_t count, std::int64_t frames);

} // namespace ostinel::audio
