#include "workspace/strips/TimelineStripView.h"

#include <QContextMenuEvent>
#include <QHelpEvent>
#include <QMenu>
#include <QMouseEvent>
#include <QToolTip>

#include <algorithm>
#include <utility>

#include "document/AppState.h"
#include "platform/MainLoop.h"
#include "playback/PlaybackEngine.h"
#include "workspace/WaveformViewState.h"
#include "workspace/common/TimelineClick.h"
#include "workspace/common/Workspace.h"
#include "workspace/strips/StripEdits.h"

namespace ostinel {

namespace {

constexpr int repaintIntervalMs = 16;
// Small enough for a precise nudge, large enough that a click with a shaky
// hand stays a click.
constexpr double dragThreshold = 4.0;
constexpr double markerTolerance = 8.0;

} // namespace

TimelineStripView::TimelineStripView(Workspace& workspace, WaveformController::Strip kind, QWidget* parent)
    : QWidget(parent), ws_(workspace), kind_(kind), frame_(*this, workspace.view.controller(), kind) {
    setAttribute(Qt::WA_OpaquePaintEvent);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);

    auto redraw = [this] { update(); };
    AppState& state = ws_.state;
    connect(&state, &AppState::showChanged, this, [this] {
        syncVisibility();
        update();
    });
    connect(&state, &AppState::modeChanged, this, redraw);
    connect(&state, &AppState::selectedTrackIDChanged, this, redraw);
    connect(&state, &AppState::selectedNoteIDChanged, this, redraw);
    connect(&state, &AppState::selectedMidiTriggerIDChanged, this, redraw);
    connect(&state, &AppState::selectedOSCTriggerIDChanged, this, redraw);
    WaveformViewState& view = ws_.view;
    connect(&view, &WaveformViewState::zoomChanged, this, redraw);
    connect(&view, &WaveformViewState::scrollXChanged, this, redraw);
    connect(&view, &WaveformViewState::followPlayheadChanged, this, redraw);
    connect(&view, &WaveformViewState::selectionChanged, this, [this](TimelineMarks::Strip strip) {
        if (strip == kind_) update();
    });
    PlaybackEngine& engine = ws_.engine;
    connect(&engine, &PlaybackEngine::positionEpochChanged, this, redraw);
    connect(&engine, &PlaybackEngine::currentURLChanged, this, redraw);
    connect(&engine, &PlaybackEngine::isPlayingChanged, this, [this] {
        syncRepaintTimer();
        update();
    });

    repaintTimer_.setInterval(repaintIntervalMs);
    connect(&repaintTimer_, &QTimer::timeout, this, redraw);
    syncRepaintTimer();
    syncVisibility();
}

TimelineStripView::~TimelineStripView() = default;

QSize TimelineStripView::sizeHint() const {
    return {600, 38};
}
QSize TimelineStripView::minimumSizeHint() const {
    return {120, 38};
}

WaveformController& TimelineStripView::controller() const {
    return ws_.view.controller();
}

std::optional<Track> TimelineStripView::track() const {
    return ws_.state.selectedTrack();
}

TimelineGeometry TimelineStripView::geometry(const Track& track) const {
    return TimelineGeometry::forFrame(controller(), ws_.engine, track, ws_.loop.now());
}

std::optional<Uuid> TimelineStripView::itemAt(const Track& track, const TimelineGeometry& g, double x) const {
    return strips::markerAt(markerSpans(track, g), x, markerTolerance);
}

QPointF TimelineStripView::windowPos(QPointF local) const {
    return local + QPointF(mapTo(window(), QPoint(0, 0)));
}

void TimelineStripView::syncRepaintTimer() {
    if (ws_.engine.isPlaying())
        repaintTimer_.start();
    else
        repaintTimer_.stop();
}

// The show file says which strips it wants. A strip without a parent is a
// window of its own, shown by whoever made it.
void TimelineStripView::syncVisibility() {
    if (!parentWidget()) return;
    if (!strips::stripShown(ws_.state.show(), kind_))
        hide();
    else if (isHidden())
        show();
}

// A flag shows as much of its text as fits; hovering shows all of it.
bool TimelineStripView::event(QEvent* event) {
    if (event->type() != QEvent::ToolTip) return QWidget::event(event);
    auto* help = static_cast<QHelpEvent*>(event);
    const auto track = this->track();
    const auto hit = track ? itemAt(*track, geometry(*track), help->pos().x()) : std::nullopt;
    if (!hit) {
        QToolTip::hideText();
        event->ignore();
        return true;
    }
    for (const auto& m : strips::stripMarkers(*track, kind_))
        if (m.id == *hit) QToolTip::showText(help->globalPos(), QString::fromStdString(m.text), this);
    return true;
}

// --- Gestures --------------------------------------------------------------------

std::optional<Uuid> TimelineStripView::createAt(const Track& track, double t) {
    auto id = strips::addItem(ws_.state, kind_, track.id, t);
    if (id) strips::selectItem(ws_.state, kind_, id);
    return id;
}

void TimelineStripView::mousePressEvent(QMouseEvent* event) {
    gesture_ = Gesture::none;
    moved_ = false;
    groupDrag_.reset();
    const auto track = this->track();
    if (event->button() != Qt::LeftButton || !track || !(track->duration > 0.0)) return;
    const bool showMode = ws_.state.mode() == AppMode::show;
    if (showMode && ws_.engine.isPlaying()) return;

    const auto g = geometry(*track);
    const double x = event->position().x();
    pressPos_ = event->position();
    pressItem_ = showMode ? std::nullopt : itemAt(*track, g, x);
    if (showMode) {
        gesture_ = Gesture::click;
        return;
    }
    if (event->modifiers() & Qt::ControlModifier) {
        if (!pressItem_) createAt(*track, controller().snap(g.timeAt(x), *track));
        return;
    }
    if (strips::insideMark(controller().mark(kind_), g.timeAt(x))) {
        gesture_ = Gesture::groupDrag;
    } else if (pressItem_) {
        gesture_ = Gesture::moveItem;
        strips::selectItem(ws_.state, kind_, pressItem_);
        grabOffset_ = g.timeAt(x) - strips::itemTime(*track, kind_, *pressItem_).value_or(g.timeAt(x));
    } else {
        gesture_ = Gesture::marquee;
    }
}

void TimelineStripView::mouseMoveEvent(QMouseEvent* event) {
    if (gesture_ == Gesture::none) return;
    const QPointF pos = event->position();
    if (!moved_ && (pos - pressPos_).manhattanLength() < dragThreshold) return;
    moved_ = true;
    const auto track = this->track();
    if (track && gesture_ != Gesture::click) dragTo(*track, pos);
}

void TimelineStripView::dragTo(const Track& track, QPointF pos) {
    const auto g = geometry(track);
    WaveformController& c = controller();
    switch (gesture_) {
    case Gesture::moveItem: {
        const double t = c.snap(g.timeAt(pos.x()) - grabOffset_, track);
        strips::setItemTime(ws_.state, kind_, track.id, *pressItem_, t);
        if (kind_ == WaveformController::Strip::notes) c.setNoteDragSeconds(t);
        break;
    }
    case Gesture::marquee: {
        // Times from the drawn geometry, so a zoomed and scrolled view marks
        // what lies under the pointer.
        const double start = c.snap(g.timeAt(pressPos_.x()), track);
        const double end = c.snap(g.timeAt(pos.x()), track);
        c.applyMarquee(windowPos(pressPos_).y(), windowPos(pos).y(), start, end, kind_);
        break;
    }
    case Gesture::groupDrag: {
        if (!groupDrag_) {
            groupDrag_ = GroupDrag::capture(track, c);
            const auto own = c.mark(kind_);
            groupAnchor_ = own ? std::min(own->start, own->end) : g.timeAt(pressPos_.x());
        }
        // The group's start lands on the grid, as a single marker would.
        const double raw = g.timeAt(pos.x()) - g.timeAt(pressPos_.x());
        const double delta =
            groupDrag_->clampedDelta(c.snap(groupAnchor_ + raw, track) - groupAnchor_, track.duration);
        ws_.state.editTrack(track.id, [&](Track& t) { groupDrag_->apply(delta, t, c); });
        break;
    }
    case Gesture::none:
    case Gesture::click:
        break;
    }
}

void TimelineStripView::mouseReleaseEvent(QMouseEvent* event) {
    const Gesture gesture = std::exchange(gesture_, Gesture::none);
    groupDrag_.reset();
    if (event->button() != Qt::LeftButton || gesture == Gesture::none) return;
    if (gesture == Gesture::moveItem && kind_ == WaveformController::Strip::notes)
        controller().setNoteDragSeconds(std::nullopt);
    if (moved_) return;
    const auto track = this->track();
    if (!track) return;
    if (pressItem_)
        strips::selectItem(ws_.state, kind_, pressItem_);
    else
        clickToSeek(ws_, *track, geometry(*track).timeAt(event->position().x()), true);
}

void TimelineStripView::mouseDoubleClickEvent(QMouseEvent* event) {
    gesture_ = Gesture::none;
    const auto track = this->track();
    if (event->button() != Qt::LeftButton || !track || ws_.state.mode() == AppMode::show) return;
    const auto g = geometry(*track);
    const double x = event->position().x();
    if (!itemAt(*track, g, x)) createAt(*track, controller().snap(g.timeAt(x), *track));
}

void TimelineStripView::contextMenuEvent(QContextMenuEvent* event) {
    if (ws_.state.mode() == AppMode::show) return;
    auto menu = makeContextMenu(event->pos());
    if (!menu->isEmpty()) menu->exec(event->globalPos());
}

} // namespace ostinel
