#include "analysis/ChunkedRead.h"
#include "analysis/MonoAudio.h"
#include "analysis/SpectralBands.h"
#include "analysis/WaveformPeaks.h"

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
    auto failed = readInChunks(file, 1 << 18, [&](const float* const* channels, std::int64_t at, std::int64_t count) {
        buckets.add(at, count, channels, channelCount);
    });
    if (failed)
        return Error{"Failed to read audio for waveform (" + FileUrl::fromPath(path).fileName() + "): " +
                     failed->message};
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
