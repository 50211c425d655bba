#include "analysis/TempoAnalyzer.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>

namespace ostinel::TempoAnalyzer {

const std::vector<double>& candidateBPMs() {
    static const std::vector<double> axis = [] {
        std::vector<double> bpms;
        for (double bpm = 40.0; bpm <= 300.0; bpm *= 1.005)
            bpms.push_back(bpm);
        return bpms;
    }();
    return axis;
}

std::vector<WindowVote> windowVotes(std::span<const float> odf, double odfRate) {
    std::vector<WindowVote> votes;
    const auto count = std::int64_t(odf.size());
    const std::int64_t second = std::int64_t(std::min(odfRate, double(count)));
    const std::int64_t window = std::min(count, std::int64_t(std::min(odfRate * 12, double(count))));
    if (window <= second) {
        if (auto vote = voteForWindow(odf, odfRate)) votes.push_back(std::move(*vote));
        return votes;
    }
    const std::int64_t hop = std::max<std::int64_t>(window / 2, 1);
    for (std::int64_t start = 0; start + window <= count; start += hop)
        if (auto vote = voteForWindow(odf.subspan(std::size_t(start), std::size_t(window)), odfRate))
            votes.push_back(std::move(*vote));
    return votes;
}

std::optional<WindowVote> voteForWindow(std::span<const float> odf, double odfRate) {
    const auto count = std::int64_t(odf.size());
    if (count < 17) return std::nullopt;
    const double mean = std::accumulate(odf.begin(), odf.end(), 0.0) / double(count);
    if (!(mean > 0)) return std::nullopt;
    std::vector<double> x(odf.begin(), odf.end());
    for (auto& v : x)
        v -= mean;
    // Three seconds of lag: twice the period of the slowest candidate.
    const std::int64_t maxLag = std::min(count / 2, std::int64_t(std::min(odfRate * 1.5 * 2, double(count))));
    if (maxLag < 5) return std::nullopt;

    WindowVote vote;
    vote.energy = double(count) * mean;
    // Divided by the overlap, so that long lags are not penalised.
    std::vector<double> ac(std::size_t(maxLag) + 1);
    for (std::int64_t lag = 0; lag <= maxLag; ++lag) {
        double sum = 0;
        for (std::int64_t i = 0; i + lag < count; ++i)
            sum += x[std::size_t(i)] * x[std::size_t(i + lag)];
        ac[std::size_t(lag)] = sum / double(count - lag);
    }
    if (!(ac[0] > 0)) return std::nullopt;
    const double zero = ac[0];
    for (auto& v : ac)
        v /= zero;

    const auto& bpms = candidateBPMs();
    vote.scores.assign(bpms.size(), 0.0);
    int scored = 0;
    double sum = 0, peak = 0;
    for (std::size_t i = 0; i < bpms.size(); ++i) {
        const double lag = odfRate * 60 / bpms[i];
        if (!(lag <= double(maxLag))) continue;
        const auto score = combScore(ac, lag);
        if (!score) continue;
        const double s = std::max(*score, 0.0);
        vote.scores[i] = s;
        ++scored;
        sum += s;
        peak = std::max(peak, s);
    }
    if (!(peak > 0) || scored < 1 || !(sum / scored > 0)) return std::nullopt;
    // Fully confident once the peak is four times the mean.
    vote.confidence = std::min((peak / (sum / scored) - 1) / 3, 1.0);
    if (!(vote.confidence > 0)) return std::nullopt;
    return vote;
}

std::optional<double> combScore(std::span<const double> ac, double lag) {
    if (ac.empty()) return std::nullopt;
    const auto last = std::int64_t(ac.size()) - 1;
    const auto inRange = [&](double at) { return at >= 0 && at <= double(last); };
    const auto read = [&](double at) {
        const auto i = std::int64_t(std::floor(at));
        if (i >= last) return ac[std::size_t(last)];
        const double t = at - double(i);
        return ac[std::size_t(i)] + (ac[std::size_t(i) + 1] - ac[std::size_t(i)]) * t;
    };

    double on = 0;
    int onCount = 0;
    for (const double multiple : {1.0, 2.0, 4.0, 8.0}) {
        if (!inRange(lag * multiple)) break;
        on += read(lag * multiple);
        ++onCount;
    }
    if (onCount == 0) return std::nullopt;
    on /= onCount;

    constexpr std::array<std::pair<double, double>, 3> offBeats{{{0.5, 1.0}, {1.5, 1.0 / 2}, {2.5, 1.0 / 3}}};
    double off = 0, weights = 0;
    for (const auto& [position, weight] : offBeats) {
        if (!inRange(lag * position)) break;
        off += read(lag * position) * weight;
        weights += weight;
    }
    if (weights == 0) return on;
    return on - 0.5 * (off / weights);
}

std::optional<std::vector<double>> aggregate(const std::vector<WindowVote>& votes) {
    if (votes.empty()) return std::nullopt;
    std::vector<double> energies;
    double topConfidence = 0;
    for (const auto& v : votes) {
        energies.push_back(v.energy);
        topConfidence = std::max(topConfidence, v.confidence);
    }
    std::sort(energies.begin(), energies.end());
    const double energyFloor = 0.25 * energies[energies.size() / 2];
    const double confidenceFloor = 0.35 * topConfidence;
    // Quiet windows and windows without a clear pulse have no say.
    std::vector<const WindowVote*> kept;
    for (const auto& v : votes)
        if (v.energy >= energyFloor && v.confidence >= confidenceFloor) kept.push_back(&v);
    if (kept.empty())
        for (const auto& v : votes)
            kept.push_back(&v);

    std::vector<double> sum(candidateBPMs().size(), 0.0);
    for (const WindowVote* v : kept) {
        const std::size_t n = std::min(sum.size(), v->scores.size());
        const double peak = n ? *std::max_element(v->scores.begin(), v->scores.begin() + long(n)) : 0.0;
        if (!(peak > 0)) continue;
        for (std::size_t i = 0; i < n; ++i)
            sum[i] += v->confidence * v->scores[i] / peak;
    }
    const double top = *std::max_element(sum.begin(), sum.end());
    if (!(top > 0)) return std::nullopt;
    for (auto& s : sum)
        s /= top;
    return sum;
}

} // namespace ostinel::TempoAnalyzer
