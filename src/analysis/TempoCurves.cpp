#include "analysis/TempoAnalyzer.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace ostinel::TempoAnalyzer {

namespace {

// The transform of dftBin, with the sum it needed on the way.
// The phasor turns by recurrence and is reset from sin/cos every 256
// samples: the sums are exact to about 1e-13 at a fraction of the cost.
std::complex<double> periodicity(std::span<const float> x, double period, double& sum) {
    sum = 0;
    if (!(period > 0) || x.empty()) return {0, 0};
    const double w = 2.0 * std::numbers::pi / period;
    const std::complex<double> turn(std::cos(w), -std::sin(w));
    double re = 0, im = 0;
    const std::size_t n = x.size();
    for (std::size_t block = 0; block < n; block += 256) {
        const double angle = w * double(block);
        std::complex<double> z(std::cos(angle), -std::sin(angle));
        const std::size_t end = std::min(n, block + 256);
        for (std::size_t i = block; i < end; ++i) {
            const double v = double(x[i]);
            re += v * z.real();
            im += v * z.imag();
            sum += v;
            z *= turn;
        }
    }
    // What a constant of the envelope's mean would put into this bin.
    const double a = 1 - std::cos(w), s = std::sin(w), den = s * s + a * a;
    std::complex<double> leak(double(n), 0);
    if (den > 1e-12) {
        const double sN = std::sin(w * double(n)), b = 1 - std::cos(w * double(n));
        leak = {(s * sN + a * b) / den, (a * sN - s * b) / den};
    }
    const double mean = sum / double(n);
    return {re - mean * leak.real(), im - mean * leak.imag()};
}

} // namespace

std::complex<double> dftBin(std::span<const float> x, double period) {
    double sum = 0;
    return periodicity(x, period, sum);
}

double coherence(std::span<const float> x, double period) {
    double sum = 0;
    const auto bin = periodicity(x, period, sum);
    return sum != 0 ? std::abs(bin) / sum : 0.0;
}

std::vector<double> spectralCurve(std::span<const float> odf, double odfRate) {
    const auto& bpms = candidateBPMs();
    std::vector<double> curve(bpms.size(), 0.0);
    // Blocks of about 1/40 s: the tempo range needs no finer time.
    const auto step = std::size_t(std::max(int(std::min(odfRate / 40, double(odf.size()) + 1)), 1));
    std::vector<float> blocks;
    double total = 0;
    for (std::size_t at = 0; at < odf.size(); at += step) {
        double block = 0;
        for (std::size_t i = at; i < std::min(at + step, odf.size()); ++i)
            block += odf[i];
        blocks.push_back(float(block));
        total += float(block);
    }
    if (!(total > 0)) return curve;
    const double blockRate = odfRate / double(step);
    for (std::size_t i = 0; i < bpms.size(); ++i) {
        double sum = 0;
        curve[i] = std::abs(periodicity(blocks, blockRate * 60 / bpms[i], sum)) / total;
    }
    const double top = *std::max_element(curve.begin(), curve.end());
    if (top > 0)
        for (auto& c : curve)
            c /= top;
    return curve;
}

std::optional<double> chooseTempo(std::span<const double> selfSimilarity, std::span<const double> accent) {
    const auto& bpms = candidateBPMs();
    const std::size_t n = std::min({bpms.size(), selfSimilarity.size(), accent.size()});
    if (n == 0) return std::nullopt;
    // Geometric mean of the two curves under a log-normal prior on 120 BPM,
    // 0.9 octaves wide.
    std::vector<double> score(n);
    for (std::size_t i = 0; i < n; ++i) {
        const double octaves = std::log2(bpms[i] / 120) / 0.9;
        score[i] = std::exp(-0.5 * octaves * octaves) *
                   std::sqrt(std::max(selfSimilarity[i], 0.0) * std::max(accent[i], 0.0));
    }
    const auto best = std::size_t(std::max_element(score.begin(), score.end()) - score.begin());
    if (!(score[best] > 0)) return std::nullopt;
    const double bpm = bpms[best];
    const auto inBand = [](double b) { return b >= 70 && b <= 140; };
    if (inBand(bpm)) return bpm;

    // An out-of-band tempo must beat its in-band octave by more than 2.5:1.
    std::optional<std::size_t> octave;
    for (const int shift : {-2, -1, 1, 2}) {
        const double target = bpm * std::exp2(shift);
        if (!inBand(target)) continue;
        std::size_t nearest = 0;
        for (std::size_t i = 1; i < n; ++i)
            if (std::abs(bpms[i] - target) < std::abs(bpms[nearest] - target)) nearest = i;
        if (!octave || score[nearest] > score[*octave]) octave = nearest;
    }
    if (!octave || score[best] * 0.4 > score[*octave]) return bpm;
    return bpms[*octave];
}

} // namespace ostinel::TempoAnalyzer
