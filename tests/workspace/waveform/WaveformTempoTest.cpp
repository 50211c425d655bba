#include <gtest/gtest.h>

#include <QContextMenuEvent>
#include <QMenu>
#include <QToolButton>

#include "WaveformTestRig.h"
#include "analysis/TempoDetection.h"
#include "workspace/waveform/WaveformToolbar.h"

namespace ostinel {
namespace {

using Strip = WaveformController::Strip;

// The panel's cue with a detector that answers as scripted, when the test says.
struct TempoPanelRig : test::WaveformPanelRig {
    std::optional<TempoEstimate> answer;
    std::vector<std::optional<TempoRange>> ranges;
    std::vector<std::function<void()>> jobs;
    TempoDetection tempo{rig.state, rig.loop,
                         [this](const std::string&, std::optional<TempoRange> range) {
                             ranges.push_back(range);
                             return answer;
                         },
                         [this](std::function<void()> job) { jobs.push_back(job); }};

    TempoPanelRig() { rig.workspace.tempo = &tempo; }
    void finish() {
        for (auto& job : std::exchange(jobs, {})) job();
        rig.loop.runPosted();
    }
    // The menu a right click at t opens; the caller deletes it.
    QMenu* rightClick(double t) {
        QPoint pos(int(xAt(t)), 150);
        QContextMenuEvent event(QContextMenuEvent::Mouse, pos, canvas().mapToGlobal(pos));
        QCoreApplication::sendEvent(&canvas(), &event);
        return canvas().findChild<QMenu*>();
    }
};

TEST(WaveformTempo, TheWandListensToTheMarkIsBusyMeanwhileAndPutsItsWordOnTheNotice) {
    TempoPanelRig w;
    WaveformToolbar toolbar(w.rig.workspace);
    QToolButton& wand = *toolbar.tempoButton();
    EXPECT_EQ(wand.toolTip(), "Detect tempo and align the grid");
    w.controller().setMark(Strip::waveform, GroupDrag::Sel{6.0, 2.0});
    EXPECT_EQ(wand.toolTip(), "Detect tempo from the marked region and align the grid");

    w.answer = TempoEstimate{126.0, 0.25, 0.8, true};
    wand.click();
    EXPECT_FALSE(wand.isEnabled());
    EXPECT_EQ(wand.toolTip(), "Detecting tempo\u2026");
    wand.click();
    EXPECT_EQ(w.jobs.size(), 1u) << "a busy wand starts nothing more";
    w.finish();
    EXPECT_EQ(w.ranges, (std::vector<std::optional<TempoRange>>{TempoRange{2.0, 6.0}}));
    EXPECT_DOUBLE_EQ(w.track().bpm, 126.0);
    EXPECT_TRUE(wand.isEnabled());
    EXPECT_EQ(w.rig.engine.notice(), TempoDetection::driftingMessage);

    w.controller().clearAllSelections();
    EXPECT_EQ(wand.toolTip(), "Detect tempo and align the grid");
    w.rig.state.setMode(AppMode::show);
    EXPECT_FALSE(wand.isEnabled()) << "the grid is locked in Show mode";
}

TEST(WaveformTempo, TheWandOfACueStaysBusyWhileAnotherCueIsListenedToAfterIt) {
    TempoPanelRig w;
    const Uuid other = w.rig.addCues({10.0})[0];
    WaveformToolbar toolbar(w.rig.workspace);
    QToolButton& wand = *toolbar.tempoButton();
    wand.click();
    w.rig.state.setSelectedTrackID(other);
    wand.click();
    w.rig.state.setSelectedTrackID(w.cue);
    EXPECT_FALSE(wand.isEnabled());
    EXPECT_EQ(wand.toolTip(), "Detecting tempo\u2026");

    w.jobs.front()();
    w.jobs.erase(w.jobs.begin());
    w.rig.loop.runPosted();
    EXPECT_TRUE(wand.isEnabled()) << "this cue's detection is over though the other's goes on";
    EXPECT_EQ(w.rig.state.analyzingTempoTrackID(), other);
}

TEST(WaveformTempo, TheMarksMenuDetectsFromTheMarkAndWaitsForTheRunningDetection) {
    TempoPanelRig w;
    w.answer = TempoEstimate{98.0, 1.0, 0.5, false};
    w.controller().setMark(Strip::waveform, GroupDrag::Sel{3.0, 7.0});
    QMenu* menu = w.rightClick(5.0);
    ASSERT_TRUE(menu);
    ASSERT_EQ(menu->actions().size(), 2);
    QAction* detect = menu->actions()[1];
    EXPECT_EQ(detect->text(), "Detect Tempo from Selection");
    detect->trigger();
    delete menu;
    EXPECT_EQ(w.rig.state.analyzingTempoTrackID(), w.cue);

    menu = w.rightClick(5.0);
    ASSERT_TRUE(menu);
    EXPECT_FALSE(menu->actions()[1]->isEnabled());
    delete menu;
    w.finish();
    EXPECT_EQ(w.ranges, (std::vector<std::optional<TempoRange>>{TempoRange{3.0, 7.0}}));
    EXPECT_DOUBLE_EQ(w.track().beatOffsetSeconds, 1.0);
    EXPECT_TRUE(w.track().beatgridEnabled);
}

} // namespace
} // namespace ostinel
