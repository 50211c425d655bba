#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "base/Expected.h"

namespace ostinel {

class AudioSystem;

// Another program's MIDI input that we can send to: `endpoint` is the
// backend's address for it (a JACK port name, an ALSA "client:port"), `name`
// what people see and what selections are kept by, so that a selection
// survives replugging.
struct MidiDestination {
    std::string endpoint;
    std::string name;
    friend bool operator==(const MidiDestination&, const MidiDestination&) = default;
};

// One output port of ours. Others subscribe to it by its name (a virtual
// source, as "Ostinel MTC"), and it also sends to the destinations it is given.
//
// Threads: send() from any thread, the real-time ones included: it never
// allocates or blocks; a message that does not fit the backend's queue is
// dropped. Everything else from the main thread.
class MidiOutput {
public:
    static constexpr std::size_t maxMessageBytes = 32;

    virtual ~MidiOutput() = default;
    virtual const std::string& name() const = 0;

    // One whole message: a channel message, a quarter frame, a SysEx.
    // `at`, on CLOCK_MONOTONIC seconds, is when it is meant to leave: JACK
    // places it in the next period at the matching frame (a constant delay of
    // one period, so spacing is kept to the sample); the other backends send
    // at once. Without `at`, at once everywhere.
    virtual void send(const std::uint8_t* bytes, std::size_t size, std::optional<double> at = {}) noexcept = 0;

    // The endpoints this port sends to besides its subscribers. Endpoints not
    // present are skipped.
    virtual void setDestinations(const std::vector<std::string>& endpoints) = 0;
};

// Called with one whole MIDI message from any source, on a thread of the
// backend (never a real-time one). It must only look at the bytes and hop.
using MidiInputHandler = std::function<void(const std::uint8_t* bytes, std::size_t size)>;

// Our one input, listening to every source of the server but our own ports
// ("Ostinel MTC", "Ostinel Triggers", of any Ostinel). Closing it waits for a
// handler call under way, so the handler may then go.
class MidiInput {
public:
    virtual ~MidiInput() = default;
    // The port's name as others see it.
    virtual const std::string& name() const = 0;
};

// The MIDI server, chosen like the audio: JACK MIDI when the audio runs on
// JACK (ports on the audio's own client), else the ALSA sequencer, else an
// in-memory loopback with a notice. OSTINEL_MIDI_BACKEND=jack|alsa|loopback
// forces one; a forced backend that can't start is an error.
//
// Threads: main thread, except the listener, which may be called on any
// thread and must only hop.
class MidiSystem {
public:
    virtual ~MidiSystem() = default;

    // `audio` must outlive the MIDI system: JACK MIDI lives on its client.
    static Expected<std::unique_ptr<MidiSystem>> create(AudioSystem& audio);

    virtual std::string backendName() const = 0; // "jack", "alsa", "loopback"
    // Why the automatic choice fell back, for the notice; empty otherwise.
    virtual std::string fallbackReason() const { return {}; }

    // Null when the server refuses the port. The output goes before the
    // system does.
    virtual std::unique_ptr<MidiOutput> createOutput(const std::string& portName) = 0;
    // Null when the server refuses the port. JACK: the port "Ostinel MIDI
    // In", connected to every MIDI output of other clients and to newcomers;
    // ALSA: the port "Ostinel In", subscribed to every readable port and to
    // newcomers. The input goes before the system does.
    virtual std::unique_ptr<MidiInput> createInput(MidiInputHandler handler) = 0;
    // Present inputs of other software, in the server's order; unnamed ones
    // and our own ports are left out.
    virtual std::vector<MidiDestination> destinations() = 0;
    // Each is called on any change of the destinations, on whichever thread
    // noticed it; several calls for one change can happen. Listeners stay for
    // the life of the system, so they must cope with their owner being gone.
    void addDestinationListener(std::function<void()> listener);

protected:
    // The backend's one slot, which the listeners added share.
    virtual void setDestinationListener(std::function<void()> listener) = 0;

private:
    void notifyDestinationListeners() const;

    mutable std::mutex listenersMutex_;
    std::vector<std::function<void()>> listeners_;
};

} // namespace ostinel
