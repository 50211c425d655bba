#pragma once

namespace ostinel {

struct Track;
struct Workspace;

// A click that positions the playhead, on the ruler, the waveform or a
// timeline strip: only while stopped, and only on the cue the engine holds.
// The marks go, and on empty space the timeline selection too.
void clickToSeek(Workspace& workspace, const Track& track, double time, bool onEmptySpace);

} // namespace ostinel
