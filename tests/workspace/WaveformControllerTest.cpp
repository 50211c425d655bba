#include <gtest/gtest.h>

#include <QSignalSpy>
#include <vector>

#include "document/GroupDrag.h"
#include "workspace/WaveformController.h"
#include "workspace/WaveformViewState.h"

using namespace ostinel;
using Strip = TimelineMarks::Strip;
using Field = WaveformController::Field;
using Sel = GroupDrag::Sel;

namespace {

WaveformController wideView(double width = 1000.0) {
    WaveformController w;
    w.setViewWidth(width);
    return w;
}

// Waveform on top, then the three timeline strips, 20 points in from the window's edge.
void stackStrips(WaveformController& w) {
    w.setStripFrame(Strip::waveform, StripFrame{20, 0, 1000, 100});
    w.setStripFrame(Strip::notes, StripFrame{20, 100, 1000, 30});
    w.setStripFrame(Strip::midiTriggers, StripFrame{20, 130, 1000, 30});
    w.setStripFrame(Strip::oscTriggers, StripFrame{20, 160, 1000, 30});
}

} // namespace

TEST(WaveformController, ZoomStopsAtTheEditLimitAndTheShowFloorWinsOverIt) {
    auto w = wideView();
    w.setZoom(80, 0.5, 500);
    EXPECT_EQ(w.zoom(), 50.0);
    EXPECT_EQ(w.scrollX(), 0.5 * 50000 - 500); // the focal point stays under the anchor
    w.setZoom(0.3, 0.5, 500);
    EXPECT_EQ(w.zoom(), 1.0);
    EXPECT_EQ(w.scrollX(), 0.0);

    // A trim of 1% of the file needs 100 times, above the Edit limit, and nothing below.
    w.applyViewBounds(ViewBounds{0.2, 0.21});
    w.fit();
    EXPECT_NEAR(w.zoom(), 100.0, 1e-9);
    EXPECT_NEAR(w.scrollX(), 0.2 * w.contentWidth(), 1e-6);
    w.setZoom(60, 0.5, 0);
    EXPECT_NEAR(w.zoom(), 100.0, 1e-9);
    EXPECT_NEAR(w.centerFraction(), 0.205, 1e-9); // the whole trim, and only it, in view

    // Only a direct call can make a span this small: the floor is fixed then.
    w.applyViewBounds(ViewBounds{0.5, 0.50005});
    EXPECT_EQ(w.zoom(), 10000.0);
    w.setZoom(std::nan(""), 0.5, 0);
    EXPECT_EQ(w.zoom(), 10000.0);
}

TEST(WaveformController, ScrollNeverLeavesItsRangeAlsoAfterAResize) {
    auto w = wideView();
    w.setZoom(4, 0, 0);
    w.setScrollX(-5);
    EXPECT_EQ(w.scrollX(), 0.0);
    w.setScrollX(1e9);
    EXPECT_EQ(w.scrollX(), 3000.0);

    w.applyViewBounds(ViewBounds{0.25, 0.75});
    EXPECT_EQ(w.zoom(), 4.0); // above the floor of 2: bounds alone don't refit
    EXPECT_EQ(w.scrollX(), 2000.0);
    w.setScrollX(0);
    EXPECT_EQ(w.scrollX(), 1000.0);

    std::vector<Field> changes;
    w.onChange = [&](Field f) { changes.push_back(f); };
    w.setViewWidth(1000); // unchanged width: nothing written
    EXPECT_TRUE(changes.empty());
    w.setViewWidth(3000);
    EXPECT_EQ(w.scrollX(), 3000.0);
    w.setViewWidth(8000);
    EXPECT_EQ(w.scrollX(), 8000.0);
    EXPECT_EQ(changes, (std::vector<Field>{Field::scrollX, Field::scrollX}));

    w.center(0.6);
    EXPECT_EQ(w.scrollX(), 0.6 * 32000 - 4000);
    EXPECT_EQ(w.followScroll(0.99, 8000), 16000.0); // clamped to the trim's end, and only computed
    EXPECT_EQ(w.scrollX(), 0.6 * 32000 - 4000);
}

TEST(WaveformController, ShowModeBoundsComeFromTheTrimAndLeavingThemDropsTheFollowPosition) {
    Track t{.duration = 100, .startSeconds = 10, .endSeconds = 0};
    EXPECT_FALSE(WaveformController::boundsFor(t, false));
    EXPECT_EQ(WaveformController::boundsFor(t, true), (ViewBounds{0.1, 1.0}));
    t.endSeconds = 10.05;
    EXPECT_FALSE(WaveformController::boundsFor(t, true)); // a span of 0.0005 is never applied
    t.endSeconds = 250;
    EXPECT_EQ(WaveformController::boundsFor(t, true), (ViewBounds{0.1, 1.0}));
    t.duration = 0;
    EXPECT_FALSE(WaveformController::boundsFor(t, true));

    auto w = wideView();
    w.applyViewBounds(ViewBounds{0.1, 0.6});
    w.setLiveFollowScrollX(1234);
    w.applyViewBounds(ViewBounds{0.1, 0.5});
    EXPECT_EQ(w.liveFollowScrollX(), 1234.0);
    w.applyViewBounds(std::nullopt);
    EXPECT_FALSE(w.liveFollowScrollX());
    EXPECT_DOUBLE_EQ(w.zoom(), 2.5); // kept from the bounds until fit
    w.fit();
    EXPECT_EQ(w.zoom(), 1.0);
    EXPECT_EQ(w.scrollX(), 0.0);
}

TEST(WaveformController, AMarqueeMarksEveryStripItReachesAndClearsTheRest) {
    auto w = wideView();
    stackStrips(w);
    Track t{.duration = 10, .beatgridEnabled = true, .bpm = 120, .beatgridBars = 0.25}; // lines every 0.5 s
    w.setMark(Strip::oscTriggers, Sel{1, 2});

    // From the note strip up into the waveform, right to left.
    ASSERT_TRUE(w.markRegion(20 + 470, 115, 20 + 123, 50, Strip::notes, t));
    EXPECT_EQ(w.mark(Strip::waveform), (Sel{4.5, 1.0}));
    EXPECT_EQ(w.mark(Strip::notes), (Sel{4.5, 1.0}));
    EXPECT_FALSE(w.mark(Strip::midiTriggers));
    EXPECT_FALSE(w.mark(Strip::oscTriggers));
    EXPECT_EQ(w.selectionRange(), (std::pair{1.0, 4.5}));
    EXPECT_EQ(w.selectionStartSeconds(), 1.0);
    EXPECT_EQ(w.selectionDuration(), 3.5);

    // Option held: no snapping; positions past the content stop at the file's ends.
    w.setSnapSuppressed(true);
    w.setStripFrame(Strip::notes, std::nullopt);
    ASSERT_TRUE(w.markRegion(20 + 125, 140, 5000, 145, Strip::midiTriggers, t));
    EXPECT_FALSE(w.mark(Strip::waveform));
    EXPECT_FALSE(w.mark(Strip::notes)); // frame unknown and not the origin
    EXPECT_EQ(w.mark(Strip::midiTriggers), (Sel{1.25, 10.0}));

    t.duration = 0;
    EXPECT_FALSE(w.markRegion(0, 0, 500, 50, Strip::waveform, t));
    EXPECT_EQ(w.mark(Strip::midiTriggers), (Sel{1.25, 10.0}));
    w.setSelectionEnd(Strip::midiTriggers, std::nullopt);
    EXPECT_FALSE(w.mark(Strip::midiTriggers)); // half a region is no region
    EXPECT_EQ(w.selectionStart(Strip::midiTriggers), 1.25);
}

TEST(WaveformController, ATrackSwitchClearsTheMarksAndKeepsTheZoomOnlyWhenAsked) {
    auto w = wideView();
    w.setZoom(8, 0.5, 500);
    w.setMark(Strip::waveform, Sel{1, 2});
    w.setMark(Strip::oscTriggers, Sel{1, 2});
    w.setNoteDragSeconds(1.5);
    w.setLiveFollowScrollX(10);

    w.trackChanged(true);
    EXPECT_EQ(w.zoom(), 8.0);
    EXPECT_EQ(w.scrollX(), 3500.0);
    EXPECT_FALSE(w.mark(Strip::waveform));
    EXPECT_FALSE(w.mark(Strip::oscTriggers));
    EXPECT_FALSE(w.noteDragSeconds());
    EXPECT_FALSE(w.liveFollowScrollX());

    w.trackChanged(false);
    EXPECT_EQ(w.zoom(), 1.0);
    EXPECT_EQ(w.scrollX(), 0.0);
}

TEST(WaveformViewState, SignalsOnlyRealChanges) {
    WaveformViewState state;
    QSignalSpy zoom(&state, &WaveformViewState::zoomChanged);
    QSignalSpy scroll(&state, &WaveformViewState::scrollXChanged);
    QSignalSpy marks(&state, &WaveformViewState::selectionChanged);
    QSignalSpy follow(&state, &WaveformViewState::followPlayheadChanged);
    auto& w = state.controller();
    w.setViewWidth(100);
    w.setZoom(2, 0.5, 50);
    w.setZoom(2, 0.5, 50);
    w.setFollowPlayhead(true);
    w.setFollowPlayhead(true);
    w.setMark(Strip::notes, Sel{1, 2});
    w.clearAllSelections();
    w.clearAllSelections();
    EXPECT_EQ(zoom.count(), 1);
    EXPECT_EQ(scroll.count(), 1);
    EXPECT_EQ(follow.count(), 1);
    ASSERT_EQ(marks.count(), 2);
    EXPECT_EQ(marks.at(1).at(0).value<Strip>(), Strip::notes);
}
