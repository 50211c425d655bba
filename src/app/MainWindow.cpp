#include "app/MainWindow.h"

#include <QCloseEvent>
#include <QGuiApplication>
#include <QLabel>
#include <QScreen>
#include <QSplitter>
#include <QVBoxLayout>

#include "app/InputMonitor.h"
#include "app/OstinelApp.h"
#include "workspace/common/Theme.h"
#include "workspace/editpanel/EditPanel.h"
#include "workspace/levels/MatchLevelsWindow.h"
#include "workspace/settings/SettingsWindow.h"
#include "workspace/showlist/ShowListView.h"
#include "workspace/strips/TimelineStripView.h"
#include "timecode/TimecodeController.h"
#include "workspace/transport/NoticeBanner.h"
#include "workspace/transport/TimecodeView.h"
#include "workspace/transport/TransportBar.h"
#include "workspace/waveform/WaveformPanel.h"

namespace ostinel {

MainWindow::MainWindow(OstinelApp& app) : app_(app) {
    resize(startWidth, startHeight);
    setMinimumSize(960, 600);
    buildPanels();
    buildMenus();

    AppState& state = app_.state();
    connect(&state, &AppState::currentFileURLChanged, this, &MainWindow::updateTitle);
    connect(&state, &AppState::isDirtyChanged, this, &MainWindow::updateTitle);
    connect(&state, &AppState::modeChanged, this, &MainWindow::updateEditingCommands);
    updateTitle();
    updateEditingCommands();
}

MainWindow::~MainWindow() {
    // Committed while the window is still whole: the panel would otherwise
    // commit from its own destructor into slots of a half-destroyed window.
    editPanel_->commitPendingEdits();
}

void MainWindow::placeLargeTimecode() {
    const TimecodeController* timecode = app_.workspace().timecode;
    middleColumn_->removeWidget(largeTimecode_);
    middleColumn_->insertWidget(timecode && timecode->largeTimecodeBelow() ? 1 : 0, largeTimecode_);
    largeTimecode_->setVisible(timecode && timecode->showLargeTimecode());
}

void MainWindow::buildPanels() {
    Workspace& ws = app_.workspace();
    auto* central = new QWidget(this);
    // At start-up the keyboard belongs to the show keys, not to a field:
    // the window's own background holds the focus until a field is clicked,
    // and takes it back on a click anywhere that wants no focus of its own,
    // which ends the editing of a field.
    central->setFocusPolicy(Qt::ClickFocus);
    auto* column = new QVBoxLayout(central);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addWidget(new TransportBar(ws, central));
    auto* banner = new NoticeBanner(ws, central);

    auto* split = new QSplitter(Qt::Horizontal, central);
    split->setChildrenCollapsible(false);
    split->setHandleWidth(3);
    showList_ = new ShowListView(ws, split);
    auto* middle = new QWidget(split);
    middleColumn_ = new QVBoxLayout(middle);
    middleColumn_->setContentsMargins(0, 0, 0, 0);
    middleColumn_->setSpacing(0);
    waveform_ = new WaveformPanel(ws, middle);
    middleColumn_->addWidget(waveform_, 1);
    largeTimecode_ = new TimecodeView(ws, TimecodeView::Size::large, middle);
    largeTimecode_->setObjectName(QStringLiteral("largeTimecode"));
    placeLargeTimecode();
    if (ws.timecode) connect(ws.timecode, &TimecodeController::largeTimecodeChanged, this, &MainWindow::placeLargeTimecode);
    using Strip = WaveformController::Strip;
    for (Strip kind : {Strip::notes, Strip::midiTriggers, Strip::oscTriggers})
        waveform_->addStrip(new TimelineStripView(ws, kind, waveform_));
    editPanel_ = new EditPanel(ws, split);
    split->addWidget(showList_);
    split->addWidget(middle);
    split->addWidget(editPanel_);
    split->setStretchFactor(0, 0);
    split->setStretchFactor(1, 1);
    split->setStretchFactor(2, 0);
    split->setSizes({showListWidth, startWidth - showListWidth - editPanelWidth, editPanelWidth});
    column->addWidget(split, 1);
    // Over the waveform, not the running order: a cue stays in sight and in
    // reach while a notice shows.
    banner->overlay(waveform_);

    setCentralWidget(central);
    central->setFocus();
}

void MainWindow::updateTitle() {
    const auto& url = app_.state().currentFileURL();
    const QString name = url ? QString::fromStdString(url->fileName()) : QStringLiteral("Untitled");
    setWindowTitle(QStringLiteral("Ostinel — %1[*]").arg(name));
    setWindowModified(app_.state().isDirty());
    if (reveal_) reveal_->setEnabled(url.has_value());
}

void MainWindow::updateEditingCommands() {
    const bool editing = app_.state().mode() == AppMode::edit;
    undo_->setEnabled(editing);
    redo_->setEnabled(editing);
}

void MainWindow::undo() {
    if (app_.state().mode() != AppMode::edit) return;
    if (!TextHistory::step(TextHistory::focusedTextField(), false)) app_.state().undo();
}

void MainWindow::redo() {
    if (app_.state().mode() != AppMode::edit) return;
    if (!TextHistory::step(TextHistory::focusedTextField(), true)) app_.state().redo();
}

void MainWindow::closeEvent(QCloseEvent* event) {
    // The window never closes on its own: closing it asks to quit, and the
    // quit flow ends the application or leaves everything as it was.
    event->ignore();
    editPanel_->commitPendingEdits();
    app_.quit();
}

void MainWindow::present(QWidget* window) {
    if (!window->isVisible()) {
        const QRect frame = geometry();
        window->move(frame.center() - window->rect().center());
    }
    window->show();
    window->raise();
    window->activateWindow();
}

void MainWindow::openSettings(const QString& tab) {
    if (!settings_) {
        settings_ = new SettingsWindow(app_.workspace(), this);
        settings_->setWindowFlag(Qt::Window);
        settings_->setWindowTitle(QStringLiteral("Settings"));
        settings_->resize(settings_->sizeHint().expandedTo(QSize(640, 480)));
    }
    settings_->showTab(tab);
    present(settings_);
}

void MainWindow::openMatchLevels() {
    if (!matchLevels_) {
        matchLevels_ = new MatchLevelsWindow(app_.workspace(), this);
        matchLevels_->setWindowFlag(Qt::Window);
        matchLevels_->setWindowTitle(QStringLiteral("Match Levels"));
        matchLevels_->resize(620, 520);
    }
    present(matchLevels_);
}

void MainWindow::openAbout() {
    if (!about_) {
        about_ = new QWidget(this, Qt::Window);
        about_->setWindowTitle(QStringLiteral("About Ostinel"));
        auto* layout = new QVBoxLayout(about_);
        layout->setContentsMargins(32, 28, 32, 28);
        layout->setSpacing(10);
        auto* name = new QLabel(QStringLiteral("Ostinel"), about_);
        QFont big = name->font();
        big.setPointSize(22);
        big.setBold(true);
        name->setFont(big);
        auto* version = new QLabel(QStringLiteral("Version %1").arg(QStringLiteral(OSTINEL_VERSION)), about_);
        auto* text = new QLabel(QStringLiteral("A playback engine for live shows.\n"
                                               "Free software under the GNU General Public License,\n"
                                               "version 3 or later."),
                                about_);
        for (QLabel* label : {name, version, text}) {
            label->setAlignment(Qt::AlignHCenter);
            layout->addWidget(label);
        }
        version->setStyleSheet(QStringLiteral("color: %1").arg(theme::textDim.name()));
        about_->setFixedSize(about_->sizeHint().expandedTo(QSize(380, 0)));
    }
    present(about_);
}

} // namespace ostinel
