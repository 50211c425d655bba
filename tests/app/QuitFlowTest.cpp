#include <gtest/gtest.h>

#include <filesystem>

#include "AppRig.h"
#include "document/ShowFile.h"
#include "workspace/editpanel/EditPanel.h"

#include <QAction>
#include <QLineEdit>
#include <QTest>
#include <QTimer>

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

// The real program's quit, inside a running event loop: the windows being
// let go on the way out must not ask a second time. A second question would
// be cancelled, which keeps the program running.
class OneAnswerOneQuit : public QuitFlow, public ::testing::WithParamInterface<const char*> {
protected:
    void requestQuit() {
        if (std::string(GetParam()) == "menu")
            rig.app->window().findChild<QAction*>("quit")->trigger();
        else
            rig.app->window().close();
    }
    int quitInsideEventLoop(const std::string& answer) {
        rig.dialogs.alertAnswers = {answer, "Cancel"};
        rig.endsEventLoop = true;
        QTimer::singleShot(0, [this] { requestQuit(); });
        // Generous: only a program that stays up waits this long.
        QTimer watchdog;
        watchdog.setSingleShot(true);
        QObject::connect(&watchdog, &QTimer::timeout, [] { QCoreApplication::exit(2); });
        watchdog.start(60000);
        return QCoreApplication::exec();
    }
};

TEST_P(OneAnswerOneQuit, DontSaveQuitsOnce) {
    makeDirty();
    EXPECT_EQ(quitInsideEventLoop("Don't Save"), 0);
    EXPECT_EQ(rig.dialogs.alerts.size(), 1u);
    EXPECT_EQ(rig.terminated, 1);
    EXPECT_FALSE(fs::exists(rig.recoveryFile()));
    EXPECT_EQ(ShowFile::read(showPath)->tracks[0].name, "Gig cue 1");
}

TEST_P(OneAnswerOneQuit, CancelStaysDirtyWithItsRecoveryFile) {
    makeDirty();
    rig.dialogs.alertAnswers = {"Cancel"};
    requestQuit();
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

INSTANTIATE_TEST_SUITE_P(WindowAndMenu, OneAnswerOneQuit, ::testing::Values("window", "menu"));

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
