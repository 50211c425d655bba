#pragma once

// The sequencer events our input hears, as the MIDI bytes the controls
// read; private to the platform folder and its tests.

#include <alsa/asoundlib.h>

#include <cstddef>
#include <cstdint>

namespace ostinel::midiserver {

// A note on, a note off or a control change as its three bytes (status with
// the channel, then the two data bytes); 0 for every other event, which no
// control reads.
std::size_t seqEventMessage(const snd_seq_event_t& event, std::uint8_t (&bytes)[3]) noexcept;

} // namespace ostinel::midiserver
