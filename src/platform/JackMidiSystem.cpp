#include "platform/AudioSystem.h"
#include "platform/MidiSystemBackends.h"

namespace ostinel::midiserver {

Expected<std::unique_ptr<MidiSystem>> openJackMidi(AudioSystem&) { return Error{"JACK MIDI: not built yet."}; }

} // namespace ostinel::midiserver
