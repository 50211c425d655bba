#include "playback/LoopWalk.h"

#include <algorithm>

#include "document/Track.h"

namespace ostinel {

std::optional<Loop> LoopWalk::cueLoop() const {
    if (!loopsCue || outEnd - startTime < Constraint::minLoopLength) return std::nullopt;
    Loop cue;
    cue.id = Loop::cueLoopID;
    cue.startSeconds = startTime;
    cue.endSeconds = outEnd;
    return cue;
}

std::optional<LoopWalk::Step> LoopWalk::next(const BridgeSeconds& bridgeSeconds) {
    // A seam owed: take it, unless this loop was told to leave.
    if (pendingBridge) {
        Loop owed = *pendingBridge;
        pendingBridge.reset();
        if (exitRequestedLoopID == owed.id) {
            exitRequestedLoopID.reset();
            loopID.reset();
        } else {
            loopID = owed.id;
            if (auto s = bridgeSeconds(owed)) {
                cursor = owed.startSeconds + *s;
                return Bridge{owed, *s};
            }
            cursor = owed.startSeconds;
        }
    }

    // End of the range: the cue loop comes round, or the walk is over.
    if (outEnd - epsilon <= cursor) {
        auto cue = cueLoop();
        if (!cue || cueExitRequested) {
            isDone = true;
            return std::nullopt;
        }
        loopID.reset();
        passes = 0; // loops inside count their passes afresh on each round
        if (auto s = bridgeSeconds(*cue)) {
            cursor = startTime + *s;
            return Bridge{*cue, *s};
        }
        cursor = startTime;
    }

    const double start = cursor;
    const Loop* under = nullptr;
    for (const Loop& l : loops) {
        if (l.enabled && l.startSeconds - epsilon <= cursor && cursor < l.endSeconds - epsilon) {
            under = &l;
            break;
        }
    }

    Segment segment;
    segment.start = start;
    if (!under) {
        loopID.reset();
        segment.end = outEnd;
        for (const Loop& l : loops)
            if (l.enabled && cursor + epsilon < l.startSeconds && l.startSeconds < outEnd)
                segment.end = std::min(segment.end, l.startSeconds);
        if (cueLoop()) {
            segment.loopID = Loop::cueLoopID;
            segment.isFinal = cueExitRequested;
        }
    } else {
        if (loopID != under->id) {
            loopID = under->id;
            passes = 0;
        }
        segment.loopID = under->id;
        segment.end = under->endSeconds > outEnd ? outEnd : under->endSeconds;
        const std::int64_t n = passes + 1;
        const bool wantsRepeat = !under->playCountEnabled || n < std::max<std::int64_t>(under->playCount, 1);
        // A loop running past the out-point plays once, up to it.
        if (wantsRepeat && under->endSeconds <= outEnd + epsilon) {
            passes = n;
            pendingBridge = *under;
            segment.isFinal = false;
        } else {
            loopID.reset();
            segment.isFinal = true;
        }
    }

    // An exit request only ever applies to the loop being handed out now.
    if (exitRequestedLoopID && exitRequestedLoopID != segment.loopID) exitRequestedLoopID.reset();

    cursor = segment.end;
    return segment;
}

namespace PlayedSpans {

Result spans(const std::vector<Piece>& pieces, std::int64_t cursorSample, std::int64_t upTo,
             std::optional<std::int64_t> lastEnd, double sampleRate) {
    Result result;
    result.lastEnd = lastEnd;
    if (upTo <= cursorSample) return result;
    const double rate = std::max(sampleRate, 1.0);
    for (const Piece& piece : pieces) {
        const std::int64_t lo = std::max(piece.startSample, cursorSample);
        const std::int64_t hi = std::min(piece.startSample + piece.frames, upTo);
        if (lo >= hi) continue;
        const std::int64_t a = piece.fileStart + (lo - piece.startSample);
        const std::int64_t b = piece.fileStart + (hi - piece.startSample);
        if (result.lastEnd != a) {
            // A new run: first play, or a seam jumped. The epsilon lets a
            // trigger on the very first frame fire.
            result.spans.push_back({double(a) / rate - LoopWalk::epsilon, double(b) / rate});
        } else if (!result.spans.empty()) {
            result.spans.back().through = double(b) / rate;
        } else {
            // Continues the last call: its boundary has fired already.
            result.spans.push_back({double(a) / rate, double(b) / rate});
        }
        result.lastEnd = b;
    }
    return result;
}

} // namespace PlayedSpans

} // namespace ostinel
