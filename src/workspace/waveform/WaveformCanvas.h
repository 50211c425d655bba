#pragma once

#include <QPointF>
#include <QWidget>

#include <optional>

#include "base/FileUrl.h"
#include "document/GroupDrag.h"
#include "workspace/common/StripFrameReporter.h"
#include "workspace/waveform/WaveformDrag.h"
#include "workspace/waveform/WaveformPainter.h"
#include "workspace/waveform/WheelZoom.h"

class QLineEdit;

namespace ostinel {

struct Workspace;

// The selected cue's waveform with its flags, loops and automation, and the
// hand's gestures on them.
class WaveformCanvas : public QWidget {
    Q_OBJECT
public:
    explicit WaveformCanvas(Workspace& workspace, QWidget* parent = nullptr);

    // Tells the view state where the canvas stands in the window and how wide
    // it is; the panel calls it when anything above it moves.
    void reportFrame();

    // What stands in the selected cue's waveform while it has none: that it
    // is being drawn, or what keeps the file from being drawn. Empty while
    // the waveform is there.
    QString placeholder();

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void moveEvent(QMoveEvent* event) override;
    void showEvent(QShowEvent* event) override;
    bool event(QEvent* event) override;

private:
    struct Press {
        QPointF pos;
        QPointF windowPos;
        double time = 0.0;
        waveform::Hit hit;
        bool dragging = false;
        std::optional<waveform::HandleDrag> handle;
        std::optional<GroupDrag> group;
        double groupAnchor = 0.0;
        Track captured;
    };

    bool editable() const;
    waveform::CanvasMetrics metrics() const;
    void beginDrag(Press& press);
    void continueDrag(Press& press, QPointF pos, Qt::KeyboardModifiers modifiers);
    void finishClick(const Press& press);
    void toggleAutomationPoint(const Track& track, const waveform::Hit& hit, double time);
    void renameLoop(const Track& track, const Uuid& loopID);
    void updateCursor(QPointF pos);

    Workspace& ws_;
    StripFrameReporter frame_;
    waveform::WaveformPainter painter_;
    waveform::PinchZoom pinch_;
    double pinchMagnification_ = 0.0;
    std::optional<Press> press_;
    QLineEdit* renameEditor_ = nullptr;
    struct Failure {
        FileUrl url;
        bool missing = false;
    };
    std::optional<Failure> failure_;
};

} // namespace ostinel
