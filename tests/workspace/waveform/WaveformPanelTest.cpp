#include <gtest/gtest.h>

#include <QMenu>
#include <QTest>

#include "WaveformTestRig.h"
#include "playback/ShowModeKeys.h"
#include "workspace/common/Theme.h"
#include "workspace/waveform/WaveformMenus.h"

namespace ostinel {
namespace {

using test::WaveformPanelRig;
using Strip = WaveformController::Strip;

TEST(WaveformPanel, ClickWhileStoppedSeeksClearsTheMarkAndDeselects) {
    WaveformPanelRig w;
    auto& c = w.controller();
    c.setMark(Strip::waveform, GroupDrag::Sel{1.0, 2.0});
    auto loop = w.rig.state.addLoop(w.cue, 7.0, 8.0);
    w.rig.state.setSelectedLoopID(loop);

    QTest::mouseClick(&w.canvas(), Qt::LeftButton, {}, QPoint(int(w.xAt(5.0)), 150));
    EXPECT_NEAR(w.rig.engine.displayTime(w.rig.loop.now()), 5.0, 0.02);
    EXPECT_FALSE(c.selectionRange());
    EXPECT_FALSE(w.rig.state.selectedLoopID());

    // Clicking the loop's bar selects it rather than moving the playhead.
    QTest::mouseClick(&w.canvas(), Qt::LeftButton, {}, QPoint(int(w.xAt(7.6)), 30));
    EXPECT_EQ(w.rig.state.selectedLoopID(), loop);
    EXPECT_NEAR(w.rig.engine.displayTime(w.rig.loop.now()), 5.0, 0.02);
}

TEST(WaveformPanel, DragMarksARegionOnEveryStripItCrossesAtAnyScroll) {
    WaveformPanelRig w;
    QWidget strip;
    strip.setFixedHeight(50);
    w.panel.addStrip(&strip);
    QCoreApplication::processEvents();
    auto& c = w.controller();
    QPoint stripAt = strip.mapTo(strip.window(), QPoint(0, 0));
    c.setStripFrame(Strip::notes, StripFrame{double(stripAt.x()), double(stripAt.y()), 1000, 50});
    c.setZoom(2.0, 0.5, 500); // the second half of the view shows 5 s to 7.5 s

    QPointF below(w.xAt(7.0), w.canvas().height() + 20); // over the note strip
    w.drag(QPointF(w.xAt(6.0), 100), below);
    ASSERT_TRUE(c.selectionRange());
    EXPECT_NEAR(c.selectionRange()->first, 6.0, 0.02);
    EXPECT_NEAR(c.selectionRange()->second, 7.0, 0.02);
    EXPECT_EQ(c.mark(Strip::notes), c.mark(Strip::waveform));
    EXPECT_FALSE(c.mark(Strip::midiTriggers));

    // Dragging inside the mark moves the marked group, strips included.
    w.drag(QPointF(w.xAt(6.5), 100), QPointF(w.xAt(7.0), 100));
    EXPECT_NEAR(c.mark(Strip::notes)->start, 6.5, 0.02);
    EXPECT_NEAR(c.mark(Strip::waveform)->end, 7.5, 0.02);

    // A drag that stays on the waveform clears the strip's region.
    w.drag(QPointF(w.xAt(5.2), 100), QPointF(w.xAt(5.8), 120));
    EXPECT_NEAR(c.selectionRange()->first, 5.2, 0.02);
    EXPECT_FALSE(c.mark(Strip::notes));
}

TEST(WaveformPanel, WheelPassesOnUnlessItHasSomethingToDo) {
    WaveformPanelRig w;
    auto& c = w.controller();
    c.setHovering(true);
    EXPECT_FALSE(w.wheel(QPoint(0, 120))) << "nothing to pan at zoom 1";

    EXPECT_TRUE(w.wheel(QPoint(0, 120), Qt::ShiftModifier));
    EXPECT_NEAR(c.zoom(), 1.15, 1e-9);
    c.setZoom(4.0, 0.5, 500);
    double centre = c.centerFraction();
    EXPECT_TRUE(w.wheel(QPoint(0, -240), Qt::ShiftModifier));
    EXPECT_NEAR(c.zoom(), 4.0 * 0.7, 1e-9);
    EXPECT_NEAR(c.centerFraction(), centre, 1e-9);

    EXPECT_TRUE(w.wheel(QPoint(0, -120 * 1000)));
    EXPECT_DOUBLE_EQ(c.scrollX(), c.contentWidth() - c.viewWidth());
    EXPECT_TRUE(w.wheel(QPoint(0, 120 * 1000)));
    EXPECT_DOUBLE_EQ(c.scrollX(), 0.0);

    c.setHovering(false);
    EXPECT_FALSE(w.wheel(QPoint(0, 120), Qt::ShiftModifier));
    c.setHovering(true);
    c.setFollowPlayhead(true);
    w.rig.engine.play();
    double zoom = c.zoom();
    EXPECT_FALSE(w.wheel(QPoint(0, 120), Qt::ShiftModifier));
    EXPECT_FALSE(w.wheel(QPoint(0, 120)));
    EXPECT_DOUBLE_EQ(c.zoom(), zoom);
}

TEST(WaveformPanel, ResizingKeepsTheScrollInsideTheContent) {
    WaveformPanelRig w;
    auto& c = w.controller();
    c.setZoom(4.0, 1.0, 1000);
    EXPECT_DOUBLE_EQ(c.scrollX(), 3000.0);
    w.panel.resize(600, 400);
    QCoreApplication::processEvents();
    EXPECT_DOUBLE_EQ(c.viewWidth(), 600.0);
    EXPECT_DOUBLE_EQ(c.scrollX(), 1800.0) << "the last screenful, no further";
    ASSERT_TRUE(c.stripFrame(Strip::waveform));
    EXPECT_DOUBLE_EQ(c.stripFrame(Strip::waveform)->width, 600.0);
}

TEST(WaveformPanel, LoopFromAMarkOrTheOverlapNoticeWithTheMarkKept) {
    WaveformPanelRig w;
    auto& c = w.controller();
    auto rightClickCreate = [&](double at) {
        QPoint pos(int(w.xAt(at)), 150);
        QContextMenuEvent event(QContextMenuEvent::Mouse, pos, w.canvas().mapToGlobal(pos));
        QCoreApplication::sendEvent(&w.canvas(), &event);
        auto* menu = w.canvas().findChild<QMenu*>();
        ASSERT_TRUE(menu);
        ASSERT_EQ(menu->actions().size(), 1);
        EXPECT_EQ(menu->actions()[0]->text(), "Create Loop");
        menu->actions()[0]->trigger();
        delete menu;
    };
    c.setMark(Strip::waveform, GroupDrag::Sel{4.0, 2.0});
    rightClickCreate(3.0);
    ASSERT_EQ(w.track().loops.size(), 1u);
    EXPECT_DOUBLE_EQ(w.track().loops[0].startSeconds, 2.0);
    EXPECT_DOUBLE_EQ(w.track().loops[0].endSeconds, 4.0);
    EXPECT_EQ(w.rig.state.selectedLoopID(), w.track().loops[0].id);
    EXPECT_FALSE(c.selectionRange());

    c.setMark(Strip::waveform, GroupDrag::Sel{3.0, 5.0});
    rightClickCreate(4.5);
    EXPECT_EQ(w.track().loops.size(), 1u);
    EXPECT_EQ(w.rig.engine.notice(), "Can't create a loop here \u2014 it overlaps an existing loop.");
    EXPECT_EQ(c.mark(Strip::waveform), (GroupDrag::Sel{3.0, 5.0}));
}

TEST(WaveformPanel, DraggingTheInFlagSnapsToTheGridUnlessOptionIsHeldAndIsOneUndoStep) {
    WaveformPanelRig w;
    w.rig.state.editTrack(w.cue, [](Track& t) {
        t.beatgridEnabled = true;
        t.bpm = 120.0;
        t.beatgridBars = 0.25; // a line every half second
    });
    w.rig.state.resetHistory();
    const double flagY = w.canvas().height() - 5;
    w.drag(QPointF(w.xAt(0.0) + 1, flagY), QPointF(w.xAt(1.3), flagY));
    EXPECT_DOUBLE_EQ(w.track().startSeconds, 1.5);
    w.rig.state.undo();
    EXPECT_DOUBLE_EQ(w.track().startSeconds, 0.0);
    EXPECT_FALSE(w.rig.state.canUndo());

    w.controller().setSnapSuppressed(true);
    w.drag(QPointF(w.xAt(0.0) + 1, flagY), QPointF(w.xAt(1.3), flagY));
    EXPECT_NEAR(w.track().startSeconds, 1.3, 0.011);
    EXPECT_NE(w.track().startSeconds, 1.5);
}

TEST(WaveformPanel, InAndOutTabsAtTheFileEdgesAreDrawnInsideAndMoveWithoutAJump) {
    WaveformPanelRig w;
    const int width = w.canvas().width(), flagY = w.canvas().height() - 3;
    const QImage image = w.canvas().grab().toImage();
    EXPECT_EQ(image.pixelColor(4, flagY), theme::inOutFlag);
    EXPECT_EQ(image.pixelColor(width - 4, flagY), theme::inOutFlag);

    // Taken by the far side of each tab, a finger's width from the line.
    const double perSecond = w.xAt(1.0) - w.xAt(0.0);
    w.drag(QPointF(30, flagY), QPointF(30 + 3.0 * perSecond, flagY));
    EXPECT_NEAR(w.track().startSeconds, 3.0, 0.011);
    w.drag(QPointF(width - 30, flagY), QPointF(width - 30 - 3.0 * perSecond, flagY));
    EXPECT_NEAR(w.track().effectiveEnd(), 7.0, 0.011);
    EXPECT_FALSE(w.controller().selectionRange()) << "no region was marked instead";
}

TEST(WaveformPanel, AFileThatCannotBeDrawnSaysWhyInsteadOfDrawingForEver) {
    WaveformPanelRig w;
    w.rig.loop.runPosted();
    EXPECT_EQ(w.canvas().placeholder(), "") << "the tone is drawn";
    const auto pointAt = [&](const std::string& path) {
        w.rig.state.editTrack(w.cue, [&](Track& t) { t.url = FileUrl::fromPath(path); });
        EXPECT_EQ(w.canvas().placeholder(), "Drawing waveform\u2026");
        w.rig.loop.runPosted();
        return w.canvas().placeholder();
    };
    EXPECT_EQ(pointAt(w.rig.dir.file("gone/Intro.wav")), "Audio file missing: Intro.wav");
    EXPECT_EQ(pointAt(w.rig.dir.write("Junk.wav", "not audio")), "Audio file could not be read: Junk.wav");
}

TEST(WaveformPanel, ControlClickAddsAndRemovesAutomationPointsWhichDragInOneStep) {
    WaveformPanelRig w;
    w.rig.state.editTrack(w.cue, [](Track& t) { t.volumeAutomationEnabled = true; });
    w.rig.state.resetHistory();
    const waveform::CanvasMetrics m{double(w.canvas().height())};
    QTest::mouseClick(&w.canvas(), Qt::LeftButton, Qt::ControlModifier, QPoint(int(w.xAt(5.0)), 150));
    ASSERT_EQ(w.track().volumeAutomation.size(), 1u);
    EXPECT_DOUBLE_EQ(w.track().volumeAutomation[0].db, 0.0) << "a new point sits on the curve";
    w.rig.state.undo();
    ASSERT_TRUE(w.track().volumeAutomation.empty());
    w.rig.state.redo();

    const double x = w.track().volumeAutomation[0].timeSeconds;
    w.drag(QPointF(w.xAt(x), m.dbToY(0.0)), QPointF(w.xAt(6.0), m.dbToY(-12.0)));
    EXPECT_NEAR(w.track().volumeAutomation[0].timeSeconds, 6.0, 0.011);
    EXPECT_NEAR(w.track().volumeAutomation[0].db, -12.0, 0.5);
    w.rig.state.undo();
    EXPECT_DOUBLE_EQ(w.track().volumeAutomation[0].timeSeconds, x);

    QTest::mouseClick(&w.canvas(), Qt::LeftButton, Qt::ControlModifier, QPoint(int(w.xAt(x)), int(m.dbToY(0.0))));
    EXPECT_TRUE(w.track().volumeAutomation.empty());
}

TEST(WaveformPanel, ShowModeConfinesTheViewAndIgnoresClicksWhilePlaying) {
    WaveformPanelRig w;
    auto& c = w.controller();
    w.rig.state.editTrack(w.cue, [](Track& t) {
        t.startSeconds = 2.0;
        t.endSeconds = 6.0;
    });
    c.setZoom(10.0, 0.9, 0.0);
    w.rig.state.setMode(AppMode::show);
    ASSERT_TRUE(c.viewBounds());
    EXPECT_DOUBLE_EQ(c.zoom(), 2.5);
    EXPECT_DOUBLE_EQ(c.scrollX(), 0.2 * c.contentWidth());

    w.rig.engine.load(w.track());
    w.rig.engine.play();
    w.rig.run(0.5);
    c.setMark(Strip::waveform, GroupDrag::Sel{3.0, 4.0});
    double before = w.rig.engine.displayTime(w.rig.loop.now());
    QTest::mouseClick(&w.canvas(), Qt::LeftButton, {}, QPoint(int(w.xAt(5.0)), 150));
    EXPECT_NEAR(w.rig.engine.displayTime(w.rig.loop.now()), before, 1e-9);
    EXPECT_TRUE(c.selectionRange());

    // Handles are not there to grab: the in flag stays.
    w.rig.engine.stop();
    const double flagY = w.canvas().height() - 5;
    w.drag(QPointF(w.xAt(2.0) - 3, flagY), QPointF(w.xAt(3.0), flagY));
    EXPECT_DOUBLE_EQ(w.track().startSeconds, 2.0);

    w.rig.state.setMode(AppMode::edit);
    EXPECT_FALSE(c.viewBounds());
}

TEST(WaveformPanel, FollowingLiveThenStoppingKeepsTheDrawnScroll) {
    WaveformPanelRig w;
    auto& c = w.controller();
    c.setZoom(10.0, 0.0, 0.0);
    c.setFollowPlayhead(true);
    w.rig.engine.play();
    w.rig.run(5.0);
    w.canvas().grab(); // one drawn frame while following
    ASSERT_TRUE(c.liveFollowScrollX());
    double drawn = *c.liveFollowScrollX();
    EXPECT_GT(drawn, 0.0);
    w.rig.engine.pause();
    EXPECT_DOUBLE_EQ(c.scrollX(), drawn);
}

TEST(WaveformPanel, TheZoomIsKeptAcrossCuesOnlyInShowModeWhileFollowing) {
    WaveformPanelRig w;
    const Uuid other = w.rig.addCues({8.0})[0];
    auto& c = w.controller();
    w.rig.state.setPreserveZoomOnTrackSwitch(true);
    const auto zoomAfterSwitch = [&](AppMode mode, bool follow) {
        w.rig.state.setMode(mode);
        c.setFollowPlayhead(follow);
        c.setZoom(4.0, 0.5, 500);
        w.rig.state.setSelectedTrackID(w.rig.state.selectedTrackID() == other ? w.cue : other);
        return c.zoom();
    };
    EXPECT_DOUBLE_EQ(zoomAfterSwitch(AppMode::show, true), 4.0);
    EXPECT_DOUBLE_EQ(c.scrollX(), 0.0) << "the new cue opens at its in-point";
    EXPECT_DOUBLE_EQ(zoomAfterSwitch(AppMode::show, false), 1.0);
    EXPECT_DOUBLE_EQ(zoomAfterSwitch(AppMode::edit, true), 1.0);
    EXPECT_DOUBLE_EQ(zoomAfterSwitch(AppMode::edit, false), 1.0);
    w.rig.state.setPreserveZoomOnTrackSwitch(false);
    EXPECT_DOUBLE_EQ(zoomAfterSwitch(AppMode::show, true), 1.0);
}

TEST(WaveformPanel, EnteringShowModeClearsEveryMarkSoGoStartsAtTheInPoint) {
    WaveformPanelRig w;
    auto& c = w.controller();
    w.rig.state.editTrack(w.cue, [](Track& t) { t.startSeconds = 1.0; });
    w.rig.engine.load(w.track());
    const Strip all[] = {Strip::waveform, Strip::notes, Strip::midiTriggers, Strip::oscTriggers};
    for (Strip strip : all) c.setMark(strip, GroupDrag::Sel{4.0, 6.0});
    w.rig.state.setMode(AppMode::show);
    for (Strip strip : all) EXPECT_FALSE(c.mark(strip));
    ShowModeKeys::goButton(w.rig.cues);
    EXPECT_NEAR(w.rig.engine.displayTime(w.rig.loop.now()), 1.0, 0.02);
}

} // namespace
} // namespace ostinel
