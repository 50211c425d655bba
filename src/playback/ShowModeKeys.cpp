#include "playback/ShowModeKeys.h"

#include <QObject>

#include <algorithm>
#include <memory>

#include "document/AppState.h"
#include "playback/PlaybackEngine.h"

namespace ostinel::ShowModeKeys {
namespace {

using Key = KeyPress::Key;

std::optional<std::size_t> indexOf(const AppState& state, const std::optional<Uuid>& id) {
    if (!id) return std::nullopt;
    const auto& tracks = state.show().tracks;
    for (std::size_t i = 0; i < tracks.size(); ++i)
        if (tracks[i].id == *id) return i;
    return std::nullopt;
}

// The index `delta` away from `from`, or the first track when `from` is not
// in the show; nothing past either end.
std::optional<Uuid> adjacentTrack(const AppState& state, const std::optional<Uuid>& from, int delta) {
    const auto& tracks = state.show().tracks;
    if (tracks.empty()) return std::nullopt;
    const auto index = indexOf(state, from);
    if (!index) return tracks[0].id;
    const auto target = std::ptrdiff_t(*index) + delta;
    if (target < 0 || target >= std::ptrdiff_t(tracks.size())) return std::nullopt;
    return tracks[std::size_t(target)].id;
}

bool isLoaded(const PlaybackEngine& engine, const Track& track) {
    return engine.currentURL() == track.url;
}

void loadUnlessLoaded(PlaybackEngine& engine, const Track& track) {
    if (!isLoaded(engine, track)) engine.load(track);
}

// A strip's marked region, ordered.
std::optional<TimeRange> rangeOf(const CueWaveform& waveform, TimelineMarks::Strip strip) {
    const auto sel = waveform.mark(strip);
    if (!sel) return std::nullopt;
    return TimeRange{std::min(sel->start, sel->end), std::max(sel->start, sel->end)};
}

void fadeOut(PlaybackEngine& engine, std::function<void()> then = {}) {
    engine.fadeOutAndStop(engine.stopFadeSeconds(), std::move(then));
}

// Marked regions first, each applied and cleared; with none, the one
// selected object.
void deleteInEditMode(CueContext& context) {
    AppState& state = context.state;
    const auto track = state.selectedTrack();
    if (!track) return;
    CueWaveform& marks = context.waveform;
    using Strip = TimelineMarks::Strip;
    bool anyRange = false;
    const auto apply = [&](Strip strip, void (AppState::*remove)(const Uuid&, double, double)) {
        const auto range = rangeOf(marks, strip);
        if (!range) return;
        (state.*remove)(track->id, range->lower, range->upper);
        marks.setMark(strip, std::nullopt);
        anyRange = true;
    };
    apply(Strip::waveform, &AppState::deleteInRange);
    apply(Strip::notes, &AppState::deleteNotesInRange);
    apply(Strip::midiTriggers, &AppState::deleteTriggersInRange);
    apply(Strip::oscTriggers, &AppState::deleteOSCTriggersInRange);
    if (anyRange) return;
    if (const auto loop = state.selectedLoopID())
        state.deleteLoop(track->id, *loop);
    else if (const auto trigger = state.selectedMidiTriggerID())
        state.deleteMidiTrigger(track->id, *trigger);
    else if (const auto osc = state.selectedOSCTriggerID())
        state.deleteOSCTrigger(track->id, *osc);
}

// Copy and paste of timeline items; true when consumed. Paste is taken even
// with nothing to paste; a copy that finds nothing lets the key go on.
bool handleClipboardKey(const KeyPress& key, CueContext& context) {
    AppState& state = context.state;
    const auto track = state.selectedTrack();
    if (key.characters == "v") {
        if (track && state.timelineClipboard() && !state.timelineClipboard()->empty())
            state.pasteAtTime(track->id, context.engine.currentTime());
        return true;
    }
    if (key.characters == "c" && track) {
        const CueWaveform& marks = context.waveform;
        using Strip = TimelineMarks::Strip;
        return state.copyTimelineSelection(track->id, rangeOf(marks, Strip::waveform),
                                           rangeOf(marks, Strip::notes), rangeOf(marks, Strip::midiTriggers),
                                           rangeOf(marks, Strip::oscTriggers));
    }
    return false;
}

// The key table; false for a key not in it.
bool handleTableKey(const KeyPress& key, CueContext& context) {
    AppState& state = context.state;
    PlaybackEngine& engine = context.engine;
    const bool showMode = state.mode() == AppMode::show;
    switch (key.key) {
    case Key::space:
        if (!engine.isPlaying())
            startPlayback(state, engine, context.waveform);
        else if (showMode)
            engine.requestLoopExit();
        else
            engine.stopAtPlayStart();
        return true;
    case Key::returnKey:
    case Key::keypadEnter: {
        if (showMode && engine.isPlaying()) {
            fadeOut(engine, [&state, &engine] { advance(state, engine); });
            return true;
        }
        const auto track = state.selectedTrack();
        if (!track) return true;
        if (showMode) {
            loadUnlessLoaded(engine, *track);
            engine.seek(track->startSeconds);
        } else if (isLoaded(engine, *track)) {
            engine.stop();
        } else {
            engine.load(*track);
        }
        return true;
    }
    case Key::escape:
        fadeOut(engine);
        return true;
    case Key::up:
    case Key::down:
        stepCue(key.key == Key::up ? -1 : 1, state, engine);
        return true;
    case Key::deleteBackward:
    case Key::deleteForward:
        if (!showMode) deleteInEditMode(context);
        return true;
    default:
        return false;
    }
}

} // namespace

bool handle(const KeyPress& key, CueContext& context) {
    if (key.textFieldFocused) return false;
    const NumberKeys& numbers = context.numbers;
    if (!key.command && !key.option && !key.control) {
        if (const auto digit = key.digit(); digit && numbers.received && numbers.received(*digit))
            return true;
    }
    if ((key.key == Key::deleteBackward || key.key == Key::deleteForward) && numbers.mapMode &&
        numbers.mapMode() && numbers.learningTrack) {
        if (const auto learning = numbers.learningTrack()) {
            if (numbers.clearMapping) numbers.clearMapping(*learning);
            return true;
        }
    }
    if (context.state.mode() == AppMode::edit && key.command && !key.shift &&
        handleClipboardKey(key, context))
        return true;
    if (handleTableKey(key, context)) return true;
    // Menu shortcuts pass; plain letters are swallowed on purpose.
    return !key.command;
}

std::optional<Track> nextTrack(const AppState& state) {
    const auto& tracks = state.show().tracks;
    if (const auto pre = indexOf(state, state.preselectedTrackID())) return tracks[*pre];
    const auto selected = indexOf(state, state.selectedTrackID());
    if (!selected) return std::nullopt;
    for (std::size_t i = *selected + 1; i < tracks.size(); ++i)
        if (!tracks[i].skip) return tracks[i];
    return std::nullopt;
}

void advance(AppState& state, PlaybackEngine& engine) {
    const auto next = nextTrack(state);
    if (!next) return;
    state.setPreselectedTrackID(std::nullopt);
    engine.setAutoPlayOnNextLoad(next->autoplay);
    state.setSelectedTrackID(next->id);
}

void startPlayback(AppState& state, PlaybackEngine& engine, const CueWaveform& waveform) {
    const auto track = state.selectedTrack();
    if (!track) return;
    loadUnlessLoaded(engine, *track);
    if (const auto start = waveform.selectionStartSeconds()) engine.seek(*start);
    engine.play();
}

void selectAdjacentTrack(AppState& state, int delta) {
    if (const auto id = adjacentTrack(state, state.selectedTrackID(), delta)) state.setSelectedTrackID(id);
}

void preselectAdjacentTrack(AppState& state, int delta) {
    const auto& from = state.preselectedTrackID() ? state.preselectedTrackID() : state.selectedTrackID();
    if (const auto id = adjacentTrack(state, from, delta)) state.setPreselectedTrackID(id);
}

void stepCue(int delta, AppState& state, PlaybackEngine& engine) {
    if (state.mode() == AppMode::show && engine.isPlaying())
        preselectAdjacentTrack(state, delta);
    else
        selectAdjacentTrack(state, delta);
}

void pickCue(const Uuid& id, AppState& state, PlaybackEngine& engine) {
    if (state.mode() == AppMode::show && engine.isPlaying()) {
        const bool clear = state.selectedTrackID() == id || state.preselectedTrackID() == id;
        state.setPreselectedTrackID(clear ? std::nullopt : std::optional<Uuid>(id));
        return;
    }
    if (state.selectedTrackID() != id) state.setSelectedTrackID(id);
}

void goToTrack(const Uuid& id, AppState& state, PlaybackEngine& engine, bool restartFromStart) {
    const auto index = indexOf(state, id);
    if (!index) return;
    const Track track = state.show().tracks[*index];
    if (engine.isPlaying() && isLoaded(engine, track)) {
        if (restartFromStart)
            engine.seek(track.startSeconds);
        else
            engine.requestLoopExit();
        return;
    }
    if (state.selectedTrackID() == id) {
        if (isLoaded(engine, track))
            engine.seek(track.startSeconds);
        else
            engine.load(track);
        engine.play();
        return;
    }
    engine.setAutoPlayOnNextLoad(true);
    state.setSelectedTrackID(id);
}

void perform(MidiAction action, AppState& state, PlaybackEngine& engine, const CueWaveform& waveform) {
    switch (action) {
    case MidiAction::previous:
        selectAdjacentTrack(state, -1);
        break;
    case MidiAction::next:
        selectAdjacentTrack(state, 1);
        break;
    case MidiAction::playPause:
        if (const auto track = state.selectedTrack()) loadUnlessLoaded(engine, *track);
        if (engine.isPlaying())
            engine.pause();
        else
            engine.play();
        break;
    case MidiAction::stop:
        fadeOut(engine);
        break;
    case MidiAction::go:
        if (engine.isPlaying())
            engine.requestLoopExit();
        else
            startPlayback(state, engine, waveform);
        break;
    }
}

void goButton(CueContext& context) {
    if (context.learnAction && context.learnAction(MidiAction::go)) return;
    perform(MidiAction::go, context.state, context.engine, context.waveform);
}

void playPauseButton(CueContext& context) {
    perform(MidiAction::playPause, context.state, context.engine, context.waveform);
}

void stopButton(CueContext& context) {
    perform(MidiAction::stop, context.state, context.engine, context.waveform);
}

void TransportConnections::disconnect() {
    QObject::disconnect(selection);
    QObject::disconnect(edits);
    if (engine) engine->onReachedEnd = {};
}

TransportConnections connectTransport(AppState& state, PlaybackEngine& engine, std::shared_ptr<LoadedCue> previous) {
    engine.onReachedEnd = [&state, &engine] {
        if (state.mode() == AppMode::show) advance(state, engine);
    };
    auto loaded = std::make_shared<LoadedCue>();
    const auto loadSelected = [&state, &engine, loaded] {
        const auto track = state.selectedTrack();
        if (!track) {
            loaded->id.reset();
            engine.stop();
            return;
        }
        *loaded = {track->id, track->url, PlaybackEngine::Bounds::of(*track)};
        engine.load(*track);
    };
    // Only a real change of the loaded track is passed on: a new file is
    // loaded, new fields are pushed.
    const auto pushEdits = [&state, &engine, loaded, loadSelected] {
        const auto track = state.selectedTrack();
        if (!track || track->id != loaded->id) return;
        // A relink or a moved project's media: the file itself is new.
        if (track->url != loaded->url) return loadSelected();
        auto bounds = PlaybackEngine::Bounds::of(*track);
        if (bounds == loaded->bounds) return;
        loaded->bounds = std::move(bounds);
        engine.applyBounds(loaded->bounds);
    };
    TransportConnections connections{&engine, {}, {}, loaded};
    connections.selection = QObject::connect(&state, &AppState::selectedTrackIDChanged, &engine, loadSelected);
    connections.edits = QObject::connect(&state, &AppState::showChanged, &engine, pushEdits);
    const auto track = state.selectedTrack();
    if (previous && track && previous->id == track->id && engine.hasFile() && engine.currentURL() == track->url) {
        *loaded = *previous;
        pushEdits();
    } else if (track) {
        loadSelected();
    }
    return connections;
}

} // namespace ostinel::ShowModeKeys
