#include "workspace/WaveformViewState.h"

#include "document/AppState.h"

namespace ostinel {

WaveformViewState::WaveformViewState(QObject* parent) : QObject(parent) {
    using Field = WaveformController::Field;
    using Strip = TimelineMarks::Strip;
    controller_.onChange = [this](Field field) {
        switch (field) {
        case Field::zoom: emit zoomChanged(); break;
        case Field::scrollX: emit scrollXChanged(); break;
        case Field::snapSuppressed: emit snapSuppressedChanged(); break;
        case Field::beatStepHeld: emit beatStepHeldChanged(); break;
        case Field::followPlayhead: emit followPlayheadChanged(); break;
        case Field::selection: emit selectionChanged(Strip::waveform); break;
        case Field::noteSelection: emit selectionChanged(Strip::notes); break;
        case Field::midiTriggerSelection: emit selectionChanged(Strip::midiTriggers); break;
        case Field::oscTriggerSelection: emit selectionChanged(Strip::oscTriggers); break;
        case Field::noteDragSeconds: emit noteDragSecondsChanged(); break;
        }
    };
}

void WaveformViewState::followMode(const AppState& state) {
    connect(&state, &AppState::modeChanged, this, [this, &state] {
        if (state.mode() == AppMode::show) controller_.clearAllSelections();
    });
}

} // namespace ostinel
