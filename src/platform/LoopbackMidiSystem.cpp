#include "platform/LoopbackMidiSystem.h"

#include <time.h>

#include <algorithm>

namespace ostinel {

class LoopbackMidiSystem::Output final : public MidiOutput {
public:
    Output(LoopbackMidiSystem& system, std::string name) : system_(system), name_(std::move(name)) {}
    ~Output() override {
        std::lock_guard lock(system_.mutex_);
        std::erase(system_.outputs_, this);
    }
    const std::string& name() const override { return name_; }
    void send(const std::uint8_t* bytes, std::size_t size, std::optional<double> at) noexcept override {
        system_.deliver(*this, bytes, size, at);
    }
    void setDestinations(const std::vector<std::string>& endpoints) override {
        std::lock_guard lock(system_.mutex_);
        destinations_ = endpoints;
    }

    LoopbackMidiSystem& system_;
    std::string name_;
    std::vector<std::string> destinations_; // under the system's mutex
};

class LoopbackMidiSystem::Input final : public MidiInput {
public:
    Input(LoopbackMidiSystem& system, MidiInputHandler handler) : system_(system), handler_(std::move(handler)) {}
    ~Input() override {
        std::scoped_lock lock(system_.receiveMutex_, system_.mutex_);
        std::erase(system_.inputs_, this);
    }
    const std::string& name() const override { return name_; }

    LoopbackMidiSystem& system_;
    MidiInputHandler handler_;
    std::string name_ = "Ostinel In";
};

LoopbackMidiSystem::LoopbackMidiSystem(std::function<double()> clock) : clock_(std::move(clock)) {
    if (!clock_)
        clock_ = [] {
            timespec t{};
            clock_gettime(CLOCK_MONOTONIC, &t);
            return double(t.tv_sec) + double(t.tv_nsec) * 1e-9;
        };
}

void LoopbackMidiSystem::setTap(std::function<void(const LoopbackMessage&)> tap) {
    std::lock_guard lock(mutex_);
    tap_ = std::move(tap);
}

void LoopbackMidiSystem::addDestination(const MidiDestination& destination) {
    {
        std::lock_guard lock(mutex_);
        std::erase_if(destinations_, [&](auto& d) { return d.endpoint == destination.endpoint; });
        destinations_.push_back(destination);
    }
    notify();
}

void LoopbackMidiSystem::removeDestination(const std::string& endpoint) {
    {
        std::lock_guard lock(mutex_);
        std::erase_if(destinations_, [&](auto& d) { return d.endpoint == endpoint; });
    }
    notify();
}

std::unique_ptr<MidiOutput> LoopbackMidiSystem::createOutput(const std::string& portName) {
    auto output = std::make_unique<Output>(*this, portName);
    std::lock_guard lock(mutex_);
    outputs_.push_back(output.get());
    return output;
}

std::unique_ptr<MidiInput> LoopbackMidiSystem::createInput(MidiInputHandler handler) {
    auto input = std::make_unique<Input>(*this, std::move(handler));
    std::scoped_lock lock(receiveMutex_, mutex_);
    inputs_.push_back(input.get());
    return input;
}

void LoopbackMidiSystem::receive(const std::vector<std::uint8_t>& bytes) {
    std::lock_guard lock(receiveMutex_);
    std::vector<const Input*> inputs;
    {
        std::lock_guard inner(mutex_);
        inputs = inputs_;
    }
    for (auto* input : inputs)
        if (input->handler_) input->handler_(bytes.data(), bytes.size());
}

std::vector<MidiDestination> LoopbackMidiSystem::destinations() {
    std::lock_guard lock(mutex_);
    return destinations_;
}

void LoopbackMidiSystem::setDestinationListener(std::function<void()> listener) {
    std::lock_guard lock(mutex_);
    listener_ = std::move(listener);
}

std::vector<std::string> LoopbackMidiSystem::portNames() const {
    std::lock_guard lock(mutex_);
    std::vector<std::string> names;
    for (auto* output : outputs_) names.push_back(output->name());
    return names;
}

void LoopbackMidiSystem::deliver(const Output& output, const std::uint8_t* bytes, std::size_t size,
                                 std::optional<double> at) {
    std::lock_guard lock(mutex_);
    if (!tap_) return;
    LoopbackMessage message{at.value_or(clock_()), output.name(), {bytes, bytes + size}, {}};
    for (auto& endpoint : output.destinations_)
        if (std::any_of(destinations_.begin(), destinations_.end(), [&](auto& d) { return d.endpoint == endpoint; }))
            message.endpoints.push_back(endpoint);
    tap_(message);
}

void LoopbackMidiSystem::notify() {
    std::function<void()> listener;
    {
        std::lock_guard lock(mutex_);
        listener = listener_;
    }
    if (listener) listener();
}

} // namespace ostinel
