#include "JsonLine.h"
#include "ServeEvents.h"

#include <ostream>

#include "control/OSCController.h"
#include "document/AppState.h"
#include "platform/MainLoop.h"
#include "playback/PlaybackEngine.h"

namespace ostinel::cli {

namespace {
bool down(const std::optional<SocketState>& state) {
    return !state || *state == SocketState::failed || *state == SocketState::waiting;
}
} // namespace

ServeEvents::ServeEvents(MainLoop& loop, AppState& state, PlaybackEngine& engine, OSCController& osc,
                         std::ostream& out)
    : loop_(loop), state_(state), engine_(engine), osc_(osc), out_(out) {
    for (auto signal : {&AppState::selectedTrackIDChanged, &AppState::modeChanged})
        connect(&state, signal, this, &ServeEvents::stateChanged, Qt::QueuedConnection);
    connect(&engine, &PlaybackEngine::isPlayingChanged, this, &ServeEvents::stateChanged, Qt::QueuedConnection);
    connect(&osc, &OSCController::socketsChanged, this, &ServeEvents::socketsChanged, Qt::QueuedConnection);
    connect(&engine, &PlaybackEngine::noticeChanged, this, [this] {
        if (engine_.notice()) print({{"event", "notice"}, {"text", *engine_.notice()}});
    });
}

void ServeEvents::print(const nlohmann::ordered_json& line) {
    writeJsonLine(out_, line);
}

void ServeEvents::announceReady(nlohmann::ordered_json details) {
    const double deadline = loop_.now() + readyTimeoutSeconds;
    // Polled: the sockets report on the event loop, and a name may take a while.
    auto check = std::make_shared<std::function<void()>>();
    *check = [this, deadline, details, check] {
        if (!socketsSettled() && loop_.now() < deadline) {
            loop_.after(0.02, [check] { (*check)(); });
            return;
        }
        socketsChanged();
        nlohmann::ordered_json line{{"event", "ready"}};
        line.update(details);
        print(line);
        ready_ = true;
        stateChanged();
        *check = nullptr;
    };
    loop_.post([check] { (*check)(); });
}

bool ServeEvents::socketsSettled() const {
    for (auto state : {osc_.enabled() ? osc_.listenerState() : std::optional(SocketState::ready),
                       osc_.wantsFeedback() ? osc_.feedbackState() : std::optional(SocketState::ready),
                       osc_.wantsTriggerOutput() ? osc_.triggerOutputState() : std::optional(SocketState::ready)})
        if (state == SocketState::opening) return false;
    return true;
}

void ServeEvents::socketsChanged() {
    const std::pair<const char*, std::string> sockets[] = {
        {"listener", osc_.enabled() && down(osc_.listenerState()) ? osc_.listenerStatus() : ""},
        {"feedback", osc_.wantsFeedback() && down(osc_.feedbackState()) ? osc_.feedbackStatus() : ""},
        {"trigger", osc_.wantsTriggerOutput() && down(osc_.triggerOutputState()) ? osc_.triggerOutputStatus() : ""},
    };
    for (const auto& [name, status] : sockets) {
        std::string& last = lastSocketError_[name];
        if (status == last) continue;
        last = status;
        if (!status.empty()) print({{"event", "error"}, {"socket", name}, {"message", status}});
    }
}

void ServeEvents::stateChanged() {
    if (!ready_) return;
    const auto track = state_.selectedTrack();
    nlohmann::ordered_json line{{"event", "state"}};
    line["cue"] = track ? state_.show().indexOfTrack(track->id) + 1 : 0;
    line["name"] = track ? track->name : "";
    line["playing"] = engine_.isPlaying();
    line["mode"] = state_.mode() == AppMode::show ? "show" : "edit";
    const std::string text = line.dump();
    if (text == lastState_) return;
    lastState_ = text;
    print(line);
}

} // namespace ostinel::cli
