#include "control/OSCController.h"

#include <algorithm>
#include <type_traits>

#include "control/OSCCommand.h"
#include "control/OSCDiagnostics.h"
#include "control/OSCMessage.h"
#include "control/OSCTriggerMessage.h"
#include "document/AppState.h"
#include "platform/Preferences.h"
#include "playback/PlaybackEngine.h"

namespace ostinel {

namespace {

int clampedPort(std::int64_t port) { return int(std::clamp<std::int64_t>(port, 0, 65535)); }

const char* flag(bool on) { return on ? "true" : "false"; }

} // namespace

OSCController::OSCController(MainLoop& loop, Preferences& preferences, const std::string& logPath, QObject* parent)
    : QObject(parent), loop_(loop), preferences_(preferences), diagnostics_(std::make_unique<OSCDiagnostics>(logPath)) {
    load();
}

OSCController::~OSCController() {
    if (healthTimer_) loop_.cancel(*healthTimer_);
}

void OSCController::load() {
    enabled_ = preferences_.boolValue("oscEnabled").value_or(false);
    port_ = clampedPort(preferences_.intValue("oscPort").value_or(53000));
    feedbackEnabled_ = preferences_.boolValue("oscFeedbackEnabled").value_or(false);
    feedbackHost_ = preferences_.stringValue("oscFeedbackHost").value_or("");
    feedbackPort_ = clampedPort(preferences_.intValue("oscFeedbackPort").value_or(53001));
    triggerOutputEnabled_ = preferences_.boolValue("oscTriggerOutputEnabled").value_or(false);
    triggerHost_ = preferences_.stringValue("oscTriggerHost").value_or("");
    triggerPort_ = clampedPort(preferences_.intValue("oscTriggerPort").value_or(53000));
}

// --- Settings ---------------------------------------------------------------------------

template <class T>
void OSCController::change(T& field, T value, const char* key) {
    if (field == value) return;
    field = std::move(value);
    if constexpr (std::is_same_v<T, int>) {
        if (key) preferences_.setValue(key, std::int64_t(field));
    } else {
        if (key) preferences_.setValue(key, field);
    }
    // The route is the show's as well: written together, and reported.
    if (!key) persistTriggerRoute();
    emit settingsChanged();
    restart();
}

void OSCController::setEnabled(bool on) { change(enabled_, on, "oscEnabled"); }
void OSCController::setPort(int port) { change(port_, clampedPort(port), "oscPort"); }
void OSCController::setFeedbackEnabled(bool on) { change(feedbackEnabled_, on, "oscFeedbackEnabled"); }
void OSCController::setFeedbackHost(const std::string& host) { change(feedbackHost_, host, "oscFeedbackHost"); }
void OSCController::setFeedbackPort(int port) { change(feedbackPort_, clampedPort(port), "oscFeedbackPort"); }
void OSCController::setTriggerOutputEnabled(bool on) {
    change(triggerOutputEnabled_, on, "oscTriggerOutputEnabled");
}
void OSCController::setTriggerHost(const std::string& host) { change(triggerHost_, host, nullptr); }
void OSCController::setTriggerPort(int port) { change(triggerPort_, clampedPort(port), nullptr); }

void OSCController::persistTriggerRoute() {
    if (suppressRouteWriteback_) return;
    preferences_.setValue("oscTriggerHost", triggerHost_);
    preferences_.setValue("oscTriggerPort", std::int64_t(triggerPort_));
    if (onTriggerRouteChanged) onTriggerRouteChanged(triggerHost_, triggerPort_);
}

void OSCController::applyTriggerRoute(const std::string& host, std::int64_t port) {
    const int clamped = clampedPort(port);
    if (host == triggerHost_ && clamped == triggerPort_) return;
    // The show's own route: taken up, never bounced back to it as an edit.
    suppressRouteWriteback_ = true;
    triggerHost_ = host;
    persistTriggerRoute();
    triggerPort_ = clamped;
    persistTriggerRoute();
    emit settingsChanged();
    restart();
    suppressRouteWriteback_ = false;
}

// --- Sockets ----------------------------------------------------------------------------

void OSCController::start(PlaybackEngine& engine, AppState& state) {
    engine_ = &engine;
    state_ = &state;
    started_ = true;
    restart();
    // Queued: feedback follows the change, never runs inside it.
    connect(&engine, &PlaybackEngine::isPlayingChanged, this, &OSCController::sendFeedbackIfChanged,
            Qt::QueuedConnection);
    for (auto signal : {&AppState::selectedTrackIDChanged, &AppState::modeChanged, &AppState::showChanged})
        connect(&state, signal, this, &OSCController::sendFeedbackIfChanged, Qt::QueuedConnection);
    sendFeedbackIfChanged();
}

void OSCController::restart() {
    // Settings taken up before the start open nothing yet.
    if (!started_) return;
    record(std::string("restart: enabled=") + flag(enabled_) + " feedbackEnabled=" + flag(feedbackEnabled_) +
           " triggerOutputEnabled=" + flag(triggerOutputEnabled_));
    for (Socket* s : {&listener_, &feedback_, &trigger_}) *s = Socket{};
    emit socketsChanged();
    if (!enabled_ && !wantsFeedback() && !wantsTriggerOutput()) {
        record("restart: OSC disabled — listener, feedback and trigger output stay down");
        if (healthTimer_) loop_.cancel(*healthTimer_);
        healthTimer_.reset();
        return;
    }
    openListener();
    openFeedbackConnection();
    openTriggerConnection();
    startHealthTimer();
}

void OSCController::openListener() {
    if (!enabled_ || listener_.socket) return;
    if (port_ == 0) return;
    listener_.socket =
        UdpSocket::listen(port_, [this](std::span<const std::uint8_t> datagram) { handleDatagram(datagram); }, {});
    const UdpSocket* socket = listener_.socket.get();
    listener_.socket->setStateHandler(
        [this, socket](SocketState state, const std::string& error) { onSocketState(Which::listener, socket, state, error); });
    emit socketsChanged();
}

void OSCController::openFeedbackConnection() {
    if (!wantsFeedback() || feedback_.socket || feedbackPort_ == 0) return;
    feedback_.socket = openConnection(Which::feedback, feedbackHost_, feedbackPort_);
    // A new connection owes the surface every status.
    lastSentPlaying_.reset();
    lastSentTrackID_.reset();
    lastSentTrackName_.reset();
    lastSentMode_.reset();
    lastSentTrackCount_.reset();
    sendFeedbackIfChanged();
}

void OSCController::openTriggerConnection() {
    if (!wantsTriggerOutput() || trigger_.socket || triggerPort_ == 0) return;
    trigger_.socket = openConnection(Which::trigger, triggerHost_, triggerPort_);
}

std::unique_ptr<UdpSocket> OSCController::openConnection(Which which, const std::string& host, int port) {
    auto socket = UdpSocket::connect(host, port, {});
    const UdpSocket* raw = socket.get();
    socket->setStateHandler(
        [this, which, raw](SocketState state, const std::string& error) { onSocketState(which, raw, state, error); });
    emit socketsChanged();
    return socket;
}

void OSCController::onSocketState(Which which, const UdpSocket* socket, SocketState state, const std::string& error) {
    Socket& s = slot(which);
    // A late word from a socket already dropped.
    if (s.socket.get() != socket) return;
    const std::string port = std::to_string(port_);
    const std::string route = which == Which::feedback ? feedbackHost_ + ":" + std::to_string(feedbackPort_)
                                                       : triggerHost_ + ":" + std::to_string(triggerPort_);
    const std::string name = which == Which::feedback ? "feedback" : "trigger output";
    if (state != SocketState::ready) s.lastError = error;
    switch (state) {
    case SocketState::opening: return;
    case SocketState::ready:
        if (which == Which::listener) record("listener ready on port " + port);
        else record(name + " ready → " + route);
        break;
    case SocketState::waiting:
        if (which == Which::listener) record("listener waiting on port " + port + ": " + error);
        else record(name + " waiting: " + error);
        break;
    case SocketState::failed:
        if (which == Which::listener) record("listener FAILED on port " + port + ": " + error);
        else record(name + " FAILED: " + error);
        // The health check builds it again.
        s.socket.reset();
        break;
    }
    emit socketsChanged();
}

void OSCController::startHealthTimer() {
    if (healthTimer_) loop_.cancel(*healthTimer_);
    healthTimer_ = loop_.every(healthCheckSeconds, [this] { healthCheck(); });
}

void OSCController::healthCheck() {
    checkSocket(Which::trigger, wantsTriggerOutput());
    checkSocket(Which::feedback, wantsFeedback());
    checkSocket(Which::listener, enabled_);
}

void OSCController::checkSocket(Which which, bool wanted) {
    if (!wanted) return;
    Socket& s = slot(which);
    const std::string name = which == Which::listener ? "listener" : which == Which::feedback ? "feedback" : "trigger output";
    auto reopen = [&] {
        if (which == Which::listener) openListener();
        else if (which == Which::feedback) openFeedbackConnection();
        else openTriggerConnection();
    };
    if (!s.socket) {
        record("health: " + std::string(which == Which::feedback ? "feedback connection" : name) +
               " down — rebuilding");
        s.stalledChecks = 0;
        reopen();
        return;
    }
    if (s.socket->checkReady()) {
        s.stalledChecks = 0;
        return;
    }
    const std::string state = socketStateName(s.socket->state());
    s.stalledChecks += 1;
    record("health: " + name + " state " + state + " (" + std::to_string(s.stalledChecks) + "×)");
    if (s.stalledChecks < stallsBeforeRebuild) return;
    record("health: " + name + " stuck in " + state + " — rebuilding");
    s.stalledChecks = 0;
    s.socket.reset();
    reopen();
    emit socketsChanged();
}

// --- Traffic ----------------------------------------------------------------------------

void OSCController::handleDatagram(std::span<const std::uint8_t> datagram) {
    auto command = OSCCommand::parse(datagram);
    if (!command) return;
    if (auto* action = std::get_if<MidiAction>(&command->what)) {
        if (actionHandler) actionHandler(*action);
    } else if (auto* select = std::get_if<OSCCommand::SelectIndex>(&command->what)) {
        if (selectIndexHandler) selectIndexHandler(select->index);
    } else if (auto* go = std::get_if<OSCCommand::GoIndex>(&command->what)) {
        if (goIndexHandler) goIndexHandler(go->index);
    } else if (auto* mode = std::get_if<OSCCommand::Mode>(&command->what)) {
        if (modeHandler) modeHandler(mode->name);
    }
}

void OSCController::sendFeedbackIfChanged() {
    if (!feedbackEnabled_ || !feedback_.socket || !engine_ || !state_) return;
    const bool playing = engine_->isPlaying();
    if (lastSentPlaying_ != playing) {
        lastSentPlaying_ = playing;
        transmit(Which::feedback, {"/ostinel/status/playing", {std::int64_t(playing ? 1 : 0)}});
    }
    const auto track = state_->selectedTrack();
    const std::optional<Uuid> trackID = track ? std::optional(track->id) : std::nullopt;
    if (!lastSentTrackID_ || *lastSentTrackID_ != trackID) {
        const std::int64_t position = track ? state_->show().indexOfTrack(track->id) + 1 : 0;
        const std::string name = track ? track->name : "";
        lastSentTrackID_ = trackID;
        lastSentTrackName_ = name;
        transmit(Which::feedback, {"/ostinel/status/track", {position, name}});
    }
    const AppMode mode = state_->mode();
    if (lastSentMode_ != mode) {
        lastSentMode_ = mode;
        transmit(Which::feedback, {"/ostinel/status/mode", {std::string(mode == AppMode::show ? "show" : "edit")}});
    }
    const auto count = std::int64_t(state_->show().tracks.size());
    if (lastSentTrackCount_ != count) {
        lastSentTrackCount_ = count;
        transmit(Which::feedback, {"/ostinel/status/trackCount", {count}});
    }
}

void OSCController::send(const OSCTrigger& trigger) {
    if (!triggerOutputEnabled_ || !trigger_.socket) return;
    transmit(Which::trigger, oscTriggerMessage(trigger));
}

void OSCController::transmit(Which which, const OSCMessage& message) {
    Socket& s = slot(which);
    if (!s.socket) return;
    const auto bytes = message.encoded();
    const std::string error = s.socket->send(bytes);
    if (!error.empty())
        record(std::string(which == Which::feedback ? "feedback" : "trigger output") + " send failed " +
               message.address + ": " + error);
}

// --- State ------------------------------------------------------------------------------

OSCController::Socket& OSCController::slot(Which which) {
    return which == Which::listener ? listener_ : which == Which::feedback ? feedback_ : trigger_;
}

const OSCController::Socket& OSCController::slot(Which which) const {
    return which == Which::listener ? listener_ : which == Which::feedback ? feedback_ : trigger_;
}

std::optional<SocketState> OSCController::listenerState() const {
    return listener_.socket ? std::optional(listener_.socket->state()) : std::nullopt;
}
std::optional<SocketState> OSCController::feedbackState() const {
    return feedback_.socket ? std::optional(feedback_.socket->state()) : std::nullopt;
}
std::optional<SocketState> OSCController::triggerOutputState() const {
    return trigger_.socket ? std::optional(trigger_.socket->state()) : std::nullopt;
}

int OSCController::boundPort() const { return listener_.socket ? listener_.socket->localPort() : 0; }

std::string OSCController::status(Which which, bool wanted, const std::string& off) const {
    if (!wanted) return off;
    const Socket& s = slot(which);
    const std::string why = s.lastError.empty() ? "" : ": " + s.lastError;
    if (!s.socket) return "Down" + why + " — retrying every " + std::to_string(int(healthCheckSeconds)) + " seconds.";
    switch (s.socket->state()) {
    case SocketState::ready: return "Ready.";
    case SocketState::opening: return "Opening…";
    case SocketState::waiting: return "Waiting" + why + ".";
    case SocketState::failed: return "Failed" + why + ".";
    }
    return {};
}

std::string OSCController::listenerStatus() const {
    if (enabled_ && port_ == 0) return "Choose a port between 1 and 65535.";
    if (listener_.socket && listener_.socket->state() == SocketState::ready)
        return "Listening on port " + std::to_string(port_) + ".";
    if (!listener_.socket && listener_.lastError == "Address already in use")
        return "Port " + std::to_string(port_) + " is in use by another program. Choose another port or quit that program.";
    return status(Which::listener, enabled_, "Off.");
}

std::string OSCController::feedbackStatus() const {
    if (feedbackEnabled_ && feedbackHost_.empty()) return "Enter the host of the control surface.";
    if (feedback_.socket && feedback_.socket->state() == SocketState::ready)
        return "Sending to " + feedbackHost_ + ":" + std::to_string(feedbackPort_) + ".";
    return status(Which::feedback, wantsFeedback(), "Off.");
}

std::string OSCController::triggerOutputStatus() const {
    if (triggerOutputEnabled_ && triggerHost_.empty()) return "Enter the host of the show gear.";
    if (trigger_.socket && trigger_.socket->state() == SocketState::ready)
        return "Sending to " + triggerHost_ + ":" + std::to_string(triggerPort_) + ".";
    return status(Which::trigger, wantsTriggerOutput(), "Off.");
}

void OSCController::record(const std::string& text) { diagnostics_->record(text); }

} // namespace ostinel
