#pragma once

#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

namespace ostinel::test {

// Sample layouts for a WAV written by writeSignal.
enum class WavSamples { Int16, Int24, Int32, Float };

// A signal that works lossy coders hard: channel 0 a 440 Hz tone at half
// scale (where a decoder's delay shows), every other channel white noise
// from a fixed seed (which drives AAC into noise substitution), so channel
// mix-ups show too. Interleaved.
std::vector<float> testSignal(std::int64_t frames, int sampleRate, int channels);

// Writes interleaved samples through libsndfile, the format chosen by the
// file's extension (wav, aiff, aif, flac, caf: 16-bit PCM unless `samples`
// says otherwise for a WAV; ogg: Vorbis). Returns the path.
std::string writeSamples(const std::string& path, const std::vector<float>& interleaved, int sampleRate, int channels,
                         WavSamples samples = WavSamples::Int16);
// Writes testSignal so.
std::string writeSignal(const std::string& path, std::int64_t frames, int sampleRate = 44100, int channels = 2,
                        WavSamples samples = WavSamples::Int16);

inline std::string writeTone(const std::string& path, double seconds, int sampleRate = 44100, int channels = 2) {
    return writeSignal(path, std::llround(seconds * sampleRate), sampleRate, channels);
}

// Runs `ffmpeg -i source ARGUMENTS target` (arguments are split on spaces);
// throws with ffmpeg's own message when it fails. Returns the target.
std::string ffmpegConvert(const std::string& source, const std::string& target, const std::string& arguments);

// A straight decode of the whole file by the ffmpeg tool, interleaved.
std::vector<float> ffmpegDecode(const std::string& path);

} // namespace ostinel::test
