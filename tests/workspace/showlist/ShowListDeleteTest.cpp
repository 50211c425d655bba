#include <QTest>

#include "playback/ShowModeKeyFilter.h"
#include "ShowListFixture.h"

namespace ostinel::test {
namespace {

using Strip = WaveformController::Strip;

// With the show keys installed as the application has them.
class ShowListDelete : public ShowListTest {
protected:
    void SetUp() override {
        ShowListTest::SetUp();
        QApplication::instance()->installEventFilter(&keys);
        view->activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(view.get()));
    }
    void focusList() {
        canvas().setFocus();
        ASSERT_TRUE(canvas().hasFocus());
    }

    ShowModeKeyFilter keys{rig.cues};
};

TEST_F(ShowListDelete, DeleteOnTheFocusedListRemovesTheSelectedRowsInOneStep) {
    clickRow(1);
    clickRow(2, Qt::ControlModifier);
    focusList();
    rig.view.controller().setMark(Strip::waveform, GroupDrag::Sel{1.0, 2.0});
    QTest::keyClick(&canvas(), Qt::Key_Delete);
    EXPECT_EQ(names(), (std::vector<std::string>{"Cue 1", "Cue 4"}));
    EXPECT_FALSE(rig.state.selectedTrackIDs().count(ids[1]) || rig.state.selectedTrackIDs().count(ids[2]));
    EXPECT_TRUE(rig.view.controller().mark(Strip::waveform)) << "the timeline's deletion did not run as well";
    rig.state.undo();
    EXPECT_EQ(rig.state.show().tracks.size(), 4u);
    EXPECT_FALSE(rig.state.canUndo());

    rig.state.setSelectedTrackID(ids[3]);
    QTest::keyClick(&canvas(), Qt::Key_Backspace);
    EXPECT_EQ(names(), (std::vector<std::string>{"Cue 1", "Cue 2", "Cue 3"}));
}

TEST_F(ShowListDelete, NothingGoesInShowModeAndAwayFromTheListDeleteIsTheTimelines) {
    rig.state.setSelectedTrackID(ids[0]);
    rig.state.setMode(AppMode::show);
    focusList();
    QTest::keyClick(&canvas(), Qt::Key_Delete);
    EXPECT_EQ(rig.state.show().tracks.size(), 4u);

    rig.state.setMode(AppMode::edit);
    rig.view.controller().setMark(Strip::waveform, GroupDrag::Sel{1.0, 2.0});
    canvas().clearFocus();
    QTest::keyClick(view.get(), Qt::Key_Delete);
    EXPECT_EQ(rig.state.show().tracks.size(), 4u);
    EXPECT_FALSE(rig.view.controller().mark(Strip::waveform));
}

} // namespace
} // namespace ostinel::test
