#include "workspace/waveform/WaveformCanvas.h"

#include <QContextMenuEvent>
#include <QLineEdit>
#include <QMenu>
#include <QNativeGestureEvent>
#include <QPainter>
#include <QWheelEvent>

#include <utility>

#include "analysis/WaveformStore.h"
#include "document/AppState.h"
#include "playback/PlaybackEngine.h"
#include "workspace/WaveformViewState.h"
#include "workspace/common/Theme.h"
#include "workspace/common/TimelineClick.h"
#include "workspace/common/Workspace.h"
#include "workspace/waveform/TimelineFrame.h"
#include "workspace/waveform/WaveformMenus.h"

namespace ostinel {

using namespace waveform;

namespace {

WaveformController& controllerOf(Workspace& ws) { return ws.view.controller(); }

} // namespace

WaveformCanvas::WaveformCanvas(Workspace& workspace, QWidget* parent)
    : QWidget(parent), ws_(workspace), frame_(*this, controllerOf(workspace), WaveformController::Strip::waveform) {
    setMouseTracking(true);
    setMinimumHeight(140);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    setAttribute(Qt::WA_OpaquePaintEvent);
    setAttribute(Qt::WA_AcceptTouchEvents);
    connect(&ws_.store, &WaveformStore::peaksFailed, this, [this](const FileUrl& url) {
        if (failure_ && failure_->url == url) failure_.reset(); // failed again, perhaps otherwise
        update();
    });
}

bool WaveformCanvas::editable() const { return ws_.state.mode() == AppMode::edit; }

CanvasMetrics WaveformCanvas::metrics() const {
    return CanvasMetrics{double(height()), double(width())};
}

void WaveformCanvas::reportFrame() {
    frame_.report();
    controllerOf(ws_).setViewWidth(width());
}

void WaveformCanvas::paintEvent(QPaintEvent*) {
    QPainter p(this);
    auto frame = currentFrame(ws_);
    CanvasScene scene;
    scene.metrics = metrics();
    scene.width = width();
    if (!frame) {
        p.fillRect(rect(), theme::panel);
        p.setPen(theme::textDim);
        p.drawText(rect(), Qt::AlignCenter, tr("No cue selected"));
        return;
    }
    const Track& track = frame->track;
    const auto& peaks = ws_.store.entry(track.url).peaks();
    scene.track = &track;
    scene.peaks = peaks ? &*peaks : nullptr;
    const auto& bands = ws_.store.entry(track.url).bands();
    if (ws_.state.spectralColoringEnabled() && bands) scene.bands = &*bands;
    scene.geometry = frame->geometry;
    scene.levelScale = ws_.state.waveformFollowsVolume() ? levelScaleFor(track.volume) : 1.0;
    scene.editable = editable();
    scene.mark = controllerOf(ws_).selectionRange();
    scene.selectedLoopID = ws_.state.selectedLoopID();
    scene.activeLoopID = ws_.engine.activeLoopID();
    if (ws_.engine.currentURL() == track.url) scene.playhead = ws_.engine.displayTime(ws_.loop.now());
    if (press_ && press_->handle && press_->hit.kind == HandleKind::automationPoint)
        scene.readoutPointID = press_->hit.id;
    scene.placeholder = placeholder();
    painter_.paint(p, scene);
}

QString WaveformCanvas::placeholder() {
    const auto track = ws_.state.selectedTrack();
    if (!track) return {};
    const FileUrl& url = track->url;
    if (url.empty()) return tr("Audio file missing");
    if (ws_.store.entry(url).peaks()) return {};
    if (!ws_.store.hasFailed(url)) return tr("Drawing waveform\u2026");
    // Looked at once per failure: the loader has just reached the file's
    // folder, so this does not wait on a hung mount.
    if (!failure_ || failure_->url != url)
        failure_ = Failure{url, !url.exists()};
    const QString name = QString::fromStdString(url.fileName());
    return failure_->missing ? tr("Audio file missing: %1").arg(name)
                             : tr("Audio file could not be read: %1").arg(name);
}

void WaveformCanvas::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return QWidget::mousePressEvent(event);
    press_.reset();
    if (!editable() && ws_.engine.isPlaying()) return;
    auto frame = currentFrame(ws_);
    if (!frame || frame->track.duration <= 0.0) return;
    const QPointF pos = event->position();
    const double time = frame->geometry.timeAt(pos.x());
    Hit hit = hitTest(frame->track, frame->geometry, metrics(), pos.x(), pos.y(),
                      controllerOf(ws_).selectionRange(), editable());
    if (editable() && (event->modifiers() & Qt::ControlModifier)) {
        toggleAutomationPoint(frame->track, hit, time);
        return;
    }
    press_ = Press{pos, QPointF(mapTo(window(), pos.toPoint())), time, hit, false, {}, {}, 0.0, frame->track};
}

void WaveformCanvas::mouseMoveEvent(QMouseEvent* event) {
    if (!press_) return updateCursor(event->position());
    QPointF pos = event->position();
    if (!press_->dragging) {
        if (!isDrag(pos.x() - press_->pos.x(), pos.y() - press_->pos.y())) return;
        press_->dragging = true;
        beginDrag(*press_);
    }
    continueDrag(*press_, pos, event->modifiers());
}

void WaveformCanvas::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || !press_) return QWidget::mouseReleaseEvent(event);
    Press press = std::move(*press_);
    press_.reset();
    if (!press.dragging) finishClick(press);
    update();
}

void WaveformCanvas::beginDrag(Press& press) {
    if (!editable()) return;
    switch (press.hit.kind) {
    case HandleKind::none: break;
    case HandleKind::markedRegion: {
        auto& c = controllerOf(ws_);
        press.group = GroupDrag::capture(press.captured, c);
        auto mark = c.selectionRange();
        press.groupAnchor = mark ? mark->first : press.time;
        break;
    }
    case HandleKind::loopStartKnob:
    case HandleKind::loopEndKnob: break;
    default: press.handle = HandleDrag{press.hit, press.captured, press.time}; break;
    }
}

void WaveformCanvas::continueDrag(Press& press, QPointF pos, Qt::KeyboardModifiers modifiers) {
    auto frame = currentFrame(ws_);
    if (!frame || frame->track.id != press.captured.id) return;
    auto& c = controllerOf(ws_);
    const double time = frame->geometry.timeAt(pos.x());
    const Uuid trackID = press.captured.id;
    if (!editable()) return;
    if (press.handle) {
        bool wholeBeats = (modifiers & Qt::ShiftModifier) || c.beatStepHeld();
        double db = metrics().yToDb(pos.y());
        ws_.state.editTrack(trackID, [&](Track& t) { press.handle->apply(t, time, db, c, wholeBeats); });
    } else if (press.group) {
        // The group's start lands on the grid, as a single handle would.
        double anchor = press.groupAnchor;
        double delta = press.group->clampedDelta(c.snap(anchor + time - press.time, press.captured) - anchor,
                                                 press.captured.duration);
        ws_.state.editTrack(trackID, [&](Track& t) { press.group->apply(delta, t, c); });
    } else if (press.hit.kind == HandleKind::loopStartKnob) {
        ws_.state.setLoopStart(trackID, press.hit.id, c.snap(time, press.captured));
    } else if (press.hit.kind == HandleKind::loopEndKnob) {
        ws_.state.setLoopEnd(trackID, press.hit.id, c.snap(time, press.captured));
    } else if (press.hit.kind == HandleKind::none) {
        // The controller reads window x against the strip's left edge; the
        // content is scrolled under it, so add what is scrolled off.
        QPointF now(mapTo(window(), pos.toPoint()));
        double scroll = frame->geometry.scrollX;
        c.markRegion(press.windowPos.x() + scroll, press.windowPos.y(), now.x() + scroll, now.y(),
                     WaveformController::Strip::waveform, press.captured);
    }
    update();
}

void WaveformCanvas::finishClick(const Press& press) {
    const Uuid trackID = press.captured.id;
    switch (press.hit.kind) {
    case HandleKind::loopLogo:
        if (editable()) toggleLoopEnabled(ws_.state, trackID, press.hit.id);
        return;
    case HandleKind::loopBar:
    case HandleKind::loopStartKnob:
    case HandleKind::loopEndKnob:
        if (editable()) {
            ws_.state.setSelectedLoopID(press.hit.id);
            return;
        }
        break;
    default: break;
    }
    clickToSeek(ws_, press.captured, press.time, press.hit.kind == HandleKind::none || press.hit.kind == HandleKind::markedRegion);
}

void WaveformCanvas::toggleAutomationPoint(const Track& track, const Hit& hit, double time) {
    if (hit.kind == HandleKind::automationPoint) {
        ws_.state.editTrack(track.id, [&](Track& t) {
            t.volumeAutomation.eraseIf([&](const AutomationPoint& p) { return p.id == hit.id; });
        });
    } else {
        ws_.state.addAutomationPoint(track.id, controllerOf(ws_).snap(time, track));
    }
}

void WaveformCanvas::mouseDoubleClickEvent(QMouseEvent* event) {
    if (!editable() || event->button() != Qt::LeftButton) return;
    auto frame = currentFrame(ws_);
    if (!frame) return;
    Hit hit = hitTest(frame->track, frame->geometry, metrics(), event->position().x(), event->position().y(),
                      std::nullopt, true);
    if (hit.kind == HandleKind::loopBar) renameLoop(frame->track, hit.id);
}

void WaveformCanvas::renameLoop(const Track& track, const Uuid& loopID) {
    const Loop* loop = track.loop(loopID);
    auto frame = currentFrame(ws_);
    if (!loop || !frame) return;
    if (auto* previous = std::exchange(renameEditor_, nullptr)) previous->deleteLater();
    renameEditor_ = new QLineEdit(QString::fromStdString(loop->name), this);
    double a = std::max(frame->geometry.xAt(loop->startSeconds), 0.0);
    double b = std::min(frame->geometry.xAt(loop->endSeconds), double(width()));
    renameEditor_->setGeometry(int(a), int(CanvasMetrics::loopBarTop), std::max(int(b - a), 160),
                               int(CanvasMetrics::loopBarHeight + 8));
    renameEditor_->selectAll();
    renameEditor_->show();
    renameEditor_->setFocus();
    const Uuid trackID = track.id;
    QLineEdit* editor = renameEditor_;
    connect(editor, &QLineEdit::editingFinished, this, [this, editor, trackID, loopID] {
        if (renameEditor_ != editor) return;
        std::string name = editor->text().trimmed().toStdString();
        renameEditor_ = nullptr;
        editor->deleteLater();
        if (name.empty()) return;
        ws_.state.editTrack(trackID, [&](Track& t) {
            for (std::size_t i = 0; i < t.loops.size(); ++i)
                if (t.loops[i].id == loopID) t.loops.edit(i).name = name;
        });
    });
}

void WaveformCanvas::contextMenuEvent(QContextMenuEvent* event) {
    if (!editable()) return;
    auto frame = currentFrame(ws_);
    if (!frame || frame->track.duration <= 0.0) return;
    Hit hit = hitTest(frame->track, frame->geometry, metrics(), event->pos().x(), event->pos().y(), std::nullopt,
                      true);
    auto* menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    fillContextMenu(*menu, ws_, frame->track, hit, frame->geometry.timeAt(event->pos().x()));
    menu->popup(event->globalPos());
}

void WaveformCanvas::wheelEvent(QWheelEvent* event) {
    auto track = ws_.state.selectedTrack();
    auto& c = controllerOf(ws_);
    bool following = track && TimelineGeometry::isFollowingLive(c, ws_.engine, *track);
    WheelInput wheel;
    wheel.shift = event->modifiers() & Qt::ShiftModifier;
    if (!event->pixelDelta().isNull()) {
        wheel.precise = true;
        wheel.dx = event->pixelDelta().x();
        wheel.dy = event->pixelDelta().y();
    } else {
        wheel.dx = event->angleDelta().x() / 120.0;
        wheel.dy = event->angleDelta().y() / 120.0;
    }
    event->setAccepted(handleWheel(c, following, wheel));
}

bool WaveformCanvas::event(QEvent* event) {
    if (event->type() == QEvent::NativeGesture) {
        auto* gesture = static_cast<QNativeGestureEvent*>(event);
        switch (gesture->gestureType()) {
        case Qt::ZoomNativeGesture:
            pinchMagnification_ += gesture->value();
            pinch_.update(controllerOf(ws_), pinchMagnification_, gesture->position().x());
            return true;
        case Qt::BeginNativeGesture:
        case Qt::EndNativeGesture:
            pinch_.end();
            pinchMagnification_ = 0.0;
            return true;
        default: break;
        }
    }
    return QWidget::event(event);
}

void WaveformCanvas::updateCursor(QPointF pos) {
    auto frame = currentFrame(ws_);
    if (!frame) return unsetCursor();
    Hit hit = hitTest(frame->track, frame->geometry, metrics(), pos.x(), pos.y(), controllerOf(ws_).selectionRange(),
                      editable());
    switch (hit.kind) {
    case HandleKind::none: unsetCursor(); break;
    case HandleKind::loopLogo: setCursor(Qt::PointingHandCursor); break;
    case HandleKind::loopBar:
    case HandleKind::markedRegion: setCursor(editable() ? Qt::OpenHandCursor : Qt::ArrowCursor); break;
    case HandleKind::automationPoint: setCursor(Qt::SizeAllCursor); break;
    default: setCursor(Qt::SizeHorCursor); break;
    }
}

void WaveformCanvas::enterEvent(QEnterEvent* event) {
    controllerOf(ws_).setHovering(true);
    QWidget::enterEvent(event);
}

void WaveformCanvas::leaveEvent(QEvent* event) {
    controllerOf(ws_).setHovering(false);
    QWidget::leaveEvent(event);
}

void WaveformCanvas::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    reportFrame();
}

void WaveformCanvas::moveEvent(QMoveEvent* event) {
    QWidget::moveEvent(event);
    reportFrame();
}

void WaveformCanvas::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    reportFrame();
}

} // namespace ostinel
