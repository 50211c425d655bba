#include "platform/AlsaSeqEncoder.h"

namespace ostinel::midiserver {

namespace {

bool dataBytes(const std::uint8_t* bytes, std::size_t from, std::size_t to) {
    for (std::size_t i = from; i < to; ++i)
        if (bytes[i] & 0x80) return false;
    return true;
}

// The status and exactly `count` data bytes.
bool shaped(const std::uint8_t* bytes, std::size_t size, std::size_t count) {
    return size == count + 1 && dataBytes(bytes, 1, size);
}

int fourteenBits(const std::uint8_t* bytes) { return bytes[1] | (bytes[2] << 7); }

bool systemEvent(const std::uint8_t* bytes, std::size_t size, snd_seq_event_t& event) {
    const std::uint8_t status = bytes[0];
    if (status == 0xF0) {
        if (size < 2 || bytes[size - 1] != 0xF7 || !dataBytes(bytes, 1, size - 1)) return false;
        // The sequencer copies the data out on output and never writes to it.
        snd_seq_ev_set_sysex(&event, unsigned(size), const_cast<std::uint8_t*>(bytes));
        return true;
    }
    snd_seq_ev_set_fixed(&event);
    switch (status) {
    case 0xF1:
    case 0xF3:
        if (!shaped(bytes, size, 1)) return false;
        event.type = status == 0xF1 ? SND_SEQ_EVENT_QFRAME : SND_SEQ_EVENT_SONGSEL;
        event.data.control.value = bytes[1];
        return true;
    case 0xF2:
        if (!shaped(bytes, size, 2)) return false;
        event.type = SND_SEQ_EVENT_SONGPOS;
        event.data.control.value = fourteenBits(bytes);
        return true;
    case 0xF6: event.type = SND_SEQ_EVENT_TUNE_REQUEST; break;
    case 0xF8: event.type = SND_SEQ_EVENT_CLOCK; break;
    case 0xFA: event.type = SND_SEQ_EVENT_START; break;
    case 0xFB: event.type = SND_SEQ_EVENT_CONTINUE; break;
    case 0xFC: event.type = SND_SEQ_EVENT_STOP; break;
    case 0xFE: event.type = SND_SEQ_EVENT_SENSING; break;
    case 0xFF: event.type = SND_SEQ_EVENT_RESET; break;
    default: return false;
    }
    return size == 1;
}

} // namespace

bool encodeSeqEvent(const std::uint8_t* bytes, std::size_t size, snd_seq_event_t& event) noexcept {
    if (size == 0 || !(bytes[0] & 0x80)) return false;
    if (bytes[0] >= 0xF0) return systemEvent(bytes, size, event);
    const int channel = bytes[0] & 0x0F;
    const bool oneDataByte = (bytes[0] & 0xE0) == 0xC0; // program change, channel pressure
    if (!shaped(bytes, size, oneDataByte ? 1 : 2)) return false;
    switch (bytes[0] & 0xF0) {
    case 0x80: snd_seq_ev_set_noteoff(&event, channel, bytes[1], bytes[2]); break;
    case 0x90: snd_seq_ev_set_noteon(&event, channel, bytes[1], bytes[2]); break;
    case 0xA0: snd_seq_ev_set_keypress(&event, channel, bytes[1], bytes[2]); break;
    case 0xB0: snd_seq_ev_set_controller(&event, channel, bytes[1], bytes[2]); break;
    case 0xC0: snd_seq_ev_set_pgmchange(&event, channel, bytes[1]); break;
    case 0xD0: snd_seq_ev_set_chanpress(&event, channel, bytes[1]); break;
    default: snd_seq_ev_set_pitchbend(&event, channel, fourteenBits(bytes) - 8192); break;
    }
    return true;
}

} // namespace ostinel::midiserver
