#pragma once

namespace ostinel {

// The one command vocabulary raised by MIDI, OSC and the web remote.
enum class MidiAction { previous, playPause, stop, next, go };

} // namespace ostinel
