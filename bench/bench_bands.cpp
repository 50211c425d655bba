#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "analysis/SpectralBands.h"
#include "analysis/WaveformPeaks.h"

namespace {

constexpr std::int64_t kRate = 44100;
constexpr std::int64_t kSamples = kRate * 300;

// Five minutes of a sweep with some noise on top, mixed to mono, so every
// band has something in it.
const std::vector<float>& fiveMinutes() {
    static const std::vector<float> samples = [] {
        std::vector<float> s(static_cast<std::size_t>(kSamples));
        unsigned seed = 1;
        double phase = 0.0;
        for (std::int64_t i = 0; i < kSamples; ++i) {
            const double hz = 50.0 + 15000.0 * double(i % (kRate * 10)) / double(kRate * 10);
            phase += 2.0 * M_PI * hz / double(kRate);
            seed = seed * 1664525u + 1013904223u;
            s[std::size_t(i)] = float(0.5 * std::sin(phase)) + float(seed >> 8) / float(1 << 24) * 0.05f;
        }
        return s;
    }();
    return samples;
}

// The goal is under 150 ms on one core.
void BM_BandsFiveMinutesOneCore(benchmark::State& state) {
    const auto& s = fiveMinutes();
    const int count = ostinel::waveformPeakCount(kSamples, double(kRate));
    for (auto _ : state)
        benchmark::DoNotOptimize(ostinel::computeSpectralBands(s.data(), kSamples, double(kRate), count, 1));
}
BENCHMARK(BM_BandsFiveMinutesOneCore)->Unit(benchmark::kMillisecond);

void BM_BandsFiveMinutesAllCores(benchmark::State& state) {
    const auto& s = fiveMinutes();
    const int count = ostinel::waveformPeakCount(kSamples, double(kRate));
    for (auto _ : state)
        benchmark::DoNotOptimize(ostinel::computeSpectralBands(s.data(), kSamples, double(kRate), count));
}
BENCHMARK(BM_BandsFiveMinutesAllCores)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace

BENCHMARK_MAIN();
