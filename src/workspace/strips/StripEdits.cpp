#include "workspace/strips/StripEdits.h"

#include <algorithm>

#include "document/AppState.h"

namespace ostinel::strips {

namespace {

template <class T> std::optional<double> timeIn(const CowList<T>& list, const Uuid& id) {
    const T* item = list.findIf([&](const T& i) { return i.id == id; });
    if (!item) return std::nullopt;
    return item->timeSeconds;
}

} // namespace

std::optional<Uuid> selectedItem(const AppState& state, Strip strip) {
    return state.timelineSelection(itemKind(strip));
}

void selectItem(AppState& state, Strip strip, std::optional<Uuid> id) {
    state.setTimelineSelection(itemKind(strip), id);
}

std::optional<double> itemTime(const Track& track, Strip strip, const Uuid& id) {
    switch (strip) {
    case Strip::notes:
        return timeIn(track.timelineNotes, id);
    case Strip::midiTriggers:
        return timeIn(track.midiTriggers, id);
    case Strip::oscTriggers:
        return timeIn(track.oscTriggers, id);
    case Strip::waveform:
        break;
    }
    return std::nullopt;
}

std::optional<Uuid> addItem(AppState& state, Strip strip, const Uuid& trackID, double t) {
    switch (strip) {
    case Strip::notes:
        return state.addNote(trackID, t);
    case Strip::midiTriggers:
        return state.addMidiTrigger(trackID, t);
    case Strip::oscTriggers:
        return state.addOSCTrigger(trackID, t);
    case Strip::waveform:
        break;
    }
    return std::nullopt;
}

void setItemTime(AppState& state, Strip strip, const Uuid& trackID, const Uuid& id, double t) {
    switch (strip) {
    case Strip::notes:
        state.setNoteTime(trackID, id, t);
        break;
    case Strip::midiTriggers:
        state.setMidiTriggerTime(trackID, id, t);
        break;
    case Strip::oscTriggers:
        state.setOSCTriggerTime(trackID, id, t);
        break;
    case Strip::waveform:
        break;
    }
}

void deleteItem(AppState& state, Strip strip, const Uuid& trackID, const Uuid& id) {
    switch (strip) {
    case Strip::notes:
        state.deleteNote(trackID, id);
        break;
    case Strip::midiTriggers:
        state.deleteMidiTrigger(trackID, id);
        break;
    case Strip::oscTriggers:
        state.deleteOSCTrigger(trackID, id);
        break;
    case Strip::waveform:
        break;
    }
}

void deleteItemsInRange(AppState& state, Strip strip, const Uuid& trackID, double a, double b) {
    switch (strip) {
    case Strip::notes:
        state.deleteNotesInRange(trackID, a, b);
        break;
    case Strip::midiTriggers:
        state.deleteTriggersInRange(trackID, a, b);
        break;
    case Strip::oscTriggers:
        state.deleteOSCTriggersInRange(trackID, a, b);
        break;
    case Strip::waveform:
        break;
    }
}

bool copyItemsInRange(AppState& state, Strip strip, const Uuid& trackID, double a, double b) {
    const TimeRange range{std::min(a, b), std::max(a, b)};
    std::optional<TimeRange> notes, triggers, osc;
    switch (strip) {
    case Strip::notes:
        notes = range;
        break;
    case Strip::midiTriggers:
        triggers = range;
        break;
    case Strip::oscTriggers:
        osc = range;
        break;
    case Strip::waveform:
        return false;
    }
    return state.copyTimelineSelection(trackID, std::nullopt, notes, triggers, osc);
}

bool clipboardHolds(const AppState& state, Strip strip) {
    const auto& clipboard = state.timelineClipboard();
    return clipboard && !clipboard->only(itemKind(strip)).empty();
}

void pasteItems(AppState& state, Strip strip, const Uuid& trackID, double t) {
    switch (strip) {
    case Strip::notes:
        state.pasteNote(trackID, t);
        break;
    case Strip::midiTriggers:
        state.pasteTrigger(trackID, t);
        break;
    case Strip::oscTriggers:
        state.pasteOSCTrigger(trackID, t);
        break;
    case Strip::waveform:
        break;
    }
}

} // namespace ostinel::strips
