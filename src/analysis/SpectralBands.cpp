#include "analysis/SpectralBands.h"

#include "analysis/RealFft.h"

#include <algorithm>
#include <cmath>
#include <thread>

namespace ostinel {
namespace {

constexpr int kSize = RealFft::size;
constexpr int kBins = RealFft::bins;

const std::array<float, kSize>& hannWindow() {
    static const auto window = [] {
        std::array<float, kSize> w{};
        for (int n = 0; n < kSize; ++n)
            w[std::size_t(n)] = float(0.5 * (1.0 - std::cos(2.0 * M_PI * n / kSize)));
        return w;
    }();
    return window;
}

struct Edges {
    int low;
    int mid;
};

void analyseFrames(const float* mono, std::int64_t sampleCount, std::int64_t first, std::int64_t last,
                   Edges edges, std::array<float, 3>* out) {
    const auto& window = hannWindow();
    RealFft fft;
    for (std::int64_t f = first; f < last; ++f) {
        const std::int64_t start = f * kSize;
        for (int n = 0; n < kSize; ++n) {
            const std::int64_t at = start + n;
            float s = at < sampleCount ? mono[at] : 0.0f;
            // A corrupt sample would poison the whole frame's sums.
            if (!std::isfinite(s)) s = 0.0f;
            fft.input()[n] = s * window[std::size_t(n)];
        }
        const std::complex<float>* spectrum = fft.forward();
        double sums[3] = {0, 0, 0};
        for (int k = 1; k < kBins; ++k) {
            const double re = spectrum[k].real(), im = spectrum[k].imag();
            // Twice the plain DFT, the packed real transform's convention the
            // silence floor was chosen for.
            const double mag = 4.0 * (re * re + im * im);
            sums[k < edges.low ? 0 : k < edges.mid ? 1 : 2] += mag;
        }
        const double low = std::sqrt(sums[0]), mid = std::sqrt(sums[1]), high = std::sqrt(sums[2]);
        const double norm = std::max({low, mid, high, 1e-6});
        out[f - first] = {float(low / norm), float(mid / norm), float(high / norm)};
    }
}

} // namespace

SpectralBands computeSpectralBands(const float* mono, std::int64_t sampleCount, double sampleRate, int count,
                                   int threads) {
    if (sampleCount <= 0 || count < 1) return {};
    const double rate = std::max(sampleRate, 1.0);
    const double binHz = rate / kSize;
    Edges edges{};
    edges.low = std::max(int(250.0 / binHz), 1);
    edges.mid = std::max(int(4000.0 / binHz), edges.low + 1);

    const std::int64_t frames = std::max<std::int64_t>(sampleCount / kSize, 1);
    std::vector<std::array<float, 3>> perFrame(static_cast<std::size_t>(frames));
    if (threads < 1) threads = int(std::max(1u, std::thread::hardware_concurrency()));
    const std::int64_t chunks = std::max<std::int64_t>(std::min<std::int64_t>(threads, frames), 1);
    if (chunks == 1) {
        analyseFrames(mono, sampleCount, 0, frames, edges, perFrame.data());
    } else {
        std::vector<std::jthread> workers;
        for (std::int64_t c = 0; c < chunks; ++c) {
            const std::int64_t first = c * frames / chunks, last = (c + 1) * frames / chunks;
            workers.emplace_back([=, &perFrame] {
                analyseFrames(mono, sampleCount, first, last, edges, perFrame.data() + first);
            });
        }
    }

    SpectralBands bands(static_cast<std::size_t>(count));
    if (frames == 1 || count == 1) {
        std::fill(bands.begin(), bands.end(), perFrame.front());
        return bands;
    }
    const double step = double(frames - 1) / double(count - 1);
    for (int i = 0; i < count; ++i) {
        const double pos = step * i;
        const std::int64_t k = std::min<std::int64_t>(std::int64_t(pos), frames - 2);
        const float t = float(pos - double(k));
        const auto& a = perFrame[std::size_t(k)];
        const auto& b = perFrame[std::size_t(k + 1)];
        auto& entry = bands[std::size_t(i)];
        for (std::size_t c = 0; c < 3; ++c)
            entry[c] = a[c] + (b[c] - a[c]) * t;
    }
    return bands;
}

} // namespace ostinel
