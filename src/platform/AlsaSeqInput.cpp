#include "platform/AlsaSeqInput.h"

namespace ostinel::midiserver {

namespace {

std::size_t channelMessage(std::uint8_t status, unsigned channel, unsigned first, unsigned second,
                           std::uint8_t (&bytes)[3]) {
    bytes[0] = std::uint8_t(status | (channel & 0x0F));
    bytes[1] = std::uint8_t(first & 0x7F);
    bytes[2] = std::uint8_t(second & 0x7F);
    return 3;
}

} // namespace

std::size_t seqEventMessage(const snd_seq_event_t& event, std::uint8_t (&bytes)[3]) noexcept {
    const auto& note = event.data.note;
    const auto& control = event.data.control;
    switch (event.type) {
    case SND_SEQ_EVENT_NOTEON: return channelMessage(0x90, note.channel, note.note, note.velocity, bytes);
    case SND_SEQ_EVENT_NOTEOFF: return channelMessage(0x80, note.channel, note.note, note.velocity, bytes);
    case SND_SEQ_EVENT_CONTROLLER:
        return channelMessage(0xB0, control.channel, control.param, unsigned(control.value), bytes);
    default: return 0;
    }
}

} // namespace ostinel::midiserver
