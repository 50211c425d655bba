#include "control/IncomingMidiKey.h"

namespace ostinel {

std::optional<MidiKey> incomingMidiKey(const std::uint8_t* bytes, std::size_t size) noexcept {
    if (!bytes || size < 3) return std::nullopt;
    const std::uint8_t status = bytes[0];
    if ((bytes[1] | bytes[2]) & 0x80) return std::nullopt;
    MidiKey key;
    switch (status & 0xF0) {
    case 0x90: key.kind = MidiKey::Kind::note; break;
    case 0xB0: key.kind = MidiKey::Kind::cc; break;
    default: return std::nullopt;
    }
    if (bytes[2] == 0) return std::nullopt;
    key.channel = status & 0x0F;
    key.number = bytes[1];
    return key;
}

} // namespace ostinel
