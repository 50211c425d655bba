#pragma once

#include <optional>
#include <string>

namespace ostinel {

class PlaybackEngine;

// What the transport clocks show, gathered from the engine at one moment.
struct CueClockInput {
    bool loaded = false;
    double position = 0.0;
    double start = 0.0;
    // The effective out-point.
    double end = 0.0;
    // A loop holds the playhead and has not been asked to leave: how long the
    // cue still runs depends on when the operator lets it go.
    bool looping = false;
    // Seconds of timecode count-in before the audio starts.
    std::optional<double> preRollLeft;
};

struct CueClockTexts {
    std::string elapsed;
    std::string remaining;
};

inline constexpr const char* clockPlaceholder = "-:--.-";
inline constexpr const char* clockLooping = "LOOP";

// Elapsed counts from the in-point (negative before it and during the
// count-in); remaining counts down to the out-point, rounded up so that
// "0:00.0" means the cue has ended.
CueClockTexts cueClockTexts(const CueClockInput& input);

// `preRollStartedAt` is the main-loop date the present count-in began, which
// the engine keeps to itself.
CueClockInput cueClockInput(const PlaybackEngine& engine, double now, std::optional<double> preRollStartedAt);

// A meter's peak marker: jumps up with the level, holds, then falls back.
struct PeakHold {
    static constexpr double holdSeconds = 1.5;
    // Linear amplitude per second once the hold has run out.
    static constexpr double fallPerSecond = 0.5;

    float value = 0.0f;
    double heldAt = 0.0;
    double lastFeed = 0.0;

    void feed(float level, double now);
    void reset() { *this = {}; }
};

} // namespace ostinel
