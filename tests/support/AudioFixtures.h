#pragma once

#include <string>

namespace ostinel::test {

// Writes a test tone through libsndfile, the format chosen by the file's
// extension (wav: 16-bit PCM, aiff, flac, caf, ogg: Vorbis). Each channel
// carries its own frequency so channel mix-ups show. Returns the path.
std::string writeTone(const std::string& path, double seconds, int sampleRate = 44100, int channels = 2);

} // namespace ostinel::test
