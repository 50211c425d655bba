#include <gtest/gtest.h>

#include "document/BeatGrid.h"
#include "document/ColorHex.h"
#include "document/Show.h"

using namespace ostinel;

namespace {
Track trackOf(double duration, double start, double end) {
    Track t;
    t.url = FileUrl::fromPath("/media/cue.wav");
    t.duration = duration;
    t.startSeconds = start;
    t.endSeconds = end;
    return t;
}

Loop loopAt(double start, double end) {
    Loop l;
    l.startSeconds = start;
    l.endSeconds = end;
    return l;
}
} // namespace

TEST(Track, EffectiveOutPointFallsBackToTheFileEnd) {
    EXPECT_DOUBLE_EQ(trackOf(60, 5, 20).effectiveEnd(), 20);
    EXPECT_DOUBLE_EQ(trackOf(60, 5, 20).effectiveLength(), 15);
    // An out-point not after the in-point plays to the end of the file.
    EXPECT_DOUBLE_EQ(trackOf(60, 5, 0).effectiveEnd(), 60);
    EXPECT_DOUBLE_EQ(trackOf(60, 5, 5).effectiveLength(), 55);
    // An in-point past the end of the file leaves nothing to play.
    EXPECT_DOUBLE_EQ(trackOf(60, 70, 0).effectiveLength(), 0);
}

TEST(Show, TotalLengthCountsCuesThatAreNotSkipped) {
    Show show;
    show.tracks.push_back(trackOf(60, 0, 10));
    Track skipped = trackOf(60, 0, 30);
    skipped.skip = true;
    show.tracks.push_back(skipped);
    show.tracks.push_back(trackOf(8, 2, 0));
    EXPECT_DOUBLE_EQ(show.totalLength(), 16);
}

TEST(Show, EqualityReachesIntoEveryNestedRecord) {
    Show a;
    Track t = trackOf(60, 0, 60);
    Note n;
    n.body = "House lights";
    t.timelineNotes.push_back(n);
    a.tracks.push_back(t);
    Show b = a;
    EXPECT_EQ(a, b);
    b.tracks.edit(0).timelineNotes.edit(0).body = "House lights down";
    EXPECT_NE(a, b);
    b.tracks.edit(0).timelineNotes.edit(0).body = "House lights";
    EXPECT_EQ(a, b);
    b.midiTrackMappings.edit()[t.id.toString()] = MidiKey{MidiKey::Kind::cc, 1, 7};
    EXPECT_NE(a, b);
}

TEST(Track, LoopGapIsTheFreeSpanBetweenNeighbours) {
    Track t = trackOf(60, 0, 60);
    t.loops = CowList<Loop>{loopAt(2, 4), loopAt(10, 12), loopAt(20, 25)};
    EXPECT_EQ(t.loopGap(t.loops[1].id), (LoopGap{4, 20}));
    EXPECT_EQ(t.loopGap(t.loops[0].id), (LoopGap{0, 10}));
    EXPECT_EQ(t.loopGap(t.loops[2].id), (LoopGap{12, 60}));
    EXPECT_EQ(t.loopGap(Uuid::random()), (LoopGap{0, 60}));
    // A touching neighbour within a millisecond still bounds the gap.
    t.loops = CowList<Loop>{loopAt(2, 4.0005), loopAt(4, 8)};
    EXPECT_DOUBLE_EQ(t.loopGap(t.loops[1].id).lower, 4.0005);
}

TEST(Loop, CueLoopIdentityIsFixed) {
    EXPECT_EQ(Loop::cueLoopID.toString(), "7A3D1009-0000-4000-8000-00000000A3D1");
}

TEST(MidiKey, LabelNamesKindAndNumberOnly) {
    EXPECT_EQ((MidiKey{MidiKey::Kind::note, 3, 60}.label()), "N60");
    EXPECT_EQ((MidiKey{MidiKey::Kind::cc, 16, 7}.label()), "CC7");
}

TEST(BeatGrid, LinesAndSnapping) {
    Track t = trackOf(60, 0, 60);
    t.bpm = 120;
    t.beatOffsetSeconds = 0.5;
    t.beatgridBars = 1; // one line a bar: 2 s at 120 BPM
    BeatGrid grid = BeatGrid::of(t);
    EXPECT_DOUBLE_EQ(grid.spacing(), 2.0);
    EXPECT_DOUBLE_EQ(grid.lineTime(3), 6.5);
    EXPECT_EQ(grid.firstLineIndex(6.5), 3);
    EXPECT_EQ(grid.firstLineIndex(6.4), 2); // rounds down
    EXPECT_EQ(grid.firstLineIndex(0.0), -1);
    EXPECT_DOUBLE_EQ(grid.snap(7.4), 6.5);
    EXPECT_DOUBLE_EQ(grid.snap(7.5), 8.5); // half away from zero
    EXPECT_DOUBLE_EQ(grid.snap(-0.5), -1.5); // -0.5 spacings rounds away from zero
}

TEST(BeatGrid, NoTempoMeansNoLinesAndNoSnapping) {
    BeatGrid grid{0.0, 1.0, 0.25, 4};
    EXPECT_EQ(grid.firstLineIndex(10.0), 0);
    EXPECT_DOUBLE_EQ(grid.snap(3.3), 3.3);
    BeatGrid flat{120.0, 1.0, 0.0, 4};
    EXPECT_EQ(flat.firstLineIndex(10.0), 0);
}

TEST(ColorHex, AcceptsSixDigitsWithOrWithoutHash) {
    EXPECT_EQ(colorFromHex("  #ff8800 "), (Rgb{0xFF, 0x88, 0x00}));
    EXPECT_EQ(colorFromHex("FF8800"), (Rgb{0xFF, 0x88, 0x00}));
    EXPECT_FALSE(colorFromHex("#F80"));
    EXPECT_FALSE(colorFromHex("GG0000"));
    EXPECT_FALSE(colorFromHex("##FF8800"));
    EXPECT_FALSE(colorFromHex(""));
}
