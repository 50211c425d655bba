// The timeline edits of AppState: find the track, edit it through the pure
// operations of TimelineEdits, assign the show once, then fix the selection.

#include "document/AppState.h"

#include <algorithm>

namespace ostinel {

std::optional<Uuid> AppState::addLoop(const Uuid& trackID, double start, double end) {
    std::optional<Uuid> id;
    editTrack(trackID, [&](Track& t) { id = TimelineEdits::addLoop(t, start, end); });
    return id;
}

void AppState::deleteLoop(const Uuid& trackID, const Uuid& loopID) { deleteItem<Loop>(trackID, loopID); }

void AppState::setLoopStart(const Uuid& trackID, const Uuid& loopID, double value) {
    editTrack(trackID, [&](Track& t) { TimelineEdits::setLoopStart(t, loopID, value); });
}

void AppState::setLoopEnd(const Uuid& trackID, const Uuid& loopID, double value) {
    editTrack(trackID, [&](Track& t) { TimelineEdits::setLoopEnd(t, loopID, value); });
}

std::optional<Loop> AppState::loop(const Uuid& trackID, const Uuid& loopID) const {
    const Track* t = show_.track(trackID);
    const Loop* l = t ? t->loop(loopID) : nullptr;
    if (!l) return std::nullopt;
    return *l;
}

std::optional<Uuid> AppState::addAutomationPoint(const Uuid& trackID, double t, std::optional<double> db) {
    std::optional<Uuid> id;
    editTrack(trackID, [&](Track& track) { id = TimelineEdits::addAutomationPoint(track, t, db); });
    return id;
}

template <class T>
std::optional<Uuid> AppState::addItem(const Uuid& trackID, double t) {
    std::optional<Uuid> id;
    editTrack(trackID, [&](Track& track) { id = TimelineEdits::addItem<T>(track, t); });
    return id;
}

template <class T>
void AppState::setItemTime(const Uuid& trackID, const Uuid& itemID, double t) {
    editTrack(trackID, [&](Track& track) { TimelineEdits::setItemTime<T>(track, itemID, t); });
}

template <class T>
void AppState::deleteItem(const Uuid& trackID, const Uuid& itemID) {
    if (!editTrack(trackID, [&](Track& track) { TimelineEdits::deleteItem<T>(track, itemID); })) return;
    if (timelineSelection(TimedList<T>::kind) == itemID) setTimelineSelection(TimedList<T>::kind, std::nullopt);
}

template <class T>
void AppState::deleteItemsInRange(const Uuid& trackID, double a, double b) {
    std::vector<Uuid> removed;
    editTrack(trackID, [&](Track& track) { removed = TimelineEdits::deleteItemsInRange<T>(track, a, b); });
    if constexpr (requires { TimedList<T>::kind; }) {
        const auto& selected = timelineSelection(TimedList<T>::kind);
        if (selected && std::find(removed.begin(), removed.end(), *selected) != removed.end())
            setTimelineSelection(TimedList<T>::kind, std::nullopt);
    }
}

std::optional<Uuid> AppState::addNote(const Uuid& trackID, double t) { return addItem<Note>(trackID, t); }
std::optional<Uuid> AppState::addMidiTrigger(const Uuid& trackID, double t) {
    return addItem<MidiTrigger>(trackID, t);
}
std::optional<Uuid> AppState::addOSCTrigger(const Uuid& trackID, double t) { return addItem<OSCTrigger>(trackID, t); }

void AppState::setNoteTime(const Uuid& trackID, const Uuid& noteID, double t) {
    setItemTime<Note>(trackID, noteID, t);
}
void AppState::setMidiTriggerTime(const Uuid& trackID, const Uuid& triggerID, double t) {
    setItemTime<MidiTrigger>(trackID, triggerID, t);
}
void AppState::setOSCTriggerTime(const Uuid& trackID, const Uuid& triggerID, double t) {
    setItemTime<OSCTrigger>(trackID, triggerID, t);
}

void AppState::deleteNote(const Uuid& trackID, const Uuid& noteID) { deleteItem<Note>(trackID, noteID); }
void AppState::deleteMidiTrigger(const Uuid& trackID, const Uuid& triggerID) {
    deleteItem<MidiTrigger>(trackID, triggerID);
}
void AppState::deleteOSCTrigger(const Uuid& trackID, const Uuid& triggerID) {
    deleteItem<OSCTrigger>(trackID, triggerID);
}

void AppState::deleteInRange(const Uuid& trackID, double a, double b) {
    // Two assignments, as two removals; coalescing makes them one undo step.
    deleteItemsInRange<Loop>(trackID, a, b);
    deleteItemsInRange<AutomationPoint>(trackID, a, b);
}
void AppState::deleteNotesInRange(const Uuid& trackID, double a, double b) { deleteItemsInRange<Note>(trackID, a, b); }
void AppState::deleteTriggersInRange(const Uuid& trackID, double a, double b) {
    deleteItemsInRange<MidiTrigger>(trackID, a, b);
}
void AppState::deleteOSCTriggersInRange(const Uuid& trackID, double a, double b) {
    deleteItemsInRange<OSCTrigger>(trackID, a, b);
}

void AppState::copySelectedItem() {
    const Track* track = selectedTrackID_ ? show_.track(*selectedTrackID_) : nullptr;
    if (!track) return;
    auto copy = [&]<class T>(const std::optional<Uuid>& selected, std::vector<T> TimelineClipboard::*into) {
        if (!selected) return false;
        const T* item = (track->*TimedList<T>::member).findIf([&](const T& i) { return i.id == *selected; });
        if (!item) return false;
        TimelineClipboard clipboard;
        (clipboard.*into).push_back(*item);
        clipboard.anchor = TimedList<T>::time(*item);
        setTimelineClipboard(std::move(clipboard));
        return true;
    };
    (void)(copy(selectedLoopID_, &TimelineClipboard::loops) || copy(selectedNoteID_, &TimelineClipboard::notes) ||
           copy(selectedMidiTriggerID_, &TimelineClipboard::triggers) ||
           copy(selectedOSCTriggerID_, &TimelineClipboard::oscTriggers));
}

bool AppState::copyTimelineSelection(const Uuid& trackID, std::optional<TimeRange> loopRange,
                                     std::optional<TimeRange> noteRange, std::optional<TimeRange> triggerRange,
                                     std::optional<TimeRange> oscRange) {
    if (!loopRange && !noteRange && !triggerRange && !oscRange) {
        copySelectedItem();
        return selectedLoopID_ || selectedNoteID_ || selectedMidiTriggerID_ || selectedOSCTriggerID_;
    }
    const Track* track = show_.track(trackID);
    if (!track) return false;
    TimelineClipboard clipboard = TimelineEdits::copyRanges(*track, loopRange, noteRange, triggerRange, oscRange);
    if (clipboard.empty()) return false;
    setTimelineClipboard(std::move(clipboard));
    return true;
}

void AppState::pasteAtTime(const Uuid& trackID, double t) { pasteClipboard(trackID, t, std::nullopt); }

void AppState::pasteClipboard(const Uuid& trackID, double t, std::optional<TimelineItemKind> only) {
    if (!timelineClipboard_) return;
    // A single-kind paste places that kind's items as if they were the whole group.
    const TimelineClipboard clipboard = only ? timelineClipboard_->only(*only) : *timelineClipboard_;
    if (clipboard.empty()) return;
    TimelineEdits::PastedItems pasted;
    editTrack(trackID, [&](Track& track) {
        pasted = TimelineEdits::paste(track, clipboard, TimelineEdits::pasteShift(clipboard, t, track.duration));
    });
    if (auto single = pasted.single()) setTimelineSelection(single->first, single->second);
}

} // namespace ostinel
