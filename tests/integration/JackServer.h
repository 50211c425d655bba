#pragma once

#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

typedef struct _jack_client jack_client_t;
typedef struct _jack_port jack_port_t;

namespace ostinel::test {

// A private jackd (dummy driver, 48 kHz, 256-frame periods, synchronous, no
// real-time scheduling) on a server name of its own, made the default for this
// process and its children. It goes with the object, or with the process if
// that dies first. Throws when the server doesn't answer in time.
//
// One at a time on the machine: the JACK library keeps a registry of servers
// and a metadata database shared by every process, and test programs run in
// parallel crash it (a bus error in its database) or fill it.
// A client of the test's server under exactly this name; throws when the
// server refuses it.
jack_client_t* openTestClient(const std::string& clientName);
// Starts its callbacks; throws when the server refuses.
void activateTestClient(jack_client_t* client, const std::string& clientName);

class JackServer {
public:
    JackServer();
    ~JackServer();
    JackServer(const JackServer&) = delete;
    JackServer& operator=(const JackServer&) = delete;

    const std::string& name() const { return name_; }

private:
    void start();
    pid_t spawn() const;

    int lock_ = -1;
    std::string name_;
    std::string logPath_;
    pid_t pid_ = -1;
    std::optional<std::string> previousDefault_;
};

// A JACK client with input ports that records what arrives at them. Made as
// a device, its ports are physical playback ports, so it is listed as an
// output device; it vanishes when destroyed.
class JackRecorder {
public:
    JackRecorder(const std::string& clientName, int ports, bool asDevice, std::int64_t capacityFrames = 48000);
    ~JackRecorder();
    JackRecorder(const JackRecorder&) = delete;
    JackRecorder& operator=(const JackRecorder&) = delete;

    std::string portName(int port) const;
    void connectFrom(const std::string& source, int port);
    // Ports (full names) connected to this one, any client's.
    std::vector<std::string> connections(const std::string& portName) const;

    // Starts a take of `frames` frames at most (all it can hold by default):
    // returns once the next period is the take's first. waitFor is true once
    // `frames` frames are in, false if they don't come in time.
    void record(std::int64_t frames = -1);
    bool waitFor(std::int64_t frames, double timeoutSeconds = 5.0) const;
    // What one port has received in this take so far.
    std::vector<float> received(int port) const;
    // The server's frame count at the take's first frame, to set what was
    // heard against other clients' frames.
    std::uint32_t firstFrame() const { return firstFrame_.load(std::memory_order_acquire); }
    // Server overruns since the take began. A loaded machine makes them, and
    // one can drop a period between clients: such a take proves nothing.
    int xruns() const { return xruns_.load(); }

private:
    static int process(unsigned frames, void* arg);
    static int overran(void* arg);

    jack_client_t* client_ = nullptr;
    std::vector<jack_port_t*> ports_;
    std::vector<std::vector<float>> buffers_;
    std::atomic<bool> recording_{false};
    std::atomic<bool> restart_{false};
    std::atomic<std::int64_t> written_{0};
    std::atomic<std::int64_t> takeFrames_{0};
    std::atomic<std::uint32_t> firstFrame_{0};
    std::atomic<int> xruns_{0};
};

} // namespace ostinel::test
