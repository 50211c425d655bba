#pragma once

// Our MIDI messages as ALSA sequencer events; private to the platform folder
// and its tests.

#include <alsa/asoundlib.h>

#include <cstddef>
#include <cstdint>

namespace ostinel::midiserver {

// Sets the type, length flags and data of `event` from one whole message:
// a channel message, a system common or real-time message, or a SysEx from
// 0xF0 to 0xF7. Leaves addresses and queue alone, so one event can be aimed
// at several ports. A SysEx points into `bytes`, which must outlive the
// event's output. False for anything else (a stray data byte, a wrong
// length, an undefined status), which is then not to be sent. Allocates
// nothing, so the real-time thread may call it.
bool encodeSeqEvent(const std::uint8_t* bytes, std::size_t size, snd_seq_event_t& event) noexcept;

} // namespace ostinel::midiserver
