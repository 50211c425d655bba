#pragma once

#include <functional>
#include <iosfwd>
#include <optional>
#include <string>

#include "document/Track.h"

namespace ostinel {
class MidiOutputController;
class PlaybackEngine;
class TimecodeController;
}

namespace ostinel::cli {

// Cue `number` (1-based, as text) of a show file; prints why not on failure.
std::optional<Track> openCue(const std::string& showPath, const std::string& number);

// GO as this tool knows it: a stopped cue plays, a playing one leaves the
// loop it is in.
void go(PlaybackEngine& engine);

// Writes the engine's events as JSON lines, one per event, each stamped with
// `clock` (seconds of output).
class EventLog {
public:
    EventLog(PlaybackEngine& engine, std::function<double()> clock, std::ostream& out);
    // A "loop" line when the active loop or its exit flags changed since the
    // last call.
    void checkLoop();
    void print(const std::string& event, const std::string& key, const std::string& text);
    // Called after the "reachedEnd" line.
    std::function<void()> onReachedEnd;

private:
    PlaybackEngine& engine_;
    std::function<double()> clock_;
    std::ostream& out_;
    std::string lastLoop_;
};

// Feeds the timecode outputs and the trigger output from the engine, after
// whatever its callbacks already do (the event log's lines).
void attachSends(PlaybackEngine& engine, TimecodeController& timecode, MidiOutputController& triggers);

} // namespace ostinel::cli
