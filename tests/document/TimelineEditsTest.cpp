#include <gtest/gtest.h>

#include <array>

#include "document/GroupDrag.h"
#include "document/TimelineEdits.h"

using namespace ostinel;
namespace E = ostinel::TimelineEdits;
using Sel = GroupDrag::Sel;
using Strip = TimelineMarks::Strip;

namespace {
template <class T>
std::vector<double> times(const CowList<T>& list) {
    std::vector<double> s;
    for (const T& item : list) s.push_back(TimedList<T>::time(item));
    return s;
}

struct Marks final : TimelineMarks {
    std::array<std::optional<Sel>, 4> sels;
    std::optional<Sel> mark(Strip s) const override { return sels[std::size_t(s)]; }
    void setMark(Strip s, std::optional<Sel> sel) override { sels[std::size_t(s)] = sel; }
};
} // namespace

TEST(TimelineEdits, LoopsNeedMoreThanTheMinimumLengthAndNoOverlapAndEdgesStopAtNeighbours) {
    Track t{.duration = 60};
    EXPECT_FALSE(E::addLoop(t, 1.0, 1.05)); // exactly the minimum is not enough
    EXPECT_TRUE(E::addLoop(t, 1.0, 1.06));
    ASSERT_TRUE(E::addLoop(t, 8.0, 10.0));
    EXPECT_TRUE(E::addLoop(t, 5.0, 8.0)); // touching is allowed
    EXPECT_FALSE(E::addLoop(t, 4.0, 5.001));
    EXPECT_EQ(times(t.loops), (std::vector<double>{1.0, 5.0, 8.0}));
    EXPECT_EQ(t.loops[1].name, "Loop 3");
    EXPECT_EQ(t.loop(*E::addLoop(t, 50, 90))->endSeconds, 60); // clamped into the file

    // Edges stop at the neighbours and at the minimum length.
    t.loops = {};
    E::addLoop(t, 0.5, 1.5);
    Uuid loop = *E::addLoop(t, 2.0, 4.0);
    E::addLoop(t, 6.0, 7.0);
    E::setLoopEnd(t, loop, 2.01);
    EXPECT_DOUBLE_EQ(t.loop(loop)->endSeconds, 2.05);
    E::setLoopEnd(t, loop, 9.0);
    EXPECT_EQ(t.loop(loop)->endSeconds, 6.0);
    E::setLoopStart(t, loop, 0.0);
    EXPECT_EQ(t.loop(loop)->startSeconds, 1.5);
    E::setLoopStart(t, loop, 5.99);
    EXPECT_DOUBLE_EQ(t.loop(loop)->startSeconds, 5.95);
}

TEST(TimelineEdits, ItemsAreNamedByCountSortedStablyAndTimeSettersDoNotResortAndTheActiveNoteIsTheLatest) {
    Track t{.duration = 10};
    Uuid a = E::addItem<Note>(t, 5);
    Uuid b = E::addItem<Note>(t, 2);
    Uuid c = E::addItem<Note>(t, 5); // same time as a: lands after it
    EXPECT_EQ(t.timelineNotes[0].name, "Note 2");
    EXPECT_EQ(t.timelineNotes[2].id, c);
    E::deleteItem<Note>(t, b);
    E::addItem<Note>(t, 99); // the count repeats a name; that is accepted
    EXPECT_EQ(t.timelineNotes[2].name, "Note 3");
    EXPECT_EQ(times(t.timelineNotes), (std::vector<double>{5, 5, 10}));
    E::setItemTime<Note>(t, a, 8);
    EXPECT_EQ(times(t.timelineNotes), (std::vector<double>{8, 5, 10}));
    E::addItem<OSCTrigger>(t, 1);
    EXPECT_EQ(t.oscTriggers[0].name, "OSC 1");

    E::addAutomationPoint(t, 8, -20.0);
    E::addAutomationPoint(t, 2, 0.0);
    E::addAutomationPoint(t, 5, std::nullopt); // on the line between its neighbours
    EXPECT_DOUBLE_EQ(t.volumeAutomation[1].db, -10.0);

    // The active note is the latest at or just before the time.
    t = Track{.duration = 60};
    E::addItem<Note>(t, 10);
    Uuid first = E::addItem<Note>(t, 20);
    E::addItem<Note>(t, 20);
    EXPECT_FALSE(E::activeNote(t, 9.99));
    EXPECT_EQ(E::activeNote(t, 10 - 0.00009)->timeSeconds, 10);
    EXPECT_EQ(E::activeNote(t, 19.5)->timeSeconds, 10);
    EXPECT_EQ(E::activeNote(t, 30)->id, first); // of equal times, the earliest in the list
}

TEST(TimelineEdits, GroupLongerThanTheTrackStartsAtZeroDroppingOverrunningLoops) {
    Track source{.duration = 60};
    E::addLoop(source, 6, 9);
    E::addLoop(source, 2, 4);
    E::addItem<Note>(source, 12);
    TimelineClipboard c = E::copyRanges(source, TimeRange{0, 10}, TimeRange{0, 60}, std::nullopt, std::nullopt);
    Track t{.duration = 5};
    double shift = E::pasteShift(c, 3, t.duration);
    EXPECT_EQ(shift, -2);
    E::PastedItems p = E::paste(t, c, shift);
    EXPECT_EQ(times(t.loops), std::vector<double>{0});
    EXPECT_EQ(t.loops[0].endSeconds, 2);
    EXPECT_NE(t.loops[0].id, source.loops[0].id);
    EXPECT_EQ(times(t.timelineNotes), std::vector<double>{5}); // clamped, never dropped
    EXPECT_FALSE(p.single());
}

TEST(GroupDrag, MovesWhatEachMarkHoldsFromWhereItWasCapturedAndStaysInTheTrack) {
    Track track{.duration = 20};
    Uuid inside = *TimelineEdits::addLoop(track, 4, 6);
    Uuid across = *TimelineEdits::addLoop(track, 7, 12); // not wholly inside the mark
    TimelineEdits::addAutomationPoint(track, 5, -3.0);
    TimelineEdits::addItem<Note>(track, 9);
    TimelineEdits::addItem<Note>(track, 15);
    TimelineEdits::addItem<MidiTrigger>(track, 5); // its strip has no mark
    Marks marks;
    marks.setMark(Strip::waveform, Sel{10, 3});
    marks.setMark(Strip::notes, Sel{8, 10});

    GroupDrag g = GroupDrag::capture(track, marks);
    EXPECT_EQ(g.waveSel, (Sel{3, 10}));
    ASSERT_EQ(g.loops.size(), 1u);
    EXPECT_EQ(g.notes.size(), 1u);
    EXPECT_TRUE(g.triggers.empty());
    EXPECT_EQ(g.clampedDelta(50, 20), 10); // the mark's end reaches the end
    EXPECT_EQ(g.clampedDelta(-50, 20), -3);
    EXPECT_EQ(g.clampedDelta(1, 5), -3); // too long to fit: floored at the start

    g.apply(7, track, marks);
    g.apply(4.5, track, marks); // from the captured values, not the last step
    EXPECT_EQ(track.loop(inside)->endSeconds, 10.5);
    EXPECT_EQ(track.loops[0].id, across); // sorted by start again
    EXPECT_EQ(track.volumeAutomation[0].timeSeconds, 9.5);
    EXPECT_EQ(track.timelineNotes[0].timeSeconds, 13.5);
    EXPECT_EQ(track.midiTriggers[0].timeSeconds, 5);
    EXPECT_EQ(marks.mark(Strip::waveform), (Sel{7.5, 14.5}));
    EXPECT_EQ(marks.mark(Strip::notes), (Sel{12.5, 14.5}));
    EXPECT_FALSE(marks.mark(Strip::midiTriggers));
}
