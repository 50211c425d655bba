#include "JackMidiSender.h"

#include "JackServer.h"

#include <jack/jack.h>
#include <jack/midiport.h>

#include <algorithm>
#include <stdexcept>

namespace ostinel::test {

JackMidiSender::JackMidiSender(const std::string& clientName) {
    client_ = openTestClient(clientName);
    jack_set_process_callback(client_, &JackMidiSender::process, this);
    activateTestClient(client_, clientName);
}

JackMidiSender::~JackMidiSender() {
    jack_deactivate(client_);
    jack_client_close(client_);
}

std::string JackMidiSender::addPort(const std::string& shortName) {
    if (count_ == maxPorts) throw std::runtime_error("JackMidiSender holds four ports");
    jack_port_t* port =
        jack_port_register(client_, shortName.c_str(), JACK_DEFAULT_MIDI_TYPE, JackPortIsOutput, 0);
    if (!port) throw std::runtime_error("JACK MIDI port " + shortName + " could not register");
    ports_[std::size_t(count_++)].store(port, std::memory_order_release);
    return jack_port_name(port);
}

void JackMidiSender::send(int port, const std::vector<std::uint8_t>& bytes) {
    if (!queues_[std::size_t(port)].push(bytes.data(), bytes.size(), std::nullopt))
        throw std::runtime_error("JackMidiSender: message refused");
}

int JackMidiSender::process(unsigned frames, void* arg) {
    auto* self = static_cast<JackMidiSender*>(arg);
    for (std::size_t i = 0; i < maxPorts; ++i) {
        jack_port_t* port = self->ports_[i].load(std::memory_order_acquire);
        if (!port) continue;
        void* buffer = jack_port_get_buffer(port, frames);
        jack_midi_clear_buffer(buffer);
        while (const QueuedMidiMessage* message = self->queues_[i].front()) {
            if (jack_midi_event_write(buffer, 0, message->bytes, message->size) != 0) break;
            self->queues_[i].pop();
        }
    }
    return 0;
}

bool JackMidiSender::portExists(const std::string& name) const {
    return jack_port_by_name(client_, name.c_str());
}

std::vector<std::string> JackMidiSender::connections(const std::string& name) const {
    std::vector<std::string> names;
    const jack_port_t* port = jack_port_by_name(client_, name.c_str());
    if (!port) return names;
    const char** all = jack_port_get_all_connections(client_, port);
    for (const char** n = all; n && *n; ++n)
        names.emplace_back(*n);
    jack_free(all);
    std::sort(names.begin(), names.end());
    return names;
}

} // namespace ostinel::test
