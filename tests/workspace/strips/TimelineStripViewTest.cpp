#include <gtest/gtest.h>

#include <QAction>
#include <QMenu>
#include <QTest>
#include <QVBoxLayout>

#include "support/QtTestApp.h"
#include "support/WorkspaceRig.h"
#include "workspace/strips/TimelineStripView.h"

namespace ostinel {
namespace {

using Strip = WaveformController::Strip;

// A ten-second cue selected and loaded, three strips stacked 1000 points wide
// inside a margin, so that a strip's x of 100 is one second.
class StripViewTest : public ::testing::Test {
  protected:
    StripViewTest() {
        cue = rig.addCues({10.0}).at(0);
        rig.state.setSelectedTrackID(cue);
        auto* layout = new QVBoxLayout(&window);
        layout->setContentsMargins(20, 30, 20, 10);
        layout->setSpacing(0);
        for (auto* s : {&notes, &midi, &osc})
            layout->addWidget(s);
        layout->addStretch();
        window.resize(1040, 200);
        window.show();
        controller().setViewWidth(1000.0);
        settle();
    }

    WaveformController& controller() { return rig.view.controller(); }
    const Track& track() { return rig.track(cue); }
    // Lets the undo burst end, so the next edit starts a step of its own.
    void settle() { rig.loop.advance(1.0); }
    QPoint at(double seconds, int y = 19) { return {int(seconds * 100.0), y}; }
    // What a real double click delivers; QTest sends the second event alone.
    void doubleClick(QWidget& w, QPoint pos, Qt::KeyboardModifiers mods = {}) {
        QTest::mouseClick(&w, Qt::LeftButton, mods, pos);
        QTest::mouseDClick(&w, Qt::LeftButton, mods, pos);
        QTest::mouseRelease(&w, Qt::LeftButton, mods, pos);
    }
    Uuid addNote(double t) {
        auto id = rig.state.addNote(cue, t).value();
        settle();
        return id;
    }
    QAction* action(TimelineStripView& strip, QMenu& menu, const QString& text) {
        for (QAction* a : menu.actions())
            if (a->text() == text) return a;
        ADD_FAILURE() << "no menu entry " << text.toStdString() << " on " << int(strip.kind());
        return nullptr;
    }

    test::WorkspaceRig rig;
    Uuid cue;
    QWidget window;
    TimelineStripView notes{rig.workspace, Strip::notes};
    TimelineStripView midi{rig.workspace, Strip::midiTriggers};
    TimelineStripView osc{rig.workspace, Strip::oscTriggers};
};

TEST_F(StripViewTest, DoubleClickAndControlClickCreateAtTheSnappedTime) {
    rig.state.editTrack(cue, [](Track& t) { t.beatgridEnabled = true; }); // a line every half second
    doubleClick(notes, at(1.23));
    ASSERT_EQ(track().timelineNotes.size(), 1u);
    EXPECT_DOUBLE_EQ(track().timelineNotes[0].timeSeconds, 1.0);
    EXPECT_EQ(rig.state.selectedNoteID(), track().timelineNotes[0].id);

    controller().setSnapSuppressed(true); // Alt held
    QTest::mouseClick(&midi, Qt::LeftButton, Qt::ControlModifier, at(4.37));
    ASSERT_EQ(track().midiTriggers.size(), 1u);
    EXPECT_NEAR(track().midiTriggers[0].timeSeconds, 4.37, 0.011);
    EXPECT_EQ(rig.state.selectedMidiTriggerID(), track().midiTriggers[0].id);
    EXPECT_FALSE(rig.state.selectedNoteID());
}

TEST_F(StripViewTest, ClickSelectsAMarkerAndEmptySpaceSeeksAndDeselects) {
    const Uuid id = rig.state.addOSCTrigger(cue, 3.0).value();
    controller().setMark(Strip::oscTriggers, GroupDrag::Sel{6.0, 8.0});
    QTest::mouseClick(&osc, Qt::LeftButton, {}, at(3.0) + QPoint(30, 0)); // on its flag
    EXPECT_EQ(rig.state.selectedOSCTriggerID(), id);
    EXPECT_EQ(rig.engine.currentTime(), 0.0);

    QTest::mouseClick(&osc, Qt::LeftButton, {}, at(7.0));
    EXPECT_FALSE(rig.state.selectedOSCTriggerID());
    EXPECT_NEAR(rig.engine.currentTime(), 7.0, 0.011);
    EXPECT_FALSE(controller().mark(Strip::oscTriggers));
}

TEST_F(StripViewTest, DraggingAMarkerMovesItSnappedAsOneUndoStep) {
    rig.state.editTrack(cue, [](Track& t) { t.beatgridEnabled = true; });
    const Uuid id = addNote(2.0);
    std::optional<double> readout;
    QObject::connect(&rig.view, &WaveformViewState::noteDragSecondsChanged, [&] {
        if (auto s = controller().noteDragSeconds()) readout = s;
    });

    QTest::mousePress(&notes, Qt::LeftButton, {}, at(2.0));
    for (double t : {2.5, 3.4, 4.1, 5.2}) {
        QTest::mouseMove(&notes, at(t));
        rig.loop.advance(0.2);
    }
    EXPECT_DOUBLE_EQ(readout.value_or(0.0), 5.0);
    QTest::mouseRelease(&notes, Qt::LeftButton, {}, at(5.2));
    EXPECT_DOUBLE_EQ(track().timelineNotes[0].timeSeconds, 5.0);
    EXPECT_EQ(rig.state.selectedNoteID(), id);
    EXPECT_FALSE(controller().noteDragSeconds());

    settle();
    rig.state.undo();
    ASSERT_EQ(track().timelineNotes.size(), 1u); // the note's own step is still there
    EXPECT_DOUBLE_EQ(track().timelineNotes[0].timeSeconds, 2.0);
}

TEST_F(StripViewTest, MarqueeFromTheNoteStripMarksTheStripsItReaches) {
    controller().setMark(Strip::waveform, GroupDrag::Sel{0.5, 1.0});
    controller().setMark(Strip::oscTriggers, GroupDrag::Sel{0.5, 1.0});
    QTest::mousePress(&notes, Qt::LeftButton, {}, at(2.0, 10));
    QTest::mouseMove(&notes, at(4.0, notes.height() + midi.height() / 2)); // down into the MIDI strip
    QTest::mouseRelease(&notes, Qt::LeftButton, {}, at(4.0, notes.height() + midi.height() / 2));

    for (Strip s : {Strip::notes, Strip::midiTriggers}) {
        auto mark = controller().mark(s);
        ASSERT_TRUE(mark) << int(s);
        EXPECT_NEAR(mark->start, 2.0, 0.011);
        EXPECT_NEAR(mark->end, 4.0, 0.011);
    }
    EXPECT_FALSE(controller().mark(Strip::oscTriggers));
    EXPECT_FALSE(controller().mark(Strip::waveform));
}

TEST_F(StripViewTest, DraggingInsideAMarkMovesTheMarkedGroup) {
    const Uuid inside = addNote(2.0);
    const Uuid outside = addNote(6.0);
    const Uuid trigger = rig.state.addMidiTrigger(cue, 2.5).value();
    controller().setMark(Strip::notes, GroupDrag::Sel{1.5, 3.0});
    controller().setMark(Strip::midiTriggers, GroupDrag::Sel{1.5, 3.0});
    settle();

    QTest::mousePress(&notes, Qt::LeftButton, {}, at(2.5));
    QTest::mouseMove(&notes, at(3.5));
    QTest::mouseMove(&notes, at(4.5));
    QTest::mouseRelease(&notes, Qt::LeftButton, {}, at(4.5));

    auto time = [&](const Uuid& id) {
        return track().timelineNotes.findIf([&](const Note& n) { return n.id == id; })->timeSeconds;
    };
    EXPECT_NEAR(time(inside), 4.0, 0.011);
    EXPECT_DOUBLE_EQ(time(outside), 6.0);
    EXPECT_NEAR(track().midiTriggers[0].timeSeconds, 4.5, 0.011);
    EXPECT_EQ(track().midiTriggers[0].id, trigger);
    EXPECT_NEAR(controller().mark(Strip::notes)->start, 3.5, 0.011);
    settle();
    rig.state.undo();
    EXPECT_DOUBLE_EQ(time(inside), 2.0);
}

TEST_F(StripViewTest, ContextMenuCopiesPastesAndDeletes) {
    const Uuid first = addNote(2.0);
    auto menu = notes.makeContextMenu(at(2.0)); // on the marker: about it
    EXPECT_EQ(rig.state.selectedNoteID(), first);
    EXPECT_FALSE(action(notes, *menu, "Paste Note")->isEnabled());
    action(notes, *menu, "Copy Note")->trigger();
    ASSERT_TRUE(rig.state.timelineClipboard());

    menu = notes.makeContextMenu(at(7.0));
    action(notes, *menu, "Paste Note")->trigger();
    ASSERT_EQ(track().timelineNotes.size(), 2u);
    EXPECT_NEAR(track().timelineNotes[1].timeSeconds, 7.0, 0.011);
    EXPECT_FALSE(action(midi, *midi.makeContextMenu(at(7.0)), "Paste MIDI Trigger")->isEnabled());

    controller().setMark(Strip::notes, GroupDrag::Sel{6.0, 9.0});
    menu = notes.makeContextMenu(at(8.0));
    action(notes, *menu, "Delete Marked Notes")->trigger();
    ASSERT_EQ(track().timelineNotes.size(), 1u);
    EXPECT_EQ(track().timelineNotes[0].id, first);
    EXPECT_FALSE(controller().mark(Strip::notes));

    menu = notes.makeContextMenu(at(2.0));
    action(notes, *menu, "Delete Note")->trigger();
    EXPECT_TRUE(track().timelineNotes.empty());
    menu = notes.makeContextMenu(at(5.0));
    action(notes, *menu, "Add Note")->trigger();
    ASSERT_EQ(track().timelineNotes.size(), 1u);
    EXPECT_NEAR(track().timelineNotes[0].timeSeconds, 5.0, 0.011);
}

TEST_F(StripViewTest, ShowModeLocksEditingAndIgnoresClicksWhilePlaying) {
    addNote(2.0);
    rig.state.setMode(AppMode::show);
    doubleClick(notes, at(5.0));
    QTest::mousePress(&notes, Qt::LeftButton, {}, at(2.0));
    QTest::mouseMove(&notes, at(4.0));
    QTest::mouseRelease(&notes, Qt::LeftButton, {}, at(4.0));
    ASSERT_EQ(track().timelineNotes.size(), 1u);
    EXPECT_DOUBLE_EQ(track().timelineNotes[0].timeSeconds, 2.0);
    EXPECT_TRUE(notes.makeContextMenu(at(5.0))->isEmpty());
    EXPECT_NEAR(rig.engine.currentTime(), 5.0,
                0.011); // a click while stopped still seeks, a drag does nothing

    controller().setMark(Strip::notes, GroupDrag::Sel{6.0, 8.0});
    rig.engine.play();
    rig.run(0.5);
    const double before = rig.engine.currentTime();
    QTest::mouseClick(&notes, Qt::LeftButton, {}, at(8.0));
    rig.run(0.1);
    EXPECT_LT(rig.engine.currentTime(), before + 0.5);
    EXPECT_TRUE(controller().mark(Strip::notes));
}

TEST_F(StripViewTest, ReportsItsFrameInWindowCoordinates) {
    auto frame = controller().stripFrame(Strip::midiTriggers);
    ASSERT_TRUE(frame);
    const QPoint origin = midi.mapTo(&window, QPoint(0, 0));
    EXPECT_EQ(*frame, (StripFrame{20.0, double(origin.y()), 1000.0, double(midi.height())}));
    EXPECT_GE(frame->y, 30.0 + notes.height());

    Show show = rig.state.show();
    show.showNoteTimeline = false; // the show hides it, and the strips below move up
    rig.state.setShow(show);
    QApplication::processEvents();
    EXPECT_TRUE(notes.isHidden());
    EXPECT_FALSE(controller().stripFrame(Strip::notes));
    EXPECT_EQ(controller().stripFrame(Strip::midiTriggers)->y, 30.0);
    rig.state.undo();
    QApplication::processEvents();
    EXPECT_EQ(controller().stripFrame(Strip::notes)->y, 30.0);
    notes.hide();

    // A parent moved by a splitter moves the strip without a move event of its own.
    QWidget outer;
    auto* inner = new QWidget(&outer);
    auto* strip = new TimelineStripView(rig.workspace, Strip::notes, inner);
    strip->setGeometry(5, 7, 300, 38);
    outer.resize(500, 200);
    outer.show();
    inner->move(40, 50);
    EXPECT_EQ(controller().stripFrame(Strip::notes), (StripFrame{45.0, 57.0, 300.0, 38.0}));
}

} // namespace
} // namespace ostinel
