#include "analysis/TempoAnalyzer.h"

#include <cmath>
#include <numbers>
#include <numeric>

namespace ostinel::TempoAnalyzer {

std::optional<TempoEstimate> analyze(std::span<const float> samples, double sampleRate, double startSeconds,
                                     int workers) {
    if (!(sampleRate > 0) || !std::isfinite(sampleRate) || samples.size() <= 4096) return std::nullopt;
    const auto bands = spectrogram(samples, sampleRate, workers);
    if (!bands) return std::nullopt;
    const auto odf = onsetEnvelope(*bands, sampleRate);
    if (odf.size() < 9 || !(std::accumulate(odf.begin(), odf.end(), 0.0) > 0)) return std::nullopt;
    const double odfRate = sampleRate / 256;
    if (!(double(odf.size()) > std::floor(odfRate))) return std::nullopt;

    const auto votes = windowVotes(odf, odfRate);
    if (votes.empty()) return std::nullopt;
    const auto selfSimilarity = aggregate(votes);
    if (!selfSimilarity) return std::nullopt;
    const auto accent = spectralCurve(odf, odfRate);
    const auto coarse = chooseTempo(*selfSimilarity, accent);
    if (!coarse) return std::nullopt;

    // Sections without the pulse are cut before the tempo is refined.
    const auto reliable = reliableEnvelope(odf, odfRate, *coarse);
    const auto [bpm, pulseCoherence] = refineOnStrongestPulse(*coarse, reliable.envelope, odfRate);
    const double beatSeconds = 60 / bpm;
    const double period = odfRate * beatSeconds;

    const auto bin = dftBin(reliable.envelope, period);
    double phase = std::fmod(period * std::atan2(bin.imag(), bin.real()) / (-2 * std::numbers::pi), period);
    if (phase < 0) phase += period;
    const int offset = downbeatOffset(*bands, odfRate, bpm, phase, 4);
    const double frame =
        firstStrongDownbeat(samples, sampleRate, period * offset + phase, period, reliable.firstKept);
    // 512 puts the anchor at the centre of its analysis frame.
    const double anchor = startSeconds + (frame * 256 + 512) / sampleRate;
    const double snapped =
        snapToKickAttack(samples, sampleRate, anchor - startSeconds, beatSeconds) + startSeconds;

    TempoEstimate estimate;
    estimate.bpm = std::round(bpm * 100) / 100;
    estimate.anchorSeconds = std::max(snapped, 0.0);
    estimate.confidence = std::min(pulseCoherence * 4, 1.0);
    estimate.isDrifting = gridFit(odf, odfRate, bpm, phase) > 0.18;
    return estimate;
}

} // namespace ostinel::TempoAnalyzer
