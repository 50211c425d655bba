#include "workspace/levels/MatchLevelsWindow.h"

#include <QDoubleSpinBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QTableView>
#include <QVBoxLayout>

#include "analysis/LoudnessBatch.h"
#include "analysis/WaveformStore.h"
#include "document/AppState.h"
#include "document/LevelMatch.h"
#include "platform/Preferences.h"
#include "playback/PlaybackEngine.h"
#include "workspace/common/Workspace.h"
#include "workspace/levels/LevelsTableModel.h"

namespace ostinel {

MatchLevelsWindow::MatchLevelsWindow(Workspace& workspace, QWidget* parent)
    : QWidget(parent), workspace_(workspace), model_(new LevelsTableModel(workspace.state, this)),
      batch_(new LoudnessBatch(workspace.state, workspace.store, 0, this)) {
    auto* layout = new QVBoxLayout(this);
    auto* title = new QLabel(QStringLiteral("Match Levels"));
    QFont big = title->font();
    big.setPointSizeF(big.pointSizeF() * 1.4);
    big.setBold(true);
    title->setFont(big);
    layout->addWidget(title);
    layout->addWidget(new QLabel(QStringLiteral("Integrated loudness (LUFS) per cue, and the level that puts it on the target.")));

    auto* targetRow = new QHBoxLayout;
    targetRow->addWidget(new QLabel(QStringLiteral("Target")));
    target_ = new QDoubleSpinBox;
    target_->setRange(-60.0, 0.0);
    target_->setDecimals(1);
    target_->setSingleStep(0.5);
    target_->setValue(workspace.preferences.doubleValue(targetKey).value_or(LevelMatch::defaultTargetLufs));
    model_->setTarget(target_->value());
    targetRow->addWidget(target_);
    targetRow->addWidget(new QLabel(QStringLiteral("LUFS")));
    targetRow->addStretch();
    layout->addLayout(targetRow);

    table_ = new QTableView;
    table_->setModel(model_);
    table_->verticalHeader()->hide();
    table_->setSelectionMode(QAbstractItemView::NoSelection);
    // The note is a sentence: it takes the room left and wraps.
    table_->setWordWrap(true);
    table_->verticalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
    table_->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
    table_->horizontalHeader()->setSectionResizeMode(LevelsTableModel::note, QHeaderView::Stretch);
    layout->addWidget(table_, 1);

    auto* progressRow = new QHBoxLayout;
    footer_ = new QLabel;
    footer_->setWordWrap(true);
    progressRow->addWidget(footer_, 1);
    progress_ = new QProgressBar;
    progress_->setTextVisible(false);
    progressRow->addWidget(progress_);
    cancel_ = new QPushButton(QStringLiteral("Cancel"));
    progressRow->addWidget(cancel_);
    layout->addLayout(progressRow);

    auto* buttons = new QHBoxLayout;
    remeasure_ = new QPushButton(QStringLiteral("Re-measure"));
    applySelection_ = new QPushButton(QStringLiteral("Apply to Selection"));
    applyAll_ = new QPushButton(QStringLiteral("Apply to All"));
    applyAll_->setDefault(true);
    buttons->addWidget(remeasure_);
    buttons->addStretch();
    buttons->addWidget(applySelection_);
    buttons->addWidget(applyAll_);
    layout->addLayout(buttons);

    connect(target_, &QDoubleSpinBox::valueChanged, this, [this](double value) {
        model_->setTarget(value);
        workspace_.preferences.setValue(targetKey, value);
    });
    connect(remeasure_, &QPushButton::clicked, this, &MatchLevelsWindow::remeasure);
    connect(cancel_, &QPushButton::clicked, this, &MatchLevelsWindow::cancel);
    connect(applyAll_, &QPushButton::clicked, this, [this] { apply(std::nullopt); });
    connect(applySelection_, &QPushButton::clicked, this,
            [this] { apply(workspace_.state.selectedTrackIDs()); });
    connect(&workspace_.state, &AppState::loudnessProgressChanged, this, &MatchLevelsWindow::updateFooter);
    connect(&workspace_.state, &AppState::selectedTrackIDsChanged, this, &MatchLevelsWindow::updateFooter);
    updateFooter();
}

MatchLevelsWindow::~MatchLevelsWindow() = default;

void MatchLevelsWindow::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    measure();
}

void MatchLevelsWindow::hideEvent(QHideEvent* event) {
    // Nobody is watching: the remaining files are not worth the cores.
    cancel();
    QWidget::hideEvent(event);
}

void MatchLevelsWindow::measure() {
    if (batch_->isRunning()) return;
    std::vector<Uuid> ids;
    for (const Track& t : workspace_.state.show().tracks) ids.push_back(t.id);
    model_->setMeasuring(true);
    batch_->measure(ids, [this](LoudnessBatch::Measurements m) {
        model_->merge(m);
        model_->setMeasuring(false);
        updateFooter();
    });
    updateFooter();
}

void MatchLevelsWindow::remeasure() {
    if (batch_->isRunning()) return;
    workspace_.store.forgetLoudness();
    measure();
}

void MatchLevelsWindow::cancel() { batch_->cancel(); }

void MatchLevelsWindow::apply(const std::optional<std::set<Uuid>>& ids) {
    auto m = model_->measurements();
    if (ids) std::erase_if(m, [&](const auto& entry) { return !ids->contains(entry.first); });
    if (m.empty()) return;
    const double target = target_->value();
    auto answer = workspace_.state.applyLoudnessMatch(m, target);
    workspace_.engine.setNotice(answer ? *answer : QString::asprintf("Levels matched to %.1f LUFS.", target).toStdString());
}

void MatchLevelsWindow::updateFooter() {
    const auto& progress = workspace_.state.loudnessProgress();
    const bool measuring = progress.has_value() || batch_->isRunning();
    if (progress) {
        footer_->setText(QStringLiteral("Measuring %1 of %2").arg(progress->done).arg(progress->total));
        progress_->setRange(0, int(progress->total));
        progress_->setValue(int(progress->done));
    } else {
        footer_->setText(QStringLiteral("Levels are set so no cue's true peak goes above ") +
                         QString::asprintf("%.1f", LevelMatch::peakCeilingDb) +
                         QStringLiteral(" dBFS, so the master limiter stays out of it."));
    }
    progress_->setVisible(progress.has_value());
    cancel_->setVisible(batch_->isRunning());
    remeasure_->setEnabled(!measuring);
    applyAll_->setEnabled(!measuring);
    applySelection_->setVisible(workspace_.state.selectedTrackIDs().size() > 1);
    applySelection_->setEnabled(!measuring);
}

} // namespace ostinel
