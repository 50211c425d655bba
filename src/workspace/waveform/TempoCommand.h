#pragma once

#include <QString>

#include "base/Uuid.h"

namespace ostinel {

struct Workspace;

namespace waveform {

bool isDetectingTempo(const Workspace& workspace, const Uuid& trackID);
// The wand's tooltip: with a mark, only the mark is listened to.
QString detectTempoTip(const Workspace& workspace, const Uuid& trackID);
// False while the track is being listened to, or in Show mode, where the
// grid is locked like every other edit.
bool canDetectTempo(const Workspace& workspace, const Uuid& trackID);
// Listens to the waveform's mark, or to the whole file without one; what the
// detection has to say lands on the transport's notice line.
bool detectTempo(Workspace& workspace, const Uuid& trackID);

} // namespace waveform
} // namespace ostinel
