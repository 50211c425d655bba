#include <gtest/gtest.h>

#include <QAction>
#include <QLineEdit>
#include <QMenu>
#include <QTest>

#include "AppRig.h"
#include "workspace/waveform/WaveformCanvas.h"
#include "workspace/waveform/WaveformPanel.h"

namespace ostinel::test {
namespace {

class EditMenu : public ::testing::Test {
protected:
    void SetUp() override {
        rig.app->start({QString::fromStdString(rig.writeShow("Gig", 1))});
        ASSERT_TRUE(QTest::qWaitForWindowActive(&rig.app->window()));
        rig.app->state().editTrack(trackID(), [](Track& t) { t.name = "Renamed"; });
        rig.run(1.0); // the edit is its own undo step
    }
    Uuid trackID() const { return rig.app->state().show().tracks[0].id; }
    std::string trackName() const { return rig.app->state().show().tracks[0].name; }
    QAction* action(const char* name) const { return rig.app->window().findChild<QAction*>(name); }
    void pressCtrlZ() { QTest::keyClick(static_cast<QWidget*>(nullptr), Qt::Key_Z, Qt::ControlModifier); }

    AppRig rig;
};

TEST_F(EditMenu, UndoGoesToTheFocusedFieldFirstThenToTheShow) {
    EXPECT_EQ(QApplication::focusWidget(), rig.app->window().centralWidget());
    auto* field = new QLineEdit(rig.app->window().centralWidget());
    field->show();
    field->setFocus();
    QTest::keyClicks(field, "abc");

    pressCtrlZ();
    EXPECT_EQ(field->text(), "");
    EXPECT_EQ(trackName(), "Renamed");

    pressCtrlZ(); // the field has nothing left to undo
    EXPECT_EQ(trackName(), "Gig cue 1");

    QTest::keyClick(static_cast<QWidget*>(nullptr), Qt::Key_Z, Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_EQ(field->text(), "abc");
    action("redo")->trigger();
    EXPECT_EQ(trackName(), "Renamed");
}

TEST_F(EditMenu, ModifiersReachTheTimelineAndAClickElsewhereEndsTyping) {
    const WaveformController& waveform = rig.app->view().controller();
    QTest::keyPress(static_cast<QWidget*>(nullptr), Qt::Key_Shift, Qt::ShiftModifier);
    EXPECT_TRUE(waveform.beatStepHeld());
    QTest::keyRelease(static_cast<QWidget*>(nullptr), Qt::Key_Shift);
    EXPECT_FALSE(waveform.beatStepHeld());
    QTest::keyPress(static_cast<QWidget*>(nullptr), Qt::Key_Alt, Qt::AltModifier);
    EXPECT_TRUE(waveform.snapSuppressed());
    QTest::keyRelease(static_cast<QWidget*>(nullptr), Qt::Key_Alt);

    auto* field = new QLineEdit(rig.app->window().centralWidget());
    field->show();
    field->setFocus();
    QTest::mouseClick(field, Qt::LeftButton);
    EXPECT_TRUE(field->hasFocus());
    QTest::mouseClick(rig.app->window().waveformPanel()->canvas(), Qt::LeftButton);
    EXPECT_EQ(QApplication::focusWidget(), rig.app->window().centralWidget());
}

TEST_F(EditMenu, ShowModeDisablesUndoAndRedo) {
    rig.app->state().setMode(AppMode::show);
    EXPECT_FALSE(action("undo")->isEnabled());
    EXPECT_FALSE(action("redo")->isEnabled());
    pressCtrlZ();
    rig.app->window().undo();
    EXPECT_EQ(trackName(), "Renamed");

    rig.app->state().setMode(AppMode::edit);
    EXPECT_TRUE(action("undo")->isEnabled());
    pressCtrlZ();
    EXPECT_EQ(trackName(), "Gig cue 1");
}

TEST_F(EditMenu, TitleNamesTheFileAndMarksChanges) {
    EXPECT_EQ(rig.app->window().windowTitle(), "Ostinel — Gig.ot[*]");
    EXPECT_TRUE(rig.app->window().isWindowModified());
    rig.app->state().saveShow();
    EXPECT_FALSE(rig.app->window().isWindowModified());
    rig.app->state().newShow();
    EXPECT_EQ(rig.app->window().windowTitle(), "Ostinel — Untitled[*]");
}

TEST_F(EditMenu, OpenRecentListsTheShowsAndClears) {
    auto* recent = rig.app->window().findChild<QMenu*>("openRecent");
    auto titles = [recent] {
        QApplication::processEvents();
        QStringList list;
        for (QAction* a : recent->actions()) list << (a->isSeparator() ? "-" : a->text());
        return list;
    };
    EXPECT_EQ(titles(), (QStringList{"Gig.ot", "-", "Clear Menu"}));

    recent->actions().last()->trigger();
    EXPECT_EQ(titles(), QStringList{"No Recent Shows"});
    EXPECT_FALSE(recent->actions()[0]->isEnabled());
    EXPECT_EQ(rig.preferences.stringListValue("recentShowURLs"), std::vector<std::string>{});
}

} // namespace
} // namespace ostinel::test
