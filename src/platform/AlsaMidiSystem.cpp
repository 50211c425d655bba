#include "platform/MidiSystemBackends.h"

namespace ostinel::midiserver {

Expected<std::unique_ptr<MidiSystem>> openAlsaMidi() { return Error{"ALSA MIDI: not built yet."}; }

} // namespace ostinel::midiserver
