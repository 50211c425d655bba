#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "document/Show.h"

namespace ostinel {

// The key a whole MIDI message presses: a Note On or a Control Change with a
// value above 0. Releases (Note Off, velocity 0, CC 0) and everything else
// give nothing, so letting go of a button never fires. Allocation-free, for
// the MIDI thread.
std::optional<MidiKey> incomingMidiKey(const std::uint8_t* bytes, std::size_t size) noexcept;

} // namespace ostinel
