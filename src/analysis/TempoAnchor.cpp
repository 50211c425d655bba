#include "analysis/TempoAnalyzer.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>

namespace ostinel::TempoAnalyzer {

namespace {

// Per-band mean of frames [from, to), zeros for an empty span.
std::vector<double> meanVector(const Spectrogram& s, int bands, double from, double to) {
    std::vector<double> mean(std::size_t(bands), 0.0);
    const int first = int(std::max(from, 0.0));
    const int last = int(std::min(to, double(s.frameCount)));
    if (last <= first) return mean;
    for (int t = first; t < last; ++t) {
        const float* row = s.row(t);
        for (int b = 0; b < bands; ++b)
            mean[std::size_t(b)] += row[b];
    }
    for (auto& m : mean)
        m /= double(last - first);
    return mean;
}

double cosineDistance(const std::vector<double>& a, const std::vector<double>& b) {
    double dot = 0, aa = 0, bb = 0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        dot += a[i] * b[i];
        aa += a[i] * a[i];
        bb += b[i] * b[i];
    }
    if (!(aa > 0) || !(bb > 0)) return 0;
    return 1 - dot / std::sqrt(aa * bb);
}

// Minimum to 0, maximum to 1; a flat curve says nothing.
void stretch(std::vector<double>& curve) {
    const auto [lo, hi] = std::minmax_element(curve.begin(), curve.end());
    const double low = *lo, range = *hi - *lo;
    for (auto& v : curve)
        v = range > 0 ? (v - low) / range : 0.0;
}

float finite(float s) {
    return std::isfinite(s) ? s : 0.0f;
}

} // namespace

int downbeatOffset(const Spectrogram& spectrogram, double odfRate, double bpm, double phase,
                   int beatsPerBar) {
    const double beat = odfRate * 60 / bpm;
    if (!(beat > 2) || beatsPerBar < 1 || !std::isfinite(phase)) return 0;
    if (!(double(spectrogram.frameCount) > 2 * std::floor(beat) * beatsPerBar)) return 0;
    const int lowBands = std::min(8, spectrogram.bandCount);
    const int timbreBands = std::min(16, spectrogram.bandCount);
    const auto slots = std::size_t(beatsPerBar);
    std::vector<double> low(slots, 0.0), novelty(slots, 0.0), count(slots, 0.0);
    // The downbeat carries the bass and is where the sound changes most.
    for (std::int64_t k = 0;; ++k) {
        const double p = phase + beat * double(k);
        if (!(p < spectrogram.frameCount)) break;
        const auto slot = std::size_t(k % beatsPerBar);
        const auto bass = meanVector(spectrogram, lowBands, p, p + beat * 0.5);
        for (const double v : bass)
            low[slot] += v;
        novelty[slot] += cosineDistance(meanVector(spectrogram, timbreBands, p - 2 * beat, p),
                                        meanVector(spectrogram, timbreBands, p, p + 2 * beat));
        count[slot] += 1;
    }
    for (std::size_t s = 0; s < slots; ++s) {
        if (count[s] == 0) return 0;
        low[s] /= count[s];
        novelty[s] /= count[s];
    }
    stretch(low);
    stretch(novelty);
    std::size_t best = 0;
    for (std::size_t s = 1; s < slots; ++s)
        if (low[s] + novelty[s] > low[best] + novelty[best]) best = s;
    return int(best);
}

double firstStrongDownbeat(std::span<const float> samples, double sampleRate, double phase, double beatFrames,
                           double notBefore) {
    const double bar = beatFrames * 4;
    if (!(bar > 2) || !(sampleRate > 0) || samples.empty() || !std::isfinite(phase)) return phase;
    const auto sampleCount = std::int64_t(samples.size());
    const auto sampleAt = [&](double frame) {
        return std::int64_t(std::clamp(frame * 256 + 512, 0.0, double(sampleCount)));
    };
    std::vector<double> starts, levels;
    for (double start = std::max(phase, 0.0);; start += bar) {
        const std::int64_t from = sampleAt(start);
        const std::int64_t to = sampleAt(start + bar);
        if (to <= from) break;
        // Every eighth sample is plenty for a bar's loudness.
        double sum = 0;
        std::int64_t n = 0;
        for (std::int64_t i = from; i < to; i += 8, ++n)
            sum += double(finite(samples[std::size_t(i)])) * finite(samples[std::size_t(i)]);
        starts.push_back(start);
        levels.push_back(std::sqrt(sum / double(n)));
        if (to >= sampleCount) break;
    }
    if (starts.size() < 4) return phase;

    auto sorted = levels;
    std::sort(sorted.begin(), sorted.end());
    const double loud = sorted[std::min(sorted.size() * 9 / 10, sorted.size() - 1)];
    if (!(loud > 0)) return phase;
    const double floor = 0.6 * loud;
    // The groove starts at the first loud bar that the next three confirm.
    for (std::size_t i = 0; i < starts.size(); ++i) {
        if (starts[i] < notBefore || levels[i] < floor) continue;
        const std::size_t end = std::min(i + 4, levels.size());
        double mean = 0;
        for (std::size_t j = i; j < end; ++j)
            mean += levels[j];
        if (mean / double(end - i) >= floor) return starts[i];
    }
    return starts.front();
}

double snapToKickAttack(std::span<const float> samples, double sampleRate, double anchor,
                        double beatSeconds) {
    const double win = std::min(beatSeconds * 0.15, 0.09);
    if (!(beatSeconds > 0) || !(sampleRate > 0) || !std::isfinite(anchor) || !(sampleRate * win >= 1))
        return anchor;
    const auto count = std::int64_t(samples.size());
    const auto radius = std::int64_t(sampleRate * win);
    const auto minSpan = std::int64_t(std::min(sampleRate / 50, double(count)));
    if (count <= minSpan) return anchor;
    const std::int64_t h = std::max<std::int64_t>(std::int64_t(std::min(sampleRate / 200, double(count))), 1);
    const std::int64_t g =
        std::max<std::int64_t>(std::int64_t(std::min(sampleRate * 0.004, double(count))), 1);

    std::vector<float> prefix(std::size_t(count) + 1, 0.0f);
    for (std::int64_t i = 0; i < count; ++i)
        prefix[std::size_t(i) + 1] = prefix[std::size_t(i)] + std::abs(finite(samples[std::size_t(i)]));
    const auto level = [&](std::int64_t from, std::int64_t to) {
        from = std::clamp<std::int64_t>(from, 0, count);
        to = std::clamp<std::int64_t>(to, 0, count);
        if (to <= from) return 0.0f;
        return (prefix[std::size_t(to)] - prefix[std::size_t(from)]) / float(to - from);
    };
    struct Attack {
        std::int64_t position;
        float slope;
    };
    // The steepest rise of the level within `radius` of `centre`.
    const auto search = [&](std::int64_t centre) -> std::optional<Attack> {
        const std::int64_t lo = std::max<std::int64_t>(centre - radius, 0);
        const std::int64_t hi = std::min(centre + radius, count - g);
        if (hi - lo <= minSpan) return std::nullopt;
        Attack best{lo, -std::numeric_limits<float>::infinity()};
        for (std::int64_t i = lo; i < hi; ++i) {
            const float slope = level(i + g - h, i + g + h) - level(i - h, i + h);
            if (slope > best.slope) best = {i, slope};
        }
        if (!(best.slope > 0)) return std::nullopt;
        return best;
    };

    const double duration = double(count) / sampleRate;
    const double reach = double(count + radius);
    const auto centre = std::int64_t(std::clamp(sampleRate * anchor, -reach, reach));
    const auto found = search(centre);
    if (!found) return anchor;
    const double own = double(found->position - centre) / sampleRate;

    // Every beat's attack votes, so one odd anchor cannot drag the grid off
    // the offset the whole track shares.
    struct Offset {
        double seconds;
        float slope;
    };
    std::vector<Offset> offsets;
    const auto first = -std::int64_t(std::min(anchor / beatSeconds, duration / beatSeconds + 1));
    const auto last = std::max(first, std::int64_t(duration / beatSeconds));
    for (std::int64_t k = first; k <= last; ++k) {
        const double t = anchor + beatSeconds * double(k);
        if (t < 0 || t >= duration) continue;
        const auto at = std::int64_t(sampleRate * t);
        if (const auto attack = search(at))
            offsets.push_back({double(attack->position - at) / sampleRate, attack->slope});
    }
    std::stable_sort(offsets.begin(), offsets.end(),
                     [](const Offset& a, const Offset& b) { return a.slope > b.slope; });
    const std::size_t keep = std::min(offsets.size(), std::max<std::size_t>(offsets.size(), 8) / 2);
    if (keep < 4) return anchor + own;
    std::vector<double> kept;
    for (std::size_t i = 0; i < keep; ++i)
        kept.push_back(offsets[i].seconds);
    std::sort(kept.begin(), kept.end());
    const double median =
        kept.size() % 2 ? kept[kept.size() / 2] : (kept[kept.size() / 2 - 1] + kept[kept.size() / 2]) / 2;
    return std::abs(own - median) > win * 0.5 ? anchor + median : anchor + own;
}

} // namespace ostinel::TempoAnalyzer
