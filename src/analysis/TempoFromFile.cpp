#include "analysis/MonoAudio.h"
#include "analysis/TempoAnalyzer.h"

#include <QLoggingCategory>

#include <algorithm>
#include <cstdint>

#include "base/FileUrl.h"

namespace ostinel::TempoAnalyzer {

namespace {
Q_LOGGING_CATEGORY(tempoLog, "com.ostinel.tempo")
}

std::optional<TempoEstimate> detect(const std::string& path, std::optional<TempoRange> range) {
    const auto mono = readMono(path);
    if (!mono || mono->samples.empty()) return std::nullopt;
    const double sampleRate = std::max(mono->sampleRate, 1.0);
    const auto frames = std::int64_t(mono->samples.size());
    std::span<const float> samples(mono->samples);
    double startSeconds = 0;
    if (range) {
        const auto frameAt = [&](double seconds) {
            const double at = sampleRate * seconds;
            return std::isnan(at) ? 0 : std::int64_t(std::clamp(at, 0.0, double(frames)));
        };
        const std::int64_t lo = std::min(frameAt(range->first), frames - 1);
        const std::int64_t hi = std::max(lo + 1, frameAt(range->second));
        samples = samples.subspan(std::size_t(lo), std::size_t(hi - lo));
        startSeconds = double(lo) / sampleRate;
    }
    auto estimate = analyze(samples, sampleRate, startSeconds);
    if (!estimate) qCInfo(tempoLog, "No stable tempo in %s", FileUrl::fromPath(path).fileName().c_str());
    return estimate;
}

} // namespace ostinel::TempoAnalyzer
