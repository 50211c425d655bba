#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "analysis/AnalysisCacheFormat.h"
#include "analysis/AnalysisDiskCache.h"
#include "support/TempDir.h"

namespace ostinel {
namespace {

namespace cache = AnalysisDiskCache;

struct AnalysisDiskCacheTest : ::testing::Test {
    test::TempDir tmp;
    std::string dir = tmp.file("cache");
    std::string audio = tmp.write("a.wav", std::string(200000, 'x'));
    std::vector<float> values{0.1f, 0.5f, 1.0f};

    void storeNow() { cache::storePeaks(values, audio, *cache::fingerprint(audio), dir); }
};

TEST_F(AnalysisDiskCacheTest, MissThenStoreThenHit) {
    auto miss = cache::peaks(audio, dir);
    EXPECT_FALSE(miss.value);
    ASSERT_TRUE(miss.fingerprint);
    cache::storePeaks(values, audio, *miss.fingerprint, dir);
    auto hit = cache::peaks(audio, dir);
    ASSERT_TRUE(hit.value);
    EXPECT_EQ(*hit.value, values);
    EXPECT_EQ(hit.fingerprint, miss.fingerprint);
    EXPECT_FALSE(cache::loudness(audio, dir).value); // kinds are filed apart
}

TEST_F(AnalysisDiskCacheTest, ChangedFileIsAMiss) {
    storeNow();
    // Same size, same date, a different middle.
    struct stat before {};
    ::stat(audio.c_str(), &before);
    {
        std::fstream f(audio, std::ios::in | std::ios::out | std::ios::binary);
        f.seekp(100000);
        f.put('y');
    }
    const timespec times[2] = {before.st_atim, before.st_mtim};
    ::utimensat(AT_FDCWD, audio.c_str(), times, 0);
    EXPECT_FALSE(cache::peaks(audio, dir).value);

    // A copy at another path is a miss too.
    storeNow();
    const auto copy = tmp.file("b.wav");
    std::filesystem::copy_file(audio, copy);
    EXPECT_FALSE(cache::peaks(copy, dir).value);

    // Touched, not changed: a new date.
    const timespec later[2] = {{before.st_mtim.tv_sec + 5, 0}, {before.st_mtim.tv_sec + 5, 0}};
    ::utimensat(AT_FDCWD, audio.c_str(), later, 0);
    EXPECT_FALSE(cache::peaks(audio, dir).value);
}

TEST_F(AnalysisDiskCacheTest, FileChangedDuringAnalysisLeavesNoEntry) {
    const auto before = *cache::fingerprint(audio);
    tmp.write("a.wav", std::string(200001, 'x'));
    cache::storePeaks(values, audio, before, dir);
    EXPECT_FALSE(std::filesystem::exists(dir));
    cache::storePeaks({}, audio, *cache::fingerprint(audio), dir); // empty lists are not stored
    EXPECT_FALSE(std::filesystem::exists(dir));
}

TEST_F(AnalysisDiskCacheTest, CorruptEntryIsAMissAndReplaced) {
    storeNow();
    const auto entry = std::filesystem::directory_iterator(dir)->path();
    std::ofstream(entry, std::ios::binary) << "abcde";
    EXPECT_FALSE(cache::peaks(audio, dir).value);
    storeNow();
    EXPECT_EQ(cache::peaks(audio, dir).value, values);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir), {}), 1); // no temporary left over
}

TEST(AnalysisCacheFormat, RejectsWrongSizes) {
    using namespace analysis_cache;
    EXPECT_FALSE(decodeLoudness(std::string(23, '\0')));
    EXPECT_FALSE(decodeLoudness(std::string(25, '\0')));
    EXPECT_EQ(decodeLoudness(encodeLoudness({-14, -1, -0.5})), (LoudnessMeasurement{-14, -1, -0.5}));
    EXPECT_FALSE(decodeBands(std::string(16, '\0')));
    EXPECT_EQ(decodeBands(encodeBands({{0.1f, 0.2f, 0.3f}}))->at(0)[2], 0.3f);
    EXPECT_FALSE(decodePeaks(std::string(6, '\0')));
    EXPECT_EQ(contentSampleOffsets(1000), (std::array<std::uint64_t, 3>{0, 0, 0}));
    EXPECT_EQ(contentSampleOffsets(200000), (std::array<std::uint64_t, 3>{0, 67232, 134464}));
    EXPECT_EQ(joinFingerprint("/a", 3, 0.5, 7, "ab"), "/a|3|0.5|7|ab");
}

TEST(AnalysisDiskCachePrune, RemovesOldestUntilBelowLimitAndReadsCount) {
    test::TempDir tmp;
    const auto dir = tmp.path().string();
    auto write = [&](const std::string& name, int age) {
        const auto p = tmp.write(name, std::string(100, 'z'));
        const timespec t[2] = {{1000000000 - age, 0}, {1000000000 - age, 0}};
        ::utimensat(AT_FDCWD, p.c_str(), t, 0);
    };
    write("old", 30); write("mid", 20); write("new", 10);
    cache::prune(301, dir);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir), {}), 3);
    cache::prune(300, dir); // exactly the limit is pruned
    EXPECT_FALSE(std::filesystem::exists(tmp.file("old")));
    EXPECT_TRUE(std::filesystem::exists(tmp.file("mid")));

    EXPECT_FALSE(cache::noteWritten(10, dir, 25));
    EXPECT_FALSE(cache::noteWritten(10, dir, 25));
    EXPECT_TRUE(cache::noteWritten(10, dir, 25));
    EXPECT_FALSE(cache::noteWritten(10, dir, 25)); // restarted from zero
}

TEST_F(AnalysisDiskCacheTest, ReadEntryOutlivesUnreadOne) {
    storeNow();
    const auto other = tmp.write("c.wav", std::string(70000, 'q'));
    cache::storePeaks(values, other, *cache::fingerprint(other), dir);
    for (const auto& e : std::filesystem::directory_iterator(dir)) {
        const timespec t[2] = {{1000000000, 0}, {1000000000, 0}};
        ::utimensat(AT_FDCWD, e.path().c_str(), t, 0);
    }
    ASSERT_TRUE(cache::peaks(audio, dir).value);
    cache::prune(13, dir);
    EXPECT_TRUE(cache::peaks(audio, dir).value);
    EXPECT_FALSE(cache::peaks(other, dir).value);
}

} // namespace
} // namespace ostinel
