#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "platform/MidiSystem.h"

namespace ostinel {

// One message as the loopback saw it leave a port of ours.
struct LoopbackMessage {
    double time = 0.0;                  // `at`, else the loopback's clock
    std::string port;                   // our port's name
    std::vector<std::uint8_t> bytes;
    std::vector<std::string> endpoints; // the present destinations it reached
};

// MIDI kept in memory: the fallback when no MIDI server answers (messages go
// nowhere), and the seam tests and renders read what was sent through.
// Destinations come and go as a test says. Thread-safe throughout.
class LoopbackMidiSystem final : public MidiSystem {
public:
    // The clock stamps messages sent without `at`; CLOCK_MONOTONIC if none.
    explicit LoopbackMidiSystem(std::function<double()> clock = {});

    // Sees every message sent, on the sender's thread.
    void setTap(std::function<void(const LoopbackMessage&)> tap);
    void setFallbackReason(std::string reason) { fallbackReason_ = std::move(reason); }

    // As a device would be plugged and unplugged; each calls the listener.
    void addDestination(const MidiDestination& destination);
    void removeDestination(const std::string& endpoint);

    // As a controller would play into our inputs: each input's handler is
    // called with the message, on the caller's thread.
    void receive(const std::vector<std::uint8_t>& bytes);

    std::string backendName() const override { return "loopback"; }
    std::string fallbackReason() const override { return fallbackReason_; }
    std::unique_ptr<MidiOutput> createOutput(const std::string& portName) override;
    std::unique_ptr<MidiInput> createInput(MidiInputHandler handler) override;
    std::vector<MidiDestination> destinations() override;

    // The names of our ports now open, in order of creation.
    std::vector<std::string> portNames() const;

protected:
    void setDestinationListener(std::function<void()> listener) override;

private:
    class Output;
    class Input;
    void deliver(const Output& output, const std::uint8_t* bytes, std::size_t size, std::optional<double> at);
    void notify();

    std::function<double()> clock_;
    std::string fallbackReason_;
    mutable std::mutex mutex_;
    std::function<void(const LoopbackMessage&)> tap_;
    std::function<void()> listener_;
    std::vector<MidiDestination> destinations_;
    std::vector<const Output*> outputs_;
    // Handlers are called outside `mutex_` (they may send); this one keeps
    // an input from closing during its call.
    std::mutex receiveMutex_;
    std::vector<const Input*> inputs_; // under both mutexes
};

} // namespace ostinel
