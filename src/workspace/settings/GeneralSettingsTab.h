#pragma once

#include <QWidget>

class QCheckBox;
class QDoubleSpinBox;

namespace ostinel {

struct Workspace;

// Start-up, autosave, Show mode, waveform drawing and the stop fade: each
// control writes its owner's value at once and follows changes made elsewhere.
// The show check on entering Show mode and spectral colouring get their
// switches when they exist: a switch that does nothing misleads.
class GeneralSettingsTab : public QWidget {
    Q_OBJECT
public:
    explicit GeneralSettingsTab(Workspace& workspace, QWidget* parent = nullptr);

    QCheckBox* openLastShow() const { return openLastShow_; }
    QDoubleSpinBox* autosaveInterval() const { return autosaveInterval_; }
    QCheckBox* waveformFollowsVolume() const { return waveformFollowsVolume_; }
    QCheckBox* spectralColoring() const { return spectralColoring_; }
    QDoubleSpinBox* stopFade() const { return stopFade_; }
    QCheckBox* preserveZoom() const { return preserveZoom_; }

    // Autosave more often than this would write a large show back to back.
    static constexpr double minAutosaveSeconds = 5.0;
    static constexpr double maxAutosaveSeconds = 3600.0;

private:
    void reflect();

    Workspace& workspace_;
    QCheckBox* openLastShow_ = nullptr;
    QDoubleSpinBox* autosaveInterval_ = nullptr;
    QCheckBox* waveformFollowsVolume_ = nullptr;
    QCheckBox* spectralColoring_ = nullptr;
    QDoubleSpinBox* stopFade_ = nullptr;
    QCheckBox* preserveZoom_ = nullptr;
};

} // namespace ostinel
