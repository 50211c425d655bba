#pragma once

#include <QWidget>

#include <array>

#include "workspace/editpanel/EditTarget.h"

class QLabel;

namespace ostinel {

struct Workspace;
class FieldForm;
class TrackFields;

// The right-hand panel: the fields of the selected loop, note or trigger,
// then those of the selected cue. Read only in Show mode.
class EditPanel : public QWidget {
    Q_OBJECT
public:
    explicit EditPanel(Workspace& workspace, QWidget* parent = nullptr);
    ~EditPanel() override;

    QSize sizeHint() const override;

    // Commits what has been typed and not yet entered; for a save or any
    // command that must see every field, since a shortcut takes no focus.
    void commitPendingEdits();

    TrackFields* trackFields() const { return trackFields_; }
    // The form of the selected item's kind, or none.
    FieldForm* itemFields() const;

private:
    // The selection moved: finish what was typed for the old target first.
    void retarget();
    void refresh(bool force);
    void applyMode();

    Workspace& workspace_;
    EditTarget target_;
    QWidget* content_ = nullptr;
    QLabel* placeholder_ = nullptr;
    TrackFields* trackFields_ = nullptr;
    // Indexed by TimelineItemKind.
    std::array<FieldForm*, 4> itemForms_{};
    int itemKind_ = -1;
};

} // namespace ostinel
