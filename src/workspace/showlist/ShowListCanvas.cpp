#include "workspace/showlist/ShowListCanvas.h"

#include <algorithm>

#include <QKeyEvent>
#include <QLineEdit>
#include <QPainter>

#include "control/MidiController.h"
#include "control/NumberMapController.h"
#include "document/AppState.h"
#include "playback/PlaybackEngine.h"
#include "playback/ShowModeKeys.h"
#include "workspace/common/Theme.h"
#include "workspace/common/Workspace.h"
#include "workspace/showlist/ShowListReorder.h"
#include "workspace/showlist/TrackRowPainter.h"

namespace ostinel {
namespace {

// Escape abandons the new name; Return and leaving the field commit it.
class RenameEditor : public QLineEdit {
public:
    using QLineEdit::QLineEdit;
    std::function<void()> onEscape;

protected:
    void keyPressEvent(QKeyEvent* event) override {
        if (event->key() == Qt::Key_Escape && onEscape) {
            onEscape();
            return;
        }
        QLineEdit::keyPressEvent(event);
    }
};

} // namespace

ShowListCanvas::ShowListCanvas(Workspace& workspace, QWidget* parent) : QWidget(parent), workspace_(workspace) {
    setAcceptDrops(true);
    setMouseTracking(false);
    setFocusPolicy(Qt::ClickFocus);
    setAttribute(Qt::WA_OpaquePaintEvent);

    auto* editor = new RenameEditor(this);
    editor->onEscape = [this] { cancelRename(); };
    editor_ = editor;
    editor_->hide();
    QFont font = editor_->font();
    font.setPixelSize(17);
    editor_->setFont(font);
    connect(editor_, &QLineEdit::editingFinished, this, &ShowListCanvas::commitRename);

    blink_.setInterval(blinkIntervalMs);
    connect(&blink_, &QTimer::timeout, this, [this] {
        blinkLit_ = !blinkLit_;
        if (const auto& id = workspace_.state.preselectedTrackID()) update(rowRect(*id));
    });

    AppState& state = workspace_.state;
    auto repaint = [this] { update(); };
    connect(&state, &AppState::showChanged, this, &ShowListCanvas::showChanged);
    connect(&state, &AppState::modeChanged, this, [this] {
        commitRename();
        pressed_.reset();
        dragging_.clear();
        insertion_.reset();
        unsetCursor();
        update();
    });
    connect(&state, &AppState::selectedTrackIDChanged, this, &ShowListCanvas::selectionMoved);
    connect(&state, &AppState::selectedTrackIDsChanged, this, repaint);
    connect(&state, &AppState::preselectedTrackIDChanged, this, &ShowListCanvas::preselectionChanged);
    connect(&workspace_.engine, &PlaybackEngine::isPlayingChanged, this, repaint);
    connect(&workspace_.engine, &PlaybackEngine::currentURLChanged, this, repaint);
    connect(&missing_, &MissingFiles::changed, this, repaint);
    if (workspace_.midiInput) connect(workspace_.midiInput, &MidiController::changed, this, repaint);
    if (workspace_.numbers) connect(workspace_.numbers, &NumberMapController::changed, this, repaint);
    showChanged();
    preselectionChanged();
}

ShowListCanvas::~ShowListCanvas() = default;

bool ShowListCanvas::editable() const { return workspace_.state.mode() == AppMode::edit; }

std::vector<Uuid> ShowListCanvas::order() const {
    std::vector<Uuid> ids;
    for (const Track& t : workspace_.state.show().tracks) ids.push_back(t.id);
    return ids;
}

QRect ShowListCanvas::rowRect(const Uuid& trackID) const {
    const auto index = workspace_.state.show().indexOfTrack(trackID);
    if (index < 0) return {};
    return QRect(0, int(index) * TrackRowPainter::rowHeight, width(), TrackRowPainter::rowHeight);
}

std::optional<Uuid> ShowListCanvas::rowAt(QPoint point) const {
    const auto& tracks = workspace_.state.show().tracks;
    if (point.y() < 0 || point.x() < 0 || point.x() >= width()) return std::nullopt;
    const auto index = std::size_t(point.y() / TrackRowPainter::rowHeight);
    if (index >= tracks.size()) return std::nullopt;
    return tracks[index].id;
}

const Track* ShowListCanvas::trackAt(QPoint point, QRect* row) const {
    const auto id = rowAt(point);
    if (!id) return nullptr;
    if (row) *row = rowRect(*id);
    return workspace_.state.show().track(*id);
}

std::set<Uuid> ShowListCanvas::targetsFor(const Uuid& trackID) const {
    const auto& group = workspace_.state.selectedTrackIDs();
    return group.count(trackID) ? group : std::set<Uuid>{trackID};
}

RowBadges ShowListCanvas::badgesFor(const Uuid& trackID) const {
    RowBadges badges;
    if (workspace_.midiInput)
        if (auto key = workspace_.midiInput->trackMapping(trackID))
            badges.midi = QString::fromStdString(key->label());
    if (workspace_.numbers)
        if (auto digit = workspace_.numbers->digit(trackID)) badges.number = QString::number(*digit);
    return badges;
}

std::optional<Uuid> ShowListCanvas::learningTrack() const {
    if (workspace_.midiInput && workspace_.midiInput->learningTrack())
        return workspace_.midiInput->learningTrack();
    if (workspace_.numbers) return workspace_.numbers->learningTrack();
    return std::nullopt;
}

QSize ShowListCanvas::sizeHint() const {
    return {380, int(workspace_.state.show().tracks.size()) * TrackRowPainter::rowHeight};
}

void ShowListCanvas::showChanged() {
    const Show& show = workspace_.state.show();
    setMinimumHeight(int(show.tracks.size()) * TrackRowPainter::rowHeight);
    updateGeometry();
    std::vector<std::string> paths;
    for (const Track& t : show.tracks) paths.push_back(t.url.path());
    missing_.check(std::move(paths));
    if (renaming_ && !show.track(*renaming_)) cancelRename();
    placeEditor();
    update();
}

void ShowListCanvas::selectionMoved() {
    // A selection made elsewhere (keys, remotes) starts ranges afresh.
    if (!applyingClick_) anchor_.reset();
    if (const auto& id = workspace_.state.selectedTrackID()) emit rowWanted(rowRect(*id));
    update();
}

void ShowListCanvas::preselectionChanged() {
    const auto& id = workspace_.state.preselectedTrackID();
    blinkLit_ = true;
    if (id) {
        if (!blink_.isActive()) blink_.start();
        emit rowWanted(rowRect(*id));
    } else {
        blink_.stop();
    }
    update();
}

void ShowListCanvas::startRenaming(const Uuid& trackID) {
    const Track* track = workspace_.state.show().track(trackID);
    if (!track || !editable()) return;
    renaming_ = trackID;
    editor_->setText(QString::fromStdString(track->displayName()));
    placeEditor();
    editor_->show();
    editor_->selectAll();
    editor_->setFocus(Qt::OtherFocusReason);
}

void ShowListCanvas::commitRename() {
    if (!renaming_) return;
    const Uuid id = *renaming_;
    const QString text = editor_->text().trimmed();
    cancelRename();
    const Track* track = workspace_.state.show().track(id);
    // An emptied field gives the old name back.
    if (!track || text.isEmpty() || text.toStdString() == track->displayName()) return;
    workspace_.state.editTrack(id, [&](Track& t) { t.name = text.toStdString(); });
}

void ShowListCanvas::cancelRename() {
    if (!renaming_) return;
    renaming_.reset(); // before hiding, whose focus loss ends editing again
    const bool hadFocus = editor_->hasFocus();
    editor_->hide();
    if (hadFocus) setFocus(Qt::OtherFocusReason);
    update();
}

void ShowListCanvas::placeEditor() {
    if (!renaming_) return;
    const Track* track = workspace_.state.show().track(*renaming_);
    if (!track) return;
    const QRect row = rowRect(*renaming_);
    const QRect name =
        TrackRowPainter::layout(row, *track, badgesFor(*renaming_), missing_.isMissing(track->url.path()))
            .name;
    editor_->setGeometry(name.adjusted(-4, 9, 0, -9));
}

void ShowListCanvas::moveRows(const std::set<Uuid>& trackIDs, std::size_t gap) {
    Show show = workspace_.state.show();
    if (moveTracks(show.tracks, trackIDs, gap)) workspace_.state.setShow(std::move(show));
}

void ShowListCanvas::setColor(const std::set<Uuid>& trackIDs, const std::optional<std::string>& hex) {
    Show show = workspace_.state.show();
    for (std::size_t i = 0; i < show.tracks.size(); ++i)
        if (trackIDs.count(show.tracks[i].id) && show.tracks[i].colorHex != hex) show.tracks.edit(i).colorHex = hex;
    workspace_.state.setShow(std::move(show));
}

void ShowListCanvas::paintEvent(QPaintEvent* event) {
    QPainter p(this);
    p.fillRect(event->rect(), theme::panel);
    const AppState& state = workspace_.state;
    const auto& tracks = state.show().tracks;
    if (tracks.empty()) {
        if (editable()) {
            p.setPen(QPen(theme::divider, 2, Qt::DashLine));
            p.setBrush(Qt::NoBrush);
            p.drawRoundedRect(QRectF(rect()).adjusted(16, 16, -16, -16), 10, 10);
            QFont font = p.font();
            font.setPixelSize(18);
            p.setFont(font);
            p.setPen(theme::textDim);
            p.drawText(rect(), Qt::AlignCenter, QString::fromUtf8(dropPrompt));
        }
        return;
    }

    const bool playing = workspace_.engine.isPlaying();
    const auto& loaded = workspace_.engine.currentURL();
    const auto next = ShowModeKeys::nextTrack(state);
    const auto learning = learningTrack();
    const int first = std::max(0, event->rect().top() / TrackRowPainter::rowHeight);
    for (std::size_t i = std::size_t(first); i < tracks.size(); ++i) {
        const QRect row(0, int(i) * TrackRowPainter::rowHeight, width(), TrackRowPainter::rowHeight);
        if (row.top() > event->rect().bottom()) break;
        const Track& t = tracks[i];
        RowLook look;
        look.number = int(i) + 1;
        look.current = state.selectedTrackID() == t.id;
        look.inSelection = state.selectedTrackIDs().count(t.id) > 0;
        look.playing = look.current && playing && loaded == t.url;
        look.preselected = state.preselectedTrackID() == t.id;
        look.blinkLit = blinkLit_;
        look.next = next && next->id == t.id;
        look.missing = missing_.isMissing(t.url.path());
        look.editable = editable();
        look.learning = learning == t.id;
        look.badges = badgesFor(t.id);
        TrackRowPainter::paint(p, row, t, look);
    }
    paintInsertionLine(p);
}

void ShowListCanvas::paintInsertionLine(QPainter& p) const {
    if (!insertion_) return;
    const int y = std::clamp(int(*insertion_) * TrackRowPainter::rowHeight, 2, std::max(2, height() - 2));
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(QPen(theme::inOutFlag, 4, Qt::SolidLine, Qt::RoundCap));
    p.drawLine(QPointF(10, y), QPointF(width() - 10, y));
    p.setBrush(theme::inOutFlag);
    p.drawEllipse(QPointF(10, y), 5, 5);
}

void ShowListCanvas::removeSelectedRows() {
    AppState& state = workspace_.state;
    std::set<Uuid> rows = state.selectedTrackIDs();
    if (rows.empty() && state.selectedTrackID()) rows.insert(*state.selectedTrackID());
    if (rows.empty()) return;
    state.removeTracks(rows);
}

void ShowListCanvas::focusInEvent(QFocusEvent* event) {
    deleteKey_.attach();
    QWidget::focusInEvent(event);
}

void ShowListCanvas::focusOutEvent(QFocusEvent* event) {
    deleteKey_.detach();
    QWidget::focusOutEvent(event);
}

void ShowListCanvas::keyPressEvent(QKeyEvent* event) {
    // The transport's keys belong to the application's filter; the scroll
    // area around us must not turn arrows into scrolling either.
    switch (event->key()) {
    case Qt::Key_Up:
    case Qt::Key_Down:
    case Qt::Key_Left:
    case Qt::Key_Right:
    case Qt::Key_PageUp:
    case Qt::Key_PageDown:
    case Qt::Key_Home:
    case Qt::Key_End:
    case Qt::Key_Space:
        event->accept();
        return;
    default:
        QWidget::keyPressEvent(event);
    }
}

} // namespace ostinel
