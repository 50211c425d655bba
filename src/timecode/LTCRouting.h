#pragma once

#include <optional>
#include <string>

#include "timecode/TimecodeRate.h"

namespace ostinel {

class LTCOutputEngine;
class PlaybackEngine;

// The user's LTC routing settings, as the timecode controller holds them.
struct LTCRouting {
    bool enabled = false;
    LTCMode mode = LTCMode::splitMain;
    bool splitLTCOnRight = true;
    std::optional<std::string> deviceUID; // customRoute; none = the system default
    int channel = 0;                      // customRoute; zero-based
};

inline constexpr const char* ltcOverlapNotice =
    "LTC channel overlaps the music output pair — pick another channel or use Split mode.";

// Where the LTC goes and what that leaves the music: run whenever the
// settings change, the main output changes (device or pair), at start-up and
// when the main output device is re-applied. Main thread.
void applyLTCRouting(const LTCRouting& settings, LTCOutputEngine& ltc, PlaybackEngine& engine);

} // namespace ostinel
