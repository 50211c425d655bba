#include "support/AudioFixtures.h"

#include <sndfile.h>

#include <cmath>
#include <stdexcept>
#include <vector>

namespace ostinel::test {

namespace {
int formatFor(const std::string& path) {
    auto dot = path.rfind('.');
    std::string ext = dot == std::string::npos ? "" : path.substr(dot + 1);
    if (ext == "aiff" || ext == "aif") return SF_FORMAT_AIFF | SF_FORMAT_PCM_16;
    if (ext == "flac") return SF_FORMAT_FLAC | SF_FORMAT_PCM_16;
    if (ext == "caf") return SF_FORMAT_CAF | SF_FORMAT_PCM_16;
    if (ext == "ogg") return SF_FORMAT_OGG | SF_FORMAT_VORBIS;
    return SF_FORMAT_WAV | SF_FORMAT_PCM_16;
}
} // namespace

std::string writeTone(const std::string& path, double seconds, int sampleRate, int channels) {
    SF_INFO info{};
    info.samplerate = sampleRate;
    info.channels = channels;
    info.format = formatFor(path);
    SNDFILE* f = sf_open(path.c_str(), SFM_WRITE, &info);
    if (!f) throw std::runtime_error("cannot write " + path + ": " + sf_strerror(nullptr));
    const auto frames = static_cast<sf_count_t>(std::llround(seconds * sampleRate));
    std::vector<float> interleaved(static_cast<std::size_t>(frames * channels));
    for (sf_count_t i = 0; i < frames; ++i)
        for (int c = 0; c < channels; ++c)
            interleaved[std::size_t(i * channels + c)] =
                0.5f * float(std::sin(2.0 * M_PI * (440.0 * (c + 1)) * double(i) / sampleRate));
    sf_writef_float(f, interleaved.data(), frames);
    sf_close(f);
    return path;
}

} // namespace ostinel::test
