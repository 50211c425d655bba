#include <gtest/gtest.h>

#include "document/BeatGrid.h"
#include "document/ColorHex.h"
#include "document/Show.h"

using namespace ostinel;

namespace {
Track trackOf(double duration, double start, double end) {
    return Track{.duration = duration, .startSeconds = start, .endSeconds = end};
}
Loop loopAt(double start, double end) { return Loop{.startSeconds = start, .endSeconds = end}; }
} // namespace

TEST(Track, EffectiveOutPointFallsBackToTheFileEndAndTheShowCountsCuesNotSkipped) {
    EXPECT_DOUBLE_EQ(trackOf(60, 5, 20).effectiveEnd(), 20);
    EXPECT_DOUBLE_EQ(trackOf(60, 5, 20).effectiveLength(), 15);
    // An out-point not after the in-point plays to the end of the file.
    EXPECT_DOUBLE_EQ(trackOf(60, 5, 0).effectiveEnd(), 60);
    EXPECT_DOUBLE_EQ(trackOf(60, 5, 5).effectiveLength(), 55);
    // An in-point past the end of the file leaves nothing to play.
    EXPECT_DOUBLE_EQ(trackOf(60, 70, 0).effectiveLength(), 0);

    Show show;
    Track skipped = trackOf(60, 0, 30);
    skipped.skip = true;
    show.tracks = {trackOf(60, 0, 10), skipped, trackOf(8, 2, 0)};
    EXPECT_DOUBLE_EQ(show.totalLength(), 16);
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

TEST(BeatGrid, LinesAndSnappingAndNoneWithoutATempo) {
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
    EXPECT_DOUBLE_EQ(grid.snap(7.5), 8.5);   // half away from zero
    EXPECT_DOUBLE_EQ(grid.snap(-0.5), -1.5); // -0.5 spacings rounds away from zero

    BeatGrid none{0.0, 1.0, 0.25, 4};
    EXPECT_EQ(none.firstLineIndex(10.0), 0);
    EXPECT_DOUBLE_EQ(none.snap(3.3), 3.3);
    BeatGrid flat{120.0, 1.0, 0.0, 4};
    EXPECT_EQ(flat.firstLineIndex(10.0), 0);
}

TEST(ShowModel, ColourHexNeedsSixDigitsAndMidiKeyLabelsNameKindAndNumber) {
    EXPECT_EQ(colorFromHex("  #ff8800 "), (Rgb{0xFF, 0x88, 0x00}));
    EXPECT_EQ(colorFromHex("FF8800"), (Rgb{0xFF, 0x88, 0x00}));
    for (const char* bad : {"#F80", "GG0000", "##FF8800", ""}) EXPECT_FALSE(colorFromHex(bad)) << bad;
    EXPECT_EQ((MidiKey{MidiKey::Kind::note, 3, 60}.label()), "N60");
    EXPECT_EQ((MidiKey{MidiKey::Kind::cc, 16, 7}.label()), "CC7");
}
