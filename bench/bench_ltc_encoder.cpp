// The LTC encoder as the render thread drives it: 48 kHz, 512-sample periods,
// ten seconds of signal an iteration. x_realtime is how many times faster than
// playing, in wall-clock time.

#include <benchmark/benchmark.h>

#include <chrono>
#include <vector>

#include "timecode/LTCEncoder.h"

namespace {

constexpr double kRate = 48000.0;
constexpr int kPeriod = 512;
constexpr int kPeriods = int(10 * kRate / kPeriod);

void fillPeriods(benchmark::State& state) {
    const auto rate = ostinel::TimecodeRate(state.range(0));
    ostinel::LTCEncoder encoder(kRate, rate);
    encoder.locate(3600.0);
    std::vector<float> buffer(kPeriod);
    double played = 0, spent = 0;
    for (auto _ : state) {
        const auto started = std::chrono::steady_clock::now();
        for (int p = 0; p < kPeriods; ++p) {
            encoder.fill(buffer.data(), kPeriod, 0.125f);
            benchmark::DoNotOptimize(buffer.data());
            benchmark::ClobberMemory();
        }
        spent += std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
        played += kPeriods * kPeriod / kRate;
    }
    state.counters["x_realtime"] = played / spent;
    state.SetLabel(ostinel::timecode::rawValue(rate));
}

BENCHMARK(fillPeriods)->DenseRange(0, 3)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
