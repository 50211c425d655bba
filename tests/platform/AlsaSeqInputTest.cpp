#include <alsa/asoundlib.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/AlsaSeqInput.h"
#include "platform/AlsaSeqPorts.h"

namespace ostinel::midiserver {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr int self = 129;
constexpr unsigned in = SND_SEQ_PORT_CAP_WRITE | SND_SEQ_PORT_CAP_SUBS_WRITE;
constexpr unsigned out = SND_SEQ_PORT_CAP_READ | SND_SEQ_PORT_CAP_SUBS_READ;

TEST(AlsaSeqInput, ListensToEveryOtherSourceButTheSystemAndOstinelsOwnOutputs) {
    const std::vector<SeqPort> ports = {
        {0, 0, "System", "Timer", in | out},
        {0, 1, "System", "Announce", out},
        {14, 0, "Midi Through", "Midi Through Port-0", in | out},
        {20, 0, "USB Keys", "USB Keys MIDI 1", in | out},
        {20, 1, "USB Keys", "USB Keys MIDI 2", in},                        // only a destination
        {128, 0, "Synth", "Read only", SND_SEQ_PORT_CAP_READ},             // no subscriptions
        {128, 1, "Synth", "Private", out | SND_SEQ_PORT_CAP_NO_EXPORT},    // refuses routing
        {128, 2, "Synth", "", out},                                        // unnamed: heard
        {130, 0, "Ostinel", "Ostinel MTC", out},                           // another Ostinel
        {130, 1, "Ostinel", "Ostinel Triggers", out},
        {130, 2, "Ostinel", "Ostinel Triggers Out", out},
        {130, 3, "Ostinel", "Ostinel In", in},
        {self, 0, "Ostinel", "Loop back", out},                            // ours
    };
    std::vector<std::string> chosen;
    for (const auto& address : seqSources(ports, self))
        chosen.push_back(seqEndpoint(address.client, address.port));
    EXPECT_EQ(chosen, (std::vector<std::string>{"14:0", "20:0", "128:2"}));
}

// alsa-lib's own coder makes the events a device's bytes become.
snd_seq_event_t eventOf(const Bytes& bytes) {
    snd_midi_event_t* coder = nullptr;
    snd_midi_event_new(64, &coder);
    snd_seq_event_t event;
    snd_seq_ev_clear(&event);
    snd_midi_event_encode(coder, bytes.data(), long(bytes.size()), &event);
    snd_midi_event_free(coder);
    return event;
}

Bytes messageOf(const snd_seq_event_t& event) {
    std::uint8_t bytes[3] = {0xEE, 0xEE, 0xEE};
    const std::size_t size = seqEventMessage(event, bytes);
    return Bytes(bytes, bytes + size);
}

TEST(AlsaSeqInput, NotesAndControllersComeBackAsTheirBytesAndNothingElseDoes) {
    for (const Bytes& bytes : std::vector<Bytes>{
             {0x90, 60, 100}, {0x9F, 0, 127}, {0x92, 61, 0}, {0x85, 62, 40}, {0xB0, 7, 0}, {0xBC, 20, 127}}) {
        const snd_seq_event_t event = eventOf(bytes);
        EXPECT_EQ(messageOf(event), bytes) << ::testing::PrintToString(bytes) << " type " << int(event.type);
    }
    for (const Bytes& bytes : std::vector<Bytes>{
             {0xA1, 64, 33}, {0xC5, 12}, {0xD3, 90}, {0xE0, 0x00, 0x40}, {0xF1, 0x21}, {0xF8},
             {0xF0, 0x7E, 0x7F, 0x06, 0x01, 0xF7}}) {
        const snd_seq_event_t event = eventOf(bytes);
        EXPECT_EQ(messageOf(event), Bytes{}) << ::testing::PrintToString(bytes);
    }
    snd_seq_event_t announcement;
    snd_seq_ev_clear(&announcement);
    announcement.type = SND_SEQ_EVENT_PORT_START;
    EXPECT_EQ(messageOf(announcement), Bytes{});
}

} // namespace
} // namespace ostinel::midiserver
