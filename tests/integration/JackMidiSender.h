#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/MidiMessageQueue.h"

typedef struct _jack_client jack_client_t;
typedef struct _jack_port jack_port_t;

namespace ostinel::test {

// A JACK client with MIDI output ports, as a controller's, that write what
// they are given in the next cycle. Ports may be added while it runs, as a
// device plugged in. It vanishes, ports and all, when destroyed.
class JackMidiSender {
public:
    explicit JackMidiSender(const std::string& clientName);
    ~JackMidiSender();
    JackMidiSender(const JackMidiSender&) = delete;
    JackMidiSender& operator=(const JackMidiSender&) = delete;

    // Registers the next port (four at most); returns its full name.
    std::string addPort(const std::string& shortName);
    // Main thread: one message on the port with that index.
    void send(int port, const std::vector<std::uint8_t>& bytes);

    // Any client's port, looked at through this client.
    bool portExists(const std::string& name) const;
    // The ports connected to it, sorted.
    std::vector<std::string> connections(const std::string& name) const;

private:
    static constexpr int maxPorts = 4;
    static int process(unsigned frames, void* arg);

    jack_client_t* client_ = nullptr;
    std::array<std::atomic<jack_port_t*>, maxPorts> ports_{};
    std::array<MidiMessageQueue<64>, maxPorts> queues_;
    int count_ = 0; // main thread
};

} // namespace ostinel::test
