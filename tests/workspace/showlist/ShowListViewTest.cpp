#include <QLabel>
#include <QLineEdit>
#include <QTest>

#include "playback/ShowModeKeys.h"
#include "ShowListFixture.h"

namespace ostinel::test {
namespace {

TEST_F(ShowListTest, ClicksSelectLoadAndGroupRows) {
    clickRow(1);
    EXPECT_EQ(rig.state.selectedTrackID(), ids[1]);
    EXPECT_EQ(rig.engine.currentURL(), rig.track(ids[1]).url);

    clickRow(3, Qt::ControlModifier);
    EXPECT_EQ(rig.state.selectedTrackIDs(), (std::set<Uuid>{ids[1], ids[3]}));
    EXPECT_EQ(rig.state.selectedTrackID(), ids[1]);

    clickRow(0, Qt::ShiftModifier); // from the anchor, the row just clicked
    EXPECT_EQ(rig.state.selectedTrackIDs(), (std::set<Uuid>{ids[0], ids[1], ids[2], ids[3]}));
    EXPECT_EQ(rig.state.selectedTrackID(), ids[1]);

    clickRow(2);
    EXPECT_EQ(rig.state.selectedTrackIDs(), std::set<Uuid>{ids[2]});
    EXPECT_FALSE(canvas().renamingTrackID());
}

TEST_F(ShowListTest, ASelectionMadeByKeysStartsTheNextRangeAtTheCurrentRow) {
    clickRow(0);
    ShowModeKeys::selectAdjacentTrack(rig.state, +1);
    ShowModeKeys::selectAdjacentTrack(rig.state, +1);
    clickRow(3, Qt::ShiftModifier);
    EXPECT_EQ(rig.state.selectedTrackIDs(), (std::set<Uuid>{ids[2], ids[3]}));
}

TEST_F(ShowListTest, RenamingCommitsOnceAndAnEmptyNameKeepsTheOldOne) {
    clickRow(1);
    clickRow(1);
    ASSERT_EQ(canvas().renamingTrackID(), ids[1]);
    QLineEdit* editor = canvas().renameEditor();
    ASSERT_TRUE(editor->isVisible());
    editor->setText("Walk-in music");
    QTest::keyClick(editor, Qt::Key_Return);
    EXPECT_EQ(rig.track(ids[1]).name, "Walk-in music");
    EXPECT_FALSE(editor->isVisible());
    ASSERT_TRUE(rig.state.canUndo());
    rig.state.undo();
    EXPECT_EQ(rig.track(ids[1]).name, "Cue 2");
    EXPECT_FALSE(rig.state.canUndo());

    canvas().startRenaming(ids[1]);
    editor->setText("   ");
    clickRow(3); // a click elsewhere commits
    EXPECT_EQ(rig.track(ids[1]).name, "Cue 2");
    EXPECT_FALSE(rig.state.canUndo());
    EXPECT_EQ(rig.state.selectedTrackID(), ids[3]);

    canvas().startRenaming(ids[3]);
    editor->setText("Never mind");
    QTest::keyClick(editor, Qt::Key_Escape);
    EXPECT_EQ(rig.track(ids[3]).name, "Cue 4");
}

TEST_F(ShowListTest, InShowModeAClickWhilePlayingMarksTheNextCueWithoutStopping) {
    rig.state.setSelectedTrackID(ids[0]);
    rig.state.setMode(AppMode::show);
    ShowModeKeys::goButton(rig.cues);
    rig.run(0.5);
    ASSERT_TRUE(rig.engine.isPlaying());

    clickRow(2);
    EXPECT_EQ(rig.state.preselectedTrackID(), ids[2]);
    EXPECT_EQ(rig.state.selectedTrackID(), ids[0]);
    EXPECT_TRUE(canvas().blinkRunning());
    clickRow(2); // a second pick removes the mark
    EXPECT_FALSE(rig.state.preselectedTrackID());
    EXPECT_FALSE(canvas().blinkRunning());

    clickRow(3);
    mouse(QEvent::MouseButtonDblClick, rowPoint(3), Qt::LeftButton); // the second half of a double click
    mouse(QEvent::MouseButtonRelease, rowPoint(3), Qt::NoButton);
    EXPECT_EQ(rig.state.preselectedTrackID(), ids[3]);
    clickRow(0); // the running row
    EXPECT_FALSE(rig.state.preselectedTrackID());
    rig.run(0.2);
    EXPECT_TRUE(rig.engine.isPlaying());
    EXPECT_GT(rig.takePeak(), 0.01f);

    rig.engine.stop();
    clickRow(3); // stopped: a plain selection
    EXPECT_EQ(rig.state.selectedTrackID(), ids[3]);
    clickRow(3);
    EXPECT_FALSE(canvas().renamingTrackID());
}

TEST_F(ShowListTest, TheTotalCountsCuesThatPlayFromTheirTrimmedLengths) {
    auto* total = view->findChild<QLabel*>("showListTotal");
    ASSERT_TRUE(total);
    EXPECT_EQ(total->text(), "0:27");
    Show show = rig.state.show();
    show.tracks.edit(0).startSeconds = 2.0;
    show.tracks.edit(0).endSeconds = 7.5;  // 5.5
    show.tracks.edit(1).startSeconds = 3.0;
    show.tracks.edit(1).endSeconds = 3.0;  // out at the in-point: 5 - 3
    show.tracks.edit(2).startSeconds = 9.0; // past the end of an 8 s file: 0
    show.tracks.edit(3).skip = true;
    rig.state.setShow(show);
    EXPECT_EQ(total->text(), "0:07");
    for (std::size_t i = 0; i < 3; ++i) show.tracks.edit(i).skip = true;
    rig.state.setShow(show);
    EXPECT_EQ(total->text(), "0:00");
}

} // namespace
} // namespace ostinel::test
