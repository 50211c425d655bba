#include <gtest/gtest.h>

#include <QSignalSpy>
#include <QTest>
#include <QUuid>


#include "AppRig.h"
#include "platform/OfflinePacer.h"
#include "app/SingleInstance.h"
#include "playback/PlaybackEngine.h"

namespace ostinel::test {
namespace {

QString q(const std::string& s) { return QString::fromStdString(s); }

class Launch : public ::testing::Test {
protected:
    std::string current() const {
        const auto& url = rig.app->state().currentFileURL();
        return url ? url->path() : "";
    }
    void rememberLastShow(const std::string& path) {
        rig.preferences.setValue("openLastShowOnLaunch", true);
        rig.preferences.setValue("recentShowURLs", std::vector<std::string>{path});
        rig.relaunch(); // the preferences are read when the state is made
    }

    AppRig rig;
};

TEST_F(Launch, TheLastFileHandedInWinsAfterTheRecoveryOffer) {
    const auto first = rig.writeShow("First", 1);
    const auto second = rig.writeShow("Second", 2);
    const auto last = rig.writeShow("Last", 1);
    rememberLastShow(last);
    rig.leaveRecoveryFile(last);
    rig.dialogs.alertAnswers = {"Restore", "Don't Save"};

    rig.app->start({q(first), q(second)});

    ASSERT_EQ(rig.dialogs.alerts.size(), 2u);
    EXPECT_EQ(rig.dialogs.alerts[0].message, "Restore Unsaved Show?");
    EXPECT_EQ(rig.dialogs.alerts[1].message, "Save Show?"); // the restored show is dirty
    EXPECT_EQ(current(), second);
    EXPECT_EQ(rig.app->state().show().tracks.size(), 2u);
    EXPECT_TRUE(rig.app->state().selectedTrackID().has_value());
}

TEST_F(Launch, WithNoFileTheLastShowReopens) {
    const auto last = rig.writeShow("Last", 1);
    rememberLastShow(last);
    rig.app->start();
    EXPECT_EQ(current(), last);
    EXPECT_TRUE(rig.dialogs.alerts.empty());
}

TEST_F(Launch, ASecondLaunchHandsItsFileToTheRunningOne) {
    const auto first = rig.writeShow("First", 1);
    const auto second = rig.writeShow("Second", 1);
    const QString name = "ostinel-test-" + QUuid::createUuid().toString(QUuid::WithoutBraces);
    EXPECT_FALSE(SingleInstance::handOver(name, {q(first)}, 200));

    ASSERT_TRUE(rig.app->listen(name));
    rig.app->start({q(first)});
    rig.app->window().hide();
    QSignalSpy opened(&rig.app->state(), &AppState::currentFileURLChanged);
    ASSERT_TRUE(SingleInstance::handOver(name, {q(second)}));
    ASSERT_TRUE(opened.wait(5000));
    EXPECT_EQ(current(), second);
    EXPECT_TRUE(rig.app->window().isVisible());
}

TEST_F(Launch, SpaceInTheWindowPlaysTheSelectedCue) {
    rig.app->start({q(rig.writeShow("Gig", 2))});
    ASSERT_TRUE(QTest::qWaitForWindowActive(&rig.app->window()));
    ASSERT_NE(rig.app->pacer(), nullptr);
    rig.run(0.5);
    EXPECT_EQ(rig.app->pacer()->takePeak(), 0.0f);

    QTest::keyClick(static_cast<QWidget*>(nullptr), Qt::Key_Space);
    EXPECT_TRUE(rig.app->engine().isPlaying());
    rig.run(0.5);
    EXPECT_GT(rig.app->pacer()->takePeak(), 0.1f);
    EXPECT_GT(rig.app->engine().displayTime(rig.loop.now()), 0.3);
}

} // namespace
} // namespace ostinel::test
