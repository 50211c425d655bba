#include <gtest/gtest.h>

#include "playback/LoopWalk.h"

using namespace ostinel;
using Segment = LoopWalk::Segment;
using Bridge = LoopWalk::Bridge;

namespace {
Loop makeLoop(double start, double end, bool counted = false, std::int64_t count = 2) {
    return Loop{.startSeconds = start, .endSeconds = end, .playCountEnabled = counted, .playCount = count};
}

LoopWalk walkOver(double start, double end, std::vector<Loop> loops, bool cue = false) {
    LoopWalk w;
    w.startTime = start;
    w.outEnd = end;
    w.cursor = start;
    w.loops = std::move(loops);
    w.loopsCue = cue;
    return w;
}

const LoopWalk::BridgeSeconds fiveMs = [](const Loop&) { return std::optional<double>(0.005); };
const LoopWalk::BridgeSeconds noBridge = [](const Loop&) { return std::optional<double>(); };

Segment segmentOf(const std::optional<LoopWalk::Step>& step) {
    EXPECT_TRUE(step && std::holds_alternative<Segment>(*step));
    return step && std::holds_alternative<Segment>(*step) ? std::get<Segment>(*step) : Segment{};
}
} // namespace

// Walks left alone: every segment they queue, in order, then the end.
TEST(LoopWalk, UnattendedWalksQueueExactlyTheseSegments) {
    struct Expect {
        double start, end;
        int loop; // index into the case's loops, or -1 for none
        bool isFinal;
        bool afterBridge = false; // a 5 ms bridge into it comes first
    };
    struct Case {
        const char* what;
        double start, end, cursor;
        std::vector<Loop> loops;
        bool cue, bridged;
        std::vector<Expect> steps;
    };
    Loop disabled = makeLoop(1, 2);
    disabled.enabled = false;
    const Case cases[] = {
        {"a counted loop repeats through bridges and leaves", 0, 30, 0, {makeLoop(10, 20, true, 3)}, false, true,
         {{0, 10, -1, false}, {10, 20, 0, false}, {10.005, 20, 0, false, true}, {10.005, 20, 0, true, true},
          {20, 30, -1, false}}},
        {"without a bridge a pass starts exactly on the loop start", 1, 3, 1, {makeLoop(1, 2, true, 2)}, false, false,
         {{1, 2, 0, false}, {1, 2, 0, true}, {2, 3, -1, false}}},
        {"a play count of 0 is one final pass", 1, 3, 1, {makeLoop(1, 2, true, 0)}, false, true,
         {{1, 2, 0, true}, {2, 3, -1, false}}},
        {"a play count of 1 is one final pass", 1, 3, 1, {makeLoop(1, 2, true, 1)}, false, true,
         {{1, 2, 0, true}, {2, 3, -1, false}}},
        {"a fresh walk inside a loop starts there at pass one", 0, 5, 2.5, {makeLoop(1, 4, true, 3)}, false, false,
         {{2.5, 4, 0, false}, {1, 4, 0, false}, {1, 4, 0, true}, {4, 5, -1, false}}},
        {"a cursor within epsilon of the out-point ends at once", 0, 5, 5 - 0.0000005, {}, false, true, {}},
        {"a disabled loop neither contains nor breaks; an empty one breaks the segment only", 0, 5, 0,
         {disabled, makeLoop(3, 3)}, false, true, {{0, 3, -1, false}, {3, 5, -1, false}}},
        {"a loop past the out-point plays once up to it", 0, 5, 0, {makeLoop(2, 8)}, false, true,
         {{0, 2, -1, false}, {2, 5, 0, true}}},
        {"too short a range never cue-loops", 1, 1.049, 1, {}, true, true, {{1, 1.049, -1, false}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        LoopWalk w = walkOver(c.start, c.end, c.loops, c.cue);
        w.cursor = c.cursor;
        EXPECT_TRUE(!c.cue || !w.cueLoop());
        for (const Expect& e : c.steps) {
            const auto id = e.loop < 0 ? std::nullopt : std::optional(c.loops[std::size_t(e.loop)].id);
            if (e.afterBridge) {
                EXPECT_EQ(w.next(fiveMs), LoopWalk::Step(Bridge{c.loops[std::size_t(e.loop)], 0.005}));
            }
            EXPECT_EQ(segmentOf(w.next(c.bridged ? fiveMs : noBridge)), (Segment{e.start, e.end, id, e.isFinal}));
        }
        EXPECT_FALSE(w.next(fiveMs));
        EXPECT_TRUE(w.isDone);
    }
}

TEST(LoopWalk, OpenLoopRepeatsUntilAskedToLeave) {
    Loop loop = makeLoop(1, 2);
    LoopWalk w = walkOver(0, 3, {loop});
    w.next(fiveMs);
    for (int pass = 0; pass < 50; ++pass) {
        EXPECT_FALSE(segmentOf(w.next(fiveMs)).isFinal);
        EXPECT_TRUE(std::holds_alternative<Bridge>(*w.next(fiveMs)));
    }
    w.next(fiveMs); // a pass is queued with its seam owed
    w.exitRequestedLoopID = loop.id;
    // The seam is simply not taken: on from the loop's end.
    EXPECT_EQ(segmentOf(w.next(fiveMs)), (Segment{2, 3, std::nullopt, false}));
    EXPECT_FALSE(w.exitRequestedLoopID);
}

TEST(LoopWalk, StaleExitRequestIsClearedWithoutEffect) {
    Loop a = makeLoop(1, 2, true, 2);
    LoopWalk w = walkOver(0, 4, {a});
    w.next(fiveMs);
    w.exitRequestedLoopID = Uuid::random(); // a loop already left
    EXPECT_EQ(segmentOf(w.next(fiveMs)), (Segment{1, 2, a.id, false}));
    EXPECT_FALSE(w.exitRequestedLoopID);
}

TEST(LoopWalk, CueLoopWrapsAndRecountsInnerLoops) {
    Loop inner = makeLoop(1, 2, true, 2);
    LoopWalk w = walkOver(0, 3, {inner}, true);
    ASSERT_TRUE(w.cueLoop());
    EXPECT_EQ(w.cueLoop()->id, Loop::cueLoopID);
    EXPECT_EQ(segmentOf(w.next(noBridge)), (Segment{0, 1, Loop::cueLoopID, false}));
    EXPECT_EQ(segmentOf(w.next(noBridge)), (Segment{1, 2, inner.id, false}));
    EXPECT_EQ(segmentOf(w.next(noBridge)), (Segment{1, 2, inner.id, true}));
    EXPECT_EQ(segmentOf(w.next(noBridge)), (Segment{2, 3, Loop::cueLoopID, false}));
    auto seam = w.next(fiveMs);
    ASSERT_TRUE(seam && std::holds_alternative<Bridge>(*seam));
    EXPECT_EQ(std::get<Bridge>(*seam).loop.id, Loop::cueLoopID);
    EXPECT_EQ(segmentOf(w.next(noBridge)), (Segment{0.005, 1, Loop::cueLoopID, false}));
    EXPECT_EQ(segmentOf(w.next(noBridge)), (Segment{1, 2, inner.id, false})); // counted afresh
    w.cueExitRequested = true;
    EXPECT_EQ(segmentOf(w.next(noBridge)), (Segment{1, 2, inner.id, true}));
    EXPECT_EQ(segmentOf(w.next(noBridge)), (Segment{2, 3, Loop::cueLoopID, true}));
    EXPECT_FALSE(w.next(noBridge));
}

TEST(LoopWalk, LeavingALoopOnTheOutPointGoesToTheCueSeam) {
    Loop loop = makeLoop(2, 3);
    LoopWalk w = walkOver(0, 3, {loop}, true);
    w.next(noBridge);
    w.next(noBridge);
    w.exitRequestedLoopID = loop.id;
    auto step = w.next(fiveMs);
    ASSERT_TRUE(step && std::holds_alternative<Bridge>(*step));
    EXPECT_EQ(std::get<Bridge>(*step).loop.id, Loop::cueLoopID);
}

TEST(PlayedSpans, JoinsContinuousAudioAndSplitsAtSeams) {
    using namespace PlayedSpans;
    const double rate = 100;
    // File frames 0..100, then a seam back to frame 50.
    std::vector<Piece> pieces{{0, 0, 100}, {100, 50, 50}};
    auto first = spans(pieces, 0, 80, std::nullopt, rate);
    ASSERT_EQ(first.spans.size(), 1u);
    EXPECT_DOUBLE_EQ(first.spans[0].after, -LoopWalk::epsilon); // the first frame fires
    EXPECT_DOUBLE_EQ(first.spans[0].through, 0.8);
    EXPECT_EQ(first.lastEnd, 80);
    // Continuing: no epsilon at the boundary, and the seam opens a new span.
    auto second = spans(pieces, 80, 130, first.lastEnd, rate);
    ASSERT_EQ(second.spans.size(), 2u);
    EXPECT_EQ(second.spans[0], (Span{0.8, 1.0}));
    EXPECT_DOUBLE_EQ(second.spans[1].after, 0.5 - LoopWalk::epsilon);
    EXPECT_DOUBLE_EQ(second.spans[1].through, 0.8);
    EXPECT_FALSE(second.spans[0].contains(0.8));
    EXPECT_TRUE(second.spans[1].contains(0.8)); // fires again on the next pass
    // Pieces that join exactly give one span.
    auto joined = spans({{0, 0, 10}, {10, 10, 10}}, 0, 20, std::nullopt, rate);
    ASSERT_EQ(joined.spans.size(), 1u);
    EXPECT_DOUBLE_EQ(joined.spans[0].through, 0.2);
    EXPECT_TRUE(spans(pieces, 50, 50, 7, rate).spans.empty());
}
