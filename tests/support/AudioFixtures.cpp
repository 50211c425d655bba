#include "support/AudioFixtures.h"

#include <sndfile.h>
#include <sys/wait.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <sstream>
#include <stdexcept>

namespace ostinel::test {

namespace {
int formatFor(const std::string& path, WavSamples samples = WavSamples::Int16) {
    auto dot = path.rfind('.');
    std::string ext = dot == std::string::npos ? "" : path.substr(dot + 1);
    if (ext == "aiff" || ext == "aif") return SF_FORMAT_AIFF | SF_FORMAT_PCM_16;
    if (ext == "flac") return SF_FORMAT_FLAC | SF_FORMAT_PCM_16;
    if (ext == "caf") return SF_FORMAT_CAF | SF_FORMAT_PCM_16;
    if (ext == "ogg") return SF_FORMAT_OGG | SF_FORMAT_VORBIS;
    switch (samples) {
    case WavSamples::Int24:
        return SF_FORMAT_WAV | SF_FORMAT_PCM_24;
    case WavSamples::Int32:
        return SF_FORMAT_WAV | SF_FORMAT_PCM_32;
    case WavSamples::Float:
        return SF_FORMAT_WAV | SF_FORMAT_FLOAT;
    default:
        return SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    }
}

std::string write(const std::string& path, const std::vector<float>& interleaved, int sampleRate,
                  int channels, int format) {
    SF_INFO info{};
    info.samplerate = sampleRate;
    info.channels = channels;
    info.format = format;
    SNDFILE* f = sf_open(path.c_str(), SFM_WRITE, &info);
    if (!f) throw std::runtime_error("cannot write " + path + ": " + sf_strerror(nullptr));
    sf_writef_float(f, interleaved.data(), sf_count_t(interleaved.size()) / channels);
    sf_close(f);
    return path;
}

std::string quoted(const std::string& s) {
    std::string out = "'";
    for (char c : s)
        out += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return out + "'";
}

// Runs a shell command, returning its standard output; throws with its
// output when it fails.
std::string run(const std::string& command) {
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) throw std::runtime_error("cannot run " + command);
    std::string out;
    char buffer[65536];
    while (std::size_t n = std::fread(buffer, 1, sizeof buffer, pipe))
        out.append(buffer, n);
    const int status = pclose(pipe);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) throw std::runtime_error(command + " failed: " + out);
    return out;
}
} // namespace

std::string writeTone(const std::string& path, double seconds, int sampleRate, int channels) {
    const auto frames = static_cast<std::size_t>(std::llround(seconds * sampleRate));
    std::vector<float> interleaved(frames * std::size_t(channels));
    for (std::size_t i = 0; i < frames; ++i)
        for (int c = 0; c < channels; ++c)
            interleaved[i * std::size_t(channels) + std::size_t(c)] =
                0.5f * float(std::sin(2.0 * M_PI * (440.0 * (c + 1)) * double(i) / sampleRate));
    return write(path, interleaved, sampleRate, channels, formatFor(path));
}

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

std::string writeSignal(const std::string& path, std::int64_t frames, int sampleRate, int channels,
                        WavSamples samples) {
    return write(path, testSignal(frames, sampleRate, channels), sampleRate, channels,
                 formatFor(path, samples));
}

std::string ffmpegConvert(const std::string& source, const std::string& target,
                          const std::string& arguments) {
    std::ostringstream command;
    command << "ffmpeg -nostdin -loglevel error -y -i " << quoted(source);
    std::istringstream words(arguments);
    for (std::string w; words >> w;)
        command << " " << quoted(w);
    command << " " << quoted(target) << " 2>&1";
    run(command.str());
    return target;
}

std::vector<float> ffmpegDecode(const std::string& path) {
    const std::string bytes = run("ffmpeg -nostdin -loglevel error -i " + quoted(path) + " -f f32le -");
    std::vector<float> out(bytes.size() / sizeof(float));
    std::copy_n(bytes.data(), out.size() * sizeof(float), reinterpret_cast<char*>(out.data()));
    return out;
}

} // namespace ostinel::test
