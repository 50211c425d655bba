// Integrated loudness and true peak of five minutes of stereo at 48 kHz:
// our meter against libebur128, each fed the layout it takes natively.
#include <benchmark/benchmark.h>

#include <cmath>
#include <ebur128.h>
#include <random>
#include <vector>

#include "analysis/LoudnessAnalyzer.h"

namespace {

constexpr unsigned rate = 48000;
constexpr std::size_t frames = std::size_t(rate) * 300;

// Music-like: a tone over noise, its level moving every half second.
struct Signal {
    std::vector<std::vector<float>> planar{2, std::vector<float>(frames)};
    std::vector<float> interleaved = std::vector<float>(2 * frames);
    Signal() {
        std::mt19937 random(11);
        std::normal_distribution<float> noise(0, 0.1f);
        std::uniform_real_distribution<double> level(-40, 0);
        float gain = 1;
        for (std::size_t i = 0; i < frames; ++i) {
            if (i % (rate / 2) == 0) gain = float(std::pow(10.0, level(random) / 20));
            for (std::size_t c = 0; c < 2; ++c) {
                const float x =
                    gain * (0.5f * float(std::sin(double(i) * (0.05 + 0.01 * double(c)))) + noise(random));
                planar[c][i] = x;
                interleaved[2 * i + c] = x;
            }
        }
    }
};

const Signal& signal() {
    static const Signal s;
    return s;
}

void BM_Ours(benchmark::State& state) {
    const auto& s = signal();
    for (auto _ : state) {
        auto m = ostinel::LoudnessAnalyzer::analyze(s.planar, rate);
        benchmark::DoNotOptimize(m);
    }
    state.SetItemsProcessed(std::int64_t(state.iterations()) * std::int64_t(frames));
}

void BM_Libebur128(benchmark::State& state) {
    const auto& s = signal();
    for (auto _ : state) {
        ebur128_state* st = ebur128_init(2, rate, EBUR128_MODE_I | EBUR128_MODE_TRUE_PEAK);
        ebur128_add_frames_float(st, s.interleaved.data(), frames);
        double lufs = 0, left = 0, right = 0;
        ebur128_loudness_global(st, &lufs);
        ebur128_true_peak(st, 0, &left);
        ebur128_true_peak(st, 1, &right);
        benchmark::DoNotOptimize(lufs + left + right);
        ebur128_destroy(&st);
    }
    state.SetItemsProcessed(std::int64_t(state.iterations()) * std::int64_t(frames));
}

BENCHMARK(BM_Ours)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Libebur128)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
