#include <gtest/gtest.h>

#include "support/QtTestApp.h"
#include "support/WorkspaceRig.h"
#include "timecode/TimecodeRate.h"
#include "workspace/transport/TimecodeView.h"

namespace ostinel {
namespace {

// What is being sent while the selected cue plays (here, a count-in before
// its start), where it stands when stopped, and the start of a cue that
// isn't the one loaded.
TEST(TimecodeView, ShowsWhatIsSentElseWhereTheSelectedCueStands) {
    test::WorkspaceRig rig;
    TimecodeView view(rig.workspace, TimecodeView::Size::header);
    EXPECT_EQ(view.text(), "00:00:00:00");

    const auto ids = rig.addCues({4.0, 4.0});
    Show show = rig.state.show();
    show.tracks.edit(0).timecodePreRollEnabled = true;
    show.tracks.edit(0).timecodePreRollSeconds = 2.0;
    show.tracks.edit(1).timecodeStartSeconds = 7200.0;
    rig.state.setShow(show);
    rig.state.setSelectedTrackID(ids[0]);
    EXPECT_EQ(view.text(), "01:00:00:00");

    rig.engine.load(rig.track(ids[0]));
    rig.engine.play();
    rig.run(0.5);
    ASSERT_TRUE(rig.engine.isPlaying());
    EXPECT_EQ(view.text(), QString::fromStdString(timecode::string(TimecodeRate::fps25, rig.engine.emittedTimecodeSeconds())));
    EXPECT_TRUE(view.text().startsWith("00:59:58:")) << view.text().toStdString();

    rig.run(3.0);
    rig.engine.pause();
    const double at = rig.engine.currentTime();
    EXPECT_GT(at, 1.0);
    EXPECT_EQ(view.text(), QString::fromStdString(timecode::string(TimecodeRate::fps25, 3600.0 + at)));

    rig.state.setSelectedTrackID(ids[1]);
    EXPECT_EQ(view.text(), "02:00:00:00");
}

} // namespace
} // namespace ostinel
