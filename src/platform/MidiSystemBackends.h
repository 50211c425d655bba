#pragma once

// The MIDI servers behind MidiSystem::create; private to the platform folder
// and its tests.

#include <memory>

#include "platform/MidiSystem.h"

namespace ostinel::midiserver {

// Ports on the JACK client of `audio`, which must be the JACK backend.
Expected<std::unique_ptr<MidiSystem>> openJackMidi(AudioSystem& audio);
Expected<std::unique_ptr<MidiSystem>> openAlsaMidi();

} // namespace ostinel::midiserver
