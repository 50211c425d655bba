// The menu bar of the main window.

#include <QAction>
#include <QMenu>
#include <QMenuBar>

#include <functional>

#include "app/MainWindow.h"
#include "app/OstinelApp.h"
#include "app/RevealFile.h"
#include "control/MidiController.h"
#include "control/NumberMapController.h"
#include "platform/Preferences.h"
#include "timecode/TimecodeController.h"
#include "workspace/editpanel/EditPanel.h"
#include "workspace/waveform/WaveformPanel.h"

namespace ostinel {
namespace {

QAction* addCommand(QMenu* menu, const QString& title, const char* name, QList<QKeySequence> keys = {}) {
    QAction* action = menu->addAction(title);
    action->setObjectName(QString::fromLatin1(name));
    action->setShortcuts(keys);
    // Menu keys work wherever the focus is in the main window, the show keys
    // having passed every Ctrl combination on.
    action->setShortcutContext(Qt::ApplicationShortcut);
    return action;
}

} // namespace

void MainWindow::buildMenus() {
    AppState& state = app_.state();
    // A menu key takes no focus, so a value typed but not yet entered must
    // be committed before the show is written or let go.
    const auto committed = [this](std::function<void()> command) {
        return [this, command = std::move(command)] {
            if (editPanel_) editPanel_->commitPendingEdits();
            command();
        };
    };

    QMenu* file = menuBar()->addMenu(QStringLiteral("&File"));
    connect(addCommand(file, QStringLiteral("New Show"), "newShow", {QKeySequence(Qt::CTRL | Qt::Key_N)}),
            &QAction::triggered, this, committed([&state] { state.newShow(); }));
    connect(addCommand(file, QStringLiteral("Open Show…"), "openShow", {QKeySequence(Qt::CTRL | Qt::Key_O)}),
            &QAction::triggered, this, committed([&state] { state.openShow(); }));
    recentMenu_ = file->addMenu(QStringLiteral("Open Recent"));
    recentMenu_->setObjectName(QStringLiteral("openRecent"));
    // Queued: the list changes from inside one of the menu's own entries,
    // which must not be deleted while it is still being triggered.
    connect(&state, &AppState::recentShowURLsChanged, this, &MainWindow::fillRecentMenu, Qt::QueuedConnection);
    fillRecentMenu();
    file->addSeparator();
    connect(addCommand(file, QStringLiteral("Add Track(s)…"), "addTracks", {QKeySequence(Qt::CTRL | Qt::Key_I)}),
            &QAction::triggered, this, [&state] { state.addTracksPanel(); });
    connect(addCommand(file, QStringLiteral("Match Levels…"), "matchLevels"), &QAction::triggered, this,
            &MainWindow::openMatchLevels);
    file->addSeparator();
    connect(addCommand(file, QStringLiteral("Save Show"), "saveShow", {QKeySequence(Qt::CTRL | Qt::Key_S)}),
            &QAction::triggered, this, committed([&state] { state.saveShow(); }));
    connect(addCommand(file, QStringLiteral("Save Show As…"), "saveShowAs",
                       {QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_S)}),
            &QAction::triggered, this, committed([&state] { state.saveShowAs(); }));
    connect(addCommand(file, QStringLiteral("Save as Project…"), "saveAsProject"), &QAction::triggered, this,
            committed([&state] { state.saveShowAsProject(); }));
    reveal_ = addCommand(file, QStringLiteral("Show in File Manager"), "reveal");
    connect(reveal_, &QAction::triggered, this, &MainWindow::revealShow);
    reveal_->setEnabled(state.currentFileURL().has_value());
    file->addSeparator();
    connect(addCommand(file, QStringLiteral("Settings…"), "settings", {QKeySequence(Qt::CTRL | Qt::Key_Comma)}),
            &QAction::triggered, this, [this] { openSettings(QStringLiteral("General")); });
    file->addSeparator();
    connect(addCommand(file, QStringLiteral("Quit Ostinel"), "quit", {QKeySequence(Qt::CTRL | Qt::Key_Q)}),
            &QAction::triggered, this, committed([this] { app_.quit(); }));

    QMenu* edit = menuBar()->addMenu(QStringLiteral("&Edit"));
    undo_ = addCommand(edit, QStringLiteral("Undo"), "undo", {QKeySequence(Qt::CTRL | Qt::Key_Z)});
    redo_ = addCommand(edit, QStringLiteral("Redo"), "redo", {QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_Z)});
    connect(undo_, &QAction::triggered, this, &MainWindow::undo);
    connect(redo_, &QAction::triggered, this, &MainWindow::redo);
    // In map mode a click on a cue waits for its key instead of selecting it.
    if (MidiController* midi = app_.workspace().midiInput) {
        edit->addSeparator();
        QAction* action = addCommand(edit, QStringLiteral("MIDI Map Mode"), "midiMapMode");
        action->setCheckable(true);
        connect(action, &QAction::toggled, midi, &MidiController::setMapMode);
        connect(midi, &MidiController::changed, action, [midi, action] { action->setChecked(midi->mapMode()); });
    }
    if (NumberMapController* numbers = app_.workspace().numbers) {
        QAction* action = addCommand(edit, QStringLiteral("Number Map Mode"), "numberMapMode");
        action->setCheckable(true);
        connect(action, &QAction::toggled, numbers, &NumberMapController::setMapMode);
        connect(numbers, &NumberMapController::changed, action,
                [numbers, action] { action->setChecked(numbers->mapMode()); });
    }

    QMenu* view = menuBar()->addMenu(QStringLiteral("&View"));
    connect(addCommand(view, QStringLiteral("Zoom In"), "zoomIn",
                       {QKeySequence(Qt::CTRL | Qt::Key_Plus), QKeySequence(Qt::CTRL | Qt::Key_Equal)}),
            &QAction::triggered, waveform_, &WaveformPanel::zoomIn);
    connect(addCommand(view, QStringLiteral("Zoom Out"), "zoomOut", {QKeySequence(Qt::CTRL | Qt::Key_Minus)}),
            &QAction::triggered, waveform_, &WaveformPanel::zoomOut);
    connect(addCommand(view, QStringLiteral("Zoom to Fit"), "zoomToFit", {QKeySequence(Qt::CTRL | Qt::Key_0)}),
            &QAction::triggered, waveform_, &WaveformPanel::zoomToFit);

    if (TimecodeController* timecode = app_.workspace().timecode) {
        view->addSeparator();
        QAction* large = addCommand(view, QStringLiteral("Show Large Timecode"), "showLargeTimecode");
        QAction* below = addCommand(view, QStringLiteral("Large Timecode Below Waveform"), "largeTimecodeBelow");
        for (QAction* action : {large, below}) action->setCheckable(true);
        auto reflect = [timecode, large, below] {
            large->setChecked(timecode->showLargeTimecode());
            below->setChecked(timecode->largeTimecodeBelow());
            below->setEnabled(timecode->showLargeTimecode());
        };
        reflect();
        connect(large, &QAction::toggled, timecode, &TimecodeController::setShowLargeTimecode);
        connect(below, &QAction::toggled, timecode, &TimecodeController::setLargeTimecodeBelow);
        connect(timecode, &TimecodeController::largeTimecodeChanged, this, reflect);
    }

    QMenu* help = menuBar()->addMenu(QStringLiteral("&Help"));
    connect(addCommand(help, QStringLiteral("About Ostinel"), "about"), &QAction::triggered, this,
            &MainWindow::openAbout);
}

void MainWindow::fillRecentMenu() {
    recentMenu_->clear();
    AppState& state = app_.state();
    const auto& recent = state.recentShowURLs();
    if (recent.empty()) {
        recentMenu_->addAction(QStringLiteral("No Recent Shows"))->setEnabled(false);
        return;
    }
    for (const FileUrl& url : recent) {
        QAction* entry = recentMenu_->addAction(QString::fromStdString(url.fileName()));
        entry->setToolTip(QString::fromStdString(url.path()));
        connect(entry, &QAction::triggered, this, [&state, url] { state.loadShow(url); });
    }
    recentMenu_->addSeparator();
    connect(recentMenu_->addAction(QStringLiteral("Clear Menu")), &QAction::triggered, this, [this, &state] {
        app_.preferences().setValue("recentShowURLs", std::vector<std::string>{});
        state.setRecentShowURLs({});
    });
}

void MainWindow::revealShow() {
    if (const auto& url = app_.state().currentFileURL()) revealInFileManager(QString::fromStdString(url->path()));
}

} // namespace ostinel
