#pragma once

#include <QTimer>
#include <QWidget>

#include <memory>
#include <optional>
#include <vector>

#include "base/Uuid.h"
#include "document/GroupDrag.h"
#include "workspace/WaveformController.h"
#include "workspace/common/TimelineGeometry.h"
#include "workspace/common/StripFrameReporter.h"
#include "workspace/strips/StripModel.h"

class QMenu;
class QPainter;

namespace ostinel {

struct Track;
struct Workspace;

// One timeline strip under the waveform: the notes, the MIDI triggers or the
// OSC triggers of the selected track, drawn on the waveform's time axis.
class TimelineStripView : public QWidget {
    Q_OBJECT
  public:
    TimelineStripView(Workspace& workspace, WaveformController::Strip kind, QWidget* parent = nullptr);
    ~TimelineStripView() override;

    WaveformController::Strip kind() const { return kind_; }
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

    // The strip's menu at a point of the strip: create, copy, paste, delete.
    // Built fresh each time, so its entries match the moment it opens.
    std::unique_ptr<QMenu> makeContextMenu(QPoint pos);

  protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

  private:
    // What the press started; decided at press time, acted on once the
    // pointer has moved far enough to count as a drag.
    enum class Gesture { none, click, moveItem, marquee, groupDrag };

    WaveformController& controller() const;
    std::optional<Track> track() const;
    TimelineGeometry geometry(const Track& track) const;
    std::vector<strips::MarkerSpan> markerSpans(const Track& track, const TimelineGeometry& g) const;
    std::optional<Uuid> itemAt(const Track& track, const TimelineGeometry& g, double x) const;
    QPointF windowPos(QPointF local) const;
    std::optional<Uuid> createAt(const Track& track, double t);
    void dragTo(const Track& track, QPointF pos);
    void syncRepaintTimer();
    void syncVisibility();
    void paintMarkers(QPainter& p, const Track& track, const std::vector<strips::MarkerSpan>& spans);
    void paintTitle(QPainter& p, bool enabled, const std::vector<strips::MarkerSpan>& spans);

    Workspace& ws_;
    WaveformController::Strip kind_;
    QTimer repaintTimer_;
    StripFrameReporter frame_;

    Gesture gesture_ = Gesture::none;
    bool moved_ = false;
    QPointF pressPos_;
    std::optional<Uuid> pressItem_;
    double grabOffset_ = 0.0;
    std::optional<GroupDrag> groupDrag_;
    double groupAnchor_ = 0.0;
};

} // namespace ostinel
