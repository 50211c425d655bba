#include "analysis/TempoAnalyzer.h"

#include <algorithm>
#include <cmath>

namespace ostinel::TempoAnalyzer {

double gridFit(std::span<const float> odf, double odfRate, double bpm, double phase) {
    const auto frameCount = std::int64_t(odf.size());
    if (!(odfRate > 0) || !std::isfinite(phase)) return 0;
    // Up to six segments of at least eight seconds: under about 24 seconds
    // a track can never drift.
    const int segments = int(std::min(double(frameCount) / (odfRate * 8), 6.0));
    const double period = odfRate * 60 / bpm;
    if (segments < 3 || !(period > 2)) return 0;
    const auto w = std::max<std::int64_t>(std::int64_t(period * 0.3), 1);
    const std::int64_t segmentLength = frameCount / segments;

    std::vector<double> offsets;
    for (int s = 0; s < segments; ++s) {
        const double a = double(s * segmentLength), b = double((s + 1) * segmentLength);
        double weighted = 0, weight = 0;
        for (double k = std::ceil((a - phase) / period);; ++k) {
            const double t = phase + period * k;
            if (!(t < b)) break;
            const std::int64_t lo = std::max<std::int64_t>(std::int64_t(t) - w, 0);
            const std::int64_t hi = std::min(std::int64_t(t) + w, frameCount - 1);
            if (hi - lo + 1 < 2) continue;
            std::int64_t peak = lo;
            for (std::int64_t i = lo + 1; i <= hi; ++i)
                if (odf[std::size_t(i)] > odf[std::size_t(peak)]) peak = i;
            const double value = odf[std::size_t(peak)];
            if (value > 0) {
                weighted += (double(peak) - t) * value / period;
                weight += value;
            }
        }
        if (weight > 0) offsets.push_back(weighted / weight);
    }
    if (offsets.size() < 3) return 0;

    // Whole beats of slide are folded away; only the creep between
    // neighbouring segments adds up.
    double unwrapped = offsets.front(), low = unwrapped, high = unwrapped;
    for (std::size_t i = 1; i < offsets.size(); ++i) {
        double step = offsets[i] - offsets[i - 1];
        while (step > 0.5)
            step -= 1;
        while (step < -0.5)
            step += 1;
        unwrapped += step;
        low = std::min(low, unwrapped);
        high = std::max(high, unwrapped);
    }
    return high - low;
}

} // namespace ostinel::TempoAnalyzer
