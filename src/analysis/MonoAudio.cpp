#include "analysis/MonoAudio.h"

#include <cstdint>

#include "analysis/ChunkedRead.h"
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
    const float gain = 1.0f / float(channelCount);
    // Large reads keep the decoder's per-call cost out of the picture.
    auto failed = readInChunks(file, 1 << 18, [&](const float* const* channels, std::int64_t at, std::int64_t count) {
        float* out = mono.samples.data() + at;
        for (int c = 0; c < channelCount; ++c)
            for (std::int64_t i = 0; i < count; ++i)
                out[i] += channels[c][i] * gain;
    });
    if (failed) return std::nullopt;
    return mono;
}

} // namespace ostinel
