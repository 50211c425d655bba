#include <gtest/gtest.h>

#include <filesystem>

#include "analysis/AnalysisDiskCache.h"
#include "analysis/WaveformStore.h"
#include "platform/ManualMainLoop.h"
#include "support/AudioFixtures.h"
#include "support/TempDir.h"

namespace ostinel {
namespace {

struct WaveformStoreTest : ::testing::Test {
    test::TempDir tmp;
    ManualMainLoop loop;
    std::vector<std::function<void()>> jobs;
    std::string cacheDir = tmp.file("cache");
    std::unique_ptr<WaveformStore> store = makeStore();
    FileUrl url = FileUrl::fromPath(test::writeTone(tmp.file("a.wav"), 1.0));

    std::unique_ptr<WaveformStore> makeStore() {
        return std::make_unique<WaveformStore>(loop, cacheDir, [this](std::function<void()> j) { jobs.push_back(j); });
    }
    void runJobs() {
        auto batch = std::move(jobs);
        jobs.clear();
        for (auto& j : batch) j();
        loop.runPosted();
    }
};

TEST_F(WaveformStoreTest, RequestsWhileInFlightStartOneLoad) {
    int changes = 0;
    QObject::connect(&store->entry(url), &WaveformEntry::peaksChanged, [&] { ++changes; });
    store->prerender(std::vector<FileUrl>{url, url});
    store->prerender(url);
    EXPECT_EQ(jobs.size(), 1u);
    EXPECT_EQ(store->activity().summary(), "Analysing waveforms — 0 of 1 file");
    runJobs();
    ASSERT_TRUE(store->entry(url).peaks());
    EXPECT_EQ(store->entry(url).peaks()->size(), 4000u);
    EXPECT_EQ(changes, 1);
    EXPECT_FALSE(store->isInFlight(url));
    EXPECT_FALSE(store->activity().summary());
    store->prerender(url); // loaded: nothing more
    EXPECT_TRUE(jobs.empty());
}

TEST_F(WaveformStoreTest, SecondRunReadsTheDiskCache) {
    store->prerender(url);
    runJobs();
    auto lookup = AnalysisDiskCache::peaks(url.path(), cacheDir);
    ASSERT_TRUE(lookup.value);
    // Overwrite the entry with a marker: a hit must give it back unchanged.
    AnalysisDiskCache::storePeaks({0.25f}, url.path(), *lookup.fingerprint, cacheDir);
    auto fresh = makeStore();
    fresh->prerender(url);
    runJobs();
    EXPECT_EQ(fresh->entry(url).peaks(), std::vector<float>{0.25f});
}

TEST_F(WaveformStoreTest, BandsLoadOnceThenComeFromTheDiskCache) {
    store->ensureBands(url);
    store->ensureBands(url);
    EXPECT_EQ(jobs.size(), 1u);
    runJobs();
    ASSERT_TRUE(store->entry(url).bands());
    EXPECT_EQ(store->entry(url).bands()->size(), 4000u);
    EXPECT_FALSE(store->isBandsInFlight(url));
    auto lookup = AnalysisDiskCache::bands(url.path(), cacheDir);
    ASSERT_TRUE(lookup.value);
    EXPECT_EQ(*lookup.value, *store->entry(url).bands());
    AnalysisDiskCache::storeBands({{0.25f, 0.5f, 1.0f}}, url.path(), *lookup.fingerprint, cacheDir);
    auto fresh = makeStore();
    fresh->ensureBands(url);
    runJobs();
    EXPECT_EQ(fresh->entry(url).bands(), WaveformEntry::Bands({{0.25f, 0.5f, 1.0f}}));

    const auto bad = FileUrl::fromPath(tmp.write("bad.wav", "not audio"));
    store->ensureBands(bad);
    runJobs();
    EXPECT_TRUE(store->hasFailedBands(bad));
    store->ensureBands(bad);
    EXPECT_TRUE(jobs.empty());
}

TEST_F(WaveformStoreTest, BandPassColoursTheShowOneFileAtATimeAndCanBeCancelled) {
    const auto b = FileUrl::fromPath(test::writeTone(tmp.file("b.wav"), 1.0));
    const auto bad = FileUrl::fromPath(tmp.write("bad.wav", "not audio"));
    store->ensureBands(url);
    runJobs(); // already coloured: not part of the pass
    store->prerenderBands({url, b, bad});
    EXPECT_EQ(store->activity().summary(), "Building spectral coloring — 0 of 2 files");
    EXPECT_EQ(jobs.size(), 1u);
    runJobs();
    EXPECT_TRUE(store->entry(b).bands());
    EXPECT_EQ(store->activity().summary(), "Building spectral coloring — 1 of 2 files");
    runJobs();
    EXPECT_TRUE(store->hasFailedBands(bad));
    EXPECT_FALSE(store->activity().summary());

    const auto c = FileUrl::fromPath(test::writeTone(tmp.file("c.wav"), 1.0));
    const auto d = FileUrl::fromPath(test::writeTone(tmp.file("d.wav"), 1.0));
    store->prerenderBands({c, d});
    store->cancelBandPrerender();
    EXPECT_FALSE(store->activity().summary());
    runJobs(); // the file already started still finishes, and nothing follows it
    EXPECT_TRUE(store->entry(c).bands());
    EXPECT_TRUE(jobs.empty());
    EXPECT_FALSE(store->entry(d).bands());
}

TEST_F(WaveformStoreTest, FailedFileWaitsForRetry) {
    const auto bad = FileUrl::fromPath(tmp.write("bad.wav", "not audio"));
    store->prerender(bad);
    runJobs();
    EXPECT_TRUE(store->hasFailed(bad));
    EXPECT_FALSE(store->entry(bad).peaks());
    store->prerender(bad);
    EXPECT_TRUE(jobs.empty());
    store->retry(bad);
    store->prerender(bad);
    EXPECT_EQ(jobs.size(), 1u);
    runJobs();
}

TEST_F(WaveformStoreTest, DestroyedStoreCancelsPendingWork) {
    store->prerender(url);
    store.reset();
    runJobs();
    EXPECT_FALSE(std::filesystem::exists(cacheDir)); // nothing was computed or filed
}

TEST(BackgroundActivity, CountsBatchesAndSummarises) {
    BackgroundActivity a;
    a.add(BackgroundActivity::Kind::spectral, 10);
    a.add(BackgroundActivity::Kind::waveforms, 0); // ignored
    a.add(BackgroundActivity::Kind::waveforms, 2);
    a.complete(BackgroundActivity::Kind::spectral, 3);
    EXPECT_EQ(a.summary(), "Analysing waveforms — 0 of 2 files\nBuilding spectral coloring — 3 of 10 files");
    a.complete(BackgroundActivity::Kind::spectral, 7); // a cancelled pass completes its remainder
    a.complete(BackgroundActivity::Kind::waveforms, 2);
    EXPECT_FALSE(a.summary());
    a.complete(BackgroundActivity::Kind::waveforms, 1);
    EXPECT_TRUE(a.jobs().empty());
}

} // namespace
} // namespace ostinel
