#pragma once

#include "base/Uuid.h"
#include "workspace/waveform/WaveformHandles.h"

class QMenu;

namespace ostinel {

class AppState;
struct Track;
struct Workspace;

namespace waveform {

inline constexpr const char* loopOverlapNotice = "Can't create a loop here \u2014 it overlaps an existing loop.";

// A loop from the waveform's mark. On success the loop is selected and the
// marks cleared; otherwise the operator is told and the mark stays.
bool createLoopFromMark(Workspace& workspace, const Uuid& trackID);
void toggleLoopEnabled(AppState& state, const Uuid& trackID, const Uuid& loopID);

// The right-click menu for what lies at time t: Create Loop and tempo
// detection with a mark, the loop's own menu on a loop, else volume point and
// paste.
void fillContextMenu(QMenu& menu, Workspace& workspace, const Track& track, const Hit& hit, double t);

} // namespace waveform
} // namespace ostinel
