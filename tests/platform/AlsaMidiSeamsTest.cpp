#include <alsa/asoundlib.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <vector>

#include "platform/AlsaSeqEncoder.h"
#include "platform/AlsaSeqPorts.h"
#include "platform/MidiSystemBackends.h"

namespace ostinel::midiserver {
namespace {

using Bytes = std::vector<std::uint8_t>;

// alsa-lib's own coder, the independent judge of our events.
class AlsaCoder {
public:
    AlsaCoder() {
        snd_midi_event_new(64, &coder_);
        snd_midi_event_no_status(coder_, 1);
    }
    ~AlsaCoder() { snd_midi_event_free(coder_); }

    snd_seq_event_t encode(const Bytes& bytes) {
        snd_seq_event_t event;
        snd_seq_ev_clear(&event);
        snd_midi_event_reset_encode(coder_);
        snd_midi_event_encode(coder_, bytes.data(), long(bytes.size()), &event);
        return event;
    }
    Bytes decode(const snd_seq_event_t& event) {
        unsigned char out[64] = {};
        snd_midi_event_reset_decode(coder_);
        const long n = snd_midi_event_decode(coder_, out, sizeof out, &event);
        return n > 0 ? Bytes(out, out + n) : Bytes{};
    }

private:
    snd_midi_event_t* coder_ = nullptr;
};

TEST(AlsaMidiSeams, EncodesWhatWeSendAsAlsaLibDoesAndDecodesBackToTheSameBytes) {
    const std::vector<Bytes> messages = {
        {0x92, 60, 100},         // note on, channel 3
        {0x92, 60, 0},           // note on at zero velocity stays a note on
        {0x8F, 127, 0},          // note off, channel 16
        {0xA1, 64, 33},          // key pressure
        {0xB0, 7, 0},            // a CC of zero is still sent
        {0xC5, 12},              // program change
        {0xD3, 90},              // channel pressure
        {0xE0, 0x00, 0x40},      // pitch bend at rest
        {0xE0, 0x7F, 0x7F},      // pitch bend at the top
        {0xF1, 0x00},            // quarter frames: first and last piece
        {0xF1, 0x73},
        {0xF2, 0x10, 0x02},      // song position
        {0xF3, 5},               // song select
        {0xF6},                  // tune request
        {0xF8}, {0xFA}, {0xFC},  // clock, start, stop
        {0xF0, 0x7F, 0x7F, 0x01, 0x01, 0x61, 0x02, 0x03, 0x04, 0xF7}, // an MTC full frame
    };
    AlsaCoder alsa;
    for (const auto& bytes : messages) {
        SCOPED_TRACE(::testing::PrintToString(bytes));
        snd_seq_event_t ours;
        snd_seq_ev_clear(&ours);
        ASSERT_TRUE(encodeSeqEvent(bytes.data(), bytes.size(), ours));
        const snd_seq_event_t theirs = alsa.encode(bytes);
        EXPECT_EQ(ours.type, theirs.type);
        EXPECT_EQ(ours.flags & SND_SEQ_EVENT_LENGTH_MASK, theirs.flags & SND_SEQ_EVENT_LENGTH_MASK);
        if (snd_seq_ev_is_variable(&ours)) {
            // The SysEx is sent from the caller's bytes, whole.
            EXPECT_EQ(ours.data.ext.ptr, bytes.data());
            EXPECT_EQ(ours.data.ext.len, bytes.size());
        } else {
            EXPECT_EQ(0, std::memcmp(&ours.data, &theirs.data, sizeof ours.data));
        }
        EXPECT_EQ(alsa.decode(ours), bytes);
    }
}

TEST(AlsaMidiSeams, RefusesWhatIsNotOneWholeMessage) {
    const std::vector<Bytes> bad = {
        {},                  // nothing
        {0x40, 0x10},        // no status
        {0x90, 60},          // a byte short
        {0x90, 60, 100, 1},  // a byte over
        {0xB0, 0x80, 1},     // a status where data belongs
        {0xC0},              // program change without its program
        {0xF1},              // quarter frame without its piece
        {0xF0, 0x7F, 0x01},  // SysEx without its end
        {0xF0, 0x7F, 0x90, 0xF7},
        {0xF4}, {0xF7}, {0xF8, 0x00},
    };
    for (const auto& bytes : bad) {
        snd_seq_event_t event;
        snd_seq_ev_clear(&event);
        EXPECT_FALSE(encodeSeqEvent(bytes.data(), bytes.size(), event)) << ::testing::PrintToString(bytes);
    }
}

constexpr int self = 129;
constexpr unsigned in = SND_SEQ_PORT_CAP_WRITE | SND_SEQ_PORT_CAP_SUBS_WRITE;
constexpr unsigned out = SND_SEQ_PORT_CAP_READ | SND_SEQ_PORT_CAP_SUBS_READ;

TEST(AlsaMidiSeams, DestinationsAreOtherSoftwaresInputsNamedByClientAndPort) {
    const std::vector<SeqPort> ports = {
        {0, 0, "System", "Timer", in | out},
        {0, 1, "System", "Announce", out},
        {14, 0, "Midi Through", "Midi Through Port-0", in | out},
        {20, 0, "USB Keys", "USB Keys MIDI 1", in | out},
        {20, 1, "USB Keys", "USB Keys MIDI 2", out},                          // only a source
        {128, 0, "Synth", "Direct only", SND_SEQ_PORT_CAP_WRITE},             // no subscriptions
        {128, 1, "Synth", "Private", in | SND_SEQ_PORT_CAP_NO_EXPORT},        // refuses routing
        {128, 2, "Synth", "", in},                                            // unnamed
        {128, 3, "Synth", "Input", in},
        {self, 0, "Ostinel", "Ostinel MTC", out},
        {self, 2, "Ostinel", "Loop back", in},                                // ours
    };
    EXPECT_EQ(seqDestinations(ports, self), (std::vector<MidiDestination>{
                                                {"14:0", "Midi Through:Midi Through Port-0"},
                                                {"20:0", "USB Keys:USB Keys MIDI 1"},
                                                {"128:3", "Synth:Input"},
                                            }));

    // Plugged in again under new numbers, beside a stranger that took the
    // old ones: the names find the device, never the stranger.
    const std::vector<SeqPort> replugged = {
        {20, 0, "Lights", "Lights In", in},
        {24, 0, "USB Keys", "USB Keys MIDI 1", in | out},
        {24, 1, "USB Keys", "USB Keys MIDI 2", out},
        {130, 0, "Synth", "Input", in},
        {131, 0, "Synth", "Input", in},
    };
    const auto addresses =
        seqAddressesNamed({"USB Keys:USB Keys MIDI 1", "Synth:Input", "Gone:Away"}, replugged, self);
    std::vector<std::string> endpoints;
    for (auto& a : addresses) endpoints.push_back(seqEndpoint(a.client, a.port));
    EXPECT_EQ(endpoints, (std::vector<std::string>{"24:0", "130:0", "131:0"}));
}

snd_seq_event_t announcement(snd_seq_event_type_t type, int client,
                             int sourceClient = SND_SEQ_CLIENT_SYSTEM) {
    snd_seq_event_t event;
    snd_seq_ev_clear(&event);
    event.type = type;
    event.source = {static_cast<unsigned char>(sourceClient), SND_SEQ_PORT_SYSTEM_ANNOUNCE};
    event.data.addr = {static_cast<unsigned char>(client), 0};
    return event;
}

TEST(AlsaMidiSeams, OnlyOtherSoftwaresClientsAndPortsComingAndGoingChangeTheDestinations) {
    for (auto type : {SND_SEQ_EVENT_CLIENT_START, SND_SEQ_EVENT_CLIENT_EXIT, SND_SEQ_EVENT_CLIENT_CHANGE,
                      SND_SEQ_EVENT_PORT_START, SND_SEQ_EVENT_PORT_EXIT, SND_SEQ_EVENT_PORT_CHANGE}) {
        EXPECT_TRUE(announceChangesDestinations(announcement(type, 20), self)) << int(type);
        EXPECT_FALSE(announceChangesDestinations(announcement(type, self), self)) << int(type);
        EXPECT_FALSE(announceChangesDestinations(announcement(type, 20, 20), self)) << int(type);
    }
    EXPECT_FALSE(announceChangesDestinations(announcement(SND_SEQ_EVENT_PORT_SUBSCRIBED, 20), self));
    EXPECT_FALSE(announceChangesDestinations(announcement(SND_SEQ_EVENT_PORT_UNSUBSCRIBED, 20), self));
}

TEST(AlsaMidiSeams, WithoutASequencerOpeningSaysSoPlainly) {
    if (access("/dev/snd/seq", F_OK) == 0) GTEST_SKIP() << "this machine has a sequencer";
    auto opened = openAlsaMidi();
    ASSERT_FALSE(opened);
    const std::string& text = opened.error().message;
    EXPECT_EQ(text.rfind("ALSA MIDI: the sequencer could not be opened (", 0), 0u) << text;
    EXPECT_NE(text.find("this machine has no /dev/snd/seq"), std::string::npos) << text;
}

} // namespace
} // namespace ostinel::midiserver
