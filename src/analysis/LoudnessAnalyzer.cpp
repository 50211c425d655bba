#include "analysis/LoudnessAnalyzer.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <numeric>

#include "analysis/ChunkedRead.h"
#include "base/FileUrl.h"
#include "platform/AudioFile.h"

namespace ostinel {

namespace {

constexpr double surroundWeight = 1.4125375446227544; // +1.5 dB from the fourth channel on

double loudnessOf(double power) {
    return -0.691 + 10 * std::log10(power);
}

std::int64_t roundedFrames(double frames) {
    return std::int64_t(std::llround(frames));
}

// Coefficients are kept at single precision, as the meter has always used
// them; only the recursion runs in double.
double single(double value) {
    return double(float(value));
}

} // namespace

LoudnessAnalyzer::Biquad LoudnessAnalyzer::highShelf(double sampleRate) {
    const double k = std::tan(std::numbers::pi * 1681.974450955533 / sampleRate);
    const double q = 0.7071752369554196, vh = 1.5848647011308556, vb = 1.2587209302325617;
    const double a0 = 1 + k / q + k * k;
    return {single((vh + vb * k / q + k * k) / a0), single(2 * (k * k - vh) / a0),
            single((vh - vb * k / q + k * k) / a0), single(2 * (k * k - 1) / a0),
            single((1 - k / q + k * k) / a0)};
}

LoudnessAnalyzer::Biquad LoudnessAnalyzer::highPass(double sampleRate) {
    const double k = std::tan(std::numbers::pi * 38.13547087602444 / sampleRate);
    const double q = 0.5003270373238773;
    const double a0 = 1 + k / q + k * k;
    return {1, -2, 1, single(2 * (k * k - 1) / a0), single((1 - k / q + k * k) / a0)};
}

LoudnessAnalyzer::LoudnessAnalyzer(double sampleRate, int channels)
    : rate_(sampleRate), channelCount_(std::max(channels, 0)) {
    if (!(rate_ > 0) || !std::isfinite(rate_)) rate_ = 0;
    if (rate_ > 0) {
        shelf_ = highShelf(rate_);
        pass_ = highPass(rate_);
        block_ = std::max<std::int64_t>(roundedFrames(rate_ * 0.4), 1);
        hop_ = std::max<std::int64_t>(roundedFrames(rate_ * 0.1), 1);
    }
    // Blocks and hops are whole numbers of segments, so each block is the
    // sum of a few segment sums instead of a rescan of its samples.
    segment_ = std::gcd(block_, hop_);
    segmentsPerBlock_ = block_ / segment_;
    segmentsPerHop_ = hop_ / segment_;
    ring_.assign(std::size_t(segmentsPerBlock_), 0);

    channels_.resize(std::size_t(channelCount_));
    for (auto& channel : channels_)
        channel.window.assign(std::size_t(before + after + chunk + after), 0.0f);
    offsets_.resize(std::size_t(channelCount_));
    clean_.resize(chunk);
    power_.resize(chunk);

    float maxTapSum = 0;
    for (int p = 1; p <= 3; ++p) {
        auto& phase = phases_[std::size_t(p - 1)];
        double sum = 0;
        for (int k = -before; k <= after; ++k) {
            const double x = k - p * 0.25;
            const double sinc = x == 0 ? 1.0 : std::sin(std::numbers::pi * x) / (std::numbers::pi * x);
            const int n = k + before;
            const double window = 0.42 - 0.5 * std::cos(2 * std::numbers::pi * n / 11) +
                                  0.08 * std::cos(4 * std::numbers::pi * n / 11);
            phase[std::size_t(n)] = float(sinc * window);
            sum += phase[std::size_t(n)];
        }
        float absSum = 0;
        for (auto& tap : phase) {
            if (sum != 0) tap = float(tap / sum);
            absSum += std::abs(tap);
        }
        maxTapSum = std::max(maxTapSum, absSum);
    }
    maxTapSum_ = maxTapSum;
}

void LoudnessAnalyzer::add(const float* const* channels, std::int64_t frames) {
    if (rate_ <= 0 || channelCount_ == 0) return;
    for (std::int64_t at = 0; at < frames; at += chunk) {
        const std::int64_t count = std::min(chunk, frames - at);
        for (int c = 0; c < channelCount_; ++c)
            offsets_[std::size_t(c)] = channels[c] + at;
        addChunk(offsets_.data(), count);
    }
}

void LoudnessAnalyzer::addChunk(const float* const* channels, std::int64_t frames) {
    std::fill_n(power_.begin(), frames, 0.0);
    for (int c = 0; c < channelCount_; ++c) {
        Channel& channel = channels_[std::size_t(c)];
        const float* in = channels[c];
        float peak = channel.peak;
        float* window = channel.window.data() + channel.windowFill;
        for (std::int64_t n = 0; n < frames; ++n) {
            const float x = std::isfinite(in[n]) ? in[n] : 0.0f;
            clean_[std::size_t(n)] = x;
            window[n] = x;
            peak = std::max(peak, std::abs(x));
        }
        channel.peak = peak;
        channel.windowFill += frames;
        filter(channel, clean_.data(), frames, c < 3 ? 1.0 : surroundWeight);
        scanTruePeak(channel);
    }
    addPower(frames);
}

void LoudnessAnalyzer::filter(Channel& channel, const float* in, std::int64_t frames, double weight) {
    const Biquad a = shelf_, b = pass_;
    double a1 = channel.s1[0], a2 = channel.s2[0], b1 = channel.s1[1], b2 = channel.s2[1];
    double* power = power_.data();
    for (std::int64_t n = 0; n < frames; ++n) {
        const double x = in[n];
        const double u = a.b0 * x + a1;
        a1 = a.b1 * x - a.a1 * u + a2;
        a2 = a.b2 * x - a.a2 * u;
        const double y = b.b0 * u + b1;
        b1 = b.b1 * u - b.a1 * y + b2;
        b2 = b.b2 * u - b.a2 * y;
        power[n] += weight * y * y;
    }
    channel.s1[0] = a1;
    channel.s2[0] = a2;
    channel.s1[1] = b1;
    channel.s2[1] = b2;
}

// The window holds the samples from five before the first centre not yet
// scanned; a centre is scanned once the six samples after it are in.
void LoudnessAnalyzer::scanTruePeak(Channel& channel) {
    const std::int64_t ready = channel.windowFill - (before + after);
    if (ready <= 0) return;
    float* window = channel.window.data();
    // Below this no interpolated value near a sample can beat the peak. The
    // peak still grows, so this scans a superset of what the final
    // threshold would; finish() drops the extra candidates again.
    const float threshold = channel.peak / maxTapSum_;
    if (channel.peak > 0) {
        for (std::int64_t i = before; i < before + ready; ++i) {
            const float level = std::abs(window[i]);
            if (level < threshold) continue;
            float best = 0;
            for (const auto& phase : phases_) {
                float sum = 0;
                for (int k = 0; k < taps; ++k)
                    sum += phase[std::size_t(k)] * window[i - before + k];
                best = std::max(best, std::abs(sum));
            }
            if (best > channel.peak) keepCandidate(channel, {level, best});
        }
    }
    std::copy(window + ready, window + channel.windowFill, window);
    channel.windowFill -= ready;
}

void LoudnessAnalyzer::keepCandidate(Channel& channel, Candidate candidate) {
    auto& list = channel.candidates;
    for (const auto& c : list)
        if (c.level >= candidate.level && c.value >= candidate.value) return;
    std::erase_if(list, [&](const Candidate& c) {
        return (c.level <= candidate.level && c.value <= candidate.value) || c.value <= channel.peak;
    });
    list.push_back(candidate);
}

void LoudnessAnalyzer::addPower(std::int64_t frames) {
    for (std::int64_t n = 0; n < frames;) {
        const std::int64_t take = std::min(frames - n, segment_ - segmentFill_);
        // One running sum, so the result does not depend on how the input was chunked.
        double sum = segmentSum_;
        for (std::int64_t i = 0; i < take; ++i)
            sum += power_[std::size_t(n + i)];
        segmentSum_ = sum;
        segmentFill_ += take;
        n += take;
        if (segmentFill_ < segment_) break;
        ring_[std::size_t(segmentsDone_ % segmentsPerBlock_)] = segmentSum_;
        ++segmentsDone_;
        segmentSum_ = 0;
        segmentFill_ = 0;
        if (segmentsDone_ >= segmentsPerBlock_ &&
            (segmentsDone_ - segmentsPerBlock_) % segmentsPerHop_ == 0) {
            const double blockSum = std::accumulate(ring_.begin(), ring_.end(), 0.0);
            blocks_.push_back(blockSum / double(block_));
        }
    }
}

float LoudnessAnalyzer::channelTruePeak(const Channel& channel) const {
    const float threshold = channel.peak / maxTapSum_;
    float result = channel.peak;
    for (const auto& c : channel.candidates)
        if (c.level >= threshold) result = std::max(result, c.value);
    return result;
}

std::optional<LoudnessMeasurement> LoudnessAnalyzer::finish() {
    if (rate_ <= 0 || channelCount_ == 0 || blocks_.empty()) return std::nullopt;

    std::vector<double> kept;
    kept.reserve(blocks_.size());
    for (double power : blocks_)
        if (power > 0 && loudnessOf(power) > -70) kept.push_back(power);
    if (kept.empty()) return std::nullopt;
    const double gate = loudnessOf(std::accumulate(kept.begin(), kept.end(), 0.0) / double(kept.size())) - 10;
    double sum = 0;
    std::size_t count = 0;
    for (double power : kept)
        if (loudnessOf(power) > gate) {
            sum += power;
            ++count;
        }
    if (count == 0) return std::nullopt;

    const float zeros[after]{};
    float peak = 0, truePeak = 0;
    for (auto& channel : channels_) {
        std::copy(zeros, zeros + after, channel.window.data() + channel.windowFill);
        channel.windowFill += after;
        scanTruePeak(channel);
        peak = std::max(peak, channel.peak);
        truePeak = std::max(truePeak, channelTruePeak(channel));
    }
    const auto toDb = [](float linear) { return 20 * std::log10(double(linear)); };
    return LoudnessMeasurement{loudnessOf(sum / double(count)), toDb(peak), toDb(std::max(truePeak, peak))};
}

std::optional<LoudnessMeasurement> LoudnessAnalyzer::analyze(const std::vector<std::vector<float>>& channels,
                                                             double sampleRate) {
    if (channels.empty() || channels.front().empty()) return std::nullopt;
    const std::size_t frames = channels.front().size();
    for (const auto& channel : channels)
        if (channel.size() < frames) return std::nullopt;
    std::vector<const float*> pointers;
    for (const auto& channel : channels)
        pointers.push_back(channel.data());
    LoudnessAnalyzer analyzer(sampleRate, int(channels.size()));
    analyzer.add(pointers.data(), std::int64_t(frames));
    return analyzer.finish();
}

Expected<std::optional<LoudnessMeasurement>> LoudnessAnalyzer::measure(const std::string& path) {
    const std::string name = FileUrl::fromPath(path).fileName();
    auto opened = AudioFile::open(path);
    if (!opened) return Error{"Cannot measure loudness of " + name + ": " + opened.error().message};
    AudioFile& file = **opened;
    const int channelCount = file.channels();
    const std::int64_t frames = file.frames();
    if (channelCount <= 0 || frames <= 0) return std::optional<LoudnessMeasurement>{};

    LoudnessAnalyzer analyzer(file.sampleRate(), channelCount);
    analyzer.blocks_.reserve(std::size_t(frames / analyzer.hop_ + 1));
    auto failed = readInChunks(file, 1 << 16, [&](const float* const* channels, std::int64_t, std::int64_t count) {
        analyzer.add(channels, count);
    });
    if (failed) return Error{"Cannot measure loudness of " + name + ": " + failed->message};
    return analyzer.finish();
}

} // namespace ostinel
