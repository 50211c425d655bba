#include "analysis/MonoAudio.h"
#include "analysis/SpectralBands.h"
#include "analysis/WaveformPeaks.h"

#include <algorithm>

#include "base/FileUrl.h"
#include "platform/AudioFile.h"

namespace ostinel {

Expected<std::vector<float>> computeWaveformPeaks(const std::string& path) {
    auto opened = AudioFile::open(path);
    if (!opened) return Error{"Failed to open audio file: " + opened.error().message};
    AudioFile& file = **opened;
    const std::int64_t frames = file.frames();
    if (frames <= 0 || frames > std::int64_t(UINT32_MAX))
        return Error{"Audio file has no readable frames: " + path};

    const int channelCount = file.channels();
    PeakBuckets buckets(frames, waveformPeakCount(frames, file.sampleRate()));
    // Large reads keep the decoder's per-call cost out of the picture.
    constexpr std::int64_t chunk = 1 << 18;
    std::vector<std::vector<float>> storage(static_cast<std::size_t>(channelCount), std::vector<float>(chunk));
    std::vector<float*> pointers;
    for (auto& s : storage) pointers.push_back(s.data());

    for (std::int64_t at = 0; at < frames;) {
        auto got = file.read(at, std::min(chunk, frames - at), pointers.data());
        if (!got) return Error{"Failed to read audio for waveform (" + FileUrl::fromPath(path).fileName() +
                               "): " + got.error().message};
        if (*got <= 0) break;
        buckets.add(at, *got, pointers.data(), channelCount);
        at += *got;
    }
    return buckets.peaks();
}

SpectralBands computeBands(const std::string& path) {
    const auto mono = readMono(path);
    if (!mono) return {};
    const auto frames = std::int64_t(mono->samples.size());
    return computeSpectralBands(mono->samples.data(), frames, mono->sampleRate,
                                waveformPeakCount(frames, mono->sampleRate));
}

} // namespace ostinel
