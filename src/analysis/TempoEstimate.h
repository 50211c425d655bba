#pragma once

#include <optional>
#include <string>
#include <utility>

namespace ostinel {

// One answer of the tempo detector; a value, never kept between runs.
struct TempoEstimate {
    double bpm = 0;           // rounded to two decimals
    double anchorSeconds = 0; // first chosen downbeat in file time, never negative
    double confidence = 0;    // 0 to 1
    bool isDrifting = false;  // the grid slides off the beat over the file's length
    friend bool operator==(const TempoEstimate&, const TempoEstimate&) = default;
};

// A closed range of seconds in file time.
using TempoRange = std::pair<double, double>;

} // namespace ostinel
