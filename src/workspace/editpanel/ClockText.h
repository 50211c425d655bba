#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace ostinel {

// How the time fields read what the operator types: plain seconds ("83.5"),
// minutes and seconds ("1:23.5") or hours too ("1:00:00"). Seconds past a
// colon stay below 60, and minutes below 60 once hours are given; anything
// else, and negative times, read as nothing.
std::optional<double> parseClock(std::string_view text);

// "h:mm:ss", with the milliseconds only when there are any: how a timecode
// start reads ("1:00:00" for 01:00:00:00).
std::string formatHours(double seconds);

} // namespace ostinel
