#include <gtest/gtest.h>

#include <filesystem>

#include "AppRig.h"
#include "document/ShowFile.h"
#include "workspace/editpanel/EditPanel.h"

#include <QAction>
#include <QLineEdit>
#include <QTest>

namespace ostinel::test {
namespace {

namespace fs = std::filesystem;

class QuitFlow : public ::testing::Test {
protected:
    void SetUp() override {
        showPath = rig.writeShow("Gig", 2);
        rig.app->start({QString::fromStdString(showPath)});
        ASSERT_EQ(rig.app->state().currentFileURL()->path(), showPath);
    }
    void makeDirty() {
        rig.app->state().editTrack(rig.app->state().show().tracks[0].id, [](Track& t) { t.name = "Renamed"; });
        rig.app->state().autosave();
        rig.app->state().waitForAutosave();
        ASSERT_TRUE(rig.app->state().isDirty());
        ASSERT_TRUE(fs::exists(rig.recoveryFile()));
    }

    AppRig rig;
    std::string showPath;
};

TEST_F(QuitFlow, ClosingADirtyShowAsksAndCancelKeepsEverything) {
    makeDirty();
    rig.dialogs.alertAnswers = {"Cancel"};
    EXPECT_FALSE(rig.app->window().close());
    ASSERT_EQ(rig.dialogs.alerts.size(), 1u);
    const AlertRequest& alert = rig.dialogs.alerts[0];
    EXPECT_EQ(alert.message, "Save Show?");
    EXPECT_EQ(alert.informativeText, "Do you want to save the show before quitting Ostinel?");
    EXPECT_EQ(alert.buttons, (std::vector<std::string>{"Save", "Don't Save", "Cancel"}));
    EXPECT_EQ(rig.terminated, 0);
    EXPECT_TRUE(rig.app->window().isVisible());
    EXPECT_TRUE(rig.app->state().isDirty());
    EXPECT_TRUE(fs::exists(rig.recoveryFile()));
}

TEST_F(QuitFlow, DontSaveQuitsAndDropsTheRecoveryFile) {
    makeDirty();
    rig.dialogs.alertAnswers = {"Don't Save"};
    EXPECT_TRUE(rig.app->quit());
    EXPECT_EQ(rig.terminated, 1);
    EXPECT_FALSE(fs::exists(rig.recoveryFile()));
    EXPECT_EQ(ShowFile::read(showPath)->tracks[0].name, "Gig cue 1");
}

TEST_F(QuitFlow, SaveWritesTheShowBeforeQuitting) {
    makeDirty();
    rig.dialogs.alertAnswers = {"Save"};
    EXPECT_TRUE(rig.app->quit());
    EXPECT_EQ(rig.terminated, 1);
    EXPECT_EQ(ShowFile::read(showPath)->tracks[0].name, "Renamed");
    EXPECT_FALSE(fs::exists(rig.recoveryFile()));
}

TEST_F(QuitFlow, AFailedSaveStays) {
    rig.app->state().newShow();
    rig.app->state().addTracks({FileUrl::fromPath(rig.dir.file("Gig0.wav"))});
    ASSERT_TRUE(rig.app->state().isDirty());
    rig.dialogs.alertAnswers = {"Save"};
    rig.dialogs.saveAnswers = {std::nullopt}; // the save panel is cancelled
    EXPECT_FALSE(rig.app->quit());
    EXPECT_EQ(rig.terminated, 0);
    EXPECT_TRUE(rig.app->state().isDirty());
}

TEST_F(QuitFlow, ACleanQuitAsksNothingAndLeavesNoRecoveryFile) {
    rig.leaveRecoveryFile(showPath);
    EXPECT_TRUE(rig.app->quit());
    EXPECT_TRUE(rig.dialogs.alerts.empty());
    EXPECT_EQ(rig.terminated, 1);
    EXPECT_FALSE(fs::exists(rig.recoveryFile()));
}

TEST_F(QuitFlow, SavingByKeyTakesANameTypedButNotYetEntered) {
    AppState& state = rig.app->state();
    state.setSelectedTrackID(state.show().tracks[0].id);
    QLineEdit* name = nullptr;
    for (auto* field : rig.app->window().editPanel()->findChildren<QLineEdit*>())
        if (field->text() == "Gig cue 1") name = field;
    ASSERT_TRUE(name);
    name->setFocus();
    name->selectAll();
    QTest::keyClicks(name, "Typed");
    ASSERT_EQ(state.show().tracks[0].name, "Gig cue 1") << "nothing committed yet";

    rig.app->window().findChild<QAction*>("saveShow")->trigger();
    EXPECT_EQ(ShowFile::read(showPath)->tracks[0].name, "Typed");
    EXPECT_FALSE(state.isDirty());
}

} // namespace
} // namespace ostinel::test
