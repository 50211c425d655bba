// Tempo, downbeat and drift of a four-minute drum track at 44.1 kHz. The
// goal is under half a second on one core: the spectrogram, the only
// parallel stage, is given a single worker.
#include <benchmark/benchmark.h>

#include "DrumCorpus.h"
#include "analysis/TempoAnalyzer.h"

namespace {

constexpr int kRate = 44100;

const std::vector<float>& fourMinutes() {
    static const std::vector<float> samples = [] {
        ostinel::test::DrumStyle style;
        style.bpm = 123;
        style.seconds = 240;
        style.swing = 0.15;
        style.fills = true;
        style.introBars = 4;
        style.gapBar = 40;
        return ostinel::test::renderDrums(style, kRate).samples;
    }();
    return samples;
}

void BM_TempoFourMinutesOneCore(benchmark::State& state) {
    const auto& s = fourMinutes();
    for (auto _ : state)
        benchmark::DoNotOptimize(ostinel::TempoAnalyzer::analyze(s, kRate, 0, 1));
}
BENCHMARK(BM_TempoFourMinutesOneCore)->Unit(benchmark::kMillisecond);

void BM_TempoFourMinutesAllCores(benchmark::State& state) {
    const auto& s = fourMinutes();
    for (auto _ : state)
        benchmark::DoNotOptimize(ostinel::TempoAnalyzer::analyze(s, kRate, 0));
}
BENCHMARK(BM_TempoFourMinutesAllCores)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
