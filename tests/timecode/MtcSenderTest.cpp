#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "MtcReceiver.h"
#include "support/RealtimeGuard.h"
#include "timecode/MTCSender.h"
#include "timecode/ManualQuarterFrameTimer.h"

namespace ostinel {
namespace {

using test::MtcReceiver;

// The sender on a hand-turned clock: every piece leaves exactly at its deadline.
struct MtcRig {
    ManualClock clock{100.0};
    ManualQuarterFrameTimer timer{clock};
    LoopbackMidiSystem midi;
    MtcReceiver rx;
    MTCSender sender{midi, clock, timer};

    MtcRig() {
        midi.setTap([this](const LoopbackMessage& m) { rx.receive(m); });
    }
    void run(double seconds) { timer.advanceTo(clock.now() + seconds); }
    // The frames spelled by the sequences from `from` on.
    std::vector<std::int64_t> frames(std::size_t from = 0) const {
        std::vector<std::int64_t> out;
        for (std::size_t i = from; i < rx.sequences.size(); ++i)
            out.push_back(rx.sequences[i].timecode.frames());
        return out;
    }
};

void expectCountsByTwo(const std::vector<std::int64_t>& frames) {
    for (std::size_t i = 1; i < frames.size(); ++i)
        EXPECT_EQ(frames[i], frames[i - 1] + 2) << "sequence " << i;
}

TEST(MtcSender, LocateSendsAFullFrameThenEvenSequencesTwoFramesApartAtEveryRate) {
    for (TimecodeRate rate : timecode::allRates) {
        SCOPED_TRACE(timecode::label(rate));
        MtcRig rig;
        rig.sender.setRate(rate);
        // Across a minute boundary, where drop frame skips two numbers.
        const double from = 59.5;
        rig.sender.locate(from);
        rig.run(2.0);

        ASSERT_EQ(rig.rx.fullFrames.size(), 1u);
        EXPECT_EQ(rig.rx.fullFrames[0].frames(), timecode::frameNumber(rate, from));
        EXPECT_EQ(rig.rx.fullFrames[0].rateCode, timecode::rateCode(rate));
        EXPECT_EQ(rig.rx.ports.front(), MTCSender::virtualPortName);
        EXPECT_EQ(rig.rx.brokenSequences, 0);

        const double interval = 1.0 / timecode::quarterFramesPerSecond(rate);
        ASSERT_GE(rig.rx.pieceTimes.size(), 8u);
        EXPECT_NEAR(rig.rx.pieceTimes[0], 100.0 + interval, 1e-9);
        for (std::size_t i = 1; i < rig.rx.pieceTimes.size(); ++i)
            EXPECT_NEAR(rig.rx.pieceTimes[i] - rig.rx.pieceTimes[i - 1], interval, 1e-9);

        ASSERT_GT(rig.rx.sequences.size(), 20u);
        std::int64_t previous = -2;
        for (auto& [spelled, at] : rig.rx.sequences) {
            const std::int64_t frame = spelled.frames();
            EXPECT_EQ(spelled.rateCode, timecode::rateCode(rate));
            EXPECT_EQ(frame % 2, 0);
            if (previous >= 0) {
                EXPECT_EQ(frame, previous + 2);
            }
            EXPECT_LT(std::abs(timecode::frameNumber(rate, from + at - 100.0) - frame), 4);
            previous = frame;
        }
    }
}

TEST(MtcSender, AnOddStartFrameIsSpelledFromTheEvenOneBelow) {
    MtcRig rig;
    rig.sender.locate(3600.0 + 1.0 / 25); // 01:00:00:01
    rig.run(0.25);
    ASSERT_EQ(rig.rx.fullFrames.size(), 1u);
    EXPECT_EQ(rig.rx.fullFrames[0].h, 1);
    EXPECT_EQ(rig.rx.fullFrames[0].f, 1);
    ASSERT_EQ(rig.rx.sequences.size(), 3u);
    for (int i = 0; i < 3; ++i) {
        const auto& [spelled, at] = rig.rx.sequences[std::size_t(i)];
        EXPECT_EQ(spelled.h, 1);
        EXPECT_EQ(spelled.f, 2 * i);
        // Eight pieces take 80 ms, two frames.
        EXPECT_NEAR(at, 100.01 + 0.08 * i, 1e-9);
    }
}

TEST(MtcSender, HoursFromSixteenOnCarryTheirHighBit) {
    MtcRig rig;
    rig.sender.locate(17 * 3600.0 + 0.5);
    rig.run(0.1);
    ASSERT_EQ(rig.rx.fullFrames.size(), 1u);
    EXPECT_EQ(rig.rx.fullFrames[0].h, 17);
    ASSERT_EQ(rig.rx.sequences.size(), 1u);
    EXPECT_EQ(rig.rx.sequences[0].timecode.h, 17);
}

TEST(MtcSender, ALateTickIsOneStrikeAndASeekSnapsAfterTwo) {
    MtcRig rig;
    rig.sender.locate(10.0);
    // Just before the third sequence's first piece, the thread stalls 200 ms
    // (five frames): the count goes on, the pieces it missed catch up, and
    // the next sequence is within three frames again.
    rig.timer.advanceTo(100.0 + 0.01 + 2 * 0.08 - 0.001);
    rig.clock.set(rig.clock.now() + 0.2);
    rig.run(0.5);
    expectCountsByTwo(rig.frames());
    EXPECT_EQ(rig.rx.brokenSequences, 0);

    // A seek with no locate: one sequence still counts on, the next snaps.
    while (rig.rx.pieceTimes.size() % 8 != 1)
        rig.timer.advanceTo(*rig.timer.nextDeadline());
    const std::size_t before = rig.rx.sequences.size(); // the one under way, latched before the seek
    rig.sender.update(500.0, std::numeric_limits<double>::max());
    rig.run(0.24);
    const auto after = rig.frames(before);
    ASSERT_GE(after.size(), 3u);
    EXPECT_EQ(after[1], after[0] + 2);
    EXPECT_EQ(after[2],
              timecode::frameNumber(TimecodeRate::fps25, 500.0 + rig.rx.sequences[before + 2].firstPieceTime -
                                                             rig.rx.sequences[before].firstPieceTime) &
                  ~1);
    EXPECT_EQ(rig.rx.fullFrames.size(), 1u);
}

TEST(MtcSender, TheCapHoldsTheCountNearIt) {
    MtcRig rig;
    rig.sender.locate(10.0);
    rig.sender.update(10.0, 10.1);
    rig.run(1.0);
    const std::int64_t capFrame = timecode::frameNumber(TimecodeRate::fps25, 10.1);
    const auto frames = rig.frames();
    EXPECT_LE(*std::max_element(frames.begin(), frames.end()), capFrame + MtcLatch::driftLimitFrames);
    EXPECT_GE(std::count(frames.begin(), frames.end(), capFrame & ~1), 3);
}

TEST(MtcSender, RateChangeAndReenablingRestartWithAFreshLatchAndNoFullFrame) {
    MtcRig rig;
    rig.sender.locate(20.0);
    rig.run(0.3);
    rig.sender.setRate(TimecodeRate::fps30);
    std::size_t mark = rig.rx.sequences.size();
    rig.run(0.3);
    ASSERT_GT(rig.rx.sequences.size(), mark);
    const auto& first = rig.rx.sequences[mark];
    EXPECT_EQ(first.timecode.rateCode, 3);
    EXPECT_EQ(first.timecode.frames(),
              timecode::frameNumber(TimecodeRate::fps30, 20.0 + first.firstPieceTime - 100.0) & ~1);

    // Off: nothing goes out; on again: the stream picks up where the playhead
    // is, not where the old count would be.
    rig.sender.setEnabled(false);
    const std::size_t sent = rig.rx.ports.size();
    rig.run(1.0);
    EXPECT_EQ(rig.rx.ports.size(), sent);
    rig.sender.setEnabled(true);
    mark = rig.rx.sequences.size();
    rig.run(0.2);
    ASSERT_GT(rig.rx.sequences.size(), mark);
    const auto& resumed = rig.rx.sequences[mark];
    EXPECT_EQ(resumed.timecode.frames(),
              timecode::frameNumber(TimecodeRate::fps30, 20.0 + resumed.firstPieceTime - 100.0) & ~1);
    EXPECT_EQ(rig.rx.fullFrames.size(), 1u);

    rig.sender.stop();
    const std::size_t stopped = rig.rx.ports.size();
    rig.run(1.0);
    EXPECT_EQ(rig.rx.ports.size(), stopped);
}

TEST(MtcSender, EnablingAfterALocateWhileOffStartsTheStream) {
    MtcRig rig;
    rig.sender.setEnabled(false);
    rig.sender.locate(5.0);
    rig.run(0.5);
    EXPECT_TRUE(rig.rx.ports.empty());
    rig.sender.setEnabled(true);
    rig.run(0.2);
    EXPECT_TRUE(rig.rx.fullFrames.empty());
    ASSERT_FALSE(rig.rx.sequences.empty());
    EXPECT_EQ(rig.rx.sequences[0].timecode.frames(),
              timecode::frameNumber(TimecodeRate::fps25, 5.0 + rig.rx.sequences[0].firstPieceTime - 100.0) &
                  ~1);
}

TEST(MtcSender, SendsOnTheVirtualPortAndToTheChosenDestinations) {
    MtcRig rig;
    EXPECT_EQ(rig.midi.portNames(), (std::vector<std::string>{"Ostinel MTC", "Ostinel TC Out"}));
    rig.midi.addDestination({"synth:in", "Synth"});
    rig.sender.setVirtualPortEnabled(false);
    rig.sender.locate(1.0);
    rig.run(0.5);
    EXPECT_TRUE(rig.rx.ports.empty());
    EXPECT_TRUE(rig.timer.nextDeadline()); // the clock still runs

    rig.sender.setDestinations({"synth:in"});
    rig.run(0.05);
    ASSERT_EQ(rig.rx.ports.size(), 5u);
    EXPECT_EQ(rig.rx.ports.back(), "Ostinel TC Out");
    EXPECT_EQ(rig.rx.endpoints.back(), std::vector<std::string>{"synth:in"});

    rig.sender.setVirtualPortEnabled(true);
    rig.run(0.01);
    EXPECT_EQ(std::count(rig.rx.ports.end() - 2, rig.rx.ports.end(), "Ostinel MTC"), 1);
    EXPECT_EQ(std::count(rig.rx.ports.end() - 2, rig.rx.ports.end(), "Ostinel TC Out"), 1);
}

TEST(MtcSender, ATickNeitherAllocatesNorWaits) {
    ManualClock clock{0.0};
    ManualQuarterFrameTimer timer{clock};
    LoopbackMidiSystem midi; // no tap: what the loopback keeps is not the sender's doing
    MTCSender sender{midi, clock, timer};
    sender.locate(42.0);
    test::RealtimeGuard guard;
    timer.advanceTo(2.0);
    EXPECT_EQ(guard.allocations(), 0);
    EXPECT_EQ(guard.mutexWaits(), 0);
}

} // namespace
} // namespace ostinel
