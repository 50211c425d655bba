#pragma once

#include <map>
#include <optional>
#include <string>

#include "base/Uuid.h"
#include "document/LoudnessMeasurement.h"
#include "document/Show.h"

namespace ostinel {

// Puts cues on one loudness without any of them reaching the master limiter:
// the gain stops where the true peak would pass the peak ceiling, and never
// goes past the gain ceiling.
namespace LevelMatch {

inline constexpr double peakCeilingDb = -1.0;
inline constexpr double gainCeilingDb = 15.0;
inline constexpr double defaultTargetLufs = -16.0;

struct Change {
    double gainDb = 0;   // what is applied, after both ceilings
    double volume = 1;   // the track's new linear volume
    bool peakLimited = false;
    bool ceilingHit = false;
};

// Absolute, not relative to the present volume: the same file and target
// always give the same volume.
Change change(const LoudnessMeasurement& m, double targetLufs);

struct Outcome {
    Show show;
    int limited = 0;
    int ceiling = 0;
};

// Every track with a measurement, in show order; the others are untouched.
Outcome apply(const Show& show, const std::map<Uuid, LoudnessMeasurement>& measurements, double targetLufs);

// "Levels matched — …." when some cue stopped short; nothing otherwise.
std::optional<std::string> message(int limited, int ceiling);

// The row note of the Match Levels table, the first that holds.
std::optional<std::string> note(const Change& c);

} // namespace LevelMatch
} // namespace ostinel
