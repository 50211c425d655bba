#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "MtcReceiver.h"
#include "timecode/MTCSender.h"

namespace ostinel {
namespace {

using namespace std::chrono_literals;

// The live quarter-frame thread: what it sends, never when.
struct LiveRig {
    LoopbackMidiSystem midi;
    std::mutex mutex;
    std::condition_variable changed;
    test::MtcReceiver rx;

    LiveRig() {
        midi.setTap([this](const LoopbackMessage& m) {
            std::lock_guard lock(mutex);
            rx.receive(m);
            changed.notify_all();
        });
    }
    // Waits for `count` more complete sequences.
    bool waitForSequences(std::size_t count) {
        std::unique_lock lock(mutex);
        const std::size_t target = rx.sequences.size() + count;
        return changed.wait_for(lock, 30s, [&] { return rx.sequences.size() >= target; });
    }
};

TEST(MtcSenderLive, StreamsEvenSequencesFromItsOwnThreadAndStopsWhileRunning) {
    LiveRig rig;
    auto sender = std::make_unique<MTCSender>(rig.midi);
    sender->locate(3600.0);
    ASSERT_TRUE(rig.waitForSequences(3));
    {
        std::lock_guard lock(rig.mutex);
        ASSERT_EQ(rig.rx.fullFrames.size(), 1u);
        EXPECT_EQ(rig.rx.fullFrames[0].h, 1);
        for (auto& sequence : rig.rx.sequences) {
            EXPECT_EQ(sequence.timecode.frames() % 2, 0);
            EXPECT_EQ(sequence.timecode.rateCode, 1);
        }
    }
    // Destroyed mid-stream: the thread is joined before the ports go.
    sender.reset();
}

TEST(MtcSenderLive, RateEnableAndLocateRestartTheRunningThread) {
    LiveRig rig;
    MTCSender sender(rig.midi);
    sender.locate(10.0);
    for (TimecodeRate rate : {TimecodeRate::fps30, TimecodeRate::fps24, TimecodeRate::fps2997df}) {
        ASSERT_TRUE(rig.waitForSequences(1));
        sender.setRate(rate);
        sender.update(20.0, 25.0);
        ASSERT_TRUE(rig.waitForSequences(2));
        {
            std::lock_guard lock(rig.mutex);
            EXPECT_EQ(rig.rx.sequences.back().timecode.rateCode, timecode::rateCode(rate));
        }
        sender.setEnabled(false);
        sender.setEnabled(true);
        sender.locate(30.0);
    }
    ASSERT_TRUE(rig.waitForSequences(2));
    std::lock_guard lock(rig.mutex);
    EXPECT_EQ(rig.rx.fullFrames.size(), 4u);
    for (auto& sequence : rig.rx.sequences)
        EXPECT_EQ(sequence.timecode.frames() % 2, 0);
}

} // namespace
} // namespace ostinel
