#pragma once

#include <QLine>
#include <QString>
#include <QColor>
#include <QVector>

#include <array>

#include <optional>
#include <utility>
#include <vector>

#include "base/Uuid.h"
#include "workspace/common/TimelineGeometry.h"
#include "workspace/waveform/WaveformHandles.h"

class QPainter;

namespace ostinel {

struct Track;

namespace waveform {

// Everything one frame of the canvas shows.
struct CanvasScene {
    const Track* track = nullptr;
    const std::vector<float>* peaks = nullptr;
    // Bass, mid and high per peak, when the waveform is coloured by them.
    const std::vector<std::array<float, 3>>* bands = nullptr;
    TimelineGeometry geometry;
    CanvasMetrics metrics;
    int width = 0;
    // Height of the waveform relative to full scale (follows the level).
    double levelScale = 1.0;
    bool editable = true;
    std::optional<std::pair<double, double>> mark;
    std::optional<Uuid> selectedLoopID;
    std::optional<Uuid> activeLoopID;
    std::optional<double> playhead;
    // The automation point under a drag, whose level is read out.
    std::optional<Uuid> readoutPointID;
    // Shown in the waveform's place while there are no peaks to draw.
    QString placeholder;
};

// Draws the canvas. Keeps its scratch buffers between frames so a repaint
// while playing allocates nothing.
class WaveformPainter {
public:
    void paint(QPainter& p, const CanvasScene& scene);

private:
    void paintWave(QPainter& p, const CanvasScene& s);
    void paintTinted(QPainter& p, const CanvasScene& s);
    void paintPlaceholder(QPainter& p, const CanvasScene& s);
    void paintBeatGrid(QPainter& p, const CanvasScene& s);
    void paintFades(QPainter& p, const CanvasScene& s);
    void paintAutomation(QPainter& p, const CanvasScene& s);
    void paintLoops(QPainter& p, const CanvasScene& s);
    void paintInOut(QPainter& p, const CanvasScene& s);
    void paintReadout(QPainter& p, const CanvasScene& s);

    std::vector<float> columns_;
    std::vector<std::array<float, 3>> columnBands_;
    QVector<QLine> inside_;
    QVector<QLine> outside_;
};

// The waveform's height for a track level: the fader's own curve, so a cue
// pulled down by 20 dB still shows its shape; unity is full height.
double levelScaleFor(double volume);

// Bass red, mids green, highs blue at the frame's own balance; a silent
// frame keeps the plain waveform colour.
QColor bandTint(const std::array<float, 3>& band, const QColor& plain);

} // namespace waveform
} // namespace ostinel
