#pragma once

#include <cstdio>
#include <cstdlib>
#include <optional>

#include "timecode/TimecodeRate.h"

namespace ostinel::bench {

// "[seconds] [rate]", as both MTC timing benchmarks take them; 30 s at
// 25 fps unless told. Nothing, having said why, for an unknown rate.
struct MtcBenchArgs {
    double seconds = 30.0;
    TimecodeRate rate = TimecodeRate::fps25;
    double interval() const { return 1.0 / timecode::quarterFramesPerSecond(rate); }
};

inline std::optional<MtcBenchArgs> mtcBenchArgs(int argc, char** argv, double seconds = 30.0) {
    MtcBenchArgs args;
    args.seconds = argc > 1 ? std::atof(argv[1]) : seconds;
    if (argc > 2) {
        auto parsed = timecode::rateFromRaw(argv[2]);
        if (!parsed) {
            std::fprintf(stderr, "unknown rate %s\n", argv[2]);
            return std::nullopt;
        }
        args.rate = *parsed;
    }
    return args;
}

} // namespace ostinel::bench
