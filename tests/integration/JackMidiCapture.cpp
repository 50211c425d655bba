#include "JackMidiCapture.h"

#include "JackServer.h"

#include <jack/jack.h>
#include <jack/midiport.h>

#include <algorithm>
#include <stdexcept>

#include "Eventually.h"

namespace ostinel::test {

JackMidiCapture::JackMidiCapture(const std::string& clientName, std::size_t capacity) : raw_(capacity) {
    client_ = openTestClient(clientName);
    port_ = jack_port_register(client_, "in", JACK_DEFAULT_MIDI_TYPE, JackPortIsInput, 0);
    if (!port_) throw std::runtime_error("JACK MIDI port could not register");
    jack_set_process_callback(client_, &JackMidiCapture::process, this);
    jack_set_xrun_callback(client_, &JackMidiCapture::overran, this);
    activateTestClient(client_, clientName);
}

JackMidiCapture::~JackMidiCapture() {
    jack_deactivate(client_);
    jack_client_close(client_);
}

int JackMidiCapture::process(unsigned frames, void* arg) {
    auto* self = static_cast<JackMidiCapture*>(arg);
    void* buffer = jack_port_get_buffer(self->port_, frames);
    const jack_nframes_t first = jack_last_frame_time(self->client_);
    std::size_t count = self->count_.load(std::memory_order_relaxed);
    for (std::uint32_t i = 0, n = jack_midi_get_event_count(buffer); i < n && count < self->raw_.size();
         ++i) {
        jack_midi_event_t event{};
        if (jack_midi_event_get(&event, buffer, i) != 0) continue;
        Raw& raw = self->raw_[count++];
        raw.frame = first + event.time;
        raw.size = std::uint8_t(std::min<std::size_t>(event.size, sizeof raw.bytes));
        std::copy_n(event.buffer, raw.size, raw.bytes);
    }
    self->count_.store(count, std::memory_order_release);
    return 0;
}

int JackMidiCapture::overran(void* arg) {
    static_cast<JackMidiCapture*>(arg)->xruns_.fetch_add(1);
    return 0;
}

std::string JackMidiCapture::portName() const {
    return jack_port_name(port_);
}

void JackMidiCapture::connectFrom(const std::string& source) {
    if (jack_connect(client_, source.c_str(), portName().c_str()) != 0)
        throw std::runtime_error("JACK could not connect " + source + " to " + portName());
}

std::vector<std::string> JackMidiCapture::connections() const {
    std::vector<std::string> names;
    const char** all = jack_port_get_all_connections(client_, port_);
    for (const char** n = all; n && *n; ++n)
        names.emplace_back(*n);
    jack_free(all);
    return names;
}

bool JackMidiCapture::portExists(const std::string& name) const {
    return jack_port_by_name(client_, name.c_str());
}

void JackMidiCapture::clear() {
    first_.store(count_.load(std::memory_order_acquire));
    xruns_.store(0);
}

bool JackMidiCapture::waitFor(std::size_t count, double timeoutSeconds) const {
    return eventually([&] { return count_.load(std::memory_order_acquire) - first_.load() >= count; },
                      timeoutSeconds);
}

std::vector<JackMidiCapture::Event> JackMidiCapture::events() const {
    std::vector<Event> events;
    const std::size_t count = count_.load(std::memory_order_acquire);
    for (std::size_t i = first_.load(); i < count; ++i)
        events.push_back({raw_[i].frame, {raw_[i].bytes, raw_[i].bytes + raw_[i].size}});
    return events;
}

} // namespace ostinel::test
