#pragma once

#include <string>

#include "timecode/TimecodeRate.h"

namespace ostinel {

class AppState;
class PlaybackEngine;

// What the header and the large timecode show: what is being sent while the
// selected cue plays, else where its timecode stands (or starts, when another
// file is loaded); 0 with nothing selected.
std::string currentTimecodeString(const AppState& state, const PlaybackEngine& engine, TimecodeRate rate);

} // namespace ostinel
