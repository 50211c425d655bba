#include "document/AppState.h"

#include <unordered_set>

#include "platform/Dialogs.h"
#include "platform/Preferences.h"

namespace ostinel {

namespace {
constexpr TimelineItemKind timelineKinds[] = {TimelineItemKind::loop, TimelineItemKind::note,
                                              TimelineItemKind::midiTrigger, TimelineItemKind::oscTrigger};

bool trackHasItem(const Track& track, TimelineItemKind kind, const Uuid& id) {
    auto has = [&](const auto& list) { return list.findIf([&](const auto& item) { return item.id == id; }) != nullptr; };
    switch (kind) {
    case TimelineItemKind::loop: return has(track.loops);
    case TimelineItemKind::note: return has(track.timelineNotes);
    case TimelineItemKind::midiTrigger: return has(track.midiTriggers);
    case TimelineItemKind::oscTrigger: return has(track.oscTriggers);
    }
    return false;
}

// Keys that are UUIDs of tracks in the show; stale keys stay in the file but
// never reach the control layers.
template <class V>
std::map<Uuid, V> liveMappings(const Show& show, const std::map<std::string, V>& stored) {
    std::map<Uuid, V> result;
    if (stored.empty()) return result;
    std::unordered_set<Uuid> ids;
    for (const Track& t : show.tracks) ids.insert(t.id);
    for (const auto& [key, value] : stored)
        if (auto id = Uuid::parse(key); id && ids.contains(*id)) result.emplace(*id, value);
    return result;
}

template <class V>
std::map<std::string, V> storedMappings(const std::map<Uuid, V>& mappings) {
    std::map<std::string, V> result;
    for (const auto& [id, value] : mappings) result.emplace(id.toString(), value);
    return result;
}
} // namespace

AppState::AppState(MainLoop& mainLoop, Preferences& preferences, Dialogs& dialogs, AppPaths paths, QObject* parent)
    : QObject(parent), mainLoop_(mainLoop), preferences_(preferences), dialogs_(dialogs), paths_(std::move(paths)) {
    auto read = [&](bool& field, const char* key) { field = preferences_.boolValue(key).value_or(field); };
    read(openLastShowOnLaunch_, "openLastShowOnLaunch");
    read(showCheckOnShowMode_, "showCheckOnShowMode");
    read(preserveZoomOnTrackSwitch_, "preserveZoomOnTrackSwitch");
    read(spectralColoringEnabled_, "spectralColoringEnabled");
    read(waveformFollowsVolume_, "waveformFollowsVolume");
    read(helplineEnabled_, "helplineEnabled");
    startLifecycle();
}

AppState::~AppState() {
    endCoalescing();
    cancelAutosaveTimer();
}

// --- The document and its history ---------------------------------------------

void AppState::setShow(Show value) {
    Show old = std::exchange(show_, std::move(value));
    // Walks the whole show, but shared lists compare by pointer, so only what
    // was written is looked at.
    if (show_ == old) return;
    recordChange(std::move(old));
    emit showChanged();
}

void AppState::recordChange(Show old) {
    if (isRestoring_) return;
    setDirty(true);
    if (!coalescing_) {
        if (undoStack_.size() >= maxUndoSteps) undoStack_.pop_front();
        undoStack_.push_back(std::move(old));
        redoStack_.clear();
        coalescing_ = true;
        updateUndoFlags();
    }
    // Every change restarts the window, so a long drag is still one step.
    if (coalesceTimer_) mainLoop_.cancel(*coalesceTimer_);
    coalesceTimer_ = mainLoop_.after(coalesceSeconds, [this] {
        coalesceTimer_.reset();
        coalescing_ = false;
    });
}

void AppState::endCoalescing() {
    if (coalesceTimer_) mainLoop_.cancel(*coalesceTimer_);
    coalesceTimer_.reset();
    coalescing_ = false;
}

void AppState::updateUndoFlags() {
    assign(canUndo_, !undoStack_.empty(), &AppState::canUndoChanged);
    assign(canRedo_, !redoStack_.empty(), &AppState::canRedoChanged);
}

void AppState::undo() { step(undoStack_, redoStack_); }
void AppState::redo() { step(redoStack_, undoStack_); }

void AppState::step(std::deque<Show>& from, std::deque<Show>& to) {
    if (from.empty()) return;
    Show snapshot = std::move(from.back());
    from.pop_back();
    endCoalescing();
    // No cap here: this stack cannot outgrow what the other one held.
    to.push_back(show_);
    restore(std::move(snapshot));
}

void AppState::restore(Show snapshot) {
    isRestoring_ = true;
    setShow(std::move(snapshot));
    isRestoring_ = false;
    // Even a show equal to the saved file counts as changed after undo.
    setDirty(true);

    if (!selectedTrackID_ || show_.track(*selectedTrackID_)) {
        std::set<Uuid> kept;
        for (const Track& t : show_.tracks)
            if (selectedTrackIDs_.contains(t.id)) kept.insert(t.id);
        setSelectedTrackIDs(std::move(kept));
    } else {
        setSelectedTrackID(show_.tracks.empty() ? std::nullopt : std::optional<Uuid>(show_.tracks.front().id));
    }
    const Track* track = selectedTrackID_ ? show_.track(*selectedTrackID_) : nullptr;
    for (TimelineItemKind kind : timelineKinds) {
        const auto& selected = timelineSelection(kind);
        if (selected && !(track && trackHasItem(*track, kind, *selected))) setTimelineSelection(kind, std::nullopt);
    }

    if (onShowReplaced) onShowReplaced(show_);
    updateUndoFlags();
}

void AppState::resetHistory() {
    endCoalescing();
    undoStack_.clear();
    redoStack_.clear();
    updateUndoFlags();
}

void AppState::setMode(AppMode mode) {
    if (mode_ == mode) return;
    mode_ = mode;
    if (mode_ == AppMode::show) clearTimelineSelection();
    emit modeChanged();
}

// --- Selection -------------------------------------------------------------------

void AppState::setSelectedTrackID(std::optional<Uuid> id) {
    if (selectedTrackID_ == id) return;
    selectedTrackID_ = id;
    clearTimelineSelection();
    setPreselectedTrackID(std::nullopt);
    setSelectedTrackIDs(id ? std::set<Uuid>{*id} : std::set<Uuid>{});
    emit selectedTrackIDChanged();
}

void AppState::setSelectedTrackIDs(std::set<Uuid> ids) {
    assign(selectedTrackIDs_, std::move(ids), &AppState::selectedTrackIDsChanged);
}

void AppState::setPreselectedTrackID(std::optional<Uuid> id) {
    assign(preselectedTrackID_, id, &AppState::preselectedTrackIDChanged);
}

std::pair<std::optional<Uuid> AppState::*, AppState::Signal> AppState::selectionSlot(TimelineItemKind kind) {
    switch (kind) {
    case TimelineItemKind::loop: return {&AppState::selectedLoopID_, &AppState::selectedLoopIDChanged};
    case TimelineItemKind::note: return {&AppState::selectedNoteID_, &AppState::selectedNoteIDChanged};
    case TimelineItemKind::midiTrigger:
        return {&AppState::selectedMidiTriggerID_, &AppState::selectedMidiTriggerIDChanged};
    case TimelineItemKind::oscTrigger: break;
    }
    return {&AppState::selectedOSCTriggerID_, &AppState::selectedOSCTriggerIDChanged};
}

const std::optional<Uuid>& AppState::timelineSelection(TimelineItemKind kind) const {
    return this->*selectionSlot(kind).first;
}

void AppState::setTimelineSelection(TimelineItemKind kind, std::optional<Uuid> id) {
    // Show mode refuses every timeline selection.
    if (id && mode_ == AppMode::show) id.reset();
    auto [field, changed] = selectionSlot(kind);
    assign(this->*field, id, changed);
    if (!id) return;
    for (TimelineItemKind other : timelineKinds)
        if (other != kind) setTimelineSelection(other, std::nullopt);
}

void AppState::clearTimelineSelection() {
    for (TimelineItemKind kind : timelineKinds) setTimelineSelection(kind, std::nullopt);
}

std::optional<Track> AppState::selectedTrack() const {
    const Track* t = selectedTrackID_ ? show_.track(*selectedTrackID_) : nullptr;
    if (!t) return std::nullopt;
    return *t;
}

void AppState::setTimelineClipboard(std::optional<TimelineClipboard> clipboard) {
    assign(timelineClipboard_, std::move(clipboard), &AppState::timelineClipboardChanged);
}

// --- File identity, preferences, progress ---------------------------------------

void AppState::setCurrentFileURL(std::optional<FileUrl> url) {
    assign(currentFileURL_, std::move(url), &AppState::currentFileURLChanged);
}
void AppState::setProjectFolderURL(std::optional<FileUrl> url) {
    assign(projectFolderURL_, std::move(url), &AppState::projectFolderURLChanged);
}
void AppState::setRecentShowURLs(std::vector<FileUrl> urls) {
    assign(recentShowURLs_, std::move(urls), &AppState::recentShowURLsChanged);
}
void AppState::setDirty(bool dirty) { assign(isDirty_, dirty, &AppState::isDirtyChanged); }

void AppState::setPreference(bool& field, bool value, const char* key, Signal changed) {
    preferences_.setValue(key, value);
    assign(field, value, changed);
}
void AppState::setOpenLastShowOnLaunch(bool on) {
    setPreference(openLastShowOnLaunch_, on, "openLastShowOnLaunch", &AppState::openLastShowOnLaunchChanged);
}
void AppState::setShowCheckOnShowMode(bool on) {
    setPreference(showCheckOnShowMode_, on, "showCheckOnShowMode", &AppState::showCheckOnShowModeChanged);
}
void AppState::setPreserveZoomOnTrackSwitch(bool on) {
    setPreference(preserveZoomOnTrackSwitch_, on, "preserveZoomOnTrackSwitch",
                  &AppState::preserveZoomOnTrackSwitchChanged);
}
void AppState::setSpectralColoringEnabled(bool on) {
    setPreference(spectralColoringEnabled_, on, "spectralColoringEnabled", &AppState::spectralColoringEnabledChanged);
}
void AppState::setWaveformFollowsVolume(bool on) {
    setPreference(waveformFollowsVolume_, on, "waveformFollowsVolume", &AppState::waveformFollowsVolumeChanged);
}
void AppState::setHelplineEnabled(bool on) {
    setPreference(helplineEnabled_, on, "helplineEnabled", &AppState::helplineEnabledChanged);
}

void AppState::setAnalyzingTempoTrackID(std::optional<Uuid> id) {
    assign(analyzingTempoTrackID_, id, &AppState::analyzingTempoTrackIDChanged);
}
void AppState::setLoudnessProgress(std::optional<LoudnessProgress> progress) {
    assign(loudnessProgress_, progress, &AppState::loudnessProgressChanged);
}

// --- Mappings and route --------------------------------------------------------------

std::map<Uuid, MidiKey> AppState::midiTrackMappings() const { return liveMappings(show_, *show_.midiTrackMappings); }
std::map<Uuid, std::int64_t> AppState::numberMappings() const { return liveMappings(show_, *show_.numberMappings); }

void AppState::setMidiTrackMappings(const std::map<Uuid, MidiKey>& mappings) {
    Show s = show_;
    s.midiTrackMappings = storedMappings(mappings);
    setShow(std::move(s));
}

void AppState::setNumberMappings(const std::map<Uuid, std::int64_t>& mappings) {
    Show s = show_;
    s.numberMappings = storedMappings(mappings);
    setShow(std::move(s));
}

void AppState::setOSCTriggerRoute(const std::string& host, std::int64_t port) {
    if (show_.oscTriggerHost == host && show_.oscTriggerPort == port) return;
    Show s = show_;
    s.oscTriggerHost = host;
    setShow(std::move(s));
    s = show_;
    s.oscTriggerPort = port;
    setShow(std::move(s));
}

// --- Bindings ---------------------------------------------------------------------------

bool AppState::editTrack(const Uuid& trackID, const std::function<void(Track&)>& edit) {
    auto i = show_.indexOfTrack(trackID);
    if (i < 0) return false;
    Show s = show_;
    edit(s.tracks.edit(std::size_t(i)));
    setShow(std::move(s));
    return true;
}

Binding<Track> AppState::trackBinding(const Uuid& trackID) {
    return Binding<Track>(
        [this, trackID] {
            if (const Track* t = show_.track(trackID)) return *t;
            // Views may outlive a deleted track; they draw this until they go.
            static const Track placeholder = [] {
                Track t;
                t.url = FileUrl::fromPath("/");
                return t;
            }();
            return placeholder;
        },
        [this, trackID](const Track& value) {
            auto i = show_.indexOfTrack(trackID);
            if (i < 0) return;
            Show s = show_;
            s.tracks.set(std::size_t(i), value);
            setShow(std::move(s));
        });
}

template <class T>
Binding<T> AppState::itemBinding(const Uuid& trackID, const Uuid& itemID) {
    auto find = [itemID](const CowList<T>& list) {
        return list.indexWhere([&](const T& item) { return item.id == itemID; });
    };
    return Binding<T>(
        [this, trackID, find] {
            static const T placeholder{};
            const Track* t = show_.track(trackID);
            if (!t) return placeholder;
            const auto& list = t->*TimedList<T>::member;
            auto i = find(list);
            return i < 0 ? placeholder : list[std::size_t(i)];
        },
        [this, trackID, find](const T& value) {
            const Track* t = show_.track(trackID);
            if (!t || find(t->*TimedList<T>::member) < 0) return;
            editTrack(trackID, [&](Track& track) {
                auto& list = track.*TimedList<T>::member;
                list.set(std::size_t(find(list)), value);
            });
        });
}

Binding<Loop> AppState::loopBinding(const Uuid& trackID, const Uuid& loopID) {
    return itemBinding<Loop>(trackID, loopID);
}
Binding<Note> AppState::noteBinding(const Uuid& trackID, const Uuid& noteID) {
    return itemBinding<Note>(trackID, noteID);
}
Binding<MidiTrigger> AppState::midiTriggerBinding(const Uuid& trackID, const Uuid& triggerID) {
    return itemBinding<MidiTrigger>(trackID, triggerID);
}
Binding<OSCTrigger> AppState::oscTriggerBinding(const Uuid& trackID, const Uuid& triggerID) {
    return itemBinding<OSCTrigger>(trackID, triggerID);
}

Binding<double> AppState::loopStartBinding(const Uuid& trackID, const Uuid& loopID) {
    return Binding<double>([this, trackID, loopID] {
                               auto l = loop(trackID, loopID);
                               return l ? l->startSeconds : 0.0;
                           },
                           [this, trackID, loopID](const double& v) { setLoopStart(trackID, loopID, v); });
}

Binding<double> AppState::loopEndBinding(const Uuid& trackID, const Uuid& loopID) {
    return Binding<double>([this, trackID, loopID] {
                               auto l = loop(trackID, loopID);
                               return l ? l->endSeconds : 0.0;
                           },
                           [this, trackID, loopID](const double& v) { setLoopEnd(trackID, loopID, v); });
}

} // namespace ostinel
