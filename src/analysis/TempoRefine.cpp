#include "analysis/TempoAnalyzer.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

namespace ostinel::TempoAnalyzer {

namespace {

double beatPeriod(double odfRate, double bpm) {
    return odfRate * 60 / bpm;
}

double coherenceAt(std::span<const float> odf, double odfRate, double bpm) {
    return coherence(odf, beatPeriod(odfRate, bpm));
}

// Metronomic material sits on a half-BPM more often than not; take it when
// it is close and hardly less coherent.
Refined snapToHalfBpm(Refined refined, std::span<const float> odf, double odfRate) {
    const double half = std::round(refined.bpm * 2) * 0.5;
    if (half >= 40 && std::abs(half - refined.bpm) <= 0.06) {
        const double there = coherenceAt(odf, odfRate, half);
        if (there >= 0.9 * refined.coherence) return {half, there};
    }
    return refined;
}

bool hasEnergy(std::span<const float> odf) {
    return !odf.empty() && std::accumulate(odf.begin(), odf.end(), 0.0) > 0;
}

} // namespace

ReliableEnvelope reliableEnvelope(std::span<const float> odf, double odfRate, double bpm) {
    ReliableEnvelope whole{std::vector<float>(odf.begin(), odf.end()), 0};
    const double period = beatPeriod(odfRate, bpm);
    if (!(period > 0) || !(odfRate > 0)) return whole;
    const double span = double(odf.size());
    // Four beats or six seconds, whichever is longer.
    const auto chunk = std::size_t(std::max(std::min(period * 4, span), std::min(odfRate * 6, span)));
    if (chunk < 1 || odf.size() < 3 * chunk) return whole;

    const std::size_t chunks = odf.size() / chunk;
    std::vector<double> coherences(chunks);
    for (std::size_t c = 0; c < chunks; ++c)
        coherences[c] = coherence(odf.subspan(c * chunk, chunk), period);
    const double top = *std::max_element(coherences.begin(), coherences.end());
    if (!(top > 0)) return whole;

    const double floor = 0.4 * top;
    ReliableEnvelope masked = whole;
    std::size_t good = 0;
    std::optional<std::size_t> firstGood;
    for (std::size_t c = 0; c < chunks; ++c) {
        if (coherences[c] >= floor) {
            ++good;
            if (!firstGood) firstGood = c;
        } else {
            std::fill_n(masked.envelope.begin() + long(c * chunk), chunk, 0.0f);
        }
    }
    // A pulse carried by less than half the piece is not trusted to mask it.
    if (2 * good < chunks || !firstGood) return whole;
    masked.firstKept = int(*firstGood * chunk);
    return masked;
}

Refined refine(double bpm, std::span<const float> odf, double odfRate) {
    if (!hasEnergy(odf)) return {bpm, 0};
    // ±3% in 601 steps, each scored with its second harmonic too.
    constexpr int steps = 600;
    const auto factorAt = [](double position) { return position * 0.06 / steps + 0.97; };
    std::vector<double> grid(steps + 1, -std::numeric_limits<double>::infinity());
    for (int i = 0; i <= steps; ++i) {
        const double b = bpm * factorAt(i);
        if (b < 40 || b > 300) continue;
        const double p = beatPeriod(odfRate, b);
        grid[std::size_t(i)] = coherence(odf, p) + 0.5 * coherence(odf, p / 2);
    }
    int best = 0;
    double bestValue = -std::numeric_limits<double>::infinity();
    for (int i = 0; i <= steps; ++i)
        if (grid[std::size_t(i)] > bestValue) {
            bestValue = grid[std::size_t(i)];
            best = i;
        }
    if (!std::isfinite(bestValue)) return {bpm, 0};

    double position = best;
    if (best > 0 && best < steps && std::isfinite(grid[std::size_t(best) - 1]) &&
        std::isfinite(grid[std::size_t(best) + 1])) {
        const double l = grid[std::size_t(best) - 1], c = grid[std::size_t(best)],
                     r = grid[std::size_t(best) + 1];
        const double d = l - 2 * c + r;
        if (d != 0) {
            const double delta = (l - r) * 0.5 / d;
            if (std::abs(delta) <= 1) position += delta;
        }
    }
    Refined refined;
    refined.bpm = bpm * factorAt(position);
    refined.coherence = coherenceAt(odf, odfRate, refined.bpm);
    return snapToHalfBpm(refined, odf, odfRate);
}

Refined refineOnStrongestPulse(double coarse, std::span<const float> odf, double odfRate) {
    if (!hasEnergy(odf)) return refine(coarse, odf, odfRate);
    // A pulse at 3:2 or 3:1 that is clearly stronger than the coarse one is
    // refined instead, where the envelope's peaks are sharper.
    double best = 2 * coherenceAt(odf, odfRate, coarse);
    double multiplier = 1;
    for (const double m : {1.5, 3.0}) {
        if (coarse * m > 300) continue;
        const double c = coherenceAt(odf, odfRate, coarse * m);
        if (c > best) {
            best = c;
            multiplier = m;
        }
    }
    if (multiplier == 1) return refine(coarse, odf, odfRate);
    Refined refined;
    refined.bpm = refine(coarse * multiplier, odf, odfRate).bpm / multiplier;
    refined.coherence = coherenceAt(odf, odfRate, refined.bpm);
    return snapToHalfBpm(refined, odf, odfRate);
}

} // namespace ostinel::TempoAnalyzer
