// JACK MIDI: output ports on the audio's own client, so a patchbay shows
// "Ostinel:Ostinel MTC" beside the audio ports and routes both alike. Messages
// are written in the audio's cycle, a timed one at the frame its time asks
// for, two periods later, so a receiver sees them spaced to the sample even
// when they were sent a little after their time. The input port hears every
// other client's MIDI outputs; the cycle only queues what came, and a thread
// of ours hands it on.

#include <jack/jack.h>
#include <jack/midiport.h>
#include <sched.h>
#include <time.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstring>
#include <mutex>
#include <thread>
#include <utility>

#include "platform/AudioSystemBackends.h"
#include "platform/JackCycleClock.h"
#include "platform/MidiInputRelay.h"
#include "platform/MidiMessageQueue.h"
#include "platform/MidiSystemBackends.h"
#include "platform/PeriodicThread.h"

namespace ostinel::midiserver {

namespace {

using audioserver::JackClientHooks;

constexpr std::size_t maxOutputs = 16;
// Messages a port holds between two cycles: many periods of quarter frames.
constexpr std::size_t queueCapacity = 256;
// How long a closing port waits for the cycle that empties it; a server
// that stalls longer gets the port taken away as it is.
constexpr auto closingTimeout = std::chrono::seconds(1);
constexpr const char* inputName = "Ostinel MIDI In";

double monotonicUsecs() {
    timespec t{};
    clock_gettime(CLOCK_MONOTONIC, &t);
    return double(t.tv_sec) * 1e6 + double(t.tv_nsec) * 1e-3;
}

class JackMidiSystem;

class JackMidiOutput final : public MidiOutput {
public:
    JackMidiOutput(JackMidiSystem& system, std::string name, jack_port_t* port)
        : system_(system), name_(std::move(name)), port_(port), fullName_(jack_port_name(port)) {}
    ~JackMidiOutput() override;

    const std::string& name() const override { return name_; }
    void send(const std::uint8_t* bytes, std::size_t size, std::optional<double> at) noexcept override {
        if (at && !std::isfinite(*at)) at.reset();
        queue_.push(bytes, size, at);
    }
    void setDestinations(const std::vector<std::string>& endpoints) override;

    // Real-time: this cycle's messages into the port, in the order sent; a
    // message for a later cycle holds back those behind it.
    void write(jack_nframes_t frames, const CycleClock& clock) noexcept {
        void* buffer = jack_port_get_buffer(port_, frames);
        jack_midi_clear_buffer(buffer);
        if (closing_.load(std::memory_order_acquire)) {
            cleared_.store(true, std::memory_order_release);
            return;
        }
        jack_nframes_t last = 0;
        while (const QueuedMidiMessage* message = queue_.front()) {
            jack_nframes_t frame = last;
            if (message->at && clock.valid) {
                const double wanted = std::round(clock.frameFor(*message->at, frames));
                if (wanted >= double(frames)) break;
                if (wanted > double(last)) frame = jack_nframes_t(wanted);
            }
            if (jack_midi_event_write(buffer, frame, message->bytes, message->size) != 0) break;
            last = frame;
            queue_.pop();
        }
    }

    JackMidiSystem& system_;
    const std::string name_;
    jack_port_t* const port_;
    const std::string fullName_;
    std::vector<std::string> destinations_; // under the system's mutex
    MidiMessageQueue<queueCapacity> queue_;
    std::atomic<bool> closing_{false};
    std::atomic<bool> cleared_{false};
};

// The input port: the cycle copies each message to the relay, whose thread
// hands it on.
class JackMidiInput final : public MidiInput {
public:
    JackMidiInput(JackMidiSystem& system, jack_port_t* port, MidiInputHandler handler)
        : system_(system), port_(port), fullName_(jack_port_name(port)), relay_(std::move(handler)) {}
    ~JackMidiInput() override;

    const std::string& name() const override { return name_; }

    // Real-time. A SysEx, which no control reads, is dropped, as is what
    // the relay refuses.
    void read(jack_nframes_t frames) noexcept {
        void* buffer = jack_port_get_buffer(port_, frames);
        for (std::uint32_t i = 0, n = jack_midi_get_event_count(buffer); i < n; ++i) {
            jack_midi_event_t event{};
            if (jack_midi_event_get(&event, buffer, i) != 0 || event.size == 0 || event.buffer[0] == 0xF0)
                continue;
            relay_.push(event.buffer, event.size);
        }
    }

    JackMidiSystem& system_;
    const std::string name_ = inputName;
    jack_port_t* const port_;
    const std::string fullName_;
    MidiInputRelay relay_;
};

class JackMidiSystem final : public MidiSystem, JackClientHooks::ProcessHook {
public:
    explicit JackMidiSystem(JackClientHooks& hooks) : hooks_(hooks), client_(hooks.jackClient()) {
        // Normal priority: hot-plug is no real-time matter.
        worker_ = std::make_unique<PeriodicThread>("ostinel-jackmidi", 1.0, 0, [this] { work(); });
        hooks_.setPortListener([this](std::optional<std::uint32_t> id) { portChanged(id); });
        hooks_.setProcessHook(this);
    }

    ~JackMidiSystem() override {
        hooks_.setProcessHook(nullptr);
        hooks_.setPortListener({});
        worker_.reset();
    }

    std::string backendName() const override { return "jack"; }

    // One input: a second would want the port name the first holds.
    std::unique_ptr<MidiInput> createInput(MidiInputHandler handler) override {
        std::lock_guard lock(mutex_);
        if (!hooks_.serverRunning() || input_.load()) return nullptr;
        jack_port_t* port =
            jack_port_register(client_, inputName, JACK_DEFAULT_MIDI_TYPE, JackPortIsInput, 0);
        if (!port) return nullptr;
        auto input = std::make_unique<JackMidiInput>(*this, port, std::move(handler));
        input_.store(input.get(), std::memory_order_seq_cst);
        connectSourcesLocked(*input);
        return input;
    }

    // The cycle stops reading the port; the relay may still be handing on
    // what it read.
    void detach(JackMidiInput& input) {
        std::lock_guard lock(mutex_);
        // Pairs with process(), as for the outputs.
        input_.store(nullptr, std::memory_order_seq_cst);
        while (busy_.load(std::memory_order_seq_cst))
            sched_yield();
        if (hooks_.serverRunning()) jack_port_unregister(client_, input.port_);
    }

    std::unique_ptr<MidiOutput> createOutput(const std::string& portName) override {
        std::lock_guard lock(mutex_);
        if (!hooks_.serverRunning()) return nullptr;
        auto free = std::find_if(slots_.begin(), slots_.end(), [](auto& s) { return !s.load(); });
        if (free == slots_.end()) return nullptr;
        jack_port_t* port =
            jack_port_register(client_, portName.c_str(), JACK_DEFAULT_MIDI_TYPE, JackPortIsOutput, 0);
        if (!port) return nullptr;
        auto output = std::make_unique<JackMidiOutput>(*this, portName, port);
        outputs_.push_back(output.get());
        free->store(output.get(), std::memory_order_seq_cst);
        return output;
    }

    std::vector<MidiDestination> destinations() override {
        std::vector<MidiDestination> found;
        if (!hooks_.serverRunning()) return found;
        const std::string ours = std::string(jack_get_client_name(client_)) + ":";
        const char** names = jack_get_ports(client_, nullptr, JACK_DEFAULT_MIDI_TYPE, JackPortIsInput);
        for (const char** n = names; n && *n; ++n)
            if (std::strncmp(*n, ours.c_str(), ours.size()) != 0) found.push_back({*n, *n});
        jack_free(names);
        return found;
    }

    void setDestinationListener(std::function<void()> listener) override {
        listener_.set(std::move(listener));
    }

    void remove(JackMidiOutput& output) {
        std::lock_guard lock(mutex_);
        // A port's buffer keeps its events until cleared, and the server
        // hands them on again in every cycle: one more cycle leaves it empty.
        output.closing_.store(true, std::memory_order_release);
        const auto deadline = std::chrono::steady_clock::now() + closingTimeout;
        while (hooks_.serverRunning() && !output.cleared_.load(std::memory_order_acquire) &&
               std::chrono::steady_clock::now() < deadline)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        // Pairs with process(): either it no longer sees the port, or we see
        // it busy and wait out the one cycle.
        for (auto& slot : slots_)
            if (slot.load() == &output) slot.store(nullptr, std::memory_order_seq_cst);
        while (busy_.load(std::memory_order_seq_cst))
            sched_yield();
        std::erase(outputs_, &output);
        if (hooks_.serverRunning()) jack_port_unregister(client_, output.port_);
    }

    // Drops the connections we made that are no longer wanted; those others
    // made to our port (subscribers) stay.
    void route(JackMidiOutput& output, const std::vector<std::string>& endpoints) {
        std::lock_guard lock(mutex_);
        const auto before = std::exchange(output.destinations_, endpoints);
        if (!hooks_.serverRunning()) return;
        for (const auto& endpoint : before)
            if (std::find(endpoints.begin(), endpoints.end(), endpoint) == endpoints.end())
                jack_disconnect(client_, output.fullName_.c_str(), endpoint.c_str());
        connectLocked(output);
    }

private:
    // Every MIDI output of other clients but an Ostinel's own; a connection
    // already made stays as it is.
    void connectSourcesLocked(const JackMidiInput& input) {
        const std::string ours = std::string(jack_get_client_name(client_)) + ":";
        const char** names = jack_get_ports(client_, nullptr, JACK_DEFAULT_MIDI_TYPE, JackPortIsOutput);
        for (const char** n = names; n && *n; ++n) {
            if (std::strncmp(*n, ours.c_str(), ours.size()) == 0) continue;
            const jack_port_t* port = jack_port_by_name(client_, *n);
            if (!port || isOstinelOutputName(jack_port_short_name(port))) continue;
            jack_connect(client_, *n, input.fullName_.c_str());
        }
        jack_free(names);
    }

    // Destinations not present are skipped; one already connected is kept.
    void connectLocked(const JackMidiOutput& output) {
        for (const auto& endpoint : output.destinations_)
            if (jack_port_by_name(client_, endpoint.c_str()))
                jack_connect(client_, output.fullName_.c_str(), endpoint.c_str());
    }

    void process(unsigned frames) noexcept override {
        busy_.store(true, std::memory_order_seq_cst);
        const CycleClock clock = readClock(frames);
        for (auto& slot : slots_)
            if (auto* output = slot.load(std::memory_order_seq_cst)) output->write(frames, clock);
        if (auto* input = input_.load(std::memory_order_seq_cst)) input->read(frames);
        busy_.store(false, std::memory_order_seq_cst);
    }

    // Real-time.
    CycleClock readClock(jack_nframes_t frames) noexcept {
        return clockEstimate_.read(jack_last_frame_time(client_), frames, double(jack_get_sample_rate(client_)),
                                   monotonicUsecs());
    }

    // JACK's notification thread: only a hop to the worker. A MIDI input
    // port changes the destinations, a MIDI output the sources.
    void portChanged(std::optional<std::uint32_t> id) {
        bool destinations = true;
        bool sources = true;
        // A port already gone can't be looked at; count it as either.
        if (const jack_port_t* port = id ? jack_port_by_id(client_, *id) : nullptr) {
            const bool midi = std::strcmp(jack_port_type(port), JACK_DEFAULT_MIDI_TYPE) == 0;
            destinations = midi && (jack_port_flags(port) & JackPortIsInput);
            sources = midi && (jack_port_flags(port) & JackPortIsOutput);
        }
        if (destinations) changed_.store(true);
        if (sources) sourcesChanged_.store(true);
        if (destinations || sources) worker_->wake();
    }

    // Hot-plug: the destinations that came back are connected again, and
    // new sources to the input.
    void work() {
        if (sourcesChanged_.exchange(false)) {
            std::lock_guard lock(mutex_);
            if (auto* input = input_.load(); input && hooks_.serverRunning()) connectSourcesLocked(*input);
        }
        if (!changed_.exchange(false)) return;
        {
            std::lock_guard lock(mutex_);
            if (hooks_.serverRunning())
                for (auto* output : outputs_)
                    connectLocked(*output);
        }
        listener_.notify();
    }

    JackClientHooks& hooks_;
    jack_client_t* const client_;

    std::mutex mutex_; // outputs_, each output's destinations_, input_'s change, server calls about them
    std::vector<JackMidiOutput*> outputs_;
    std::array<std::atomic<JackMidiOutput*>, maxOutputs> slots_{};
    std::atomic<JackMidiInput*> input_{nullptr};
    std::atomic<bool> busy_{false};

    CycleClockEstimate clockEstimate_; // the real-time thread's own

    audioserver::ListenerSlot listener_;
    std::atomic<bool> changed_{false};
    std::atomic<bool> sourcesChanged_{false};
    std::unique_ptr<PeriodicThread> worker_;
};

// The cycle lets go of the port first, then the relay ends.
JackMidiInput::~JackMidiInput() {
    system_.detach(*this);
}

JackMidiOutput::~JackMidiOutput() {
    system_.remove(*this);
}

void JackMidiOutput::setDestinations(const std::vector<std::string>& endpoints) {
    system_.route(*this, endpoints);
}

} // namespace

Expected<std::unique_ptr<MidiSystem>> openJackMidi(AudioSystem& audio) {
    auto* hooks = audioserver::jackClientHooks(audio);
    if (!hooks) return Error{"JACK MIDI: the audio does not run on JACK."};
    if (!hooks->serverRunning()) return Error{"JACK MIDI: the server has stopped."};
    return std::unique_ptr<MidiSystem>(std::make_unique<JackMidiSystem>(*hooks));
}

} // namespace ostinel::midiserver
