#include "workspace/common/TimelineClick.h"

#include "document/AppState.h"
#include "playback/PlaybackEngine.h"
#include "workspace/WaveformViewState.h"
#include "workspace/common/Workspace.h"

namespace ostinel {

void clickToSeek(Workspace& ws, const Track& track, double time, bool onEmptySpace) {
    if (ws.engine.isPlaying()) return;
    if (ws.engine.currentURL() == track.url) ws.engine.seek(time);
    ws.view.controller().clearAllSelections();
    if (onEmptySpace) ws.state.clearTimelineSelection();
}

} // namespace ostinel
