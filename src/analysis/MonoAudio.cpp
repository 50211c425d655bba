#include "analysis/MonoAudio.h"

#include <algorithm>
#include <cstdint>

#include "platform/AudioFile.h"

namespace ostinel {

std::optional<MonoAudio> readMono(const std::string& path) {
    auto opened = AudioFile::open(path);
    if (!opened) return std::nullopt;
    AudioFile& file = **opened;
    const std::int64_t frames = file.frames();
    if (frames <= 0 || frames > std::int64_t(UINT32_MAX)) return std::nullopt;
    const int channelCount = file.channels();
    if (channelCount < 1) return std::nullopt;

    MonoAudio mono{std::vector<float>(static_cast<std::size_t>(frames), 0.0f), file.sampleRate()};
    // Large reads keep the decoder's per-call cost out of the picture.
    constexpr std::int64_t chunk = 1 << 18;
    std::vector<std::vector<float>> storage(static_cast<std::size_t>(channelCount),
                                            std::vector<float>(chunk));
    std::vector<float*> pointers;
    for (auto& s : storage)
        pointers.push_back(s.data());
    const float gain = 1.0f / float(channelCount);
    std::int64_t at = 0;
    while (at < frames) {
        auto got = file.read(at, std::min(chunk, frames - at), pointers.data());
        if (!got) return std::nullopt;
        if (*got <= 0) break;
        float* out = mono.samples.data() + at;
        for (const auto& channel : storage)
            for (std::int64_t i = 0; i < *got; ++i)
                out[i] += channel[std::size_t(i)] * gain;
        at += *got;
    }
    return mono;
}

} // namespace ostinel
