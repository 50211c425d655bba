#include "platform/AlsaSeqPorts.h"

#include <algorithm>

#include "platform/MidiSystemBackends.h"

namespace ostinel::midiserver {

namespace {

constexpr unsigned writable = SND_SEQ_PORT_CAP_WRITE | SND_SEQ_PORT_CAP_SUBS_WRITE;
constexpr unsigned readable = SND_SEQ_PORT_CAP_READ | SND_SEQ_PORT_CAP_SUBS_READ;

bool isDestination(const SeqPort& port, int ownClient) {
    return port.client != ownClient && port.client != SND_SEQ_CLIENT_SYSTEM &&
           (port.capability & writable) == writable && !(port.capability & SND_SEQ_PORT_CAP_NO_EXPORT) &&
           !port.clientName.empty() && !port.portName.empty();
}

std::string destinationName(const SeqPort& port) { return port.clientName + ":" + port.portName; }

bool isSource(const SeqPort& port, int ownClient) {
    return port.client != ownClient && port.client != SND_SEQ_CLIENT_SYSTEM &&
           (port.capability & readable) == readable && !(port.capability & SND_SEQ_PORT_CAP_NO_EXPORT) &&
           !isOstinelOutputName(port.portName);
}

snd_seq_addr_t addressOf(const SeqPort& port) {
    return {static_cast<unsigned char>(port.client), static_cast<unsigned char>(port.port)};
}

} // namespace

std::string seqEndpoint(int client, int port) { return std::to_string(client) + ":" + std::to_string(port); }

std::vector<MidiDestination> seqDestinations(const std::vector<SeqPort>& ports, int ownClient) {
    std::vector<MidiDestination> destinations;
    for (auto& port : ports)
        if (isDestination(port, ownClient))
            destinations.push_back({seqEndpoint(port.client, port.port), destinationName(port)});
    return destinations;
}

std::vector<snd_seq_addr_t> seqAddressesNamed(const std::vector<std::string>& names,
                                              const std::vector<SeqPort>& ports, int ownClient) {
    std::vector<snd_seq_addr_t> addresses;
    for (auto& port : ports)
        if (isDestination(port, ownClient) &&
            std::find(names.begin(), names.end(), destinationName(port)) != names.end())
            addresses.push_back(addressOf(port));
    return addresses;
}

std::vector<snd_seq_addr_t> seqSources(const std::vector<SeqPort>& ports, int ownClient) {
    std::vector<snd_seq_addr_t> sources;
    for (auto& port : ports)
        if (isSource(port, ownClient)) sources.push_back(addressOf(port));
    return sources;
}

bool announceChangesDestinations(const snd_seq_event_t& event, int ownClient) {
    if (event.source.client != SND_SEQ_CLIENT_SYSTEM) return false;
    switch (event.type) {
    case SND_SEQ_EVENT_CLIENT_START:
    case SND_SEQ_EVENT_CLIENT_EXIT:
    case SND_SEQ_EVENT_CLIENT_CHANGE:
    case SND_SEQ_EVENT_PORT_START:
    case SND_SEQ_EVENT_PORT_EXIT:
    case SND_SEQ_EVENT_PORT_CHANGE: return event.data.addr.client != ownClient;
    default: return false;
    }
}

} // namespace ostinel::midiserver
