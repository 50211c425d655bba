#include <gtest/gtest.h>

#include <QThreadPool>

#include "analysis/AnalysisDiskCache.h"
#include "analysis/LoudnessBatch.h"
#include "analysis/WaveformStore.h"
#include "document/AppStateFixture.h"

namespace ostinel {
namespace {

struct LoudnessBatchTest : test::AppStateFixture {
    std::vector<std::function<void()>> jobs;
    std::string cacheDir = dir.file("cache");
    WaveformStore store{loop, cacheDir, [this](std::function<void()> j) { jobs.push_back(std::move(j)); }};
    FileUrl tone = FileUrl::fromPath(test::writeTone(dir.file("tone.wav"), 1.0));
    FileUrl silence = FileUrl::fromPath(test::writeSamples(dir.file("silence.wav"), std::vector<float>(88200), 44100, 2));
    FileUrl bad = FileUrl::fromPath(dir.write("bad.wav", "not audio"));
    FileUrl missing = FileUrl::fromPath(dir.file("gone.wav"));

    void runOneJob() {
        auto job = std::move(jobs.front());
        jobs.erase(jobs.begin());
        job();
        loop.runPosted();
    }
    std::optional<LoudnessMeasurement> ask(const FileUrl& url) {
        std::optional<LoudnessMeasurement> answer;
        bool answered = false;
        store.ensureLoudness(url, [&](auto m) { answer = m, answered = true; });
        while (!answered && !jobs.empty()) runOneJob();
        loop.runPosted();
        EXPECT_TRUE(answered);
        return answer;
    }
};

TEST_F(LoudnessBatchTest, StoreMeasuresOnceAnswersFromMemoryAndFromTheDiskCacheAfterForgetting) {
    int answers = 0;
    store.ensureLoudness(tone, [&](auto m) { answers += m.has_value(); });
    store.ensureLoudness(tone, [&](auto m) { answers += m.has_value(); });
    ASSERT_EQ(jobs.size(), 1u);
    runOneJob();
    EXPECT_EQ(answers, 2);

    const auto first = ask(tone);
    ASSERT_TRUE(first);
    EXPECT_TRUE(jobs.empty());
    EXPECT_LT(first->lufs, 0.0);
    EXPECT_GE(first->truePeakDb, first->peakDb);

    // After forgetting, the file is looked for again and the disk cache answers.
    auto lookup = AnalysisDiskCache::loudness(tone.path(), cacheDir);
    ASSERT_TRUE(lookup.value);
    AnalysisDiskCache::storeLoudness({-30.0, -10.0, -9.0}, tone.path(), *lookup.fingerprint, cacheDir);
    store.forgetLoudness();
    EXPECT_EQ(ask(tone), LoudnessMeasurement({-30.0, -10.0, -9.0}));

    // Silence and an unreadable file have no measurement, and no crash.
    EXPECT_EQ(ask(silence), std::nullopt);
    EXPECT_EQ(ask(bad), std::nullopt);
    EXPECT_EQ(ask(bad), std::nullopt);
    EXPECT_TRUE(jobs.empty()); // a failure is not retried until forgotten
}

TEST_F(LoudnessBatchTest, BatchRunsAFewFilesAtATimeCountsProgressAndSkipsWhatItCannotMeasure) {
    auto ids = openShow({tone, silence, missing, tone, bad});
    LoudnessBatch batch(state, store, 2);
    std::optional<LoudnessBatch::Measurements> result;
    std::vector<AppState::LoudnessProgress> progress;
    QObject::connect(&state, &AppState::loudnessProgressChanged, [&] {
        if (state.loudnessProgress()) progress.push_back(*state.loudnessProgress());
    });

    batch.measure(ids, [&](auto m) { result = std::move(m); });
    EXPECT_TRUE(batch.isRunning());
    EXPECT_EQ(jobs.size(), 2u); // two at a time
    batch.measure(ids, [](auto) { ADD_FAILURE() << "a second batch must wait"; });
    while (!jobs.empty()) runOneJob();

    ASSERT_TRUE(result);
    EXPECT_FALSE(batch.isRunning());
    EXPECT_EQ(state.loudnessProgress(), std::nullopt);
    EXPECT_EQ(result->size(), 2u);
    EXPECT_TRUE(result->contains(ids[0]) && result->contains(ids[3]));
    ASSERT_FALSE(progress.empty());
    EXPECT_EQ(progress.front(), (AppState::LoudnessProgress{0, 4})); // the missing file is not counted
    EXPECT_EQ(progress.back(), (AppState::LoudnessProgress{4, 4}));

    // Nothing to measure: an empty answer at once and no progress.
    progress.clear();
    result.reset();
    batch.measure({ids[2]}, [&](auto m) { result = std::move(m); });
    EXPECT_EQ(result, LoudnessBatch::Measurements{});
    EXPECT_TRUE(progress.empty());
}

TEST_F(LoudnessBatchTest, CancelAnswersWithWhatWasMeasuredAndLateResultsAreDropped) {
    auto other = FileUrl::fromPath(test::writeTone(dir.file("other.wav"), 1.0, 48000, 1));
    auto ids = openShow({tone, other, silence});
    LoudnessBatch batch(state, store, 1);
    int answers = 0;
    LoudnessBatch::Measurements result;
    batch.measure(ids, [&](auto m) { ++answers, result = std::move(m); });
    runOneJob();
    ASSERT_EQ(jobs.size(), 1u);
    EXPECT_EQ(state.loudnessProgress(), (AppState::LoudnessProgress{1, 3}));
    batch.cancel();
    EXPECT_EQ(answers, 1);
    EXPECT_EQ(result.size(), 1u);
    EXPECT_EQ(state.loudnessProgress(), std::nullopt);
    runOneJob(); // the file in hand finishes unheard, nothing more starts
    EXPECT_TRUE(jobs.empty());
    EXPECT_EQ(answers, 1);

    // A batch destroyed mid-run leaves no progress behind.
    {
        LoudnessBatch gone(state, store, 1);
        store.forgetLoudness();
        gone.measure(ids, [](auto) {});
        EXPECT_TRUE(state.loudnessProgress());
    }
    EXPECT_EQ(state.loudnessProgress(), std::nullopt);
    while (!jobs.empty()) runOneJob();
}

TEST_F(LoudnessBatchTest, OnThePoolEveryCueIsMeasuredOnceWhateverOrderTheFilesFinishIn) {
    std::vector<FileUrl> urls;
    for (int i = 0; i < 8; ++i)
        urls.push_back(FileUrl::fromPath(test::writeTone(dir.file("t" + std::to_string(i) + ".wav"), 0.5 + 0.1 * i)));
    urls.push_back(urls.front()); // two cues on one file
    auto ids = openShow(urls);
    WaveformStore pooled(loop, cacheDir);
    LoudnessBatch batch(state, pooled);
    std::optional<LoudnessBatch::Measurements> result;
    batch.measure(ids, [&](auto m) { result = std::move(m); });
    for (int round = 0; !result && round < 600; ++round) {
        QThreadPool::globalInstance()->waitForDone(100);
        loop.runPosted();
    }
    ASSERT_TRUE(result);
    EXPECT_EQ(result->size(), urls.size());
    EXPECT_EQ(result->at(ids.front()), result->at(ids.back()));
    EXPECT_EQ(state.loudnessProgress(), std::nullopt);
}

} // namespace
} // namespace ostinel
