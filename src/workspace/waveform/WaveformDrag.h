#pragma once

#include <optional>

#include "document/GroupDrag.h"
#include "document/Track.h"
#include "workspace/waveform/WaveformHandles.h"

namespace ostinel {

class WaveformController;

namespace waveform {

// The arithmetic of one handle drag. Every step starts again from the track
// as it was at the press, so rounding never accumulates.
struct HandleDrag {
    Hit hit;
    Track captured;
    double pressTime = 0.0;

    // Writes the handle's place for the pointer at time t (and, for an
    // automation point, level db) into track. wholeBeats moves the beat anchor
    // in steps of one beat from where it was.
    void apply(Track& track, double t, double db, const WaveformController& controller, bool wholeBeats) const;
};

// The pointer has moved far enough from the press to count as a drag.
bool isDrag(double dx, double dy);

// The loop under a drag, moved by delta and kept between its neighbours and
// inside the file.
double movedLoopStart(const Track& captured, const Uuid& loopID, double delta);

} // namespace waveform
} // namespace ostinel
