#pragma once

#include <complex>
#include <span>

namespace ostinel::TempoAnalyzer {

// The transform of dftBin for any sample type, with the sum it needed.
// The phasor turns by recurrence and is reset from sin/cos every 256
// samples: the sums are exact to about 1e-13 at a fraction of the cost.
template <typename T> std::complex<double> periodicity(std::span<const T> x, double period, double& sum) {
    sum = 0;
    if (!(period > 0) || x.empty()) return {0, 0};
    const double w = 2.0 * 3.14159265358979323846 / period;
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

template <typename T> double periodicCoherence(std::span<const T> x, double period) {
    double sum = 0;
    const auto bin = periodicity(x, period, sum);
    return sum != 0 ? std::abs(bin) / sum : 0.0;
}

} // namespace ostinel::TempoAnalyzer
