// The ALSA sequencer as the MIDI server: one client "Ostinel", an output
// port per MidiOutput that other software subscribes to, and direct events to
// the chosen destinations, and an input port "Ostinel In" subscribed to every
// other source. A thread of ours reads the system's announcements, to follow
// devices as they come and go, and what the input hears, which it passes to
// the input's relay.

#include <alsa/asoundlib.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <mutex>
#include <thread>
#include <utility>

#include "platform/AlsaSeqEncoder.h"
#include "platform/AlsaSeqInput.h"
#include "platform/AlsaSeqPorts.h"
#include "platform/AudioSystemBackends.h"
#include "platform/MidiInputRelay.h"
#include "platform/MidiSystemBackends.h"

namespace ostinel::midiserver {

namespace {

constexpr const char* clientName = "Ostinel";
constexpr const char* inputName = "Ostinel In";
constexpr const char* sequencerDevice = "/dev/snd/seq";
constexpr unsigned outputCapability = SND_SEQ_PORT_CAP_READ | SND_SEQ_PORT_CAP_SUBS_READ;
constexpr unsigned inputCapability = SND_SEQ_PORT_CAP_WRITE | SND_SEQ_PORT_CAP_SUBS_WRITE;
constexpr unsigned portType =
    SND_SEQ_PORT_TYPE_MIDI_GENERIC | SND_SEQ_PORT_TYPE_SOFTWARE | SND_SEQ_PORT_TYPE_APPLICATION;
// Only the system writes to it; no one else is offered it.
constexpr unsigned announceCapability = SND_SEQ_PORT_CAP_WRITE | SND_SEQ_PORT_CAP_NO_EXPORT;

std::string openFailure(int rc) {
    std::string text = "ALSA MIDI: the sequencer could not be opened (" + std::string(snd_strerror(rc)) + ")";
    if (access(sequencerDevice, F_OK) != 0)
        text += "; this machine has no " + std::string(sequencerDevice) +
                " (is the snd-seq kernel module loaded?)";
    return text + ".";
}

class AlsaMidiSystem final : public MidiSystem {
public:
    AlsaMidiSystem() = default;

    ~AlsaMidiSystem() override {
        if (watcher_.joinable()) {
            const std::uint64_t one = 1;
            [[maybe_unused]] auto written = write(wakeFd_, &one, sizeof one);
            watcher_.join();
        }
        if (wakeFd_ >= 0) close(wakeFd_);
        if (seq_) snd_seq_close(seq_);
    }

    std::optional<Error> setUp() {
        int rc = snd_seq_open(&seq_, "default", SND_SEQ_OPEN_DUPLEX, SND_SEQ_NONBLOCK);
        if (rc < 0) {
            seq_ = nullptr;
            return Error{openFailure(rc)};
        }
        snd_seq_set_client_name(seq_, clientName);
        self_ = snd_seq_client_id(seq_);
        announcePort_ = snd_seq_create_simple_port(seq_, "Ostinel Announcements", announceCapability,
                                                   SND_SEQ_PORT_TYPE_APPLICATION);
        if (announcePort_ < 0) return fail("create a port for the device announcements", announcePort_);
        rc = snd_seq_connect_from(seq_, announcePort_, SND_SEQ_CLIENT_SYSTEM, SND_SEQ_PORT_SYSTEM_ANNOUNCE);
        if (rc < 0) return fail("follow the device announcements", rc);
        wakeFd_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
        if (wakeFd_ < 0)
            return Error{"ALSA MIDI: can't follow the devices (" + Error::ofSystem(errno).message + ")."};
        const int count = snd_seq_poll_descriptors_count(seq_, POLLIN);
        if (count <= 0) return fail("wait for the device announcements", count < 0 ? count : -EINVAL);
        pollFds_.assign(std::size_t(count) + 1, pollfd{});
        snd_seq_poll_descriptors(seq_, pollFds_.data(), unsigned(count), POLLIN);
        pollFds_.back() = pollfd{wakeFd_, POLLIN, 0};
        watcher_ = std::thread([this] { watch(); });
        return std::nullopt;
    }

    std::string backendName() const override { return "alsa"; }

    std::unique_ptr<MidiInput> createInput(MidiInputHandler handler) override;
    std::unique_ptr<MidiOutput> createOutput(const std::string& portName) override;

    std::vector<MidiDestination> destinations() override {
        listed_ = seqDestinations(ports(), self_);
        return listed_;
    }

    void setDestinationListener(std::function<void()> listener) override {
        listener_.set(std::move(listener));
    }

private:
    class Output;
    class Input;

    Error fail(const std::string& what, int rc) const {
        return Error{"ALSA MIDI: can't " + what + " (" + std::string(snd_strerror(rc)) + ")."};
    }

    // Every port of every client, now.
    std::vector<SeqPort> ports() const {
        std::vector<SeqPort> all;
        snd_seq_client_info_t* client = nullptr;
        snd_seq_port_info_t* port = nullptr;
        snd_seq_client_info_alloca(&client);
        snd_seq_port_info_alloca(&port);
        snd_seq_client_info_set_client(client, -1);
        while (snd_seq_query_next_client(seq_, client) >= 0) {
            const int number = snd_seq_client_info_get_client(client);
            const char* name = snd_seq_client_info_get_name(client);
            snd_seq_port_info_set_client(port, number);
            snd_seq_port_info_set_port(port, -1);
            while (snd_seq_query_next_port(seq_, port) >= 0) {
                const char* portName = snd_seq_port_info_get_name(port);
                all.push_back({number, snd_seq_port_info_get_port(port), name ? name : "",
                               portName ? portName : "", snd_seq_port_info_get_capability(port)});
            }
        }
        return all;
    }

    void send(const Output& output, const std::uint8_t* bytes, std::size_t size) noexcept;
    void route(Output& output, const std::vector<std::string>& endpoints);
    void retarget(Output& output, const std::vector<SeqPort>& ports);
    void forget(Output& output);
    void forget(Input& input);
    void subscribe(int inputPort, const std::vector<SeqPort>& ports);
    void hear(const snd_seq_event_t& event);

    // One event from the output buffer to the sequencer. One that the
    // sequencer refuses (a destination gone, a full queue) is dropped, so it
    // never holds up the ones after it.
    void emit(snd_seq_event_t& event) noexcept {
        if (snd_seq_event_output(seq_, &event) < 0 || snd_seq_drain_output(seq_) != 0)
            snd_seq_drop_output_buffer(seq_);
    }

    // The watcher thread: wakes on announcements, and on wakeFd_ to end.
    void watch() {
        const auto seqFds = pollFds_.size() - 1;
        while (true) {
            if (poll(pollFds_.data(), nfds_t(pollFds_.size()), -1) < 0) {
                if (errno == EINTR) continue;
                return;
            }
            if (pollFds_.back().revents) return;
            for (std::size_t i = 0; i < seqFds; ++i)
                if (pollFds_[i].revents & (POLLERR | POLLNVAL | POLLHUP)) return;
            if (readEvents()) followChange();
        }
    }

    // Announcements and what the input hears; true when the ports changed.
    bool readEvents() {
        bool changed = false;
        while (true) {
            snd_seq_event_t* event = nullptr;
            const int rc = snd_seq_event_input(seq_, &event);
            if (rc == -ENOSPC) {
                changed = true; // announcements were lost: assume the worst
                continue;
            }
            if (rc < 0) return changed;
            if (!event) continue;
            if (event->dest.port != announcePort_) {
                hear(*event);
            } else if (announceChangesDestinations(*event, self_)) {
                changed = true;
            }
        }
    }

    // Numbers change when a device comes back; the outputs keep sending to
    // their destinations by name. The input takes in the sources that came.
    void followChange() {
        const auto now = ports();
        {
            std::lock_guard lock(outputsMutex_);
            for (auto* output : outputs_) retarget(*output, now);
        }
        {
            std::lock_guard lock(inputMutex_);
            if (input_) subscribe(inputPort_, now);
        }
        listener_.notify();
    }

    snd_seq_t* seq_ = nullptr;
    int self_ = -1;
    int announcePort_ = -1;
    int wakeFd_ = -1;
    std::vector<pollfd> pollFds_; // the sequencer's, then wakeFd_
    std::thread watcher_;

    // Guards the sequencer's output buffer and every output's addresses; held
    // only to copy one message out to each.
    std::mutex sendMutex_;
    // Guards outputs_ and their destination names; taken before sendMutex_.
    std::mutex outputsMutex_;
    std::vector<Output*> outputs_;

    // Guards input_ and inputPort_; held across a message's hand-over, so
    // once the input is forgotten nothing reaches its relay.
    std::mutex inputMutex_;
    Input* input_ = nullptr;
    int inputPort_ = -1;

    std::vector<MidiDestination> listed_; // what destinations() last said; main thread
    audioserver::ListenerSlot listener_;
};

class AlsaMidiSystem::Output final : public MidiOutput {
public:
    Output(AlsaMidiSystem& system, std::string name, int port)
        : system_(system), name_(std::move(name)), port_(port) {}
    ~Output() override { system_.forget(*this); }
    const std::string& name() const override { return name_; }
    void send(const std::uint8_t* bytes, std::size_t size, std::optional<double>) noexcept override {
        system_.send(*this, bytes, size);
    }
    void setDestinations(const std::vector<std::string>& endpoints) override {
        system_.route(*this, endpoints);
    }

    AlsaMidiSystem& system_;
    const std::string name_;
    const int port_;
    std::vector<std::string> names_;        // the destinations chosen; under outputsMutex_
    std::vector<snd_seq_addr_t> addresses_; // where those are now; under sendMutex_
};

// Our one input; the relay's thread calls the handler.
class AlsaMidiSystem::Input final : public MidiInput {
public:
    Input(AlsaMidiSystem& system, MidiInputHandler handler) : system_(system), relay_(std::move(handler)) {}
    ~Input() override { system_.forget(*this); }
    const std::string& name() const override { return name_; }

    AlsaMidiSystem& system_;
    const std::string name_ = inputName;
    MidiInputRelay relay_;
};

// One input: a second would hear the same sources twice.
std::unique_ptr<MidiInput> AlsaMidiSystem::createInput(MidiInputHandler handler) {
    std::unique_lock lock(inputMutex_);
    if (input_) return nullptr;
    const int port = snd_seq_create_simple_port(seq_, inputName, inputCapability, portType);
    if (port < 0) return nullptr;
    auto input = std::make_unique<Input>(*this, std::move(handler));
    input_ = input.get();
    inputPort_ = port;
    lock.unlock();
    subscribe(port, ports());
    return input;
}

// A subscription already made is refused as busy, which is as good.
void AlsaMidiSystem::subscribe(int inputPort, const std::vector<SeqPort>& ports) {
    for (const auto& source : seqSources(ports, self_))
        snd_seq_connect_from(seq_, inputPort, source.client, source.port);
}

// The watcher thread.
void AlsaMidiSystem::hear(const snd_seq_event_t& event) {
    std::uint8_t bytes[3] = {};
    const std::size_t size = seqEventMessage(event, bytes);
    if (size == 0) return;
    std::lock_guard lock(inputMutex_);
    if (input_ && event.dest.port == inputPort_) input_->relay_.push(bytes, size);
}

// The relay ends after this, with the input.
void AlsaMidiSystem::forget(Input&) {
    int port = -1;
    {
        std::lock_guard lock(inputMutex_);
        input_ = nullptr;
        port = std::exchange(inputPort_, -1);
    }
    snd_seq_delete_port(seq_, port);
}

std::unique_ptr<MidiOutput> AlsaMidiSystem::createOutput(const std::string& portName) {
    const int port = snd_seq_create_simple_port(seq_, portName.c_str(), outputCapability, portType);
    if (port < 0) return nullptr;
    auto output = std::make_unique<Output>(*this, portName, port);
    std::lock_guard lock(outputsMutex_);
    outputs_.push_back(output.get());
    return output;
}

void AlsaMidiSystem::send(const Output& output, const std::uint8_t* bytes, std::size_t size) noexcept {
    if (size == 0 || size > MidiOutput::maxMessageBytes) return;
    snd_seq_event_t event;
    snd_seq_ev_clear(&event);
    if (!encodeSeqEvent(bytes, size, event)) return;
    snd_seq_ev_set_source(&event, output.port_);
    snd_seq_ev_set_direct(&event);
    std::lock_guard lock(sendMutex_);
    snd_seq_ev_set_subs(&event);
    emit(event);
    for (auto& address : output.addresses_) {
        snd_seq_ev_set_dest(&event, address.client, address.port);
        emit(event);
    }
}

// The endpoints are read through the names destinations() gave them, so one
// whose number another device has taken since still means the device meant.
void AlsaMidiSystem::route(Output& output, const std::vector<std::string>& endpoints) {
    const auto now = ports();
    const auto present = seqDestinations(now, self_);
    std::vector<std::string> names;
    for (auto& endpoint : endpoints) {
        auto named = [&](auto& d) { return d.endpoint == endpoint; };
        auto listed = std::find_if(listed_.begin(), listed_.end(), named);
        if (listed != listed_.end()) {
            names.push_back(listed->name);
        } else if (auto seen = std::find_if(present.begin(), present.end(), named); seen != present.end()) {
            names.push_back(seen->name);
        }
    }
    std::lock_guard lock(outputsMutex_);
    output.names_ = std::move(names);
    retarget(output, now);
}

void AlsaMidiSystem::retarget(Output& output, const std::vector<SeqPort>& ports) {
    auto addresses = seqAddressesNamed(output.names_, ports, self_);
    std::lock_guard lock(sendMutex_);
    output.addresses_.swap(addresses); // the old list is freed after the lock
}

void AlsaMidiSystem::forget(Output& output) {
    {
        std::lock_guard lock(outputsMutex_);
        std::erase(outputs_, &output);
    }
    snd_seq_delete_port(seq_, output.port_);
}

} // namespace

Expected<std::unique_ptr<MidiSystem>> openAlsaMidi() {
    audioserver::silenceAlsa();
    auto self = std::make_unique<AlsaMidiSystem>();
    if (auto error = self->setUp()) return *error;
    return std::unique_ptr<MidiSystem>(std::move(self));
}

} // namespace ostinel::midiserver
