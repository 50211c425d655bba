#pragma once

#include <QObject>

#include "workspace/WaveformController.h"

namespace ostinel {

// Publishes the waveform's view state to the views: one signal per observable
// field, raised only when the value really changed.
class WaveformViewState : public QObject {
    Q_OBJECT
public:
    explicit WaveformViewState(QObject* parent = nullptr);

    WaveformController& controller() { return controller_; }
    const WaveformController& controller() const { return controller_; }

signals:
    void zoomChanged();
    void scrollXChanged();
    void snapSuppressedChanged();
    void beatStepHeldChanged();
    void followPlayheadChanged();
    // Any of the four marked regions; the strip tells which.
    void selectionChanged(ostinel::TimelineMarks::Strip strip);
    void noteDragSecondsChanged();

private:
    WaveformController controller_;
};

} // namespace ostinel
