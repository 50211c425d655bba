#include <benchmark/benchmark.h>

#include <filesystem>

#include "analysis/AnalysisDiskCache.h"
#include "analysis/WaveformPeaks.h"
#include <sndfile.h>

#include <cmath>
#include <vector>

namespace {

std::string writeWav(const std::string& path, std::int64_t frames) {
    SF_INFO info{};
    info.samplerate = 44100;
    info.channels = 2;
    info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    SNDFILE* f = sf_open(path.c_str(), SFM_WRITE, &info);
    std::vector<float> block(2 * 4096);
    for (std::int64_t at = 0; at < frames; at += 4096) {
        for (std::size_t i = 0; i < block.size(); ++i)
            block[i] = 0.5f * float(std::sin(double(at) * 0.01 + double(i) * 0.03));
        sf_writef_float(f, block.data(), std::min<std::int64_t>(4096, frames - at));
    }
    sf_close(f);
    return path;
}

struct Files {
    std::filesystem::path dir = std::filesystem::temp_directory_path() / "ostinel-bench-peaks";
    std::string wav;
    std::string cache;
    Files() {
        std::filesystem::create_directories(dir);
        wav = writeWav((dir / "five-minutes.wav").string(), 44100LL * 300);
        cache = (dir / "cache").string();
    }
    ~Files() { std::filesystem::remove_all(dir); }
};

Files& files() {
    static Files f;
    return f;
}

// Five minutes of 44.1 kHz stereo 16-bit WAV; the goal is under 150 ms.
void BM_ComputePeaksFiveMinutes(benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(ostinel::computeWaveformPeaks(files().wav));
}
BENCHMARK(BM_ComputePeaksFiveMinutes)->Unit(benchmark::kMillisecond);

// Fingerprint plus the 300 KB entry; the goal is under 5 ms.
void BM_CacheHit(benchmark::State& state) {
    auto peaks = ostinel::computeWaveformPeaks(files().wav);
    ostinel::AnalysisDiskCache::storePeaks(*peaks, files().wav, *ostinel::AnalysisDiskCache::fingerprint(files().wav),
                                           files().cache);
    for (auto _ : state) {
        auto hit = ostinel::AnalysisDiskCache::peaks(files().wav, files().cache);
        if (!hit.value) state.SkipWithError("cache missed");
        benchmark::DoNotOptimize(hit);
    }
}
BENCHMARK(BM_CacheHit)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
