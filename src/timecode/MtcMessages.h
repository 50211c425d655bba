#pragma once

#include <array>
#include <cstdint>

#include "timecode/TimecodeRate.h"

// The two MIDI timecode messages. Pure and allocation-free: the quarter-frame
// clock builds them on its own real-time thread.
namespace ostinel::mtc {

inline constexpr std::uint8_t quarterFrameStatus = 0xF1;
inline constexpr int piecesPerSequence = 8;

// The data byte of quarter frame `piece` (0...7) spelling `latched`: the
// piece number in the high nibble, one nibble of the timecode in the low one;
// the last piece carries the rate code and the top bit of the hours.
std::uint8_t quarterFrameData(const TimecodeComponents& latched, int piece, TimecodeRate rate) noexcept;

using FullFrame = std::array<std::uint8_t, 10>;

// The universal real-time "full message" naming `frame`, sent at a locate so
// a chasing device jumps at once rather than waiting for a whole sequence.
FullFrame fullFrame(std::int64_t frame, TimecodeRate rate) noexcept;

} // namespace ostinel::mtc
