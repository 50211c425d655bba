#include <gtest/gtest.h>

#include <array>

#include "document/GroupDrag.h"
#include "document/TimelineEdits.h"

using namespace ostinel;
using Sel = GroupDrag::Sel;
using Strip = TimelineMarks::Strip;

namespace {
struct Marks final : TimelineMarks {
    std::array<std::optional<Sel>, 4> sels;
    std::optional<Sel> mark(Strip s) const override { return sels[std::size_t(s)]; }
    void setMark(Strip s, std::optional<Sel> sel) override { sels[std::size_t(s)] = sel; }
};
} // namespace

TEST(GroupDrag, MovesWhatEachMarkHoldsFromWhereItWasCapturedAndStaysInTheTrack) {
    Track track;
    track.duration = 20;
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
