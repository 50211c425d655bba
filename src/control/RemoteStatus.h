#pragma once

#include <string>

namespace ostinel {

class AppState;
class PlaybackEngine;

// What a web remote is shown, as the JSON text of one message: the whole
// visible state (sent when it changes), and the moving position (sent four
// times a second when it changes).
std::string remoteStateMessage(const AppState& state, const PlaybackEngine& engine);
// `now` in main-loop seconds, for the pre-roll's countdown.
std::string remotePositionMessage(const AppState& state, const PlaybackEngine& engine, double now);

} // namespace ostinel
