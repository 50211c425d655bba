#pragma once

#include <cstdint>

#include "timecode/TimecodeRate.h"

namespace ostinel {

// Which frame the next eight quarter frames spell. A receiver chases only a
// stream that starts on an even frame and moves exactly two frames per
// sequence, so the latch counts on by two and gives in to the playhead only
// when it disagrees by 4 frames or more twice running: a single late tick or
// a single jump of the reference does not break the count, and a small steady
// disagreement is left alone on purpose.
struct MtcLatch {
    static constexpr std::int64_t driftLimitFrames = 4;
    static constexpr int strikesToSnap = 2;

    TimecodeComponents latched;
    std::int64_t latchedFrame = -1; // -1: not latched, the next target is taken as it is
    int driftStrikes = 0;

    // Once per sequence, with the frame the playhead is at. Allocation-free.
    void advanceLatchedFrame(std::int64_t target, TimecodeRate rate) noexcept;
    void reset() noexcept { latchedFrame = -1; }
};

} // namespace ostinel
