// Reading a five-minute 44.1 kHz stereo file end to end in the player's
// chunk size, per format; x_realtime is how many times faster than playing.

#include <benchmark/benchmark.h>
#include <sndfile.h>
#include <stdlib.h>

#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/AudioFile.h"

namespace {

constexpr int kRate = 44100;
constexpr std::int64_t kFrames = std::int64_t(5) * 60 * kRate;
constexpr std::int64_t kChunk = 4096;

// A folder of one source WAV and its encodings, made on first use.
class Media {
  public:
    Media() {
        std::string pattern = (std::filesystem::temp_directory_path() / "ostinel-bench-XXXXXX").string();
        if (!mkdtemp(pattern.data())) throw std::runtime_error("mkdtemp failed");
        dir_ = pattern;
        writeSource(file("wav"), SF_FORMAT_WAV | SF_FORMAT_PCM_16);
        writeSource(file("flac"), SF_FORMAT_FLAC | SF_FORMAT_PCM_16);
        encode("mp3", "-c:a libmp3lame -b:a 192k");
        encode("m4a", "-c:a aac -b:a 192k");
    }
    ~Media() { std::filesystem::remove_all(dir_); }
    std::string file(const std::string& ext) const { return (dir_ / ("five-minutes." + ext)).string(); }

  private:
    // Chords over a noise bed, so lossy coders work as on music.
    void writeSource(const std::string& path, int format) const {
        SF_INFO info{};
        info.samplerate = kRate;
        info.channels = 2;
        info.format = format;
        SNDFILE* f = sf_open(path.c_str(), SFM_WRITE, &info);
        if (!f) throw std::runtime_error(sf_strerror(nullptr));
        std::vector<float> buffer(std::size_t(kRate) * 2);
        std::uint32_t seed = 1;
        for (std::int64_t at = 0; at < kFrames; at += kRate) {
            for (std::int64_t i = 0; i < kRate; ++i) {
                const double t = double(at + i) / kRate;
                const double chord = std::sin(2 * M_PI * 220 * t) + std::sin(2 * M_PI * 277.2 * t) +
                                     std::sin(2 * M_PI * 329.6 * t);
                for (int c = 0; c < 2; ++c) {
                    seed = seed * 1664525u + 1013904223u;
                    buffer[std::size_t(i * 2 + c)] =
                        float(0.2 * chord + 0.05 * (double(seed >> 8) / (1 << 24) - 0.5));
                }
            }
            sf_writef_float(f, buffer.data(), kRate);
        }
        sf_close(f);
    }

    void encode(const std::string& ext, const std::string& codec) const {
        const std::string command =
            "ffmpeg -nostdin -loglevel error -y -i '" + file("wav") + "' " + codec + " '" + file(ext) + "'";
        if (std::system(command.c_str()) != 0) throw std::runtime_error("failed: " + command);
    }

    std::filesystem::path dir_;
};

const Media& media() {
    static const Media m;
    return m;
}

void readAll(benchmark::State& state, const std::string& ext) {
    const std::string path = media().file(ext);
    std::vector<std::vector<float>> planes(2, std::vector<float>(kChunk));
    float* pointers[2] = {planes[0].data(), planes[1].data()};
    double played = 0, spent = 0;
    for (auto _ : state) {
        const auto started = std::chrono::steady_clock::now();
        auto file = ostinel::AudioFile::open(path);
        if (!file) {
            state.SkipWithError(file.error().message.c_str());
            return;
        }
        std::int64_t at = 0;
        while (at < (*file)->frames()) {
            auto got = (*file)->read(at, kChunk, pointers);
            if (!got || *got == 0) break;
            at += *got;
        }
        benchmark::DoNotOptimize(planes[0].data());
        played += double(at) / (*file)->sampleRate();
        spent += std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    }
    state.counters["x_realtime"] = played / spent;
}

BENCHMARK_CAPTURE(readAll, wav, std::string("wav"))->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(readAll, flac, std::string("flac"))->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(readAll, mp3, std::string("mp3"))->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(readAll, m4a_aac, std::string("m4a"))->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
