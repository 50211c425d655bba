#include <gtest/gtest.h>

#include <QThreadPool>

#include <memory>
#include <thread>

#include "analysis/TempoDetection.h"
#include "document/AppStateFixture.h"

namespace ostinel {
namespace {

// The detector answers what the test scripts; its jobs run when the test says.
struct TempoDetectionTest : test::AppStateFixture {
    std::optional<TempoEstimate> answer;
    std::vector<std::pair<std::string, std::optional<TempoRange>>> asked;
    std::vector<std::function<void()>> jobs;
    std::vector<std::optional<std::string>> answers;
    std::unique_ptr<TempoDetection> detection = make([this](std::function<void()> job) { jobs.push_back(job); });

    std::unique_ptr<TempoDetection> make(TempoDetection::Background background) {
        return std::make_unique<TempoDetection>(
            state, loop,
            [this](const std::string& path, std::optional<TempoRange> range) {
                asked.emplace_back(path, range);
                return answer;
            },
            std::move(background));
    }
    bool start(const Uuid& id, std::optional<TempoRange> range = std::nullopt) {
        return detection->detect(id, range, [this](std::optional<std::string> m) { answers.push_back(m); });
    }
    void runJob(std::size_t i = 0) {
        auto job = jobs.at(i);
        jobs.erase(jobs.begin() + std::ptrdiff_t(i));
        job();
        loop.runPosted();
    }
    const Track& track(const Uuid& id) const { return *state.show().track(id); }
};

TEST_F(TempoDetectionTest, LaysTheGridOnTheClampedEstimateAsOneUndoStepKeepingTheSpacing) {
    const Uuid id = openShow({"song"})[0];
    state.editTrack(id, [](Track& t) { t.beatgridBars = 2.0; });
    state.resetHistory();
    pause();

    answer = TempoEstimate{512.0, 75.0, 0.1, false};
    ASSERT_TRUE(start(id, TempoRange{10.0, 20.0}));
    EXPECT_EQ(state.analyzingTempoTrackID(), id);
    EXPECT_TRUE(answers.empty()) << "nothing happens until the detector has answered";
    runJob();
    ASSERT_EQ(asked.size(), 1u);
    EXPECT_EQ(asked[0].first, "/media/song.wav");
    EXPECT_EQ(asked[0].second, (TempoRange{10.0, 20.0}));
    EXPECT_DOUBLE_EQ(track(id).bpm, TempoDetection::maxBPM);
    EXPECT_DOUBLE_EQ(track(id).beatOffsetSeconds, 60.0) << "the anchor stops at the track's end";
    EXPECT_TRUE(track(id).beatgridEnabled);
    EXPECT_DOUBLE_EQ(track(id).beatgridBars, 2.0);
    EXPECT_FALSE(state.analyzingTempoTrackID());
    EXPECT_EQ(answers, (std::vector<std::optional<std::string>>{std::nullopt}));

    state.undo();
    EXPECT_DOUBLE_EQ(track(id).bpm, 120.0);
    EXPECT_FALSE(track(id).beatgridEnabled);
    EXPECT_FALSE(state.canUndo());

    // A low, drifting estimate still gets its grid, and a word about it.
    answer = TempoEstimate{12.0, 3.5, 0.0, true};
    ASSERT_TRUE(start(id));
    runJob();
    EXPECT_EQ(asked.back().second, std::nullopt);
    EXPECT_DOUBLE_EQ(track(id).bpm, TempoDetection::minBPM);
    EXPECT_DOUBLE_EQ(track(id).beatOffsetSeconds, 3.5);
    EXPECT_EQ(answers.back(), TempoDetection::driftingMessage);
}

TEST_F(TempoDetectionTest, NoEstimateOrAVanishedTrackLeavesTheShowAlone) {
    const auto ids = openShow({"a", "b"});
    const Show before = state.show();
    ASSERT_TRUE(start(ids[0]));
    runJob();
    EXPECT_EQ(answers.back(), TempoDetection::failedMessage);
    EXPECT_EQ(state.show(), before);
    EXPECT_FALSE(state.canUndo());
    EXPECT_FALSE(state.analyzingTempoTrackID());

    answer = TempoEstimate{128.0, 1.0, 0.9, true};
    ASSERT_TRUE(start(ids[1]));
    state.removeTracks({ids[1]});
    const Show removed = state.show();
    runJob();
    EXPECT_EQ(answers.back(), std::nullopt) << "nothing to say about a track that is gone";
    EXPECT_EQ(state.show(), removed);
    EXPECT_FALSE(state.analyzingTempoTrackID());
    EXPECT_FALSE(start(ids[1])) << "an unknown track starts nothing";
    EXPECT_TRUE(jobs.empty());
}

TEST_F(TempoDetectionTest, ARunningTrackIsAskedOnceAndAnotherTrackKeepsItsBusyFlag) {
    const auto ids = openShow({"a", "b"});
    answer = TempoEstimate{100.0, 0.0, 1.0, false};
    ASSERT_TRUE(start(ids[0]));
    EXPECT_FALSE(start(ids[0]));
    EXPECT_EQ(jobs.size(), 1u);
    ASSERT_TRUE(start(ids[1]));
    EXPECT_EQ(state.analyzingTempoTrackID(), ids[1]);

    runJob(0);
    EXPECT_DOUBLE_EQ(track(ids[0]).bpm, 100.0);
    EXPECT_EQ(state.analyzingTempoTrackID(), ids[1]) << "b is still being listened to";
    EXPECT_EQ(answers.size(), 1u);
    EXPECT_TRUE(start(ids[0])) << "a finished, so it may be asked again";
}

TEST_F(TempoDetectionTest, ALateResultAfterDestructionIsDropped) {
    const auto ids = openShow({"a", "b"});
    answer = TempoEstimate{100.0, 0.0, 1.0, false};
    ASSERT_TRUE(start(ids[0]));
    jobs.front()(); // the result is on its way to the main loop
    jobs.clear();
    ASSERT_TRUE(start(ids[1]));
    detection.reset();
    EXPECT_FALSE(state.analyzingTempoTrackID());
    loop.runPosted();
    runJob();
    EXPECT_EQ(asked.size(), 1u) << "work not yet begun is skipped";
    EXPECT_TRUE(answers.empty());
    EXPECT_FALSE(state.canUndo());
}

TEST_F(TempoDetectionTest, TheDefaultRunnerListensOffTheMainThread) {
    const Uuid id = openShow({"a"})[0];
    std::thread::id listener;
    TempoDetection pooled(state, loop, [&](const std::string&, std::optional<TempoRange>) {
        listener = std::this_thread::get_id();
        return std::optional<TempoEstimate>(TempoEstimate{90.0, 0.5, 1.0, false});
    });
    ASSERT_TRUE(pooled.detect(id, std::nullopt, [this](std::optional<std::string> m) { answers.push_back(m); }));
    ASSERT_TRUE(QThreadPool::globalInstance()->waitForDone(60000));
    loop.runPosted();
    EXPECT_NE(listener, std::this_thread::get_id());
    EXPECT_DOUBLE_EQ(track(id).bpm, 90.0);
    EXPECT_EQ(answers.size(), 1u);
}

} // namespace
} // namespace ostinel
