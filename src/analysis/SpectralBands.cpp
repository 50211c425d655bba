#include "analysis/SpectralBands.h"

#include <fftw3.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <mutex>
#include <thread>

namespace ostinel {
namespace {

constexpr int kSize = 1024;
constexpr int kBins = kSize / 2;

struct FftwFree {
    void operator()(void* p) const { fftwf_free(p); }
};
template <typename T> using FftwBuffer = std::unique_ptr<T, FftwFree>;

// One plan for the process: the planner is not thread-safe, execution on
// fresh arrays of the same alignment is.
struct Plan {
    Plan() {
        FftwBuffer<float> in(fftwf_alloc_real(kSize));
        FftwBuffer<fftwf_complex> out(fftwf_alloc_complex(kBins + 1));
        plan = fftwf_plan_dft_r2c_1d(kSize, in.get(), out.get(), FFTW_ESTIMATE);
    }
    fftwf_plan plan = nullptr;
};

fftwf_plan sharedPlan() {
    static std::mutex mutex;
    const std::lock_guard lock(mutex);
    static const Plan plan;
    return plan.plan;
}

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
                   Edges edges, fftwf_plan plan, std::array<float, 3>* out) {
    const auto& window = hannWindow();
    FftwBuffer<float> in(fftwf_alloc_real(kSize));
    FftwBuffer<fftwf_complex> spectrum(fftwf_alloc_complex(kBins + 1));
    for (std::int64_t f = first; f < last; ++f) {
        const std::int64_t start = f * kSize;
        for (int n = 0; n < kSize; ++n) {
            const std::int64_t at = start + n;
            float s = at < sampleCount ? mono[at] : 0.0f;
            // A corrupt sample would poison the whole frame's sums.
            if (!std::isfinite(s)) s = 0.0f;
            in.get()[n] = s * window[std::size_t(n)];
        }
        fftwf_execute_dft_r2c(plan, in.get(), spectrum.get());
        double sums[3] = {0, 0, 0};
        for (int k = 1; k < kBins; ++k) {
            const double re = spectrum.get()[k][0], im = spectrum.get()[k][1];
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
    const fftwf_plan plan = sharedPlan();
    if (threads < 1) threads = int(std::max(1u, std::thread::hardware_concurrency()));
    const std::int64_t chunks = std::max<std::int64_t>(std::min<std::int64_t>(threads, frames), 1);
    if (chunks == 1) {
        analyseFrames(mono, sampleCount, 0, frames, edges, plan, perFrame.data());
    } else {
        std::vector<std::jthread> workers;
        for (std::int64_t c = 0; c < chunks; ++c) {
            const std::int64_t first = c * frames / chunks, last = (c + 1) * frames / chunks;
            workers.emplace_back([=, &perFrame] {
                analyseFrames(mono, sampleCount, first, last, edges, plan, perFrame.data() + first);
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
