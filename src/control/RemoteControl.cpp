#include "control/RemoteControl.h"

#include "control/RemoteAdvertisement.h"
#include "document/AppState.h"
#include "playback/PlaybackEngine.h"

namespace ostinel {

namespace {

// One-based, as people count cues; anything else names no cue.
std::optional<Uuid> trackAt(const AppState& state, std::int64_t index) {
    const auto& tracks = state.show().tracks;
    if (index < 1 || index > std::int64_t(tracks.size())) return std::nullopt;
    return tracks[std::size_t(index - 1)].id;
}

} // namespace

RemoteControl::RemoteControl(MidiSystem& midi, MainLoop& loop, Preferences& preferences, AppState& state,
                             PlaybackEngine& engine, CueWaveform& waveform, const std::string& oscLogPath,
                             std::string remotePage, std::string appVersion)
    : state_(state), engine_(engine), waveform_(waveform), midi_(midi, loop, preferences),
      osc_(loop, preferences, oscLogPath), web_(loop, preferences, std::move(remotePage), appVersion),
      appVersion_(std::move(appVersion)), advertiser_(RemoteAdvertisement::serviceType) {
    auto perform = [this](MidiAction action) { ShowModeKeys::perform(action, state_, engine_, waveform_); };
    auto restart = [this](const Uuid& id) { ShowModeKeys::goToTrack(id, state_, engine_, true); };
    midi_.actionHandler = perform;
    midi_.trackActionHandler = restart;
    numbers_.trackActionHandler = restart;
    osc_.actionHandler = perform;
    osc_.goIndexHandler = [this](std::int64_t index) {
        if (auto id = trackAt(state_, index)) ShowModeKeys::goToTrack(*id, state_, engine_, false);
    };
    osc_.selectIndexHandler = [this](std::int64_t index) {
        if (auto id = trackAt(state_, index)) state_.setSelectedTrackID(*id);
    };
    osc_.modeHandler = [this](const std::string& mode) {
        state_.setMode(mode == "show" ? AppMode::show : AppMode::edit);
    };

    // The web remote's previous and next only mark while a cue plays in Show mode.
    web_.actionHandler = [this, perform](MidiAction action) {
        if (action == MidiAction::previous || action == MidiAction::next)
            ShowModeKeys::stepCue(action == MidiAction::next ? 1 : -1, state_, engine_);
        else
            perform(action);
    };
    web_.panicHandler = [this] { engine_.stop(); };
    web_.goIndexHandler = osc_.goIndexHandler;
    web_.selectIndexHandler = [this](std::int64_t index) {
        if (auto id = trackAt(state_, index)) ShowModeKeys::pickCue(*id, state_, engine_);
    };

    QObject::connect(&web_, &WebRemoteController::statusChanged, [this] { advertise(); });
    web_.onShowNameChanged = [this](const std::string& show) {
        if (advertised_) advertiser_.update(RemoteAdvertisement::txt(appVersion_, show));
    };

    midi_.onTrackMappingsChanged = [this](const auto& map) { state_.setMidiTrackMappings(map); };
    numbers_.onMappingsChanged = [this](const auto& map) { state_.setNumberMappings(map); };
    osc_.onTriggerRouteChanged = [this](const std::string& host, std::int64_t port) {
        state_.setOSCTriggerRoute(host, port);
    };
    engine_.onOSCTrigger = [this](const OSCTrigger& trigger) { osc_.send(trigger); };
    showReplaced(state_.show());
}

RemoteControl::~RemoteControl() { engine_.onOSCTrigger = nullptr; }

NumberKeys RemoteControl::numberKeys() {
    return {[this](int digit) { return numbers_.received(digit); }, [this] { return numbers_.mapMode(); },
            [this] { return numbers_.learningTrack(); }, [this](const Uuid& id) { numbers_.clearMapping(id); }};
}

bool RemoteControl::learnAction(MidiAction action) {
    if (!midi_.mapMode() && !midi_.learning() && !midi_.learningTrack()) return false;
    midi_.beginLearning(action);
    return true;
}

void RemoteControl::advertise() {
    if (web_.isListening() == advertised_) return;
    advertised_ = web_.isListening();
    if (advertised_)
        advertiser_.publish(web_.boundPort(), RemoteAdvertisement::txt(appVersion_, state_.show().name));
    else
        advertiser_.withdraw();
}

void RemoteControl::start() {
    osc_.start(engine_, state_);
    web_.start(engine_, state_);
}

void RemoteControl::showReplaced(const Show&) {
    midi_.replaceTrackMappings(state_.midiTrackMappings());
    numbers_.replaceMappings(state_.numberMappings());
    const Show& show = state_.show();
    // A show that names no route leaves the machine's own in place.
    if (!show.oscTriggerHost.empty()) osc_.applyTriggerRoute(show.oscTriggerHost, show.oscTriggerPort);
}

} // namespace ostinel
