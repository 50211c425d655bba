#include <QApplication>
#include <QContextMenuEvent>
#include <QDragEnterEvent>
#include <QHBoxLayout>
#include <QHelpEvent>
#include <QMenu>
#include <QMimeData>
#include <QPainter>
#include <QToolButton>
#include <QToolTip>
#include <QWidgetAction>

#include "control/MidiController.h"
#include "control/NumberMapController.h"
#include "document/AppState.h"
#include "playback/ShowModeKeys.h"
#include "workspace/common/Theme.h"
#include "workspace/common/Workspace.h"
#include "workspace/showlist/ShowListCanvas.h"
#include "workspace/showlist/ShowListDrop.h"
#include "workspace/showlist/ShowListReorder.h"
#include "workspace/showlist/TrackRowPainter.h"

namespace ostinel {
namespace {

ClickModifiers modifiersOf(Qt::KeyboardModifiers m) {
    return {m.testFlag(Qt::ControlModifier), m.testFlag(Qt::ShiftModifier)};
}

QIcon swatchIcon(const std::optional<std::string>& hex) {
    QPixmap pixmap(22, 22);
    pixmap.fill(Qt::transparent);
    QPainter p(&pixmap);
    p.setRenderHint(QPainter::Antialiasing);
    if (hex) {
        p.setPen(Qt::NoPen);
        p.setBrush(theme::cueColor(*hex));
        p.drawEllipse(QRectF(2, 2, 18, 18));
    } else {
        p.setPen(QPen(theme::textDim, 2));
        p.drawEllipse(QRectF(3, 3, 16, 16));
        p.drawLine(QPointF(6, 16), QPointF(16, 6));
    }
    return QIcon(pixmap);
}

} // namespace

void ShowListCanvas::clickRow(const Uuid& trackID, ClickModifiers modifiers) {
    AppState& state = workspace_.state;
    if (!editable()) {
        ShowModeKeys::pickCue(trackID, state, workspace_.engine);
        cancelRename();
        return;
    }
    const ListSelection now{state.selectedTrackID(), state.selectedTrackIDs(), anchor_};
    const ClickEffect effect = editModeClick(order(), now, trackID, modifiers);
    if (effect.rename) {
        startRenaming(trackID);
        return;
    }
    applyingClick_ = true;
    state.setSelectedTrackID(effect.selection.current);
    state.setSelectedTrackIDs(effect.selection.group);
    applyingClick_ = false;
    anchor_ = effect.selection.anchor;
}

bool ShowListCanvas::mapping() const {
    return (workspace_.midiInput && workspace_.midiInput->mapMode()) ||
           (workspace_.numbers && workspace_.numbers->mapMode());
}

bool ShowListCanvas::learnAt(const Uuid& trackID) {
    if (MidiController* midi = workspace_.midiInput; midi && midi->mapMode()) {
        midi->beginLearningTrack(trackID);
        return true;
    }
    if (NumberMapController* numbers = workspace_.numbers; numbers && numbers->mapMode()) {
        numbers->beginLearningTrack(trackID);
        return true;
    }
    return false;
}

void ShowListCanvas::tapAt(QPoint point, ClickModifiers modifiers) {
    QRect row;
    const Track* track = trackAt(point, &row);
    if (!track) return;
    const Uuid id = track->id;
    if (learnAt(id)) return;
    const bool missing = missing_.isMissing(track->url.path());
    const RowLayout l = TrackRowPainter::layout(row, *track, badgesFor(id), missing);
    if (missing && l.warning.adjusted(-4, -8, 4, 8).contains(point)) {
        workspace_.state.relinkTrack(id);
        missing_.recheck();
        return;
    }
    if (editable()) {
        using Flag = bool Track::*;
        for (auto [rect, flag] : {std::pair<QRect, Flag>{l.autoplay, &Track::autoplay},
                                  {l.skip, &Track::skip}, {l.loopFlag, &Track::loopCue}}) {
            if (rect.adjusted(-2, -10, 2, 10).contains(point)) {
                workspace_.state.editTrack(id, [flag](Track& t) { t.*flag = !(t.*flag); });
                return;
            }
        }
    }
    clickRow(id, modifiers);
}

void ShowListCanvas::mousePressEvent(QMouseEvent* event) {
    commitRename(); // a click anywhere else ends the edit
    if (event->button() != Qt::LeftButton) return QWidget::mousePressEvent(event);
    pressed_ = rowAt(event->position().toPoint());
    pressPoint_ = event->position().toPoint();
    dragging_.clear();
}

void ShowListCanvas::mouseDoubleClickEvent(QMouseEvent* event) {
    // In Show mode a nervous double click must not mark and unmark the next
    // cue; in Edit mode its second click is an ordinary one (and renames).
    if (!editable()) {
        pressed_.reset();
        return;
    }
    mousePressEvent(event);
}

void ShowListCanvas::mouseMoveEvent(QMouseEvent* event) {
    // In a map mode rows are targets to learn, not to be moved by a shaky click.
    if (!pressed_ || !(event->buttons() & Qt::LeftButton) || !editable() || mapping()) return;
    const QPoint point = event->position().toPoint();
    if (dragging_.empty()) {
        if ((point - pressPoint_).manhattanLength() < QApplication::startDragDistance()) return;
        dragging_ = targetsFor(*pressed_);
        setCursor(Qt::ClosedHandCursor);
    }
    insertion_ = gapAt(point.y(), TrackRowPainter::rowHeight, workspace_.state.show().tracks.size());
    emit rowWanted(QRect(point.x(), point.y() - TrackRowPainter::rowHeight / 2, 1, TrackRowPainter::rowHeight));
    update();
}

void ShowListCanvas::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return QWidget::mouseReleaseEvent(event);
    const auto pressed = std::exchange(pressed_, std::nullopt);
    if (!dragging_.empty()) {
        const auto moving = std::exchange(dragging_, {});
        unsetCursor();
        const auto gap = std::exchange(insertion_, std::nullopt);
        if (gap && editable()) moveRows(moving, *gap);
        update();
        return;
    }
    const QPoint point = event->position().toPoint();
    if (pressed && rowAt(point) == pressed) tapAt(point, modifiersOf(event->modifiers()));
}

void ShowListCanvas::contextMenuEvent(QContextMenuEvent* event) {
    const auto id = rowAt(event->pos());
    if (!id || !editable()) return;
    QMenu* menu = contextMenuFor(*id, this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->popup(event->globalPos());
}

QMenu* ShowListCanvas::contextMenuFor(const Uuid& trackID, QWidget* parent) {
    auto* menu = new QMenu(parent);
    connect(menu->addAction(tr("Duplicate")), &QAction::triggered, this,
            [this, trackID] { workspace_.state.duplicateTrack(trackID); });
    menu->addSeparator();

    auto* swatches = new QWidget(menu);
    auto* row = new QHBoxLayout(swatches);
    row->setContentsMargins(10, 4, 10, 4);
    row->setSpacing(4);
    std::vector<std::optional<std::string>> colors(theme::cueColorSwatches().begin(), theme::cueColorSwatches().end());
    colors.push_back(std::nullopt);
    for (const auto& hex : colors) {
        auto* button = new QToolButton(swatches);
        button->setIcon(swatchIcon(hex));
        button->setIconSize(QSize(22, 22));
        button->setAutoRaise(true);
        button->setToolTip(hex ? QString::fromStdString(*hex) : tr("No Colour"));
        row->addWidget(button);
        connect(button, &QToolButton::clicked, this, [this, menu, trackID, hex] {
            setColor(targetsFor(trackID), hex);
            menu->close();
        });
    }
    auto* swatchAction = new QWidgetAction(menu);
    swatchAction->setDefaultWidget(swatches);
    menu->addAction(swatchAction);
    menu->addSeparator();
    connect(menu->addAction(tr("Remove from Show")), &QAction::triggered, this,
            [this, trackID] { workspace_.state.removeTracks(targetsFor(trackID)); });
    return menu;
}

QString ShowListCanvas::toolTipAt(QPoint point) const {
    QRect row;
    const Track* track = trackAt(point, &row);
    if (!track) return {};
    const bool missing = missing_.isMissing(track->url.path());
    const RowLayout l = TrackRowPainter::layout(row, *track, badgesFor(track->id), missing);
    if (l.autoplay.contains(point)) return QString::fromUtf8("Autoplay – start automatically when auto-selected");
    if (l.skip.contains(point)) return QString::fromUtf8("Skip – skip this song during auto-advance");
    if (l.loopFlag.contains(point))
        return QString::fromUtf8("Loop – repeat the whole cue from out-point to in-point until the loop is left");
    if (!l.preRollGlyph.isNull() && l.preRollGlyph.contains(point)) return QStringLiteral("Timecode pre-roll active");
    if (missing && l.warning.contains(point))
        return QString::fromUtf8("File not found – click to re-link a file, or a whole folder");
    return {};
}

bool ShowListCanvas::event(QEvent* event) {
    if (event->type() == QEvent::ToolTip) {
        auto* help = static_cast<QHelpEvent*>(event);
        const QString text = toolTipAt(help->pos());
        if (text.isEmpty()) QToolTip::hideText();
        else QToolTip::showText(help->globalPos(), text, this);
        return true;
    }
    // Files come back when a drive is plugged in again.
    if (event->type() == QEvent::WindowActivate) missing_.recheck();
    return QWidget::event(event);
}

void ShowListCanvas::dragEnterEvent(QDragEnterEvent* event) {
    if (editable() && event->mimeData() && !droppedAudioFiles(*event->mimeData()).empty())
        event->acceptProposedAction();
}

void ShowListCanvas::dragMoveEvent(QDragMoveEvent* event) {
    if (!editable()) return event->ignore();
    event->acceptProposedAction();
    insertion_ = gapAt(event->position().y(), TrackRowPainter::rowHeight, workspace_.state.show().tracks.size());
    update();
}

void ShowListCanvas::dragLeaveEvent(QDragLeaveEvent*) {
    insertion_.reset();
    update();
}

void ShowListCanvas::dropEvent(QDropEvent* event) {
    const auto gap = gapAt(event->position().y(), TrackRowPainter::rowHeight, workspace_.state.show().tracks.size());
    insertion_.reset();
    update();
    if (!editable() || !event->mimeData()) return;
    const auto files = droppedAudioFiles(*event->mimeData());
    if (files.empty()) return;
    event->acceptProposedAction();
    workspace_.state.addTracks(files, gap);
}

} // namespace ostinel
