#include "workspace/waveform/WaveformMenus.h"

#include <QMenu>

#include "document/AppState.h"
#include "playback/PlaybackEngine.h"
#include "workspace/WaveformViewState.h"
#include "workspace/common/Workspace.h"
#include "workspace/waveform/TempoCommand.h"

namespace ostinel::waveform {

bool createLoopFromMark(Workspace& ws, const Uuid& trackID) {
    auto& controller = ws.view.controller();
    auto range = controller.selectionRange();
    if (!range || ws.state.mode() != AppMode::edit) return false;
    auto id = ws.state.addLoop(trackID, range->first, range->second);
    if (!id) {
        ws.engine.setNotice(loopOverlapNotice);
        return false;
    }
    ws.state.setSelectedLoopID(*id);
    controller.clearAllSelections();
    return true;
}

void toggleLoopEnabled(AppState& state, const Uuid& trackID, const Uuid& loopID) {
    state.editTrack(trackID, [&](Track& track) {
        for (std::size_t i = 0; i < track.loops.size(); ++i)
            if (track.loops[i].id == loopID) track.loops.edit(i).enabled = !track.loops[i].enabled;
    });
}

void fillContextMenu(QMenu& menu, Workspace& ws, const Track& track, const Hit& hit, double t) {
    const Uuid trackID = track.id;
    AppState& state = ws.state;
    if (ws.view.controller().selectionRange()) {
        QObject::connect(menu.addAction(QObject::tr("Create Loop")), &QAction::triggered, &menu,
                         [&ws, trackID] { createLoopFromMark(ws, trackID); });
        if (ws.tempo) {
            auto* detect = menu.addAction(QObject::tr("Detect Tempo from Selection"));
            detect->setEnabled(canDetectTempo(ws, trackID));
            QObject::connect(detect, &QAction::triggered, &menu, [&ws, trackID] { detectTempo(ws, trackID); });
        }
        return;
    }
    const Loop* loop = hit.kind == HandleKind::none || hit.kind == HandleKind::markedRegion ? nullptr
                                                                                             : track.loop(hit.id);
    if (loop) {
        const Uuid loopID = loop->id;
        QObject::connect(menu.addAction(loop->enabled ? QObject::tr("Disable Loop") : QObject::tr("Enable Loop")),
                         &QAction::triggered, &menu,
                         [&state, trackID, loopID] { toggleLoopEnabled(state, trackID, loopID); });
        QObject::connect(menu.addAction(QObject::tr("Copy Loop")), &QAction::triggered, &menu,
                         [&state, loopID] {
                             state.setSelectedLoopID(loopID);
                             state.copySelectedItem();
                         });
        QObject::connect(menu.addAction(QObject::tr("Delete Loop")), &QAction::triggered, &menu,
                         [&state, trackID, loopID] { state.deleteLoop(trackID, loopID); });
        return;
    }
    QObject::connect(menu.addAction(QObject::tr("Add Volume Point")), &QAction::triggered, &menu,
                     [&state, trackID, t] { state.addAutomationPoint(trackID, t); });
    const auto& clipboard = state.timelineClipboard();
    if (clipboard && !clipboard->loops.empty())
        QObject::connect(menu.addAction(QObject::tr("Paste Loop")), &QAction::triggered, &menu,
                         [&state, trackID, t] { state.pasteLoop(trackID, t); });
}

} // namespace ostinel::waveform
