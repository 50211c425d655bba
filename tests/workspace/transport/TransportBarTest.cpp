#include <gtest/gtest.h>

#include <QLabel>
#include <QPushButton>
#include <QTest>

#include "support/QtTestApp.h"
#include "support/WorkspaceRig.h"
#include "workspace/transport/CueClock.h"
#include "workspace/transport/TransportBar.h"
#include "workspace/transport/TransportViews.h"

namespace ostinel {
namespace {

class TransportBarTest : public ::testing::Test {
protected:
    TransportBarTest() { ids = rig.addCues({10.0, 5.0, 3.0}); }

    QPushButton& button(const char* name) { return *bar.findChild<QPushButton*>(name); }
    void click(const char* name) { QTest::mouseClick(&button(name), Qt::LeftButton); }
    QString label(const char* name) { return bar.findChild<ElidedLabel*>(name)->fullText(); }
    CueClockTexts clock() { return bar.findChild<ClockView*>("clock")->texts(); }

    test::WorkspaceRig rig;
    std::vector<Uuid> ids;
    TransportBar bar{rig.workspace};
};

TEST_F(TransportBarTest, GoPlaysTheSelectedCueAndTheRepaintTimerRunsOnlyWhilePlaying) {
    rig.state.setSelectedTrackID(ids[0]);
    rig.run(0.2);
    EXPECT_FALSE(bar.isAnimating());
    EXPECT_EQ(rig.takePeak(), 0.0f);

    click("go");
    EXPECT_TRUE(rig.engine.isPlaying());
    EXPECT_TRUE(bar.isAnimating());
    rig.run(0.5);
    EXPECT_GT(rig.takePeak(), 0.01f);
    EXPECT_EQ(label("currentCue"), "Cue 1");
    EXPECT_EQ(label("upcomingCue"), "Cue 2");

    // GO! on a cue without loops neither restarts nor skips it.
    click("go");
    rig.run(0.2);
    EXPECT_TRUE(rig.engine.isPlaying());
    EXPECT_EQ(rig.state.selectedTrackID(), ids[0]);
    EXPECT_GT(rig.engine.displayTime(rig.loop.now()), 0.6);

    click("playPause");
    EXPECT_FALSE(rig.engine.isPlaying());
    EXPECT_FALSE(bar.isAnimating());
}

TEST_F(TransportBarTest, GoWhileALoopRunsLetsItGoAndTheClockStopsPromisingAnEnd) {
    rig.state.editTrack(ids[0], [](Track& t) { t.loopCue = true; });
    rig.state.setSelectedTrackID(ids[0]);
    click("go");
    rig.run(0.5);
    ASSERT_TRUE(rig.engine.activeLoopID().has_value());
    EXPECT_EQ(clock().remaining, clockLooping);

    click("go");
    EXPECT_TRUE(rig.engine.cueLoopExiting());
    EXPECT_NE(clock().remaining, clockLooping);
    rig.run(10.0);
    EXPECT_FALSE(rig.engine.isPlaying());
}

TEST_F(TransportBarTest, StopFadesOutOverTheStopFadeTime) {
    rig.engine.setStopFadeSeconds(1.0);
    rig.state.setSelectedTrackID(ids[0]);
    click("go");
    rig.run(0.5);
    click("stop");
    EXPECT_TRUE(rig.engine.isEscFading());
    rig.run(0.8);
    EXPECT_TRUE(rig.engine.isPlaying());
    rig.run(0.4);
    EXPECT_FALSE(rig.engine.isPlaying());
    EXPECT_FALSE(bar.isAnimating());
}

TEST_F(TransportBarTest, ModeSwitchAndCueStepping) {
    click("showMode");
    EXPECT_EQ(rig.state.mode(), AppMode::show);
    EXPECT_TRUE(button("showMode").isChecked());
    EXPECT_FALSE(button("editMode").isChecked());
    click("showMode"); // a second click keeps Show mode lit
    EXPECT_TRUE(button("showMode").isChecked());

    // Stopped: the buttons select; playing in Show mode: they mark the next cue.
    click("nextCue");
    EXPECT_EQ(rig.state.selectedTrackID(), ids[0]);
    click("go");
    click("nextCue");
    click("nextCue");
    EXPECT_EQ(rig.state.selectedTrackID(), ids[0]);
    EXPECT_EQ(rig.state.preselectedTrackID(), ids[2]);
    EXPECT_EQ(label("upcomingCue"), "Cue 3");
    EXPECT_TRUE(rig.engine.isPlaying());

    // In Edit mode stepping moves the selection, which stops the running cue.
    click("editMode");
    EXPECT_EQ(rig.state.mode(), AppMode::edit);
    click("nextCue");
    EXPECT_EQ(rig.state.selectedTrackID(), ids[1]);
    EXPECT_EQ(rig.state.preselectedTrackID(), std::nullopt);
    EXPECT_FALSE(rig.engine.isPlaying());
    click("previousCue");
    EXPECT_EQ(rig.state.selectedTrackID(), ids[0]);

    for (auto* b : bar.findChildren<QPushButton*>()) EXPECT_EQ(b->focusPolicy(), Qt::NoFocus) << b->objectName().toStdString();
}

TEST_F(TransportBarTest, ClockReadsTheEngineAtAKnownPositionAndCountsInThePreRoll) {
    EXPECT_EQ(clock().elapsed, clockPlaceholder);
    rig.state.editTrack(ids[0], [](Track& t) {
        t.startSeconds = 1.0;
        t.endSeconds = 9.0;
        t.timecodePreRollEnabled = true;
        t.timecodePreRollSeconds = 2.0;
    });
    rig.state.setSelectedTrackID(ids[0]);
    rig.engine.seek(4.25);
    EXPECT_EQ(clock().elapsed, "0:03.2");
    EXPECT_EQ(clock().remaining, "0:04.8");

    rig.engine.seek(1.0);
    click("go");
    EXPECT_EQ(clock().elapsed, "-0:02.0");
    rig.run(0.5);
    EXPECT_EQ(clock().elapsed, "-0:01.5");
    EXPECT_EQ(clock().remaining, "0:08.0");
    EXPECT_EQ(rig.takePeak(), 0.0f);
}

TEST_F(TransportBarTest, ActivityShowsTheBackgroundWork) {
    EXPECT_TRUE(label("activity").isEmpty());
    rig.store.activity().add(BackgroundActivity::Kind::waveforms, 3);
    EXPECT_EQ(label("activity").toStdString(), *rig.store.activity().summary());
}

TEST(CueClockTexts, CountsFromTheInPointAndDownToTheOutPoint) {
    CueClockInput in{.loaded = true, .position = 3.25, .start = 1.0, .end = 9.0};
    EXPECT_EQ(cueClockTexts(in).elapsed, "0:02.2");
    EXPECT_EQ(cueClockTexts(in).remaining, "0:05.8");

    in.position = 9.0; // at the end the countdown reads zero, not a tenth early
    EXPECT_EQ(cueClockTexts(in).remaining, "0:00.0");
    in.position = 8.95;
    EXPECT_EQ(cueClockTexts(in).remaining, "0:00.1");
    in.position = 0.5; // stood before the in-point
    EXPECT_EQ(cueClockTexts(in).elapsed, "-0:00.5");

    in.looping = true;
    EXPECT_EQ(cueClockTexts(in).remaining, clockLooping);
    in.preRollLeft = 1.52;
    EXPECT_EQ(cueClockTexts(in).elapsed, "-0:01.6");
    in.preRollLeft = -0.01; // the tick that ends the count-in is late
    EXPECT_EQ(cueClockTexts(in).elapsed, "0:00.0");

    EXPECT_EQ(cueClockTexts({}).remaining, clockPlaceholder);
}

TEST(PeakHold, HoldsThePeakThenFalls) {
    PeakHold hold;
    hold.feed(0.8f, 0.0);
    hold.feed(0.2f, 1.0);
    EXPECT_FLOAT_EQ(hold.value, 0.8f);
    hold.feed(0.2f, 1.5);
    EXPECT_FLOAT_EQ(hold.value, 0.8f);
    hold.feed(0.2f, 2.0);
    EXPECT_NEAR(hold.value, 0.8 - 0.5 * PeakHold::fallPerSecond, 1e-6);
    hold.feed(0.9f, 2.1);
    EXPECT_FLOAT_EQ(hold.value, 0.9f);
    hold.feed(0.1f, 10.0);
    EXPECT_FLOAT_EQ(hold.value, 0.1f);
}

TEST(TransportBarOutput, ASilentStartIsMarkedBesideTheMetersAfterTheNoticeIsGone) {
    test::WorkspaceRig rig;
    const std::string reason = "No audio output could be opened, so playback is silent.";
    {
        TransportBar playing{rig.workspace};
        ASSERT_TRUE(playing.findChild<QLabel*>("noOutput"));
        EXPECT_TRUE(playing.findChild<QLabel*>("noOutput")->isHidden());
    }
    rig.audio.setFallbackReason(reason);
    TransportBar silent{rig.workspace};
    rig.engine.setNotice(std::nullopt); // the banner has gone
    const auto* mark = silent.findChild<QLabel*>("noOutput");
    EXPECT_FALSE(mark->isHidden());
    EXPECT_EQ(mark->text(), "NO OUTPUT");
    EXPECT_EQ(mark->toolTip().toStdString(), reason);
}

} // namespace
} // namespace ostinel
