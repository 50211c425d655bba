#pragma once

#include <cmath>
#include <cstdint>

#include "document/Track.h"

namespace ostinel {

// Derived from a track for drawing and snapping; never stored.
struct BeatGrid {
    double bpm = 120.0;
    double anchorSeconds = 0.0;
    double barsPerLine = 0.25;
    std::int64_t beatsPerBar = 4;

    static BeatGrid of(const Track& t) { return {t.bpm, t.beatOffsetSeconds, t.beatgridBars, 4}; }

    double spacing() const { return bpm > 0.0 ? barsPerLine * (60.0 / bpm * double(beatsPerBar)) : 0.0; }
    double lineTime(std::int64_t k) const { return anchorSeconds + double(k) * spacing(); }

    // Rounds down, so the line may lie just before t; the drawer skips it.
    std::int64_t firstLineIndex(double t) const {
        double s = spacing();
        if (!(s > 0.0)) return 0;
        return static_cast<std::int64_t>(std::floor((t - anchorSeconds) / s));
    }
    // Half away from zero, like the drag snapping always has.
    double snap(double t) const {
        double s = spacing();
        if (!(s > 0.0)) return t;
        return anchorSeconds + s * std::round((t - anchorSeconds) / s);
    }
};

} // namespace ostinel
