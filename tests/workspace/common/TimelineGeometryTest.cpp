#include <gtest/gtest.h>

#include "support/WorkspaceRig.h"
#include "workspace/WaveformController.h"
#include "workspace/common/TimeText.h"
#include "workspace/common/TimelineGeometry.h"

namespace ostinel {
namespace {

TEST(TimeText, ClocksTruncateAndReadMinutesPastTheHour) {
    EXPECT_EQ(formatClock(0.0), "0:00");
    EXPECT_EQ(formatClock(59.999), "0:59");
    EXPECT_EQ(formatClock(61.25, 1), "1:01.2");
    EXPECT_EQ(formatClock(4502.5, 2), "75:02.50");
    EXPECT_EQ(formatClock(-3.0, 1), "0:00.0");
    EXPECT_EQ(formatClock(0.3, 1), "0:00.3"); // 0.3 * 10 must not become 2.999…
}

TEST(TimelineGeometry, MapsTimeToTheScrolledContentAndBack) {
    WaveformController c;
    c.setViewWidth(800);
    c.setZoom(4.0, 0.5, 400); // content 3200, centre of the file at x 400
    TimelineGeometry g{c.scrollX(), c.contentWidth(), 100.0, false};
    EXPECT_DOUBLE_EQ(g.xAt(50.0), 400.0);
    EXPECT_DOUBLE_EQ(g.timeAt(400.0), 50.0);
    EXPECT_DOUBLE_EQ(g.timeAt(-5000.0), 0.0);
    EXPECT_DOUBLE_EQ(g.timeAt(5000.0), 100.0);
    EXPECT_DOUBLE_EQ(g.secondsPerPoint(), 100.0 / 3200.0);
    TimelineGeometry empty;
    EXPECT_DOUBLE_EQ(empty.timeAt(10.0), 0.0);
}

TEST(TimelineGeometry, FollowingLiveCentresThePlayheadWithoutPublishingTheScroll) {
    test::WorkspaceRig rig;
    const auto ids = rig.addCues({10.0});
    rig.state.setSelectedTrackID(ids[0]);
    auto& c = rig.view.controller();
    c.setViewWidth(1000);
    c.setZoom(10.0, 0.0, 0.0);
    c.setFollowPlayhead(true);
    int published = 0;
    QObject::connect(&rig.view, &WaveformViewState::scrollXChanged, [&] { ++published; });

    ShowModeKeys::goButton(rig.cues);
    rig.run(5.0);
    ASSERT_TRUE(rig.engine.isPlaying());
    EXPECT_GT(rig.takePeak(), 0.01f);
    const Track& track = rig.track(ids[0]);
    const auto g = TimelineGeometry::forFrame(c, rig.engine, track, rig.loop.now());
    EXPECT_TRUE(g.followingLive);
    EXPECT_NEAR(g.xAt(rig.engine.displayTime(rig.loop.now())), 500.0, 1.0);
    EXPECT_EQ(c.liveFollowScrollX(), g.scrollX);
    EXPECT_EQ(published, 0);
    EXPECT_DOUBLE_EQ(c.scrollX(), 0.0);

    rig.engine.pause();
    const auto paused = TimelineGeometry::forFrame(c, rig.engine, track, rig.loop.now());
    EXPECT_FALSE(paused.followingLive);
    EXPECT_DOUBLE_EQ(paused.scrollX, c.scrollX());
}

} // namespace
} // namespace ostinel
