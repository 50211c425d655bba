#include "workspace/waveform/TimelineFrame.h"

#include "document/AppState.h"
#include "platform/MainLoop.h"
#include "playback/PlaybackEngine.h"
#include "workspace/WaveformViewState.h"
#include "workspace/common/Workspace.h"

namespace ostinel::waveform {

std::optional<TimelineFrame> currentFrame(Workspace& ws) {
    auto track = ws.state.selectedTrack();
    if (!track) return std::nullopt;
    auto geometry = TimelineGeometry::forFrame(ws.view.controller(), ws.engine, *track, ws.loop.now());
    return TimelineFrame{std::move(*track), geometry};
}

} // namespace ostinel::waveform
