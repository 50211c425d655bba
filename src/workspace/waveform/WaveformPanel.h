#pragma once

#include <QWidget>

#include <optional>

#include "base/FileUrl.h"

class QTimer;
class QVBoxLayout;

namespace ostinel {

struct Workspace;
class TimeRuler;
class WaveformCanvas;
class WaveformToolbar;

// The selected cue's waveform with its ruler and toolbar, and below it the
// timeline strips, all sharing one horizontal extent so x lines up.
class WaveformPanel : public QWidget {
    Q_OBJECT
public:
    explicit WaveformPanel(Workspace& workspace, QWidget* parent = nullptr);
    ~WaveformPanel() override;

    // Stacks a timeline strip under the waveform, at the waveform's width.
    void addStrip(QWidget* strip);

    WaveformCanvas* canvas() const { return canvas_; }
    TimeRuler* ruler() const { return ruler_; }

public slots:
    // Menu commands: about the middle of the file's view.
    void zoomIn();
    void zoomOut();
    void zoomToFit();

protected:
    void resizeEvent(QResizeEvent* event) override;
    void moveEvent(QMoveEvent* event) override;

private:
    void zoomAboutPlayhead(double factor);
    void zoomAbout(double factor, double focalFraction);
    void playingChanged();
    void selectedTrackChanged();
    void applyBounds();
    void watchPeaks();
    void requestBands();
    void redraw();

    Workspace& workspace_;
    WaveformToolbar* toolbar_ = nullptr;
    TimeRuler* ruler_ = nullptr;
    WaveformCanvas* canvas_ = nullptr;
    QVBoxLayout* timeline_ = nullptr;
    QTimer* frameTimer_ = nullptr;
    std::optional<FileUrl> watchedUrl_;
    QMetaObject::Connection peaksConnection_;
    QMetaObject::Connection bandsConnection_;
};

} // namespace ostinel
