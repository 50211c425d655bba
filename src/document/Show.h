#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "base/CowList.h"
#include "document/Track.h"

namespace ostinel {

enum class AppMode { edit, show };

// An incoming MIDI note or controller mapped to an action.
struct MidiKey {
    enum class Kind { note, cc };
    Kind kind = Kind::note;
    std::int64_t channel = 0;
    std::int64_t number = 0;

    std::string label() const { return (kind == Kind::note ? "N" : "CC") + std::to_string(number); }
    friend bool operator==(const MidiKey&, const MidiKey&) = default;
    friend auto operator<=>(const MidiKey&, const MidiKey&) = default;
};

struct Show {
    std::string name = "Untitled Show";
    CowList<Track> tracks;
    // Keyed by the track's UUID string; stale or malformed keys are kept on
    // disk and filtered out when read through the application state.
    Cow<std::map<std::string, MidiKey>> midiTrackMappings;
    Cow<std::map<std::string, std::int64_t>> numberMappings;
    std::string oscTriggerHost;
    std::int64_t oscTriggerPort = 53000;
    bool showNoteTimeline = true;
    bool showMidiTimeline = true;
    bool showOSCTimeline = true;
    AppMode lastMode = AppMode::edit;

    friend bool operator==(const Show&, const Show&) = default;

    // The running time shown under the list: every cue that is not skipped.
    double totalLength() const;
    std::ptrdiff_t indexOfTrack(const Uuid& id) const {
        return tracks.indexWhere([&](const Track& t) { return t.id == id; });
    }
    const Track* track(const Uuid& id) const {
        return tracks.findIf([&](const Track& t) { return t.id == id; });
    }
};

} // namespace ostinel
