#include "analysis/RealFft.h"
#include "analysis/TempoAnalyzer.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <thread>

namespace ostinel::TempoAnalyzer {

namespace {

constexpr int kHop = 256;
constexpr int kBands = 40;
constexpr int kTopBin = RealFft::bins - 1;

// The normalised Hann form the band law was calibrated with (peak 1.633).
const std::array<float, RealFft::size>& hannWindow() {
    static const auto window = [] {
        std::array<float, RealFft::size> w{};
        for (int n = 0; n < RealFft::size; ++n)
            w[std::size_t(n)] = float(0.8165 * (1.0 - std::cos(2.0 * std::numbers::pi * n / RealFft::size)));
        return w;
    }();
    return window;
}

// Forty log-spaced bands from 40 Hz to 16 kHz (or Nyquist); nothing when
// the bins are too few to keep them apart.
std::optional<std::array<int, kBands + 1>> bandEdges(double sampleRate) {
    const double binHz = sampleRate / RealFft::size;
    const double top = std::min(sampleRate / 2, 16000.0);
    std::array<int, kBands + 1> edges{};
    for (int k = 0; k <= kBands; ++k) {
        const double bin = 40.0 * std::pow(top / 40.0, k / double(kBands)) / binHz;
        edges[std::size_t(k)] = int(std::clamp(bin, 1.0, double(kTopBin)));
    }
    for (std::size_t k = 1; k < edges.size(); ++k)
        if (edges[k] <= edges[k - 1]) edges[k] = edges[k - 1] + 1;
    if (edges.back() > kTopBin) return std::nullopt;
    return edges;
}

void analyseFrames(std::span<const float> samples, const std::array<int, kBands + 1>& edges, int first,
                   int last, float* out) {
    const auto& window = hannWindow();
    RealFft fft;
    float* in = fft.input();
    std::array<double, RealFft::bins> power{};
    for (int frame = first; frame < last; ++frame) {
        const float* source = samples.data() + std::size_t(frame) * kHop;
        for (int n = 0; n < RealFft::size; ++n) {
            // One corrupt sample must not blank the frame's every band.
            const float s = source[n];
            in[n] = std::isfinite(s) ? s * window[std::size_t(n)] : 0.0f;
        }
        const std::complex<float>* spectrum = fft.forward();
        // Four times the plain power: the packed real transform's scale,
        // which the constant 1000 below assumes.
        for (int k = 1; k < kTopBin; ++k)
            power[std::size_t(k)] = 4.0 * double(std::norm(spectrum[k]));
        float* row = out + std::size_t(frame) * kBands;
        for (int b = 0; b < kBands; ++b) {
            double sum = 0;
            for (int k = edges[std::size_t(b)]; k < edges[std::size_t(b) + 1]; ++k)
                sum += power[std::size_t(k)];
            row[b] = float(std::log1p(std::sqrt(sum) * 1000.0));
        }
    }
}

} // namespace

std::optional<Spectrogram> spectrogram(std::span<const float> samples, double sampleRate, int workers) {
    if (samples.size() < 1536 || !(sampleRate > 0) || !std::isfinite(sampleRate)) return std::nullopt;
    const auto edges = bandEdges(sampleRate);
    if (!edges) return std::nullopt;
    const auto frames = int((samples.size() - RealFft::size) / kHop + 1);
    Spectrogram result{std::vector<float>(std::size_t(frames) * kBands), frames, kBands};

    if (workers < 1) workers = int(std::max(1u, std::thread::hardware_concurrency()));
    const int chunks = std::max(std::min(workers, frames), 1);
    if (chunks == 1) {
        analyseFrames(samples, *edges, 0, frames, result.values.data());
    } else {
        std::vector<std::jthread> threads;
        for (int c = 0; c < chunks; ++c) {
            const int first = int(std::int64_t(frames) * c / chunks);
            const int last = int(std::int64_t(frames) * (c + 1) / chunks);
            threads.emplace_back(
                [&, first, last] { analyseFrames(samples, *edges, first, last, result.values.data()); });
        }
    }
    return result;
}

std::vector<float> onsetEnvelope(const Spectrogram& spectrogram, double sampleRate,
                                 std::optional<BandRange> bands) {
    const int frames = spectrogram.frameCount;
    if (frames < 3) return {};
    int from = 0, to = spectrogram.bandCount;
    if (bands) {
        from = std::clamp(bands->first, 0, spectrogram.bandCount);
        to = std::clamp(bands->second, from, spectrogram.bandCount);
    }
    std::vector<float> flux(std::size_t(frames), 0.0f);
    for (int t = 1; t < frames; ++t) {
        const float* now = spectrogram.row(t);
        const float* before = spectrogram.row(t - 1);
        float sum = 0;
        for (int b = from; b < to; ++b)
            sum += std::max(now[b] - before[b], 0.0f);
        flux[std::size_t(t)] = sum;
    }

    // Removing the local mean leaves the attacks standing out of a steady bed.
    const int half = std::max(int(std::min(sampleRate / kHop * 0.3, double(frames))), 1);
    std::vector<double> prefix(std::size_t(frames) + 1, 0.0);
    for (int t = 0; t < frames; ++t)
        prefix[std::size_t(t) + 1] = prefix[std::size_t(t)] + flux[std::size_t(t)];
    std::vector<float> odf(static_cast<std::size_t>(frames));
    for (int t = 0; t < frames; ++t) {
        const int lo = std::max(t - half, 0);
        const int hi = std::min(t + half + 1, frames);
        const double mean = (prefix[std::size_t(hi)] - prefix[std::size_t(lo)]) / double(hi - lo);
        odf[std::size_t(t)] = float(std::max(0.0, double(flux[std::size_t(t)]) - mean));
    }
    return odf;
}

} // namespace ostinel::TempoAnalyzer
