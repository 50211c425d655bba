#include "playback/Player.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <mutex>
#include <thread>

#include "support/PlayerFixtures.h"
#include "support/TempDir.h"

namespace ostinel {
namespace {

using test::appendRamp;
using test::rampAt;
using test::Stereo;

std::shared_ptr<AudioFile> openFile(const std::string& path) {
    auto file = AudioFile::open(path);
    EXPECT_TRUE(file.ok()) << path;
    return file.ok() ? std::shared_ptr<AudioFile>(std::move(*file)) : nullptr;
}

// A file whose reads reaching `stallAt` block until released: a disk stall.
class StallingFile : public AudioFile {
public:
    StallingFile(std::shared_ptr<AudioFile> inner, std::int64_t stallAt) : inner_(std::move(inner)), stallAt_(stallAt) {}
    double sampleRate() const override { return inner_->sampleRate(); }
    int channels() const override { return inner_->channels(); }
    std::int64_t frames() const override { return inner_->frames(); }
    Expected<std::int64_t> read(std::int64_t frame, std::int64_t count, float* const* out) override {
        if (frame + count > stallAt_) {
            std::call_once(stalledOnce_, [this] { stalled_.set_value(); });
            released_.wait();
        }
        return inner_->read(frame, count, out);
    }
    bool waitUntilStalled() { return stalledSeen_.wait_for(std::chrono::seconds(10)) == std::future_status::ready; }
    void release() {
        std::call_once(releasedOnce_, [this] { release_.set_value(); });
    }

private:
    std::shared_ptr<AudioFile> inner_;
    std::int64_t stallAt_;
    std::promise<void> stalled_, release_;
    std::future<void> stalledSeen_ = stalled_.get_future();
    std::shared_future<void> released_ = release_.get_future().share();
    std::once_flag stalledOnce_, releasedOnce_;
};

class PlayerTest : public ::testing::Test {
protected:
    void SetUp() override {
        file = openFile(test::writeRamp(dir.file("ramp.wav"), 20000));
        player.setWaitForData(true);
    }
    test::TempDir dir;
    std::shared_ptr<AudioFile> file;
    Player player;
};

TEST_F(PlayerTest, RegionsAndBuffersOfAnyChannelCountPlayBackToBackOnOneTimeline) {
    auto buffer = std::make_shared<AudioBuffer>();
    buffer->channels.resize(2);
    for (std::int64_t i = 10000; i < 10300; ++i)
        for (int c = 0; c < 2; ++c)
            buffer->channels[std::size_t(c)].push_back(rampAt(i, c));
    auto mono = openFile(test::writeRamp(dir.file("mono.wav"), 3000, 44100, 1));
    auto quad = openFile(test::writeRamp(dir.file("quad.wav"), 3000, 44100, 4));
    player.scheduleSegment(file, 1000, 5000);
    player.scheduleBuffer(buffer);
    player.scheduleSegment(mono, 100, 500);  // both sides
    player.scheduleSegment(quad, 2000, 500); // the first two channels
    player.scheduleSegment(file, 15000, 9000); // past the end of the file: silence keeps the length
    EXPECT_EQ(player.sampleTime(), std::nullopt);

    // play() has the start decoded: the first period needs no waiting.
    player.setWaitForData(false);
    player.play();
    Stereo got = test::render(player, 256);
    player.setWaitForData(true);
    got.append(test::render(player, 5000 + 300 + 500 + 500 + 9000 + 1000 - 256));

    Stereo want;
    appendRamp(want, 1000, 6000);
    appendRamp(want, 10000, 10300);
    appendRamp(want, 100, 600, 0);
    appendRamp(want, 2000, 2500);
    appendRamp(want, 15000, 20000);
    want.append(Stereo{std::vector<float>(5000), std::vector<float>(5000)});
    test::expectSameAudio(got, want);
    EXPECT_EQ(player.sampleTime(), 5000 + 300 + 500 + 500 + 9000);
    EXPECT_EQ(player.underruns(), 0) << "the end of the queue is no underrun";
}

TEST_F(PlayerTest, PauseKeepsThePositionAndStopRestartsAtZero) {
    player.scheduleSegment(file, 0, 20000);
    player.play();
    test::render(player, 1000);
    player.pause();
    EXPECT_FALSE(player.isPlaying());
    EXPECT_EQ(test::render(player, 512).left, std::vector<float>(512, 0.0f));
    EXPECT_EQ(player.sampleTime(), 1000);
    player.play();
    Stereo after = test::render(player, 1000);
    EXPECT_EQ(after.left.front(), rampAt(1000, 0));
    EXPECT_EQ(after.left.back(), rampAt(1999, 0));

    // The read-ahead has the ring full of the old queue by now.
    player.stop();
    EXPECT_EQ(player.sampleTime(), std::nullopt);
    EXPECT_EQ(test::render(player, 256).left, std::vector<float>(256, 0.0f));
    player.scheduleSegment(file, 7000, 3000);
    player.play();
    Stereo want;
    appendRamp(want, 7000, 10000);
    test::expectSameAudio(test::render(player, 3000), want);
    EXPECT_EQ(player.sampleTime(), 3000);
}

TEST_F(PlayerTest, AStopWhileAnotherThreadRendersNeverLeaksAFrameOfTheOldRun) {
    player.setWaitForData(false);
    std::atomic<bool> done{false};
    std::vector<float> heard;
    heard.reserve(1 << 20);
    std::thread device([&] {
        float left[64], right[64];
        while (!done.load())
            for (player.render(left, right, 64); float v : left)
                if (v != 0.0f && heard.size() < heard.capacity()) heard.push_back(v);
    });
    const std::int64_t runs = 8, length = 2000;
    for (std::int64_t k = 0; k < runs; ++k) {
        player.stop();
        player.scheduleSegment(file, k * length, length);
        player.play();
        EXPECT_TRUE(test::pollUntil([&] { return player.sampleTime() >= 300; }));
    }
    done = true;
    device.join();

    // Each run is heard from its start, in order, cut anywhere by the next.
    std::size_t i = 0;
    for (std::int64_t k = 0; k < runs; ++k) {
        std::int64_t f = k * length;
        while (i < heard.size() && f < (k + 1) * length && heard[i] == rampAt(f, 0)) {
            ++i;
            ++f;
        }
        EXPECT_GE(f - k * length, 300) << "run " << k;
    }
    EXPECT_EQ(i, heard.size()) << "a frame that belongs to no run";
}

// Wherever the cut falls, in the ring, in what is being decoded or still
// queued, or behind what was heard, the timeline ends there and what is
// scheduled next follows on at once.
TEST_F(PlayerTest, ATruncatedTimelineGoesOnFromItsNewEnd) {
    for (const std::int64_t end : {500, 5000, 30000, 31000, 32000, 33000, 34000, 35000, 37000, 50000}) {
        Player cut;
        cut.setWaitForData(true);
        for (int i = 0; i < 3; ++i)
            cut.scheduleSegment(file, 0, 20000);
        cut.play();
        Stereo got = test::render(cut, 1000);
        const std::int64_t ends = cut.truncate(end);
        EXPECT_EQ(ends, std::max<std::int64_t>(end, 1000));
        cut.scheduleSegment(file, 10000, 2000);
        got.append(test::render(cut, ends - 1000 + 2000 + 500));

        Stereo want;
        for (std::int64_t from = 0; from < ends; from += 20000)
            appendRamp(want, 0, std::min<std::int64_t>(ends - from, 20000));
        appendRamp(want, 10000, 12000);
        want.append(Stereo{std::vector<float>(500), std::vector<float>(500)});
        test::expectSameAudio(got, want);
        EXPECT_EQ(cut.sampleTime(), ends + 2000) << end;
    }
}

TEST_F(PlayerTest, VolumeRampsLinearlyOverFiveMilliseconds) {
    player.scheduleSegment(file, 0, 20000);
    player.setVolume(1.0f);
    player.play();
    test::render(player, 1000);
    player.setVolume(0.5f);
    Stereo got = test::render(player, 1000);
    const auto gain = [&](int i) { return got.left[std::size_t(i)] / rampAt(1000 + i, 0); };
    for (int i = 0; i < 1000; ++i) // 220 frames: 5 ms at 44.1 kHz
        EXPECT_NEAR(gain(i), i < 219 ? 1.0 - 0.5 * (i + 1) / 220 : 0.5, 1e-4) << i;
    EXPECT_EQ(gain(999), 0.5f);
}

TEST_F(PlayerTest, AStallPlaysSilenceWithoutMovingTheTimelineAndCountsOnce) {
    auto stalling = std::make_shared<StallingFile>(file, 10000);
    struct Release {
        StallingFile& file;
        ~Release() { file.release(); } // before the player joins its reader
    } release{*stalling};
    player.scheduleSegment(stalling, 0, 20000);
    player.play();
    ASSERT_TRUE(stalling->waitUntilStalled());

    // A real device: no waiting. Play what was read before the stall.
    player.setWaitForData(false);
    Stereo got;
    for (int period = 0; period < 100 && (got.left.empty() || got.left.back() != 0.0f); ++period)
        got.append(test::render(player, 256));
    const std::int64_t heard = player.sampleTime().value_or(-1);
    ASSERT_GT(heard, 0);
    ASSERT_LE(heard, 10000);
    got.left.resize(std::size_t(heard));
    got.right.resize(std::size_t(heard));
    Stereo want;
    appendRamp(want, 0, heard);
    test::expectSameAudio(got, want);
    EXPECT_EQ(test::render(player, 1024).left, std::vector<float>(1024, 0.0f));
    EXPECT_EQ(player.sampleTime(), heard);
    EXPECT_EQ(player.underruns(), 1);

    stalling->release();
    player.setWaitForData(true);
    want = {};
    appendRamp(want, heard, 20000);
    test::expectSameAudio(test::render(player, 20000 - heard), want);
    EXPECT_EQ(player.sampleTime(), 20000);
    EXPECT_EQ(player.underruns(), 1);
}

} // namespace
} // namespace ostinel
