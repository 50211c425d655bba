#include "document/Track.h"

#include <algorithm>

namespace ostinel {

const Uuid Loop::cueLoopID = *Uuid::parse("7A3D1009-0000-4000-8000-00000000A3D1");

LoopGap Track::loopGap(const Uuid& loopID) const {
    const Loop* self = loop(loopID);
    if (!self) return {0.0, duration};
    LoopGap gap{0.0, duration};
    bool haveLower = false;
    bool haveUpper = false;
    for (const Loop& other : loops) {
        if (other.id == loopID) continue;
        if (other.endSeconds <= self->startSeconds + 0.001) {
            gap.lower = haveLower ? std::max(gap.lower, other.endSeconds) : other.endSeconds;
            haveLower = true;
        }
        if (other.startSeconds >= self->endSeconds - 0.001) {
            gap.upper = haveUpper ? std::min(gap.upper, other.startSeconds) : other.startSeconds;
            haveUpper = true;
        }
    }
    return gap;
}

} // namespace ostinel
