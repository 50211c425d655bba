#include "support/AudioFixtures.h"

#include <sndfile.h>

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <stdexcept>

#include "support/CliRun.h"

namespace ostinel::test {

namespace {
int formatFor(const std::string& path, WavSamples samples) {
    const std::string ext = std::filesystem::path(path).extension().string();
    if (ext == ".aiff" || ext == ".aif") return SF_FORMAT_AIFF | SF_FORMAT_PCM_16;
    if (ext == ".flac") return SF_FORMAT_FLAC | SF_FORMAT_PCM_16;
    if (ext == ".caf") return SF_FORMAT_CAF | SF_FORMAT_PCM_16;
    if (ext == ".ogg") return SF_FORMAT_OGG | SF_FORMAT_VORBIS;
    constexpr int wav[] = {SF_FORMAT_PCM_16, SF_FORMAT_PCM_24, SF_FORMAT_PCM_32, SF_FORMAT_FLOAT};
    return SF_FORMAT_WAV | wav[int(samples)];
}

// Standard output of a command that must succeed.
std::string run(const std::string& command) {
    const CliResult result = runShell(command);
    if (result.status != 0) throw std::runtime_error(command + " failed: " + result.out);
    return result.out;
}
} // namespace

std::vector<float> testSignal(std::int64_t frames, int sampleRate, int channels) {
    std::vector<float> out(std::size_t(frames * channels));
    std::uint32_t seed = 12345;
    for (std::int64_t i = 0; i < frames; ++i) {
        out[std::size_t(i * channels)] = 0.5f * float(std::sin(2.0 * M_PI * 440.0 * double(i) / sampleRate));
        for (int c = 1; c < channels; ++c) {
            seed = seed * 1664525u + 1013904223u;
            out[std::size_t(i * channels + c)] = 0.3f * (float(seed >> 8) / float(1u << 24) * 2.0f - 1.0f);
        }
    }
    return out;
}

std::string writeSamples(const std::string& path, const std::vector<float>& interleaved, int sampleRate, int channels,
                         WavSamples samples) {
    SF_INFO info{};
    info.samplerate = sampleRate;
    info.channels = channels;
    info.format = formatFor(path, samples);
    SNDFILE* f = sf_open(path.c_str(), SFM_WRITE, &info);
    if (!f) throw std::runtime_error("cannot write " + path + ": " + sf_strerror(nullptr));
    sf_writef_float(f, interleaved.data(), sf_count_t(interleaved.size()) / channels);
    sf_close(f);
    return path;
}

std::string writeSignal(const std::string& path, std::int64_t frames, int sampleRate, int channels,
                        WavSamples samples) {
    return writeSamples(path, testSignal(frames, sampleRate, channels), sampleRate, channels, samples);
}

std::string ffmpegConvert(const std::string& source, const std::string& target, const std::string& arguments) {
    std::ostringstream command;
    command << "ffmpeg -nostdin -loglevel error -y -i " << shellQuoted(source);
    std::istringstream words(arguments);
    for (std::string w; words >> w;)
        command << " " << shellQuoted(w);
    run(command.str() + " " + shellQuoted(target) + " 2>&1");
    return target;
}

std::vector<float> ffmpegDecode(const std::string& path) {
    const std::string bytes = run("ffmpeg -nostdin -loglevel error -i " + shellQuoted(path) + " -f f32le -");
    std::vector<float> out(bytes.size() / sizeof(float));
    std::copy_n(bytes.data(), out.size() * sizeof(float), reinterpret_cast<char*>(out.data()));
    return out;
}

} // namespace ostinel::test
