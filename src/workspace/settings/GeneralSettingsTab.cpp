#include "workspace/settings/GeneralSettingsTab.h"

#include <QCheckBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QSignalBlocker>

#include "document/AppState.h"
#include "playback/PlaybackEngine.h"
#include "workspace/common/Workspace.h"
#include "workspace/settings/SettingsRows.h"

namespace ostinel {

namespace {

QDoubleSpinBox* secondsBox(double min, double max, double step, int decimals) {
    auto* box = new QDoubleSpinBox;
    box->setRange(min, max);
    box->setSingleStep(step);
    box->setDecimals(decimals);
    box->setSuffix(" s");
    box->setMinimumWidth(110);
    // Only a finished entry counts: typing "120" must not pass through 1 and 12.
    box->setKeyboardTracking(false);
    return box;
}

} // namespace

GeneralSettingsTab::GeneralSettingsTab(Workspace& workspace, QWidget* parent)
    : QWidget(parent), workspace_(workspace) {
    AppState& state = workspace.state;
    PlaybackEngine& engine = workspace.engine;

    openLastShow_ = settingsCheckBox("Open Last Show at Launch");
    autosaveInterval_ = secondsBox(minAutosaveSeconds, maxAutosaveSeconds, 5.0, 0);
    preserveZoom_ = settingsCheckBox("Keep Zoom Level When Switching Tracks");
    spectralColoring_ = settingsCheckBox("Spectral Coloring");
    waveformFollowsVolume_ = settingsCheckBox("Scale Waveform With Track Level");
    stopFade_ = secondsBox(0.0, PlaybackEngine::maxStopFadeSeconds, 0.5, 1);

    QFormLayout* form = settingsForm(this);
    form->addRow("Startup:", settingsField(openLastShow_));
    form->addRow("Autosave:",
                 settingsField(autosaveInterval_,
                               "Unsaved changes are snapshotted for crash recovery at this interval."));
    form->addRow("Show Mode:",
                 settingsField(preserveZoom_, "Only applies in Show mode with Follow Playhead enabled."));
    form->addRow("Colour:", settingsField(spectralColoring_, "Tints the waveform by frequency content — low "
                                                             "frequencies red, mids green, highs blue."));
    form->addRow(
        "Waveform:",
        settingsField(waveformFollowsVolume_,
                      "Draws the waveform at the track's level instead of the file's — louder cue, taller "
                      "waveform. Turn off to always see the raw file amplitude."));
    form->addRow("Stop Fade:",
                 settingsField(stopFade_, "Fade length when stopping playback — applies to Escape, the "
                                          "Enter fade-and-go, and the Stop button."));
    reflect();

    connect(openLastShow_, &QCheckBox::toggled, this,
            [&state](bool on) { state.setOpenLastShowOnLaunch(on); });
    connect(autosaveInterval_, &QDoubleSpinBox::valueChanged, this,
            [&state](double seconds) { state.setAutosaveInterval(seconds); });
    connect(preserveZoom_, &QCheckBox::toggled, this,
            [&state](bool on) { state.setPreserveZoomOnTrackSwitch(on); });
    connect(spectralColoring_, &QCheckBox::toggled, this,
            [&state](bool on) { state.setSpectralColoringEnabled(on); });
    connect(waveformFollowsVolume_, &QCheckBox::toggled, this,
            [&state](bool on) { state.setWaveformFollowsVolume(on); });
    connect(stopFade_, &QDoubleSpinBox::valueChanged, this,
            [&engine](double seconds) { engine.setStopFadeSeconds(seconds); });

    for (auto changed :
         {&AppState::openLastShowOnLaunchChanged, &AppState::autosaveIntervalChanged,
          &AppState::preserveZoomOnTrackSwitchChanged, &AppState::waveformFollowsVolumeChanged,
          &AppState::spectralColoringEnabledChanged})
        connect(&state, changed, this, &GeneralSettingsTab::reflect);
    connect(&engine, &PlaybackEngine::stopFadeSecondsChanged, this, &GeneralSettingsTab::reflect);
}

// Blocked, so showing a value never writes it back: a stored autosave
// interval below the box's minimum stays as it is until the operator edits it.
void GeneralSettingsTab::reflect() {
    const AppState& state = workspace_.state;
    const QSignalBlocker blockers[] = {QSignalBlocker(openLastShow_), QSignalBlocker(autosaveInterval_),
                                       QSignalBlocker(preserveZoom_), QSignalBlocker(waveformFollowsVolume_),
                                       QSignalBlocker(spectralColoring_), QSignalBlocker(stopFade_)};
    openLastShow_->setChecked(state.openLastShowOnLaunch());
    autosaveInterval_->setValue(state.autosaveInterval());
    preserveZoom_->setChecked(state.preserveZoomOnTrackSwitch());
    waveformFollowsVolume_->setChecked(state.waveformFollowsVolume());
    spectralColoring_->setChecked(state.spectralColoringEnabled());
    stopFade_->setValue(workspace_.engine.stopFadeSeconds());
}

} // namespace ostinel
