// ostinel-cli serve FILE.ot [--osc-port P] [--feedback HOST:PORT]
// [--osc-trigger HOST:PORT] [--timecode-rate R] [--remote-port P] [--pin NNNN]: runs a show with no window,
// for racks and installations with no screen: the engine in Show mode, MIDI
// in and out, OSC and timecode, on the machine's preferences. An option
// overrides its preference for this run only and switches on what it names.
// Events are JSON lines on standard output; SIGINT or SIGTERM fades out
// what plays and ends.

#include <QCoreApplication>
#include <QTemporaryDir>

#include <charconv>
#include <iostream>

#include "Command.h"
#include "HeadlessDialogs.h"
#include "HeadlessWaveform.h"
#include "ReadOnlyPreferences.h"
#include "ServeEvents.h"
#include "StopSignals.h"
#include "control/MidiOutputController.h"
#include "control/RemoteAddress.h"
#include "control/RemoteControl.h"
#include "control/RemoteQrCode.h"
#include "control/WebRemotePage.h"
#include "document/AppState.h"
#include "platform/AppPaths.h"
#include "platform/AudioSystem.h"
#include "platform/LoopbackMidiSystem.h"
#include "platform/MidiSystem.h"
#include "platform/OfflineAudioSystem.h"
#include "platform/OfflinePacer.h"
#include "platform/QtMainLoop.h"
#include "playback/PlaybackEngine.h"
#include "timecode/TimecodeController.h"

namespace ostinel::cli {

namespace {

const char* const usage = "serve FILE.ot [--osc-port P] [--feedback HOST:PORT] [--osc-trigger HOST:PORT] "
                          "[--timecode-rate R] [--remote-port P] [--pin NNNN]";

std::optional<int> portNumber(std::string_view text) {
    int port = 0;
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
    if (error != std::errc() || end != text.data() + text.size() || port < 1 || port > 65535) return std::nullopt;
    return port;
}

struct Route {
    std::string host;
    int port = 0;
};

// HOST:PORT, the host maybe an IPv6 address in brackets.
std::optional<Route> route(const std::string& text) {
    const auto colon = text.rfind(':');
    if (colon == std::string::npos || colon == 0) return std::nullopt;
    auto port = portNumber(std::string_view(text).substr(colon + 1));
    if (!port) return std::nullopt;
    std::string host = text.substr(0, colon);
    if (host.size() > 2 && host.front() == '[' && host.back() == ']') host = host.substr(1, host.size() - 2);
    return Route{host, *port};
}

std::nullopt_t refuse(const std::string& message) {
    fail(message);
    return std::nullopt;
}

struct Options {
    std::string showPath;
    std::optional<int> oscPort;
    std::optional<Route> feedback, trigger;
    std::optional<TimecodeRate> rate;
    std::optional<int> remotePort;
    std::optional<std::string> pin;
};

std::optional<Options> parse(const Args& args) {
    Options o;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        const bool hasValue = i + 1 < args.size();
        if (a == "--osc-port" && hasValue) {
            o.oscPort = portNumber(args[++i]);
            if (!o.oscPort) return refuse("--osc-port takes a port between 1 and 65535, not \"" + args[i] + "\"");
        } else if ((a == "--feedback" || a == "--osc-trigger") && hasValue) {
            auto r = route(args[++i]);
            if (!r) return refuse(a + " takes HOST:PORT with a port between 1 and 65535, not \"" + args[i] + "\"");
            (a == "--feedback" ? o.feedback : o.trigger) = r;
        } else if (a == "--remote-port" && hasValue) {
            o.remotePort = portNumber(args[++i]);
            if (!o.remotePort) return refuse("--remote-port takes a port between 1 and 65535, not \"" + args[i] + "\"");
        } else if (a == "--pin" && hasValue) {
            o.pin = args[++i];
            if (o.pin->size() != 4 || o.pin->find_first_not_of("0123456789") != std::string::npos)
                return refuse("--pin takes four digits, not \"" + args[i] + "\"");
        } else if (a == "--timecode-rate" && hasValue) {
            o.rate = timecode::rateFromRaw(args[++i]);
            if (!o.rate) return refuse("--timecode-rate takes fps24, fps25, fps2997df or fps30, not \"" + args[i] + "\"");
        } else if (o.showPath.empty() && !a.starts_with("--")) {
            o.showPath = a;
        } else {
            return refuse(std::string("usage: ostinel-cli ") + usage);
        }
    }
    if (o.showPath.empty()) return refuse(std::string("usage: ostinel-cli ") + usage);
    return o;
}

int serve(const Args& args) {
    auto options = parse(args);
    if (!options) return 1;
    // Before any thread exists, so that none of them takes the signal.
    bool stopping = false;
    std::function<void()> stop;
    StopSignals stopSignals([&](int) {
        if (stop) stop();
    });

    auto audio = AudioSystem::create();
    if (!audio) return fail(audio.error().message);
    AudioSystem& system = **audio;
    QtMainLoop loop;
    ReadOnlyPreferences preferences;
    // The application's own recovery file stays the application's.
    QTemporaryDir scratch;
    AppPaths paths = AppPaths::standard();
    paths.recoveryFile = scratch.filePath("autosave.ot").toStdString();

    // Only this run's: the machine keeps its own PIN.
    if (options->pin) preferences.setValue("remotePIN", *options->pin);
    PlaybackEngine engine(loop, preferences, system);
    std::unique_ptr<ServeEvents> events;
    HeadlessDialogs dialogs([&](const std::string& text) {
        if (events) events->error(text);
        else std::cerr << text << "\n";
    });
    AppState state(loop, preferences, dialogs, paths);
    HeadlessWaveform waveform;
    std::unique_ptr<OfflinePacer> pacer;
    if (auto* offline = dynamic_cast<OfflineAudioSystem*>(&system)) pacer = std::make_unique<OfflinePacer>(loop, *offline);

    auto midiSystem = MidiSystem::create(system);
    std::unique_ptr<MidiSystem> midi;
    if (midiSystem) {
        midi = std::move(*midiSystem);
    } else {
        auto loopback = std::make_unique<LoopbackMidiSystem>();
        loopback->setFallbackReason(midiSystem.error().message);
        midi = std::move(loopback);
    }
    auto timecode = TimecodeController::live(loop, preferences, *midi, system);
    timecode->attach(engine);
    MidiOutputController triggers(*midi, loop, preferences);
    engine.onMidiTrigger = [&](const MidiTrigger& trigger) { triggers.send(trigger); };
    RemoteControl remote(*midi, loop, preferences, state, engine, waveform, paths.oscLogFile, webRemotePage().toStdString(),
                         OSTINEL_VERSION);
    WebRemoteController& web = remote.web();
    OSCController& osc = remote.osc();
    events = std::make_unique<ServeEvents>(loop, state, engine, osc, std::cout);
    for (const std::string& reason : {system.fallbackReason(), midi->fallbackReason()})
        if (!reason.empty()) events->print({{"event", "notice"}, {"text", reason}});

    auto transport = ShowModeKeys::connectTransport(state, engine);
    state.onShowReplaced = [&](const Show& show) { remote.showReplaced(show); };
    if (!state.loadShow(FileUrl::fromPath(options->showPath))) return 1;
    state.setMode(AppMode::show);
    engine.onReachedEnd = [&] {
        if (state.mode() == AppMode::show) ShowModeKeys::advance(state, engine);
    };

    if (options->oscPort) {
        osc.setPort(*options->oscPort);
        osc.setEnabled(true);
    }
    if (options->feedback) {
        osc.setFeedbackHost(options->feedback->host);
        osc.setFeedbackPort(options->feedback->port);
        osc.setFeedbackEnabled(true);
    }
    if (options->trigger) {
        osc.setTriggerHost(options->trigger->host);
        osc.setTriggerPort(options->trigger->port);
        osc.setTriggerOutputEnabled(true);
    }
    if (options->remotePort) {
        web.setPort(*options->remotePort);
        web.setEnabled(true);
    }
    if (options->rate) {
        timecode->setRate(*options->rate);
        timecode->setEnabled(true);
    }
    remote.start();

    nlohmann::ordered_json ready{{"show", state.show().name}, {"cues", state.show().tracks.size()},
                                 {"audio", system.backendName()}, {"midi", midi->backendName()}};
    ready["oscPort"] = osc.enabled() ? nlohmann::ordered_json(osc.boundPort()) : nlohmann::ordered_json(nullptr);
    ready["feedback"] = osc.wantsFeedback() ? osc.feedbackHost() + ":" + std::to_string(osc.feedbackPort()) : "";
    ready["oscTrigger"] = osc.wantsTriggerOutput() ? osc.triggerHost() + ":" + std::to_string(osc.triggerPort()) : "";
    ready["timecode"] = timecode->enabled() ? std::string(timecode::rawValue(timecode->rate())) : "";
    // The address a phone most likely reaches, and this machine's own.
    const auto addresses = remoteAddresses();
    const std::string host = addresses.empty() ? "127.0.0.1" : addresses.front().host;
    ready["remoteURL"] = web.isListening() ? remoteSignInURL(host, web.boundPort(), web.pin()) : "";
    ready["remoteLocalURL"] = web.isListening() ? remoteSignInURL("127.0.0.1", web.boundPort(), web.pin()) : "";
    if (web.problem()) events->error(*web.problem());
    events->announceReady(ready);

    stop = [&] {
        if (stopping) return;
        stopping = true;
        events->print({{"event", "stopping"}});
        if (!engine.isPlaying()) return QCoreApplication::quit();
        engine.fadeOutAndStop(engine.stopFadeSeconds());
        QObject::connect(&engine, &PlaybackEngine::isPlayingChanged, [&] {
            if (!engine.isPlaying()) QCoreApplication::quit();
        });
        // A fade that never ends (a stalled server) must not keep the rack up.
        loop.after(engine.stopFadeSeconds() + 2.0, [] { QCoreApplication::quit(); });
    };
    const int status = QCoreApplication::exec();
    engine.stop();
    // The surface hears the stop before the sockets close.
    osc.sendFeedbackIfChanged();
    events->print({{"event", "stopped"}});
    return status;
}

const Command command("serve", usage, serve);

} // namespace

} // namespace ostinel::cli
