#pragma once

#include <array>
#include <cstdint>

#include "timecode/TimecodeRate.h"

namespace ostinel {

// SMPTE linear timecode as audio: a biphase-mark stream of 80-bit frames with
// softened edges, made for one sample rate and one rate. It counts frames by
// itself, sample by sample; correcting it against the playhead is the
// output's business. Real-time safe: no allocation, no locks; the frame is
// rebuilt in place.
class LTCEncoder {
public:
    static constexpr int bitsPerFrame = 80;

    LTCEncoder(double sampleRate, TimecodeRate rate) noexcept;

    // Plain truncation of seconds × exact rate, at least 0. The wave carries
    // on at its level: a jump is not an audible click.
    void locate(double seconds) noexcept;
    // `count` samples at linear `amplitude`; 0 does nothing.
    void fill(float* buffer, std::int64_t count, float amplitude) noexcept;

    double sampleRate() const noexcept { return sampleRate_; }
    TimecodeRate rate() const noexcept { return rate_; }
    double halfBitSamples() const noexcept { return halfBitSamples_; }
    std::int64_t frameNumber() const noexcept { return frameNumber_; }
    int bitIndex() const noexcept { return bitIndex_; }
    bool inSecondHalf() const noexcept { return inSecondHalf_; }
    // Where the encoder is, in seconds of timecode, for the output's drift check.
    double position() const noexcept;
    const std::array<bool, bitsPerFrame>& bits() const noexcept { return bits_; }

private:
    void buildFrameBits() noexcept;
    // One half-cell boundary: the next bit, or the mid-cell edge of a one.
    void advanceHalfCell() noexcept;

    double sampleRate_;
    TimecodeRate rate_;
    double halfBitSamples_;
    float smoothK_;
    std::int64_t frameNumber_ = 0;
    std::array<bool, bitsPerFrame> bits_{};
    int bitIndex_ = 0;
    bool inSecondHalf_ = false;
    float polarity_ = -1.0f;
    double samplesUntilToggle_ = 0.0;
    float smoothed_ = 0.0f;
};

} // namespace ostinel
