#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

typedef struct _jack_client jack_client_t;
typedef struct _jack_port jack_port_t;

namespace ostinel::test {

// A JACK client with one MIDI input port, "<client>:in", that records every
// message arriving with the frame it arrived on (the cycle's first frame plus
// the event's offset). It vanishes, port and all, when destroyed.
class JackMidiCapture {
public:
    struct Event {
        std::uint32_t frame = 0;
        std::vector<std::uint8_t> bytes;
    };

    explicit JackMidiCapture(const std::string& clientName, std::size_t capacity = 4096);
    ~JackMidiCapture();
    JackMidiCapture(const JackMidiCapture&) = delete;
    JackMidiCapture& operator=(const JackMidiCapture&) = delete;

    std::string portName() const;
    void connectFrom(const std::string& source);
    // Ports connected to ours.
    std::vector<std::string> connections() const;
    bool portExists(const std::string& name) const;

    // Forgets what came so far, and the overruns.
    void clear();
    bool waitFor(std::size_t count, double timeoutSeconds = 5.0) const;
    std::vector<Event> events() const;
    // Server overruns since the last clear(); one shifts frames against time.
    int xruns() const { return xruns_.load(); }

private:
    struct Raw {
        std::uint32_t frame = 0;
        std::uint8_t size = 0;
        std::uint8_t bytes[32] = {};
    };
    static int process(unsigned frames, void* arg);
    static int overran(void* arg);

    jack_client_t* client_ = nullptr;
    jack_port_t* port_ = nullptr;
    std::vector<Raw> raw_;
    std::atomic<std::size_t> count_{0};
    std::atomic<std::size_t> first_{0}; // events before it are forgotten
    std::atomic<int> xruns_{0};
};

} // namespace ostinel::test
