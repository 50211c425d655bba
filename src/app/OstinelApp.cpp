#include "app/OstinelApp.h"

#include <QApplication>
#include <QLoggingCategory>
#include <QThread>
#include <QThreadPool>

#include "analysis/AnalysisDiskCache.h"
#include "analysis/TempoAnalyzer.h"
#include "analysis/TempoDetection.h"
#include "app/InputMonitor.h"
#include "app/MainWindow.h"
#include "platform/OfflinePacer.h"
#include "app/SingleInstance.h"
#include "control/MidiOutputController.h"
#include "control/RemoteControl.h"
#include "control/WebRemotePage.h"
#include "workspace/settings/OscControllerModel.h"
#include "workspace/settings/WebRemoteSettings.h"
#include "platform/LoopbackMidiSystem.h"
#include "platform/MidiSystem.h"
#include "platform/OfflineAudioSystem.h"
#include "platform/QtDialogs.h"
#include "platform/QtMainLoop.h"
#include "platform/SettingsPreferences.h"
#include "playback/EngineLog.h"
#include "playback/ShowModeKeyFilter.h"
#include "timecode/TimecodeController.h"
#include "workspace/common/Theme.h"

// "com.ostinel.app": the shell's start-up and quit.
Q_LOGGING_CATEGORY(appLog, "com.ostinel.app")

namespace ostinel {

OstinelApp::OwnedPlatform::OwnedPlatform() = default;
OstinelApp::OwnedPlatform::OwnedPlatform(OwnedPlatform&&) noexcept = default;
OstinelApp::OwnedPlatform::~OwnedPlatform() = default;

std::unique_ptr<OstinelApp> OstinelApp::standard(std::unique_ptr<AudioSystem> audio) {
    OwnedPlatform owned;
    owned.loop = std::make_unique<QtMainLoop>();
    owned.preferences = std::make_unique<SettingsPreferences>();
    owned.dialogs = std::make_unique<QtDialogs>();
    MainLoop& loop = *owned.loop;
    Preferences& preferences = *owned.preferences;
    Dialogs& dialogs = *owned.dialogs;
    return std::unique_ptr<OstinelApp>(
        new OstinelApp(std::move(owned), loop, preferences, dialogs, std::move(audio), AppPaths::standard()));
}

OstinelApp::OstinelApp(MainLoop& loop, Preferences& preferences, Dialogs& dialogs, std::unique_ptr<AudioSystem> audio,
                       AppPaths paths)
    : OstinelApp(OwnedPlatform{}, loop, preferences, dialogs, std::move(audio), std::move(paths)) {}

OstinelApp::OstinelApp(OwnedPlatform&& owned, MainLoop& loop, Preferences& preferences, Dialogs& dialogs,
                       std::unique_ptr<AudioSystem> audio, AppPaths paths)
    : owned_(std::move(owned)),
      loop_(loop),
      preferences_(preferences),
      dialogs_(dialogs),
      paths_(std::move(paths)),
      audio_(std::move(audio)),
      state_(loop_, preferences_, dialogs_, paths_),
      engine_(loop_, preferences_, *audio_),
      store_(loop_, paths_.analysisCache),
      cues_{state_, engine_, view_.controller(), {}, {}},
      workspace_{loop_, preferences_, dialogs_, state_, engine_, *audio_, store_, view_, cues_} {
    wire();
    if (owned_.dialogs) owned_.dialogs->setParent(window_.get());
}

OstinelApp::~OstinelApp() {
    if (resyncTimer_) loop_.cancel(*resyncTimer_);
    if (pruner_) {
        pruner_->wait();
        delete pruner_;
    }
    instanceServer_.reset();
    window_.reset();
    oscSettings_.reset();
    remoteSettings_.reset();
    remote_.reset();
    engine_.stop();
    // Cache files still being written are finished rather than cut short.
    QThreadPool::globalInstance()->waitForDone();
}

void OstinelApp::wire() {
    // Not quit(): that closes every window first, and closing the main window
    // is itself a request to quit, which would ask the question again.
    terminate = [] { QCoreApplication::exit(0); };
    if (auto* app = qobject_cast<QApplication*>(QCoreApplication::instance())) {
        theme::applyDarkTheme(*app);
        // Quitting is the quit flow's decision, not a side effect of a window.
        app->setQuitOnLastWindowClosed(false);
    }

    transport_ = ShowModeKeys::connectTransport(state_, engine_);
    state_.onShowReplaced = [this](const Show& show) {
        resyncTransportLater();
        if (remote_) remote_->showReplaced(show);
    };
    view_.followMode(state_);
    state_.prerenderHook = [this](const std::vector<FileUrl>& urls) {
        store_.prerender(urls);
        if (state_.spectralColoringEnabled()) store_.prerenderBands(urls);
    };
    state_.relinkedHook = [this](const std::set<Uuid>& ids) { reloadIfRelinked(ids); };
    state_.noticeHook = [this](const std::string& text) { engine_.setNotice(text); };
    connect(&state_, &AppState::spectralColoringEnabledChanged, this, [this] {
        if (!state_.spectralColoringEnabled()) store_.cancelBandPrerender();
        state_.prerenderShow();
    });
    connect(&engine_, &PlaybackEngine::isPlayingChanged, this, &OstinelApp::logPlaying);

    tempo_ = std::make_unique<TempoDetection>(state_, loop_, &TempoAnalyzer::detect);
    workspace_.tempo = tempo_.get();

    wireMidi();

    // With no audio server nobody pulls the offline device; without the pacer
    // the transport would stand still.
    if (auto* offline = dynamic_cast<OfflineAudioSystem*>(audio_.get()))
        pacer_ = std::make_unique<OfflinePacer>(loop_, *offline);

    // The monitor goes in last so it is asked first: it only looks, and must
    // see the modifier keys the show keys swallow.
    keyFilter_ = std::make_unique<ShowModeKeyFilter>(cues_);
    inputMonitor_ = std::make_unique<InputMonitor>();
    QCoreApplication::instance()->installEventFilter(keyFilter_.get());
    QCoreApplication::instance()->installEventFilter(inputMonitor_.get());

    window_ = std::make_unique<MainWindow>(*this);
    pruneAnalysisCache();
}

void OstinelApp::wireMidi() {
    auto midi = MidiSystem::create(*audio_);
    if (midi) {
        midi_ = std::move(*midi);
    } else {
        // A forced backend that can't start: the show still runs, its MIDI goes nowhere.
        auto loopback = std::make_unique<LoopbackMidiSystem>();
        loopback->setFallbackReason(midi.error().message);
        midi_ = std::move(loopback);
    }
    timecode_ = TimecodeController::live(loop_, preferences_, *midi_, *audio_);
    timecode_->attach(engine_);
    midiOutput_ = std::make_unique<MidiOutputController>(*midi_, loop_, preferences_);
    engine_.onMidiTrigger = [this](const MidiTrigger& trigger) { midiOutput_->send(trigger); };
    workspace_.timecode = timecode_.get();
    workspace_.midiOutput = midiOutput_.get();

    remote_ = std::make_unique<RemoteControl>(*midi_, loop_, preferences_, state_, engine_, view_.controller(),
                                              paths_.oscLogFile, webRemotePage().toStdString(), OSTINEL_VERSION);
    cues_.numbers = remote_->numberKeys();
    cues_.learnAction = [this](MidiAction action) { return remote_->learnAction(action); };
    oscSettings_ = std::make_unique<OscControllerModel>(remote_->osc());
    workspace_.midiInput = &remote_->midi();
    workspace_.numbers = &remote_->numbers();
    workspace_.osc = oscSettings_.get();
    remoteSettings_ = std::make_unique<WebRemoteSettings>(remote_->web());
    workspace_.remote = remoteSettings_.get();
}

void OstinelApp::pruneAnalysisCache() {
    pruner_ = QThread::create([dir = paths_.analysisCache] {
        AnalysisDiskCache::prune(AnalysisDiskCache::pruneLimit, dir);
    });
    pruner_->start(QThread::LowestPriority);
}

void OstinelApp::start(const QStringList& files) {
    if (started_) return;
    window_->show();
    window_->activateWindow();
    if (const std::string reason = audio_->fallbackReason(); !reason.empty())
        engine_.setNotice(reason);
    else if (const std::string midiReason = midi_->fallbackReason(); !midiReason.empty())
        engine_.setNotice(midiReason);

    state_.offerRecoveryIfAvailable();
    started_ = true;
    remote_->start();
    QStringList paths = pendingFiles_ + SingleInstance::absolutePaths(files);
    pendingFiles_.clear();
    if (!paths.isEmpty()) state_.loadShow(FileUrl::fromPath(paths.last().toStdString()));
    state_.openLastShowIfRequested();
    // Scripts that drive the program wait for this line, not for a time.
    qCInfo(appLog, "Ready: window shown, start-up complete");
}

void OstinelApp::openFiles(const QStringList& paths) {
    if (!started_) {
        pendingFiles_ += paths;
        return;
    }
    // Not on top of a question the operator has yet to answer.
    if (QApplication::activeModalWidget()) {
        loop_.after(0.25, [this, paths] { openFiles(paths); });
        return;
    }
    bringWindowForward();
    if (!paths.isEmpty()) state_.loadShow(FileUrl::fromPath(paths.last().toStdString()));
}

bool OstinelApp::listen(const QString& serverName) {
    instanceServer_ = std::make_unique<InstanceServer>([this](const QStringList& paths) {
        // Out of the socket's own signal: loading may ask a modal question.
        QMetaObject::invokeMethod(this, [this, paths] { openFiles(paths); }, Qt::QueuedConnection);
    });
    return instanceServer_->listen(serverName);
}

void OstinelApp::bringWindowForward() {
    if (window_->isMinimized()) window_->showNormal();
    window_->show();
    window_->raise();
    window_->activateWindow();
}

bool OstinelApp::quit() {
    // One request, one question: a close that arrives while the question or
    // the save panel is open, or once the answer was to quit, asks nothing.
    if (asking_ || terminating_) return terminating_;
    if (!confirmQuit()) return false;
    terminating_ = true;
    if (terminate) terminate();
    return true;
}

bool OstinelApp::confirmQuit() {
    if (!state_.isDirty()) {
        state_.deleteAutosave();
        return true;
    }
    asking_ = true;
    const int answer = dialogs_.alert(
        {"Save Show?", "Do you want to save the show before quitting Ostinel?", {"Save", "Don't Save", "Cancel"}});
    bool quitting = false;
    if (answer == 0) {
        quitting = state_.saveShow();
    } else if (answer == 1) {
        state_.deleteAutosave();
        quitting = true;
    } // anything else is Cancel, an alert dismissed without an answer too
    asking_ = false;
    return quitting;
}

void OstinelApp::resyncTransportLater() {
    // A whole show is being swapped, and on the way the selection may name
    // a cue whose file the swap has yet to resolve (a moved project): the
    // transport lets go until the show has settled, then takes it up anew.
    if (resyncTimer_) return;
    transport_.disconnect();
    resyncTimer_ = loop_.after(0.0, [this] {
        resyncTimer_.reset();
        transport_ = ShowModeKeys::connectTransport(state_, engine_, transport_.loaded);
        if (!state_.selectedTrack()) engine_.stop();
    });
}

void OstinelApp::reloadIfRelinked(const std::set<Uuid>& relinkedIDs) {
    // The engine holds the selected track; one relinked to the very path it
    // had must still be read anew (a new path is reloaded by the transport).
    const auto track = state_.selectedTrack();
    if (track && relinkedIDs.count(track->id) && !(engine_.hasFile() && engine_.currentURL() == track->url))
        engine_.load(*track);
}

void OstinelApp::logPlaying() {
    if (!engine_.isPlaying()) return;
    const auto track = state_.selectedTrack();
    const std::string name = track ? track->displayName() : engine_.currentURL().value_or(FileUrl{}).fileName();
    qCInfo(engineLog, "Playing %s", name.c_str());
}

} // namespace ostinel
