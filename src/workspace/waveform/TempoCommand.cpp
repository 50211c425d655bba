#include "workspace/waveform/TempoCommand.h"

#include <QObject>

#include "analysis/TempoDetection.h"
#include "document/AppState.h"
#include "playback/PlaybackEngine.h"
#include "workspace/WaveformViewState.h"
#include "workspace/common/Workspace.h"

namespace ostinel::waveform {

bool isDetectingTempo(const Workspace& ws, const Uuid& trackID) {
    return ws.state.analyzingTempoTrackID() == trackID || (ws.tempo && ws.tempo->isRunning(trackID));
}

QString detectTempoTip(const Workspace& ws, const Uuid& trackID) {
    if (isDetectingTempo(ws, trackID)) return QObject::tr("Detecting tempo\u2026");
    return ws.view.controller().selectionRange() ? QObject::tr("Detect tempo from the marked region and align the grid")
                                                 : QObject::tr("Detect tempo and align the grid");
}

bool canDetectTempo(const Workspace& ws, const Uuid& trackID) {
    return ws.tempo && ws.state.mode() == AppMode::edit && !isDetectingTempo(ws, trackID);
}

bool detectTempo(Workspace& ws, const Uuid& trackID) {
    if (!canDetectTempo(ws, trackID)) return false;
    return ws.tempo->detect(trackID, ws.view.controller().selectionRange(),
                            [&engine = ws.engine](std::optional<std::string> message) {
                                if (message) engine.setNotice(*message);
                            });
}

} // namespace ostinel::waveform
