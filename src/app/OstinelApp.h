#pragma once

#include <QObject>
#include <QStringList>

#include <functional>
#include <memory>

#include "analysis/WaveformStore.h"
#include "document/AppState.h"
#include "platform/AppPaths.h"
#include "platform/AudioSystem.h"
#include "platform/MainLoop.h"
#include "playback/PlaybackEngine.h"
#include "playback/ShowModeKeys.h"
#include "workspace/WaveformViewState.h"
#include "workspace/common/Workspace.h"

class QThread;

namespace ostinel {

class Dialogs;
class InputMonitor;
class InstanceServer;
class MainLoop;
class MainWindow;
class MidiOutputController;
class MidiSystem;
class TimecodeController;
class OfflinePacer;
class RemoteControl;
class OscControllerModel;
class WebRemoteSettings;
class Preferences;
class QtDialogs;
class QtMainLoop;
class SettingsPreferences;
class ShowModeKeyFilter;
class TempoDetection;

// The application object: makes the long-lived objects once, in order, wires
// them together, and owns the start-up and the quit. No logic of its own.
class OstinelApp : public QObject {
    Q_OBJECT
public:
    // The real run: Qt's event loop, the user's preferences, real dialogs on
    // the main window, the user's folders.
    static std::unique_ptr<OstinelApp> standard(std::unique_ptr<AudioSystem> audio);
    // Assembled on given parts, for tests.
    OstinelApp(MainLoop& loop, Preferences& preferences, Dialogs& dialogs, std::unique_ptr<AudioSystem> audio,
               AppPaths paths);
    ~OstinelApp() override;

    // Shows the window, then in order: the recovery offer, the files handed
    // in (the last one wins), the last show if asked for.
    void start(const QStringList& files = {});
    // Files from the system after start-up (a second launch): the last one is
    // opened, asking first about a dirty show, and the window comes forward.
    void openFiles(const QStringList& paths);
    // Takes files from later launches; false when the name can't be had.
    bool listen(const QString& serverName);

    // The quit flow: asks about a dirty show. True when quitting goes on,
    // and then `terminate` has been called.
    bool quit();
    // Ends the event loop; tests replace it.
    std::function<void()> terminate;

    MainLoop& loop() { return loop_; }
    Preferences& preferences() { return preferences_; }
    Dialogs& dialogs() { return dialogs_; }
    AudioSystem& audio() { return *audio_; }
    AppState& state() { return state_; }
    PlaybackEngine& engine() { return engine_; }
    WaveformStore& store() { return store_; }
    WaveformViewState& view() { return view_; }
    CueContext& cues() { return cues_; }
    Workspace& workspace() { return workspace_; }
    MidiSystem& midi() { return *midi_; }
    TimecodeController& timecode() { return *timecode_; }
    MidiOutputController& midiOutput() { return *midiOutput_; }
    RemoteControl& remote() { return *remote_; }
    MainWindow& window() { return *window_; }
    // Only on the offline device.
    OfflinePacer* pacer() { return pacer_.get(); }

private:
    struct OwnedPlatform {
        std::unique_ptr<QtMainLoop> loop;
        std::unique_ptr<SettingsPreferences> preferences;
        std::unique_ptr<QtDialogs> dialogs;
        OwnedPlatform();
        OwnedPlatform(OwnedPlatform&&) noexcept;
        ~OwnedPlatform();
    };
    OstinelApp(OwnedPlatform&& owned, MainLoop& loop, Preferences& preferences, Dialogs& dialogs,
               std::unique_ptr<AudioSystem> audio, AppPaths paths);

    void wire();
    void wireMidi();
    bool confirmQuit();
    void pruneAnalysisCache();
    void resyncTransportLater();
    void reloadIfRelinked(const std::set<Uuid>& relinkedIDs);
    void logPlaying();
    void bringWindowForward();

    OwnedPlatform owned_;
    MainLoop& loop_;
    Preferences& preferences_;
    Dialogs& dialogs_;
    AppPaths paths_;
    std::unique_ptr<AudioSystem> audio_;

    AppState state_;
    PlaybackEngine engine_;
    WaveformStore store_;
    WaveformViewState view_;
    CueContext cues_;
    Workspace workspace_;
    std::unique_ptr<TempoDetection> tempo_;

    std::unique_ptr<MidiSystem> midi_;
    std::unique_ptr<TimecodeController> timecode_;
    std::unique_ptr<MidiOutputController> midiOutput_;
    std::unique_ptr<RemoteControl> remote_;
    std::unique_ptr<OscControllerModel> oscSettings_;
    std::unique_ptr<WebRemoteSettings> remoteSettings_;

    ShowModeKeys::TransportConnections transport_;
    std::optional<MainLoop::TimerId> resyncTimer_;

    std::unique_ptr<OfflinePacer> pacer_;
    std::unique_ptr<ShowModeKeyFilter> keyFilter_;
    std::unique_ptr<InputMonitor> inputMonitor_;
    std::unique_ptr<MainWindow> window_;
    std::unique_ptr<InstanceServer> instanceServer_;
    QThread* pruner_ = nullptr;
    bool started_ = false;
    bool asking_ = false;
    bool terminating_ = false;
    QStringList pendingFiles_;
};

} // namespace ostinel
