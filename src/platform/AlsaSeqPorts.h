#pragma once

// Which sequencer ports are MIDI destinations, what they are called, and
// which announcements change them; private to the platform folder and its
// tests.

#include <alsa/asoundlib.h>

#include <string>
#include <vector>

#include "platform/MidiSystem.h"

namespace ostinel::midiserver {

// One port as the sequencer lists it.
struct SeqPort {
    int client = 0;
    int port = 0;
    std::string clientName;
    std::string portName;
    unsigned capability = 0; // SND_SEQ_PORT_CAP_*
};

// "client:port", as aconnect writes it.
std::string seqEndpoint(int client, int port);

// The ports of other software that take subscriptions for writing, in the
// listed order: not `ownClient`'s, not the system client's, not those that
// refuse routing, not unnamed ones. Named "<client name>:<port name>", which
// unlike the numbers stays the same when a device is plugged in again.
std::vector<MidiDestination> seqDestinations(const std::vector<SeqPort>& ports, int ownClient);

// The addresses of the destinations among `ports` whose name is one of
// `names`; every one of a name that several carry.
std::vector<snd_seq_addr_t> seqAddressesNamed(const std::vector<std::string>& names,
                                              const std::vector<SeqPort>& ports, int ownClient);

// The ports our input subscribes to, in the listed order: every port of
// other software that takes read subscriptions, unnamed ones too, but not
// `ownClient`'s, not the system client's timer and announcements, not those
// that refuse routing, and not an Ostinel's own outputs.
std::vector<snd_seq_addr_t> seqSources(const std::vector<SeqPort>& ports, int ownClient);

// Whether an event read from our subscription to the system's announce port
// may change the destinations or the sources: a client or port of other
// software that came, went or changed. Connections and our own ports don't.
bool announceChangesDestinations(const snd_seq_event_t& event, int ownClient);

} // namespace ostinel::midiserver
