#pragma once

#include <QObject>

#include "workspace/WaveformController.h"

namespace ostinel {

class AppState;

// Publishes the waveform's view state to the views: one signal per observable
// field, raised only when the value really changed.
class WaveformViewState : public QObject {
    Q_OBJECT
public:
    explicit WaveformViewState(QObject* parent = nullptr);

    WaveformController& controller() { return controller_; }
    const WaveformController& controller() const { return controller_; }

    // Entering Show mode clears every strip's marked region: a region marked
    // while editing would otherwise make GO! start the cue in its middle.
    void followMode(const AppState& state);

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
