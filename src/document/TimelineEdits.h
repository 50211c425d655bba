#pragma once

#include <optional>
#include <utility>
#include <vector>

#include "document/TimelineClipboard.h"
#include "document/Track.h"

namespace ostinel {

// Where each kind of timed item lives in a track, and how a new one is named.
template <class T>
struct TimedList;
template <>
struct TimedList<Loop> {
    static constexpr TimelineItemKind kind = TimelineItemKind::loop;
    static constexpr auto member = &Track::loops;
    static constexpr const char* namePrefix = "Loop ";
    static double time(const Loop& l) { return l.startSeconds; }
};
template <>
struct TimedList<AutomationPoint> {
    static constexpr auto member = &Track::volumeAutomation;
    static double time(const AutomationPoint& p) { return p.timeSeconds; }
};
template <>
struct TimedList<Note> {
    static constexpr TimelineItemKind kind = TimelineItemKind::note;
    static constexpr auto member = &Track::timelineNotes;
    static constexpr const char* namePrefix = "Note ";
    static double time(const Note& n) { return n.timeSeconds; }
};
template <>
struct TimedList<MidiTrigger> {
    static constexpr TimelineItemKind kind = TimelineItemKind::midiTrigger;
    static constexpr auto member = &Track::midiTriggers;
    static constexpr const char* namePrefix = "Trigger ";
    static double time(const MidiTrigger& m) { return m.timeSeconds; }
};
template <>
struct TimedList<OSCTrigger> {
    static constexpr TimelineItemKind kind = TimelineItemKind::oscTrigger;
    static constexpr auto member = &Track::oscTriggers;
    static constexpr const char* namePrefix = "OSC ";
    static double time(const OSCTrigger& o) { return o.timeSeconds; }
};

// A closed range of seconds, lower <= upper.
struct TimeRange {
    double lower = 0.0;
    double upper = 0.0;
    bool contains(double t) const { return lower <= t && t <= upper; }
};

// The edits of one track's timeline. They never fail loudly: rejected input
// gives no id or leaves the track as it was.
namespace TimelineEdits {

// A note stays active up to this long before its own time.
inline constexpr double activeTolerance = 0.0001;

// Into 0...duration; NaN counts as 0.
double clampTime(const Track& track, double t);

// Clamped into the file; refused when too short or overlapping (touching is fine).
std::optional<Uuid> addLoop(Track& track, double start, double end);
// Clamped against the neighbours and the minimum length, never rejected.
void setLoopStart(Track& track, const Uuid& loopID, double value);
void setLoopEnd(Track& track, const Uuid& loopID, double value);

// Without a level, the node takes the curve's present value so the line stays as it was.
Uuid addAutomationPoint(Track& track, double t, std::optional<double> db);

// For Note, MidiTrigger and OSCTrigger: named by count, appended, stably sorted.
template <class T>
Uuid addItem(Track& track, double t);
// Clamped, and deliberately not re-sorted.
template <class T>
void setItemTime(Track& track, const Uuid& id, double t);
// For every kind; false when the id is unknown.
template <class T>
bool deleteItem(Track& track, const Uuid& id);
// Loops wholly inside, other items with their time inside; a and b in either order.
template <class T>
std::vector<Uuid> deleteItemsInRange(Track& track, double a, double b);

// The latest item at or before t (ties: the earliest in the list).
std::optional<Note> activeNote(const Track& track, double t);
std::optional<MidiTrigger> lastFiredTrigger(const Track& track, double t);
std::optional<OSCTrigger> lastFiredOSCTrigger(const Track& track, double t);

// The items inside the given ranges, anchored at their earliest point.
TimelineClipboard copyRanges(const Track& track, std::optional<TimeRange> loopRange,
                             std::optional<TimeRange> noteRange, std::optional<TimeRange> triggerRange,
                             std::optional<TimeRange> oscRange);

// Moves the group's earliest point to t, kept inside the track; a group longer
// than the track starts at 0.
double pasteShift(const TimelineClipboard& clipboard, double t, double duration);

struct PastedItems {
    std::vector<Uuid> loops, notes, triggers, oscTriggers, automationPoints;
    // The one loop, note or trigger pasted, if exactly one was.
    std::optional<std::pair<TimelineItemKind, Uuid>> single() const;
};

// Inserts copies with new ids, shifted. Loops that leave the track, become too
// short or overlap are dropped; every other item is clamped into the track.
PastedItems paste(Track& track, const TimelineClipboard& clipboard, double shift);

} // namespace TimelineEdits
} // namespace ostinel
