#include "document/TimelineEdits.h"

#include <algorithm>
#include <string>
#include <type_traits>

#include "document/VolumeAutomation.h"

namespace ostinel::TimelineEdits {

namespace {

template <class T>
CowList<T>& listOf(Track& track) {
    return track.*TimedList<T>::member;
}

template <class T>
void sortByTime(CowList<T>& list) {
    list.stableSortBy(&TimedList<T>::time);
}

template <class T>
std::ptrdiff_t indexOf(const CowList<T>& list, const Uuid& id) {
    return list.indexWhere([&](const T& item) { return item.id == id; });
}

// Written as "end beyond start plus the minimum" so that 1.0 to 1.05 is too
// short, as a user typing those numbers expects.
bool longEnough(double start, double end) { return end > start + Constraint::minLoopLength; }

bool clearOfLoops(const CowList<Loop>& loops, double start, double end) {
    return !loops.findIf([&](const Loop& l) { return !(end <= l.startSeconds || l.endSeconds <= start); });
}

template <class T>
std::optional<T> lastAtOrBefore(const CowList<T>& list, double t) {
    const T* best = nullptr;
    for (const T& item : list)
        if (item.timeSeconds <= t + activeTolerance && (!best || item.timeSeconds > best->timeSeconds)) best = &item;
    if (!best) return std::nullopt;
    return *best;
}

template <class T>
std::vector<Uuid> pasteTimed(Track& track, const std::vector<T>& items, double shift) {
    std::vector<Uuid> ids;
    if (items.empty()) return ids;
    auto& list = listOf<T>(track);
    for (T item : items) {
        item.id = Uuid::random();
        item.timeSeconds = clampTime(track, item.timeSeconds + shift);
        ids.push_back(item.id);
        list.push_back(std::move(item));
    }
    sortByTime(list);
    return ids;
}

std::vector<Uuid> pasteLoops(Track& track, std::vector<Loop> loops, double shift) {
    std::vector<Uuid> ids;
    if (loops.empty()) return ids;
    std::stable_sort(loops.begin(), loops.end(),
                     [](const Loop& a, const Loop& b) { return a.startSeconds < b.startSeconds; });
    for (Loop loop : loops) {
        double start = loop.startSeconds + shift;
        double end = loop.endSeconds + shift;
        // A hair outside the track still fits, so a group pasted flush with an end keeps its loops.
        constexpr double slack = 0.0001;
        if (!(start >= -slack && end <= track.duration + slack && longEnough(start, end))) continue;
        start = std::max(start, 0.0);
        end = std::min(end, track.duration);
        if (!clearOfLoops(track.loops, start, end)) continue;
        loop.id = Uuid::random();
        loop.startSeconds = start;
        loop.endSeconds = end;
        ids.push_back(loop.id);
        track.loops.push_back(std::move(loop));
    }
    sortByTime(track.loops);
    return ids;
}

template <class T>
std::vector<T> itemsIn(const CowList<T>& list, std::optional<TimeRange> range) {
    std::vector<T> items;
    if (!range) return items;
    for (const T& item : list)
        if (range->contains(item.timeSeconds)) items.push_back(item);
    return items;
}

} // namespace

double clampTime(const Track& track, double t) {
    if (!(t > 0.0)) return 0.0;
    return t < track.duration ? t : std::max(track.duration, 0.0);
}

std::optional<Uuid> addLoop(Track& track, double start, double end) {
    start = clampTime(track, start);
    end = clampTime(track, end);
    if (!longEnough(start, end) || !clearOfLoops(track.loops, start, end)) return std::nullopt;
    Loop loop;
    loop.name = TimedList<Loop>::namePrefix + std::to_string(track.loops.size() + 1);
    loop.startSeconds = start;
    loop.endSeconds = end;
    Uuid id = loop.id;
    track.loops.push_back(std::move(loop));
    sortByTime(track.loops);
    return id;
}

void setLoopStart(Track& track, const Uuid& loopID, double value) {
    auto i = indexOf(track.loops, loopID);
    if (i < 0) return;
    const Loop& loop = track.loops[std::size_t(i)];
    double start = std::max(track.loopGap(loopID).lower, std::min(value, loop.endSeconds - Constraint::minLoopLength));
    if (start != loop.startSeconds) track.loops.edit(std::size_t(i)).startSeconds = start;
}

void setLoopEnd(Track& track, const Uuid& loopID, double value) {
    auto i = indexOf(track.loops, loopID);
    if (i < 0) return;
    const Loop& loop = track.loops[std::size_t(i)];
    double end = std::min(track.loopGap(loopID).upper, std::max(value, loop.startSeconds + Constraint::minLoopLength));
    if (end != loop.endSeconds) track.loops.edit(std::size_t(i)).endSeconds = end;
}

Uuid addAutomationPoint(Track& track, double t, std::optional<double> db) {
    AutomationPoint point;
    point.timeSeconds = clampTime(track, t);
    if (db) {
        point.db = *db;
    } else {
        // The evaluation needs time order; the list normally has it, and then the copy stays shared.
        CowList<AutomationPoint> sorted = track.volumeAutomation;
        sortByTime(sorted);
        point.db = VolumeAutomation::db(point.timeSeconds, sorted);
    }
    Uuid id = point.id;
    track.volumeAutomation.push_back(std::move(point));
    sortByTime(track.volumeAutomation);
    return id;
}

template <class T>
Uuid addItem(Track& track, double t) {
    auto& list = listOf<T>(track);
    T item;
    item.name = TimedList<T>::namePrefix + std::to_string(list.size() + 1);
    item.timeSeconds = clampTime(track, t);
    Uuid id = item.id;
    list.push_back(std::move(item));
    sortByTime(list);
    return id;
}

template <class T>
void setItemTime(Track& track, const Uuid& id, double t) {
    auto& list = listOf<T>(track);
    auto i = indexOf(list, id);
    if (i < 0) return;
    t = clampTime(track, t);
    if (list[std::size_t(i)].timeSeconds != t) list.edit(std::size_t(i)).timeSeconds = t;
}

template <class T>
bool deleteItem(Track& track, const Uuid& id) {
    return listOf<T>(track).eraseIf([&](const T& item) { return item.id == id; }) > 0;
}

template <class T>
std::vector<Uuid> deleteItemsInRange(Track& track, double a, double b) {
    const double lo = std::min(a, b);
    const double hi = std::max(a, b);
    auto inside = [&](const T& item) {
        if constexpr (std::is_same_v<T, Loop>) return lo <= item.startSeconds && item.endSeconds <= hi;
        else return lo <= item.timeSeconds && item.timeSeconds <= hi;
    };
    std::vector<Uuid> removed;
    auto& list = listOf<T>(track);
    for (const T& item : list)
        if (inside(item)) removed.push_back(item.id);
    if (!removed.empty()) list.eraseIf(inside);
    return removed;
}

#define OSTINEL_TIMED_ITEM(T)                                                                                      \
    template Uuid addItem<T>(Track&, double);                                                                      \
    template void setItemTime<T>(Track&, const Uuid&, double);
OSTINEL_TIMED_ITEM(Note)
OSTINEL_TIMED_ITEM(MidiTrigger)
OSTINEL_TIMED_ITEM(OSCTrigger)
#undef OSTINEL_TIMED_ITEM

#define OSTINEL_ANY_ITEM(T)                                                                                        \
    template bool deleteItem<T>(Track&, const Uuid&);                                                              \
    template std::vector<Uuid> deleteItemsInRange<T>(Track&, double, double);
OSTINEL_ANY_ITEM(Loop)
OSTINEL_ANY_ITEM(AutomationPoint)
OSTINEL_ANY_ITEM(Note)
OSTINEL_ANY_ITEM(MidiTrigger)
OSTINEL_ANY_ITEM(OSCTrigger)
#undef OSTINEL_ANY_ITEM

std::optional<Note> activeNote(const Track& track, double t) { return lastAtOrBefore(track.timelineNotes, t); }
std::optional<MidiTrigger> lastFiredTrigger(const Track& track, double t) {
    return lastAtOrBefore(track.midiTriggers, t);
}
std::optional<OSCTrigger> lastFiredOSCTrigger(const Track& track, double t) {
    return lastAtOrBefore(track.oscTriggers, t);
}

TimelineClipboard copyRanges(const Track& track, std::optional<TimeRange> loopRange,
                             std::optional<TimeRange> noteRange, std::optional<TimeRange> triggerRange,
                             std::optional<TimeRange> oscRange) {
    TimelineClipboard c;
    if (loopRange) {
        for (const Loop& l : track.loops)
            if (l.startSeconds >= loopRange->lower && l.endSeconds <= loopRange->upper) c.loops.push_back(l);
    }
    c.automationPoints = itemsIn(track.volumeAutomation, loopRange);
    c.notes = itemsIn(track.timelineNotes, noteRange);
    c.triggers = itemsIn(track.midiTriggers, triggerRange);
    c.oscTriggers = itemsIn(track.oscTriggers, oscRange);
    c.anchor = c.minTime();
    return c;
}

double pasteShift(const TimelineClipboard& clipboard, double t, double duration) {
    const double lowest = clipboard.minTime();
    const double shift = std::min(t - lowest, duration - clipboard.maxTime());
    return std::max(shift, -lowest);
}

std::optional<std::pair<TimelineItemKind, Uuid>> PastedItems::single() const {
    if (loops.size() + notes.size() + triggers.size() + oscTriggers.size() != 1) return std::nullopt;
    if (!loops.empty()) return std::pair{TimelineItemKind::loop, loops.front()};
    if (!notes.empty()) return std::pair{TimelineItemKind::note, notes.front()};
    if (!triggers.empty()) return std::pair{TimelineItemKind::midiTrigger, triggers.front()};
    return std::pair{TimelineItemKind::oscTrigger, oscTriggers.front()};
}

PastedItems paste(Track& track, const TimelineClipboard& clipboard, double shift) {
    PastedItems pasted;
    pasted.loops = pasteLoops(track, clipboard.loops, shift);
    pasted.notes = pasteTimed(track, clipboard.notes, shift);
    pasted.triggers = pasteTimed(track, clipboard.triggers, shift);
    pasted.oscTriggers = pasteTimed(track, clipboard.oscTriggers, shift);
    pasted.automationPoints = pasteTimed(track, clipboard.automationPoints, shift);
    return pasted;
}

} // namespace ostinel::TimelineEdits
