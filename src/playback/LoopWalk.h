#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <variant>
#include <vector>

#include "document/TimelineItems.h"

namespace ostinel {

// What plays next after what has been queued: stretches of the file and the
// seams that jump back to a loop's start. Pure; the scheduler's lock guards it.
// Everything here speaks of what has been queued, never of what is heard.
struct LoopWalk {
    static constexpr double epsilon = 0.000001;

    struct Segment {
        double start = 0.0;
        double end = 0.0;
        std::optional<Uuid> loopID;
        bool isFinal = false;
        friend bool operator==(const Segment&, const Segment&) = default;
    };
    // Play the prepared seam of `loop`, `seconds` long, then go on from the
    // loop's start plus `seconds`.
    struct Bridge {
        Loop loop;
        double seconds = 0.0;
        friend bool operator==(const Bridge&, const Bridge&) = default;
    };
    using Step = std::variant<Segment, Bridge>;

    // What an exit request achieved.
    enum class ExitTarget { loop, finalPass, cue };

    using BridgeSeconds = std::function<std::optional<double>(const Loop&)>;

    // Configuration.
    double startTime = 0.0;
    double outEnd = 0.0;
    std::vector<Loop> loops; // stored order; never sorted here
    bool loopsCue = false;

    // Walk state.
    double cursor = 0.0;
    bool isDone = false;
    std::optional<Uuid> loopID;
    std::int64_t passes = 0;
    std::optional<Loop> pendingBridge; // a copy: later edits don't alter a seam owed
    std::optional<Uuid> exitRequestedLoopID;
    bool cueExitRequested = false;

    // The synthetic loop over the whole range, when the cue loops and the
    // range is long enough to loop.
    std::optional<Loop> cueLoop() const;

    // The next step, or nothing once the walk is over (isDone is then set).
    std::optional<Step> next(const BridgeSeconds& bridgeSeconds);
};

// Turns audio actually played, in samples of the player's timeline, back into
// ranges of track time, so triggers fire once per pass and never for audio
// that was skipped.
namespace PlayedSpans {

struct Piece {
    std::int64_t startSample = 0;
    std::int64_t fileStart = 0;
    std::int64_t frames = 0;
    friend bool operator==(const Piece&, const Piece&) = default;
};

// A position p was played when after < p <= through.
struct Span {
    double after = 0.0;
    double through = 0.0;
    bool contains(double p) const { return after < p && p <= through; }
    friend bool operator==(const Span&, const Span&) = default;
};

struct Result {
    std::vector<Span> spans;
    std::optional<std::int64_t> lastEnd;
};

Result spans(const std::vector<Piece>& pieces, std::int64_t cursorSample, std::int64_t upTo,
             std::optional<std::int64_t> lastEnd, double sampleRate);

} // namespace PlayedSpans

} // namespace ostinel
