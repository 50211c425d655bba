#pragma once

#include <QCoreApplication>
#include <QMouseEvent>
#include <QWheelEvent>

#include "support/QtTestApp.h"
#include "support/WorkspaceRig.h"
#include "workspace/waveform/TimelineFrame.h"
#include "workspace/waveform/WaveformCanvas.h"
#include "workspace/waveform/WaveformPanel.h"

namespace ostinel::test {

// A panel on screen (offscreen) showing one 10 s cue, loaded in the engine.
struct WaveformPanelRig {
    WorkspaceRig rig;
    Uuid cue;
    WaveformPanel panel{rig.workspace};

    WaveformPanelRig() {
        cue = rig.addCues({10.0})[0];
        rig.state.setSelectedTrackID(cue);
        rig.engine.load(rig.track(cue));
        panel.resize(1000, 400);
        panel.show();
    }
    WaveformController& controller() { return rig.view.controller(); }
    WaveformCanvas& canvas() { return *panel.canvas(); }
    const Track& track() { return rig.track(cue); }
    double xAt(double seconds) { return waveform::currentFrame(rig.workspace)->geometry.xAt(seconds); }

    void mouse(QEvent::Type type, QPointF pos, Qt::KeyboardModifiers modifiers = {},
               Qt::MouseButton button = Qt::LeftButton) {
        Qt::MouseButtons held = type == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::MouseButtons(button);
        QMouseEvent event(type, pos, canvas().mapToGlobal(pos), type == QEvent::MouseMove ? Qt::NoButton : button,
                          held, modifiers);
        QCoreApplication::sendEvent(&canvas(), &event);
    }
    void drag(QPointF from, QPointF to, Qt::KeyboardModifiers modifiers = {}) {
        mouse(QEvent::MouseButtonPress, from, modifiers);
        QPointF mid = (from + to) / 2;
        mouse(QEvent::MouseMove, mid, modifiers);
        mouse(QEvent::MouseMove, to, modifiers);
        mouse(QEvent::MouseButtonRelease, to, modifiers);
    }
    // True when the canvas kept the event for itself.
    bool wheel(QPoint angle, Qt::KeyboardModifiers modifiers = {}) {
        QPointF at(500, 100);
        QWheelEvent event(at, canvas().mapToGlobal(at), QPoint(), angle, Qt::NoButton, modifiers, Qt::NoScrollPhase,
                          false);
        QCoreApplication::sendEvent(&canvas(), &event);
        return event.isAccepted();
    }
};

} // namespace ostinel::test
