#include <gtest/gtest.h>

#include "workspace/WaveformController.h"
#include "workspace/common/TimelineGeometry.h"
#include "workspace/waveform/TimeRuler.h"
#include "workspace/waveform/WaveformColumns.h"
#include "workspace/waveform/WaveformDrag.h"
#include "workspace/waveform/WaveformHandles.h"
#include "workspace/waveform/WheelZoom.h"

namespace ostinel {
namespace {

using namespace waveform;

TEST(WaveformColumns, EachColumnTakesTheLoudestPeakItCoversAndNothingPastTheEnd) {
    const std::vector<float> peaks{0.1f, 0.9f, 0.2f, 0.3f, 0.5f, 0.1f, 0.1f, 0.7f};
    std::vector<float> out;
    visibleColumnPeaks(peaks, 4.0, 0.0, 6, out);
    EXPECT_EQ(out, (std::vector<float>{0.9f, 0.3f, 0.5f, 0.7f, 0.0f, 0.0f}));
    // Deep zoom: a peak spans several columns, and the view starts mid-file.
    visibleColumnPeaks(peaks, 32.0, 4.0, 4, out);
    EXPECT_EQ(out, (std::vector<float>{0.9f, 0.9f, 0.9f, 0.9f}));
    visibleColumnPeaks({}, 10.0, 0.0, 3, out);
    EXPECT_EQ(out, (std::vector<float>(3, 0.0f)));
}

struct HandleScene : ::testing::Test {
    Track track;
    TimelineGeometry g{0.0, 1000.0, 10.0, false}; // 100 points a second
    CanvasMetrics m{300.0};
    void SetUp() override {
        track.duration = 10.0;
        track.startSeconds = 1.0;
        track.endSeconds = 9.0;
        track.fade.fadeInSeconds = 2.0;
        Loop loop;
        loop.startSeconds = 4.0;
        loop.endSeconds = 6.0;
        track.loops.push_back(loop);
    }
    HandleKind at(double x, double y, bool editable = true) {
        return hitTest(track, g, m, x, y, std::nullopt, editable).kind;
    }
};

TEST_F(HandleScene, FlagsKnobsAndBarsAreFoundWhereTheyAreDrawn) {
    EXPECT_EQ(at(95, 295), HandleKind::inFlag);
    EXPECT_EQ(at(905, 295), HandleKind::outFlag);
    EXPECT_EQ(at(300, 5), HandleKind::fadeIn);
    EXPECT_EQ(at(900, 5), HandleKind::fadeOut);
    EXPECT_EQ(at(401, 30), HandleKind::loopStartKnob);
    EXPECT_EQ(at(599, 30), HandleKind::loopEndKnob);
    EXPECT_EQ(at(loopLogoX(400) + 5, 30), HandleKind::loopLogo);
    EXPECT_EQ(at(520, 30), HandleKind::loopBar);
    EXPECT_EQ(at(520, 150), HandleKind::none);
    // Locked: only the bar, for selection; no knobs, flags or logo.
    EXPECT_EQ(at(95, 295, false), HandleKind::none);
    EXPECT_EQ(at(401, 30, false), HandleKind::loopBar);
    // Fade flags give way to the automation curve.
    track.volumeAutomationEnabled = true;
    EXPECT_EQ(at(300, 5), HandleKind::none);
    AutomationPoint p;
    p.timeSeconds = 1.0;
    p.db = -6.0;
    track.volumeAutomation.push_back(p);
    EXPECT_EQ(hitTest(track, g, m, 101, m.dbToY(-6.0) + 2, std::nullopt, true).id, p.id);
    EXPECT_NEAR(m.yToDb(m.dbToY(-6.0)), -6.0, 1e-9);
}

TEST_F(HandleScene, HandleDragsClampAndMoveFromWhereTheyStarted) {
    WaveformController c;
    auto dragged = [&](HandleKind kind, double press, double t, bool wholeBeats = false, Uuid id = {}) {
        Track out = track;
        HandleDrag{{kind, id}, track, press}.apply(out, t, 0.0, c, wholeBeats);
        return out;
    };
    EXPECT_DOUBLE_EQ(dragged(HandleKind::outFlag, 9.0, 0.5).endSeconds, 1.05);
    EXPECT_DOUBLE_EQ(dragged(HandleKind::inFlag, 1.0, 9.9).startSeconds, 8.95);
    EXPECT_DOUBLE_EQ(dragged(HandleKind::fadeIn, 3.0, 20.0).fade.fadeInSeconds, 8.0);
    EXPECT_DOUBLE_EQ(dragged(HandleKind::fadeOut, 9.0, 7.5).fade.fadeOutSeconds, 1.5);

    track.bpm = 120.0;
    track.beatOffsetSeconds = 0.2;
    EXPECT_DOUBLE_EQ(dragged(HandleKind::beatAnchor, 0.2, 1.37).beatOffsetSeconds, 1.37);
    EXPECT_DOUBLE_EQ(dragged(HandleKind::beatAnchor, 0.3, 1.37, true).beatOffsetSeconds, 1.2);

    Loop right;
    right.startSeconds = 7.0;
    right.endSeconds = 8.0;
    track.loops.push_back(right);
    const Uuid first = track.loops[0].id;
    Track moved = dragged(HandleKind::loopBar, 5.0, 9.0, false, first);
    EXPECT_DOUBLE_EQ(moved.loops[0].startSeconds, 5.0) << "stops at the neighbour";
    EXPECT_DOUBLE_EQ(moved.loops[0].endSeconds, 7.0);
    EXPECT_DOUBLE_EQ(movedLoopStart(track, first, -10.0), 0.0);
}

TEST(WheelZoom, PreciseDevicesZoomFinelyAndPinchKeepsThePointUnderTheFingers) {
    WaveformController c;
    c.setViewWidth(1000);
    c.setHovering(true);
    EXPECT_TRUE(handleWheel(c, false, {0.0, 10.0, true, true}));
    EXPECT_NEAR(c.zoom(), 1.1, 1e-12);
    EXPECT_TRUE(handleWheel(c, false, {0.0, 0.0, true, true})) << "an empty zoom is still consumed";
    double scroll = c.scrollX();
    EXPECT_TRUE(handleWheel(c, false, {0.0, -30.0, false, true}));
    EXPECT_DOUBLE_EQ(c.scrollX(), std::min(scroll + 30.0, c.contentWidth() - 1000.0));

    PinchZoom pinch;
    c.setZoom(2.0, 0.25, 0.0);
    double fraction = (c.scrollX() + 300.0) / c.contentWidth();
    pinch.update(c, 0.5, 300.0);
    pinch.update(c, 1.0, 300.0);
    EXPECT_DOUBLE_EQ(c.zoom(), 4.0);
    EXPECT_NEAR((c.scrollX() + 300.0) / c.contentWidth(), fraction, 1e-12);
    pinch.end();
    EXPECT_FALSE(pinch.active());
}

TEST(TimeRuler, LabelsStayApartAtEveryZoom) {
    for (double perPoint : {0.0001, 0.003, 0.05, 0.4, 2.0, 100.0}) {
        double step = TimeRuler::labelStep(perPoint);
        EXPECT_GE(step / perPoint, 90.0) << perPoint;
        EXPECT_LT(step / perPoint, 90.0 * 3.0) << perPoint;
    }
}

} // namespace
} // namespace ostinel
