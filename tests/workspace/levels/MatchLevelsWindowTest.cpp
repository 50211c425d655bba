#include <gtest/gtest.h>

#include <QDoubleSpinBox>
#include <QLabel>
#include <QPushButton>

#include <cmath>

#include "document/LevelMatch.h"
#include "support/QtTestApp.h"
#include "support/WorkspaceRig.h"
#include "workspace/levels/LevelsTableModel.h"
#include "workspace/levels/MatchLevelsWindow.h"

using namespace ostinel;

namespace {

class MatchLevelsWindowTest : public ::testing::Test {
protected:
    test::WorkspaceRig rig;
    std::vector<Uuid> ids = rig.addCues({2.0, 2.0, 2.0});
    MatchLevelsWindow window{rig.workspace};
    const QString statement = QStringLiteral(
        "Levels are set so no cue's true peak goes above -1.0 dBFS, so the master limiter stays out of it.");

    QString cell(int row, int column) const {
        return window.model().data(window.model().index(row, column), Qt::DisplayRole).toString();
    }
    void addMissingCue() {
        Show s = rig.state.show();
        s.tracks.push_back(Track{.name = "Gone", .url = FileUrl::fromPath(rig.dir.file("gone.wav")), .duration = 2});
        rig.state.setShow(s);
    }
};

TEST_F(MatchLevelsWindowTest, MeasuresOnAppearingAndTheTableFollowsTheRuleAndTheTarget) {
    addMissingCue();
    window.show();
    EXPECT_EQ(window.footer()->text(), "Measuring 0 of 3");
    EXPECT_FALSE(window.cancelButton()->isHidden());
    EXPECT_FALSE(window.applyAllButton()->isEnabled());
    rig.loop.runPosted();

    EXPECT_EQ(window.footer()->text(), statement);
    EXPECT_TRUE(window.cancelButton()->isHidden());
    EXPECT_TRUE(window.applyAllButton()->isEnabled());
    ASSERT_EQ(window.model().rowCount(), 4);
    EXPECT_EQ(cell(3, LevelsTableModel::loudness), "missing");
    EXPECT_EQ(window.targetField()->value(), -16.0);

    ASSERT_EQ(window.model().measurements().size(), 3u);
    const LoudnessMeasurement m = window.model().measurements().at(ids[0]);
    EXPECT_EQ(cell(0, LevelsTableModel::loudness), QString::asprintf("%.1f", m.lufs));
    EXPECT_EQ(cell(0, LevelsTableModel::truePeak), QString::asprintf("%.1f", m.truePeakDb));
    // The cues are quiet tones, louder cue by cue: each needs less gain.
    auto gain = [&](int row) { return cell(row, LevelsTableModel::change).toDouble(); };
    EXPECT_GT(gain(0), gain(1));
    EXPECT_GT(gain(1), gain(2));
    EXPECT_TRUE(cell(0, LevelsTableModel::change).startsWith('+'));
    EXPECT_NEAR(cell(0, LevelsTableModel::newPeak).toDouble(), m.truePeakDb + gain(0), 0.051);

    // Targets that ask too much of the quiet tones mark them.
    window.targetField()->setValue(-5.0);
    EXPECT_EQ(rig.preferences.doubleValue(MatchLevelsWindow::targetKey), -5.0);
    EXPECT_EQ(cell(0, LevelsTableModel::change), "+15.0");
    EXPECT_EQ(cell(0, LevelsTableModel::note), "at the +15 dB level ceiling");
    window.targetField()->setValue(0.0);
    EXPECT_EQ(cell(0, LevelsTableModel::note), "peak-limited — no headroom left to reach the target");
    EXPECT_EQ(LevelsTableModel::decibels(-std::numeric_limits<double>::infinity()), "-∞");
}

TEST_F(MatchLevelsWindowTest, ApplyToAllOrToTheSelectionIsOneUndoStepWithANotice) {
    window.show();
    rig.loop.runPosted();
    EXPECT_TRUE(window.applySelectionButton()->isHidden());
    rig.state.setSelectedTrackIDs({ids[1], ids[2]});
    EXPECT_FALSE(window.applySelectionButton()->isHidden());

    window.applySelectionButton()->click();
    EXPECT_EQ(rig.engine.notice(), "Levels matched to -16.0 LUFS.");
    EXPECT_EQ(rig.track(ids[0]).volume, 1.0);
    const auto expected = LevelMatch::change(window.model().measurements().at(ids[1]), -16.0).volume;
    EXPECT_DOUBLE_EQ(rig.track(ids[1]).volume, expected);

    window.targetField()->setValue(0.0);
    window.applyAllButton()->click();
    EXPECT_EQ(rig.engine.notice(), "Levels matched — 3 stayed below the target to keep the peaks under 1 dB of "
                                   "headroom, 3 hit the +15 dB level ceiling.");
    EXPECT_EQ(rig.track(ids[0]).volume, Constraint::maxTrackAmplitude);
    rig.state.undo();
    EXPECT_DOUBLE_EQ(rig.track(ids[1]).volume, expected);
    EXPECT_EQ(rig.track(ids[0]).volume, 1.0);
}

TEST_F(MatchLevelsWindowTest, ClosingOrCancellingStopsTheMeasurementAndDropsLateResults) {
    window.show();
    window.cancelButton()->click();
    EXPECT_EQ(window.footer()->text(), statement);
    EXPECT_EQ(rig.state.loudnessProgress(), std::nullopt);
    rig.loop.runPosted();
    EXPECT_TRUE(window.model().measurements().empty());
    EXPECT_EQ(window.model().data(window.model().index(0, LevelsTableModel::loudness), Qt::DisplayRole), "—");

    window.remeasure();
    window.hide();
    rig.loop.runPosted();
    EXPECT_EQ(rig.state.loudnessProgress(), std::nullopt);
    EXPECT_TRUE(window.model().measurements().empty());
}

} // namespace
