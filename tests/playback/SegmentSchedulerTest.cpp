#include "playback/SegmentScheduler.h"

#include <gtest/gtest.h>

#include "support/PlayerFixtures.h"
#include "support/RealtimeGuard.h"
#include "support/TempDir.h"

namespace ostinel {
namespace {

using test::appendRamp;
using test::appendSeam;
using test::Stereo;
using Seg = SegmentScheduler::Seg;

constexpr double rate = 44100.0;

Loop loopOver(std::int64_t startFrame, std::int64_t endFrame, std::int64_t playCount) {
    Loop loop;
    loop.startSeconds = double(startFrame) / rate;
    loop.endSeconds = double(endFrame) / rate;
    loop.playCountEnabled = playCount > 0;
    loop.playCount = playCount;
    return loop;
}

class SegmentSchedulerTest : public ::testing::Test {
protected:
    void SetUp() override {
        player.setWaitForData(true);
        scheduler.setAutomaticTopUp(false);
    }
    void load(std::int64_t frames, std::vector<Loop> loops) {
        const auto loaded = scheduler.load(test::writeRamp(dir.file("ramp.wav"), frames));
        ASSERT_TRUE(loaded);
        EXPECT_EQ(loaded->totalFrames, frames);
        scheduler.setBounds(0.0, 0.0, double(frames) / rate);
        std::lock_guard lock(scheduler.lock());
        scheduler.walkLocked().loops = std::move(loops);
    }
    // Bridges are made on the top-up thread's first firing; prepare them
    // before starting, so no seam in these tests is hard by timing.
    void startAt(std::int64_t frame) {
        scheduler.topUp();
        scheduler.start(double(frame) / rate);
    }
    std::vector<Seg> queued() {
        std::lock_guard lock(scheduler.lock());
        return scheduler.segmentsLocked();
    }

    test::TempDir dir;
    Player player;
    SegmentScheduler scheduler{player};
};

TEST_F(SegmentSchedulerTest, LoopRepeatsExactlyAcrossBridgesAndMapsBackToTrackTime) {
    // Plain truncation maps these loop bounds, and the start plus the bridge,
    // a frame early: the passes would drift.
    const std::int64_t a = 30007, b = 50009, end = 100000, n = 220;
    load(end, {loopOver(a, b, 3)});
    startAt(0);

    std::vector<PlayedSpans::Span> spans;
    Stereo want;
    appendRamp(want, 0, b);
    for (int pass = 2; pass <= 3; ++pass) {
        appendSeam(want, a, b, n);
        appendRamp(want, a + n, b);
    }
    appendRamp(want, b, end);
    int mapped = 0;
    Stereo got = test::playOut(player, scheduler, [&] {
        std::lock_guard lock(scheduler.lock());
        const std::int64_t s = scheduler.playerSampleLocked();
        if (s < want.frames() && scheduler.currentPlaybackTimeLocked() == double(want.fileFrame[std::size_t(s)]) / rate)
            ++mapped;
        scheduler.collectSpansLocked(s);
        for (const auto& span : scheduler.takePendingSpansLocked())
            spans.push_back(span);
    });
    test::expectSameAudio(got, want);
    EXPECT_EQ(mapped, (want.frames() + 255) / 256 - 1) << "every period but the last maps to its file frame";
    EXPECT_EQ(player.underruns(), 0);

    const auto timesPlayed = [&](double frame) {
        return std::count_if(spans.begin(), spans.end(), [&](const auto& s) { return s.contains(frame / rate); });
    };
    EXPECT_EQ(timesPlayed(10000.5), 1);
    EXPECT_EQ(timesPlayed(double(a)), 3) << "a trigger on the loop's start fires on every pass";
    EXPECT_EQ(timesPlayed(a + 100.5), 3) << "inside the bridge";
    EXPECT_EQ(timesPlayed(b - 10.5), 3);
    EXPECT_EQ(timesPlayed(b + 10.5), 1);
}

TEST_F(SegmentSchedulerTest, ALoopEndingAtTheEndOfTheFileJumpsHard) {
    load(100000, {loopOver(90000, 100000, 2)});
    startAt(80000);
    Stereo want;
    appendRamp(want, 80000, 100000);
    appendRamp(want, 90000, 100000);
    test::expectSameAudio(test::playOut(player, scheduler), want);
}

TEST_F(SegmentSchedulerTest, BridgeLengthFollowsTheLoopAndTheAudioAfterIt) {
    struct Case {
        const char* what;
        std::int64_t start, end, bridge, segment;
    };
    const Case cases[] = {
        {"10 ms at 44.1 kHz: 441 frames", 22050, 22491, 220, 221},
        {"4 frames: a bridge of 2", 30000, 30004, 2, 2},
        {"3 frames: unbridgeable", 30000, 30003, 0, 3},
        {"100 frames left after the loop", 98000, 99900, 100, 1800},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        load(100000, {loopOver(c.start, c.end, 3)});
        startAt(c.start);
        const std::vector<Seg> segs = queued();
        ASSERT_GE(segs.size(), c.bridge > 0 ? 6u : 4u);
        EXPECT_EQ(segs[0].fileStart, c.start);
        EXPECT_EQ(segs[0].frames, c.end - c.start);
        for (std::size_t i = 1, pass = 2; pass <= 3; ++pass) {
            if (c.bridge > 0) {
                EXPECT_EQ(segs[i].fileStart, c.start);
                EXPECT_EQ(segs[i++].frames, c.bridge);
            }
            EXPECT_EQ(segs[i].fileStart, c.start + c.bridge);
            EXPECT_EQ(segs[i].isFinal, pass == 3);
            EXPECT_EQ(segs[i++].frames, c.segment);
        }
        for (std::size_t i = 1; i < segs.size(); ++i)
            EXPECT_EQ(segs[i].startSample, segs[i - 1].startSample + segs[i - 1].frames);
        scheduler.stop();
    }
}

TEST_F(SegmentSchedulerTest, AnExitRequestedDuringAPassLeavesAfterThatPass) {
    const std::int64_t a = 30000, b = 60000, end = 80000;
    Loop loop = loopOver(a, b, 0); // repeats until told
    load(end, {loop});
    startAt(0);
    std::optional<LoopWalk::ExitTarget> first, second;
    SegmentScheduler::LoopState during;
    test::playOut(player, scheduler, [&] {
        if (!first && player.sampleTime() >= b + 5000) {
            first = scheduler.requestLoopExit();
            second = scheduler.requestLoopExit();
            during = scheduler.activeLoopState();
        }
    });
    EXPECT_EQ(first, LoopWalk::ExitTarget::loop);
    EXPECT_EQ(second, std::nullopt) << "told already, and there is no cue loop to leave";
    EXPECT_EQ(during, (SegmentScheduler::LoopState{loop.id, true, false}));
    EXPECT_EQ(player.sampleTime(), b + (b - a) + (end - b)) << "the second pass plays whole, then the rest";
}

TEST_F(SegmentSchedulerTest, RenderingWhileTheTimerTopsUpNeitherAllocatesNorWaitsForALock) {
    const std::int64_t end = 60000;
    load(end, {loopOver(10000, 12000, 4), loopOver(30000, 30003, 3)}); // the second too short to bridge
    scheduler.setAutomaticTopUp(true);
    scheduler.start(0.0); // the first seam is due after the first firing has made its bridge

    const int period = 256;
    float left[period], right[period];
    Stereo got;
    std::int64_t allocations = 0, waits = 0;
    for (bool done = false;;) {
        // Keep pace with the top-up thread, as a device would.
        ASSERT_TRUE(test::pollUntil([&] {
            std::lock_guard lock(scheduler.lock());
            const std::int64_t ahead = scheduler.nextStartSampleLocked() - scheduler.playerSampleLocked();
            done = scheduler.walkLocked().isDone && ahead <= 0;
            return scheduler.walkLocked().isDone || ahead >= period;
        }));
        if (done) break;
        {
            test::RealtimeGuard guard;
            player.render(left, right, period);
            allocations += guard.allocations();
            waits += guard.mutexWaits();
        }
        got.append(Stereo{{left, left + period}, {right, right + period}});
    }
    EXPECT_EQ(allocations, 0);
    EXPECT_EQ(waits, 0);

    Stereo want;
    appendRamp(want, 0, 12000);
    for (int pass = 2; pass <= 4; ++pass) {
        appendSeam(want, 10000, 12000, 220);
        appendRamp(want, 10220, 12000);
    }
    appendRamp(want, 12000, 30003);
    for (int pass = 2; pass <= 3; ++pass)
        appendRamp(want, 30000, 30003);
    appendRamp(want, 30003, end);
    got.left.resize(std::size_t(want.frames()));
    got.right.resize(got.left.size());
    test::expectSameAudio(got, want);
}

} // namespace
} // namespace ostinel
