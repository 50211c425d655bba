#pragma once

#include <QPoint>
#include <QTimer>
#include <QWidget>

#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "base/Uuid.h"
#include "workspace/showlist/MissingFiles.h"
#include "workspace/showlist/ShowListClick.h"
#include "workspace/showlist/ShowListDeleteKey.h"
#include "workspace/showlist/TrackRowPainter.h"

class QLineEdit;
class QMenu;

namespace ostinel {

struct Track;
struct Workspace;

// The painted rows of the show list, with everything the mouse does on
// them: picking, selecting, renaming, flags, reordering, dropping files and
// the context menu. Keys are left to the application's filter, but for
// Delete while the list has the focus.
class ShowListCanvas : public QWidget {
    Q_OBJECT
public:
    explicit ShowListCanvas(Workspace& workspace, QWidget* parent = nullptr);
    ~ShowListCanvas() override;

    static constexpr const char* dropPrompt = "Drop audio files here";
    static constexpr int blinkIntervalMs = 500; // a calm 1 Hz blink

    // A click on a row, in order: learning its key in either map mode, the
    // warning triangle, the flags, then picking, selecting or renaming.
    void tapAt(QPoint point, ClickModifiers modifiers);

    bool editable() const;
    std::optional<Uuid> rowAt(QPoint point) const;
    QRect rowRect(const Uuid& trackID) const;
    // The whole selection if the row is part of it, otherwise the row.
    std::set<Uuid> targetsFor(const Uuid& trackID) const;
    // The keys the row's cue is mapped to, from the controllers there are.
    RowBadges badgesFor(const Uuid& trackID) const;
    // The cue waiting for its MIDI or number key, if any.
    std::optional<Uuid> learningTrack() const;

    void startRenaming(const Uuid& trackID);
    void commitRename();
    void cancelRename();
    const std::optional<Uuid>& renamingTrackID() const { return renaming_; }
    QLineEdit* renameEditor() const { return editor_; }

    // The drag in progress, as the gap before that row (0 to the count).
    const std::optional<std::size_t>& insertionGap() const { return insertion_; }
    // Moves the rows to the gap as one edit of the show.
    void moveRows(const std::set<Uuid>& trackIDs, std::size_t gap);

    void setColor(const std::set<Uuid>& trackIDs, const std::optional<std::string>& hex);
    // The selected rows leave the show in one undo step, and the selection.
    void removeSelectedRows();
    Workspace& workspace() const { return workspace_; }
    QMenu* contextMenuFor(const Uuid& trackID, QWidget* parent);

    bool blinkRunning() const { return blink_.isActive(); }
    MissingFiles& missingFiles() { return missing_; }

    QSize sizeHint() const override;

signals:
    // The row of this track should be scrolled into view.
    void rowWanted(const QRect& rect);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    bool event(QEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dragLeaveEvent(QDragLeaveEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    // Either map mode is on.
    bool mapping() const;
    // In a map mode the click picks the cue to learn; true when it did.
    bool learnAt(const Uuid& trackID);
    // Picking, selecting or renaming.
    void clickRow(const Uuid& trackID, ClickModifiers modifiers);
    void showChanged();
    void selectionMoved();
    void preselectionChanged();
    void placeEditor();
    void paintInsertionLine(QPainter& painter) const;
    std::vector<Uuid> order() const;
    QString toolTipAt(QPoint point) const;
    const Track* trackAt(QPoint point, QRect* row) const;

    Workspace& workspace_;
    MissingFiles missing_;
    ShowListDeleteKey deleteKey_{*this};
    QTimer blink_;
    bool blinkLit_ = true;

    std::optional<Uuid> anchor_;
    bool applyingClick_ = false;
    std::optional<Uuid> renaming_;
    QLineEdit* editor_ = nullptr;

    std::optional<Uuid> pressed_;
    QPoint pressPoint_;
    std::set<Uuid> dragging_;
    std::optional<std::size_t> insertion_;
};

} // namespace ostinel
