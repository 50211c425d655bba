#pragma once

namespace ostinel {

// Kept for the run of the process and in the analysis cache, never in the
// show file.
struct LoudnessMeasurement {
    double lufs = 0;
    double peakDb = 0;
    double truePeakDb = 0;
    friend bool operator==(const LoudnessMeasurement&, const LoudnessMeasurement&) = default;
};

} // namespace ostinel
