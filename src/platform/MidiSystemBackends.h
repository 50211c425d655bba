#pragma once

// The MIDI servers behind MidiSystem::create; private to the platform folder
// and its tests.

#include <algorithm>
#include <array>
#include <memory>
#include <string_view>

#include "platform/MidiSystem.h"

namespace ostinel::midiserver {

// Ports on the JACK client of `audio`, which must be the JACK backend.
Expected<std::unique_ptr<MidiSystem>> openJackMidi(AudioSystem& audio);
Expected<std::unique_ptr<MidiSystem>> openAlsaMidi();

// The names of the outputs every Ostinel makes: our input never listens to
// them, ours or another's, so that we don't hear ourselves.
inline bool isOstinelOutputName(std::string_view name) {
    constexpr std::array<std::string_view, 3> names{"Ostinel MTC", "Ostinel Triggers",
                                                    "Ostinel Triggers Out"};
    return std::find(names.begin(), names.end(), name) != names.end();
}

} // namespace ostinel::midiserver
