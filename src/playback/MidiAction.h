#pragma once

#include <array>
#include <optional>
#include <string_view>

namespace ostinel {

// The one command vocabulary raised by MIDI, OSC and the web remote. The
// order is an index for remotes, so it stays.
enum class MidiAction { previous, playPause, stop, next, go };

inline constexpr std::array<MidiAction, 5> allMidiActions{MidiAction::previous, MidiAction::playPause,
                                                         MidiAction::stop, MidiAction::next, MidiAction::go};

// The stored name, as in the "midiMappings" preference.
constexpr std::string_view midiActionName(MidiAction action) {
    constexpr std::array<std::string_view, 5> names{"previous", "playPause", "stop", "next", "go"};
    return names[static_cast<std::size_t>(action)];
}

constexpr std::optional<MidiAction> midiActionNamed(std::string_view name) {
    for (MidiAction action : allMidiActions)
        if (midiActionName(action) == name) return action;
    return std::nullopt;
}

} // namespace ostinel
