// The whole output chain at a 48 kHz device in 1024-frame periods, playing a
// 30-second stereo WAV through the player (read ahead off the render thread):
// resampling from 44.1 kHz (or none, for a 48 kHz file), +15 dB, the limiter
// working all the way (the material is hot), and the meters. x_realtime is how
// many times faster than playing, in wall-clock time, waits on the reader
// included. Run under `taskset -c 0` for the figure on one core.

#include <benchmark/benchmark.h>
#include <sndfile.h>

#include <chrono>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "../tests/support/TempDir.h"
#include "playback/OutputChain.h"

namespace {

constexpr double kDeviceRate = 48000.0;
constexpr int kPeriod = 1024;
constexpr int kSeconds = 30;

// A chord and a little noise peaking near -5 dBFS: +15 dB drives it 10 dB
// into the limiter.
std::string writeFile(const std::filesystem::path& dir, int rate) {
    const std::string path = (dir / ("hot-" + std::to_string(rate) + ".wav")).string();
    SF_INFO info{};
    info.samplerate = rate;
    info.channels = 2;
    info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    SNDFILE* f = sf_open(path.c_str(), SFM_WRITE, &info);
    if (!f) throw std::runtime_error(sf_strerror(nullptr));
    std::vector<float> second(std::size_t(rate) * 2);
    std::uint32_t seed = 1;
    for (int s = 0; s < kSeconds; ++s) {
        for (int i = 0; i < rate; ++i) {
            const double t = s + double(i) / rate;
            const double chord =
                std::sin(2 * M_PI * 110 * t) + std::sin(2 * M_PI * 164.8 * t) + std::sin(2 * M_PI * 220 * t);
            for (int c = 0; c < 2; ++c) {
                seed = seed * 1664525u + 1013904223u;
                second[std::size_t(2 * i + c)] =
                    float(0.17 * chord + 0.03 * (double(seed >> 8) / (1 << 24) - 0.5));
            }
        }
        sf_writef_float(f, second.data(), rate);
    }
    sf_close(f);
    return path;
}

struct Media {
    ostinel::test::TempDir dir;
    std::string at44100 = writeFile(dir.path(), 44100);
    std::string at48000 = writeFile(dir.path(), 48000);
};

const Media& media() {
    static const Media m;
    return m;
}

void renderFile(benchmark::State& state) {
    const int fileRate = int(state.range(0));
    const std::string path = fileRate == 44100 ? media().at44100 : media().at48000;
    ostinel::Player player;
    player.setSampleRate(fileRate);
    player.setWaitForData(true);
    ostinel::OutputChain chain(player);
    chain.setRates(fileRate, kDeviceRate);
    std::vector<float> left(kPeriod), right(kPeriod);
    float* out[] = {left.data(), right.data()};

    double played = 0, spent = 0, reduction = 0;
    for (auto _ : state) {
        auto file = ostinel::AudioFile::open(path);
        if (!file) {
            state.SkipWithError(file.error().message.c_str());
            return;
        }
        const std::int64_t frames = (*file)->frames();
        player.stop();
        player.scheduleSegment(std::shared_ptr<ostinel::AudioFile>(std::move(*file)), 0, frames);
        player.play();
        const auto periods = std::int64_t(std::ceil(double(frames) * kDeviceRate / fileRate / kPeriod));
        const auto started = std::chrono::steady_clock::now();
        for (std::int64_t p = 0; p < periods; ++p) {
            chain.render(out, 2, kPeriod);
            reduction = std::max(reduction, double(chain.limiterReductionDb()));
        }
        benchmark::DoNotOptimize(chain.takePeaks());
        spent += std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
        played += double(periods * kPeriod) / kDeviceRate;
    }
    state.counters["x_realtime"] = played / spent;
    state.counters["max_reduction_db"] = reduction;
}

BENCHMARK(renderFile)->Arg(44100)->Arg(48000)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
