#pragma once

#include <QMainWindow>

class QVBoxLayout;

namespace ostinel {

class EditPanel;
class OstinelApp;
class SettingsWindow;
class MatchLevelsWindow;
class ShowListView;
class TimecodeView;
class WaveformPanel;

// The one window: transport and notice on top, the running order on the
// left, the selected cue's waveform and strips in the middle, its fields on
// the right. Closing it is quitting, through the quit flow.
class MainWindow : public QMainWindow {
    Q_OBJECT
public:
    static constexpr int startWidth = 1400;
    static constexpr int startHeight = 850;
    // Wide enough for a cue's name beside its length and flags.
    static constexpr int showListWidth = 400;
    static constexpr int editPanelWidth = 340;

    explicit MainWindow(OstinelApp& app);
    ~MainWindow() override;

    // Edit > Undo and Redo: the focused field's own history first.
    void undo();
    void redo();
    // Settings on a tab, remembered in "settingsTab".
    void openSettings(const QString& tab);
    void openMatchLevels();
    void openAbout();

    ShowListView* showList() const { return showList_; }
    WaveformPanel* waveformPanel() const { return waveform_; }
    EditPanel* editPanel() const { return editPanel_; }

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void buildPanels();
    void placeLargeTimecode();
    void buildMenus();
    void fillRecentMenu();
    void updateTitle();
    void updateEditingCommands();
    void revealShow();
    void present(QWidget* window);

    OstinelApp& app_;
    ShowListView* showList_ = nullptr;
    WaveformPanel* waveform_ = nullptr;
    QVBoxLayout* middleColumn_ = nullptr;
    TimecodeView* largeTimecode_ = nullptr;
    EditPanel* editPanel_ = nullptr;
    SettingsWindow* settings_ = nullptr;
    MatchLevelsWindow* matchLevels_ = nullptr;
    QWidget* about_ = nullptr;
    QMenu* recentMenu_ = nullptr;
    QAction* undo_ = nullptr;
    QAction* redo_ = nullptr;
    QAction* reveal_ = nullptr;
};

} // namespace ostinel
