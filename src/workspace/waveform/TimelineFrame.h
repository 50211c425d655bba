#pragma once

#include <optional>

#include "document/Track.h"
#include "workspace/common/TimelineGeometry.h"

namespace ostinel {

struct Workspace;

namespace waveform {

// The selected cue and the mapping of this frame, for the ruler and canvas.
struct TimelineFrame {
    Track track;
    TimelineGeometry geometry;
};

// Nothing without a selected cue. Follow mode is worked out here, at the
// loop's present time, so call it from a paint pass or an input event.
std::optional<TimelineFrame> currentFrame(Workspace& workspace);

} // namespace waveform
} // namespace ostinel
