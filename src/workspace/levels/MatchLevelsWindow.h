#pragma once

#include <QWidget>

#include <set>

#include "base/Uuid.h"

class QDoubleSpinBox;
class QLabel;
class QProgressBar;
class QPushButton;
class QTableView;

namespace ostinel {

struct Workspace;
class LevelsTableModel;
class LoudnessBatch;

// Measures every cue of the show when it appears and proposes the volume
// that puts each on one loudness target, peaks kept under the ceiling.
class MatchLevelsWindow : public QWidget {
    Q_OBJECT
public:
    static constexpr const char* targetKey = "loudnessTargetLufs";

    explicit MatchLevelsWindow(Workspace& workspace, QWidget* parent = nullptr);
    ~MatchLevelsWindow() override;

    // Measures the show's tracks unless a measurement is running.
    void measure();
    // Reads every file again rather than answering from memory.
    void remeasure();
    void cancel();
    // All measured tracks, or only those among `ids`.
    void apply(const std::optional<std::set<Uuid>>& ids);

    LevelsTableModel& model() const { return *model_; }
    QDoubleSpinBox* targetField() const { return target_; }
    QPushButton* applySelectionButton() const { return applySelection_; }
    QPushButton* applyAllButton() const { return applyAll_; }
    QPushButton* cancelButton() const { return cancel_; }
    QLabel* footer() const { return footer_; }

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    void updateFooter();

    Workspace& workspace_;
    LevelsTableModel* model_;
    LoudnessBatch* batch_;
    QDoubleSpinBox* target_;
    QTableView* table_;
    QLabel* footer_;
    QProgressBar* progress_;
    QPushButton* cancel_;
    QPushButton* remeasure_;
    QPushButton* applyAll_;
    QPushButton* applySelection_;
};

} // namespace ostinel
