#include "timecode/LTCEncoder.h"

#include <algorithm>
#include <cmath>

namespace ostinel {

namespace {

// 2π × 8000: the edge low-pass sits near 8 kHz, the rise time readers expect.
constexpr double edgeOmega = 50265.48245743669;

struct Field {
    int first;
    int width;
};

void writeBcd(std::array<bool, LTCEncoder::bitsPerFrame>& bits, std::int64_t value, Field units, Field tens) {
    const std::int64_t u = value % 10, t = value / 10;
    for (int i = 0; i < units.width; ++i) bits[std::size_t(units.first + i)] = (u >> i) & 1;
    for (int i = 0; i < tens.width; ++i) bits[std::size_t(tens.first + i)] = (t >> i) & 1;
}

} // namespace

LTCEncoder::LTCEncoder(double sampleRate, TimecodeRate rate) noexcept
    : sampleRate_(sampleRate), rate_(rate), halfBitSamples_(sampleRate / timecode::ltcHalfBitsPerSecond(rate)),
      smoothK_(float(1.0 - std::exp(-edgeOmega / sampleRate))) {
    locate(0.0);
}

void LTCEncoder::locate(double seconds) noexcept {
    const double frames = std::trunc(seconds * timecode::exactFps(rate_));
    frameNumber_ = frames > 0.0 ? std::int64_t(frames) : 0;
    bitIndex_ = 0;
    inSecondHalf_ = false;
    samplesUntilToggle_ = halfBitSamples_;
    buildFrameBits();
}

double LTCEncoder::position() const noexcept {
    const double bit = double(bitIndex_) + (inSecondHalf_ ? 0.5 : 0.0);
    return (double(frameNumber_) + bit / bitsPerFrame) / timecode::exactFps(rate_);
}

void LTCEncoder::buildFrameBits() noexcept {
    bits_.fill(false);
    const TimecodeComponents c = timecode::components(rate_, frameNumber_);
    writeBcd(bits_, c.f, {0, 4}, {8, 2});
    writeBcd(bits_, c.s, {16, 4}, {24, 3});
    writeBcd(bits_, c.m, {32, 4}, {40, 3});
    // The wire has two hour digits: the non-drop rates count past 23 and wrap here.
    writeBcd(bits_, c.h % 24, {48, 4}, {56, 2});
    bits_[10] = rate_ == TimecodeRate::fps2997df;
    for (int i = 66; i <= 77; ++i) bits_[std::size_t(i)] = true;
    bits_[79] = true;
    int ones = 0;
    for (bool bit : bits_) ones += bit;
    // An even count of ones starts every frame at the same polarity.
    if (ones % 2) bits_[rate_ == TimecodeRate::fps25 ? 59 : 27] = true;
}

void LTCEncoder::advanceHalfCell() noexcept {
    samplesUntilToggle_ += halfBitSamples_;
    if (inSecondHalf_) {
        if (++bitIndex_ == bitsPerFrame) {
            bitIndex_ = 0;
            ++frameNumber_;
            buildFrameBits();
        }
        polarity_ = -polarity_;
        inSecondHalf_ = false;
    } else {
        if (bits_[std::size_t(bitIndex_)]) polarity_ = -polarity_;
        inSecondHalf_ = true;
    }
}

void LTCEncoder::fill(float* buffer, std::int64_t count, float amplitude) noexcept {
    // Between boundaries the level holds, so the low-pass runs as its distance
    // from the level: one multiplication a sample, the loop free of branches.
    // Whole samples come off the countdown exactly, so a run of them at once
    // lands where one at a time would.
    const float keep = 1.0f - smoothK_;
    for (std::int64_t i = 0; i < count;) {
        const auto steady = std::int64_t(std::ceil(samplesUntilToggle_)) - 1;
        const std::int64_t run = std::min(count - i, std::max<std::int64_t>(steady, 0));
        float offset = smoothed_ - polarity_;
        for (const std::int64_t end = i + run; i < end; ++i) {
            offset *= keep;
            buffer[i] = amplitude * (polarity_ + offset);
        }
        smoothed_ = polarity_ + offset;
        samplesUntilToggle_ -= double(run);
        if (i == count) break;

        samplesUntilToggle_ -= 1.0;
        while (samplesUntilToggle_ <= 0.0) advanceHalfCell();
        smoothed_ += smoothK_ * (polarity_ - smoothed_);
        buffer[i++] = amplitude * smoothed_;
    }
}

} // namespace ostinel
