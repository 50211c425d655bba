#include "timecode/MtcLatch.h"

namespace ostinel {

void MtcLatch::advanceLatchedFrame(std::int64_t target, TimecodeRate rate) noexcept {
    const std::int64_t even = target & ~std::int64_t(1);
    std::int64_t next = even;
    if (latchedFrame < 0) {
        driftStrikes = 0;
    } else {
        next = latchedFrame + 2;
        const std::int64_t drift = target > next ? target - next : next - target;
        if (drift < driftLimitFrames) {
            driftStrikes = 0;
        } else if (++driftStrikes >= strikesToSnap) {
            next = even;
            driftStrikes = 0;
        }
    }
    latchedFrame = next;
    latched = timecode::components(rate, next);
}

} // namespace ostinel
