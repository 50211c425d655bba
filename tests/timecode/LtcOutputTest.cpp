#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <thread>
#include <vector>

#include "support/RealtimeGuard.h"
#include "timecode/LtcRig.h"

namespace ostinel {
namespace {

using test::LtcRig;
using test::ReferenceLtc;
using test::silent;
constexpr float level18 = LTCOutputEngine::defaultAmplitude;

struct LtcOutput : ::testing::Test {
    OfflineAudioSystem main{LtcRig::rate, LtcRig::period};
    ManualMainLoop loop;
    LtcRig rig{main, loop};

    void SetUp() override {
        rig.ltc.configure(std::nullopt, 1);
        rig.ltc.setActive();
        ASSERT_TRUE(rig.ltc.output());
    }
    void locate(double seconds) {
        rig.clock.set(rig.now());
        rig.ltc.locate(seconds);
    }
};

TEST_F(LtcOutput, PlaysTheEncoderFromTheLocateOnItsChannelAloneAtTheClampedLevel) {
    EXPECT_EQ(rig.output().channelMap(), (std::vector<int>{-1, 0}));
    EXPECT_TRUE(rig.output().isRunning());
    for (const auto& channel : rig.render())
        EXPECT_TRUE(silent(channel)); // not running yet

    locate(10.0);
    ReferenceLtc ref(TimecodeRate::fps25, 10.0);
    for (int k = 0; k < 50; ++k) {
        const auto out = rig.render();
        ASSERT_EQ(out[1], ref.next(level18)) << k;
        ASSERT_TRUE(silent(out[0])) << k;
    }
    rig.ltc.setLevelDb(6.0);
    EXPECT_EQ(rig.render()[1], ref.next(1.0f));
    rig.ltc.setLevelDb(-60.0);
    EXPECT_EQ(rig.render()[1], ref.next(0.01f));
    rig.ltc.setLevelDb(-6.0);
    EXPECT_EQ(rig.render()[1], ref.next(float(std::pow(10.0, -6.0 / 20.0))));
}

TEST_F(LtcOutput, IsExactlySilentWhileStoppedOrOffAndLocatesWhereTheTransportIsWhenBack) {
    locate(10.0);
    for (int k = 0; k < 5; ++k)
        rig.render();
    rig.ltc.stop();
    rig.ltc.tick(10.1, 11.0); // ticks after a stop make no sound
    for (int k = 0; k < 3; ++k)
        for (const auto& channel : rig.render())
            ASSERT_TRUE(silent(channel));

    // The wave goes on at the level it had, as a locate leaves it.
    ReferenceLtc ref(TimecodeRate::fps25, 10.0);
    for (int k = 0; k < 5; ++k)
        ref.next(level18);
    const double t0 = rig.now();
    locate(20.0);
    ref.encoder.locate(20.0);
    for (int k = 0; k < 5; ++k)
        ASSERT_EQ(rig.render()[1], ref.next(level18)) << k;

    // Off for a tenth of a second while the transport runs on: back on, the
    // first render is where the transport is, not where the encoder stopped.
    rig.ltc.turnOff();
    EXPECT_FALSE(rig.output().isRunning());
    for (int k = 0; k < 10; ++k)
        ASSERT_TRUE(silent(rig.render()[1]));
    rig.ltc.setActive();
    ref.encoder.locate(20.0 + (rig.now() - t0));
    for (int k = 0; k < 3; ++k)
        ASSERT_EQ(rig.render()[1], ref.next(level18)) << k;
}

TEST_F(LtcOutput, BeyondTheCapRunsOnForTwoRendersAndJumpsBackOnTheThird) {
    locate(10.0);
    ReferenceLtc ref(TimecodeRate::fps25, 10.0);
    for (int k = 0; k < 10; ++k)
        ASSERT_EQ(rig.render()[1], ref.next(level18));
    // A loop seam: the transport holds the position at 10.05 while the
    // encoder is at 10.1, more than a frame (0.04 s) ahead.
    rig.clock.set(rig.now());
    rig.ltc.tick(10.1, 10.05);
    EXPECT_EQ(rig.render()[1], ref.next(level18));
    EXPECT_EQ(rig.render()[1], ref.next(level18));
    ref.encoder.locate(10.05);
    EXPECT_EQ(rig.render()[1], ref.next(level18));
    EXPECT_EQ(ref.encoder.frameNumber(), 251);
    // Within a frame of the cap again: it runs on.
    EXPECT_EQ(rig.render()[1], ref.next(level18));
}

TEST_F(LtcOutput, ARateChangeReplacesTheEncoderAtTheNextRender) {
    locate(10.0);
    ReferenceLtc ref(TimecodeRate::fps25, 10.0);
    for (int k = 0; k < 3; ++k)
        ASSERT_EQ(rig.render()[1], ref.next(level18));
    rig.ltc.setRate(TimecodeRate::fps2997df);
    ReferenceLtc fresh(TimecodeRate::fps2997df, 10.0 + rig.now());
    for (int k = 0; k < 20; ++k)
        ASSERT_EQ(rig.render()[1], fresh.next(level18)) << k;
    EXPECT_TRUE(fresh.encoder.bits()[10]); // the drop-frame flag: it really is the new rate

    // So does a device at another sample rate.
    main.addDevice({"slow", "Slow", 2}, 44100.0);
    rig.ltc.configure("slow", 0);
    const double at = 10.0 + rig.now();
    LTCEncoder slow(44100.0, TimecodeRate::fps2997df);
    slow.locate(at);
    std::vector<float> expected(LtcRig::period);
    slow.fill(expected.data(), LtcRig::period, level18);
    EXPECT_EQ(rig.render()[0], expected);
}

// Real-time rules, counted on a real render thread while the main thread
// locates, ticks, stops and changes rate and level underneath.
TEST_F(LtcOutput, RenderNeitherAllocatesNorWaitsWhileTheMainThreadChangesEverything) {
    constexpr int renders = 600, changes = 40, rendersPerChange = renders / changes;
    std::atomic<int> rendered{0}, changed{0};
    std::int64_t allocations = -1, waits = -1, sounding = 0;
    rig.ltc.locate(0.0);
    std::thread device([&] {
        std::vector<std::vector<float>> out;
        rig.output().render(LtcRig::period, out); // shaped once, before counting
        test::RealtimeGuard guard;
        for (int k = 0; k < renders; ++k) {
            // Never far ahead of the main thread, so the two really overlap.
            while (changed.load() < std::min(changes, k / rendersPerChange))
                std::this_thread::yield();
            rig.clock.set(double(k) * LtcRig::period / LtcRig::rate);
            rig.output().render(LtcRig::period, out);
            sounding += silent(out[1]) ? 0 : 1;
            rendered.fetch_add(1);
        }
        allocations = guard.allocations();
        waits = guard.mutexWaits();
    });
    const TimecodeRate rates[] = {TimecodeRate::fps24, TimecodeRate::fps25, TimecodeRate::fps2997df,
                                  TimecodeRate::fps30};
    for (int change = 0; change < changes; ++change) {
        while (rendered.load() < change * rendersPerChange - rendersPerChange / 2)
            std::this_thread::yield();
        rig.ltc.locate(double(change));
        rig.ltc.tick(double(change) + 0.5, change % 3 == 0 ? double(change) : 1e9);
        rig.ltc.setRate(rates[change % 4]);
        rig.ltc.setLevelDb(-double(change));
        if (change % 5 == 2) rig.ltc.stop(); // the last change leaves it running
        changed.fetch_add(1);
    }
    device.join();
    EXPECT_EQ(allocations, 0);
    EXPECT_EQ(waits, 0);
    EXPECT_GT(sounding, renders / 2);
}

} // namespace
} // namespace ostinel
