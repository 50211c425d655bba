// The JACK output: one client "Ostinel" for the whole run, two ports, made
// and activated once; a companion is another client with ports of its own. Devices are the clients owning physical playback ports;
// routing is the set of connections from our ports to theirs.

#include <jack/jack.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <mutex>
#include <sched.h>

#include "platform/AudioSystemBackends.h"
#include "platform/PeriodicThread.h"

namespace ostinel::audioserver {

namespace {

constexpr const char* uidPrefix = "jack:";

struct DevicePorts {
    std::string client;
    std::vector<std::string> ports; // physical playback ports, in the server's order
};

std::string clientOf(const std::string& port) { return port.substr(0, port.find(':')); }

class JackAudioSystem final : public ServedAudioSystem, public JackClientHooks {
public:
    ~JackAudioSystem() override {
        gate_.close();
        // Callbacks stop with deactivation; the worker may still be talking
        // to the server, so it ends before the client does.
        if (!serverGone_.load()) jack_deactivate(client_);
        worker_.reset();
        jack_client_close(client_);
    }

    static Expected<std::unique_ptr<AudioSystem>> open(const std::string& name, int sourceCount) {
        jack_status_t status{};
        jack_client_t* client = jack_client_open(name.c_str(), JackNoStartServer, &status);
        if (!client) {
            if (status & JackServerFailed) return Error{"JACK: no server is running."};
            return Error{"JACK: the server refused a client (status " + std::to_string(int(status)) + ")."};
        }
        std::unique_ptr<JackAudioSystem> self(new JackAudioSystem(client, std::clamp(sourceCount, 1, int(maxSources))));
        if (auto error = self->setUp()) return *error;
        return std::unique_ptr<AudioSystem>(std::move(self));
    }

    std::string backendName() const override { return "jack"; }

    Expected<std::unique_ptr<AudioSystem>> openCompanion(const std::string& name, int sourceCount) override {
        return open(name, sourceCount);
    }

    // A companion has no port for a second source.
    void setSourceCount(int count) override { ServedAudioSystem::setSourceCount(std::min(count, portCount_)); }

    std::vector<AudioDevice> outputDevices() override {
        std::vector<AudioDevice> devices;
        for (const auto& d : physicalPlayback())
            devices.push_back({uidPrefix + d.client, d.client, int(d.ports.size())});
        return devices;
    }

    std::optional<std::string> defaultOutputDeviceUID() override {
        auto all = physicalPlayback();
        if (all.empty()) return std::nullopt;
        return uidPrefix + all.front().client;
    }

    std::optional<Error> start() override {
        if (serverGone_.load()) return Error{"JACK: the server has stopped."};
        gate_.open();
        return std::nullopt;
    }
    void stop() override { gate_.close(); }
    bool isRunning() const override { return gate_.isOpen(); }

    std::optional<Error> setDevice(const std::string& uid) override {
        std::lock_guard lock(routeMutex_);
        auto device = findLocked(uid);
        if (!device) return Error{"There is no audio output device \"" + uid + "\"."};
        currentUid_ = uid;
        map_ = defaultChannelMap(int(device->ports.size()));
        return connectLocked(*device, true);
    }

    std::optional<std::string> currentDeviceUID() const override {
        std::lock_guard lock(routeMutex_);
        return currentUid_;
    }

    std::optional<Error> setChannelMap(const std::vector<int>& map) override {
        std::lock_guard lock(routeMutex_);
        auto device = currentUid_ ? findLocked(*currentUid_) : std::nullopt;
        if (!device) return Error{"The audio output device is not connected."};
        if (auto error = checkChannelMap(map, int(device->ports.size()))) return error;
        map_ = map;
        return connectLocked(*device, true);
    }

    std::vector<int> channelMap() const override {
        std::lock_guard lock(routeMutex_);
        return map_;
    }

    jack_client_t* jackClient() const override { return client_; }
    bool serverRunning() const override { return !serverGone_.load(); }

    void setProcessHook(ProcessHook* hook) override {
        // Pairs with process(): either it sees the new hook, or we see it
        // busy and wait out the one call.
        hook_.store(hook, std::memory_order_seq_cst);
        while (hookBusy_.load(std::memory_order_seq_cst)) sched_yield();
    }

    void setPortListener(std::function<void(std::optional<std::uint32_t>)> listener) override {
        std::lock_guard lock(portListenerMutex_);
        portListener_ = std::move(listener);
    }

private:
    using PortListener = std::function<void(std::optional<std::uint32_t>)>;

    JackAudioSystem(jack_client_t* client, int portCount) : client_(client), portCount_(portCount) {
        ServedAudioSystem::setSourceCount(portCount);
    }

    std::optional<Error> setUp() {
        for (int i = 0; i < portCount_; ++i) {
            const std::string shortName = "out_" + std::to_string(i + 1);
            ports_[i] = jack_port_register(client_, shortName.c_str(), JACK_DEFAULT_AUDIO_TYPE, JackPortIsOutput, 0);
            if (!ports_[i]) return Error{"JACK: couldn't register the port " + shortName + "."};
            portNames_[i] = jack_port_name(ports_[i]);
        }
        sampleRate_.store(double(jack_get_sample_rate(client_)));
        periodFrames_.store(int(jack_get_buffer_size(client_)));
        jack_set_process_callback(client_, &JackAudioSystem::process, this);
        jack_set_sample_rate_callback(client_, &JackAudioSystem::rateChanged, this);
        jack_set_buffer_size_callback(client_, &JackAudioSystem::periodChanged, this);
        jack_set_port_registration_callback(client_, &JackAudioSystem::portRegistered, this);
        jack_on_info_shutdown(client_, &JackAudioSystem::serverStopped, this);
        // Normal priority: hot-plug is no real-time matter.
        worker_ = std::make_unique<PeriodicThread>("ostinel-jackdev", 1.0, 0, [this] { work(); });
        if (jack_activate(client_) != 0) return Error{"JACK: couldn't activate the client."};
        if (auto uid = defaultOutputDeviceUID()) return setDevice(*uid);
        return std::nullopt;
    }

    std::vector<DevicePorts> physicalPlayback() const {
        std::vector<DevicePorts> devices;
        if (serverGone_.load()) return devices;
        const char** names = jack_get_ports(client_, nullptr, JACK_DEFAULT_AUDIO_TYPE, JackPortIsPhysical | JackPortIsInput);
        for (const char** n = names; n && *n; ++n) {
            const std::string port = *n;
            const std::string client = clientOf(port);
            auto it = std::find_if(devices.begin(), devices.end(), [&](auto& d) { return d.client == client; });
            if (it == devices.end()) it = devices.insert(devices.end(), DevicePorts{client, {}});
            it->ports.push_back(port);
        }
        jack_free(names);
        return devices;
    }

    std::optional<DevicePorts> findLocked(const std::string& uid) const {
        if (uid.rfind(uidPrefix, 0) != 0) return std::nullopt;
        for (auto& d : physicalPlayback())
            if (d.client == uid.substr(std::strlen(uidPrefix))) return d;
        return std::nullopt;
    }

    // Makes our connections those of the map. `fresh` first drops every
    // connection of ours; otherwise only the missing ones are made, as when a
    // device comes back.
    std::optional<Error> connectLocked(const DevicePorts& device, bool fresh) {
        std::optional<Error> failure;
        for (int s = 0; fresh && s < portCount_; ++s)
            if (jack_port_disconnect(client_, ports_[s]) != 0 && !failure)
                failure = Error{"JACK: couldn't disconnect " + portNames_[s] + "."};
        for (std::size_t c = 0; c < device.ports.size() && c < map_.size(); ++c) {
            const int s = map_[c];
            if (s < 0 || s >= portCount_) continue;
            const int rc = jack_connect(client_, portNames_[s].c_str(), device.ports[c].c_str());
            if (rc != 0 && rc != EEXIST && !failure)
                failure = Error{"JACK: couldn't connect " + portNames_[s] + " to " + device.ports[c] + "."};
        }
        return failure;
    }

    // Hot-plug, off JACK's notification thread, which mustn't call the server.
    void work() {
        if (!changed_.exchange(false)) return;
        restoreRouting();
        listener_.notify();
    }

    void restoreRouting() {
        std::lock_guard lock(routeMutex_);
        if (!currentUid_) return;
        if (auto device = findLocked(*currentUid_)) connectLocked(*device, false);
    }

    void wakeWorker() {
        changed_.store(true);
        worker_->wake();
    }

    static int process(jack_nframes_t frames, void* arg) {
        auto* self = static_cast<JackAudioSystem*>(arg);
        float* out[maxSources] = {};
        for (int i = 0; i < self->portCount_; ++i)
            out[i] = static_cast<float*>(jack_port_get_buffer(self->ports_[i], frames));
        self->pull(out, int(frames), self->portCount_);
        self->hookBusy_.store(true, std::memory_order_seq_cst);
        if (auto* hook = self->hook_.load(std::memory_order_seq_cst)) hook->process(frames);
        self->hookBusy_.store(false, std::memory_order_seq_cst);
        return 0;
    }

    static int rateChanged(jack_nframes_t rate, void* arg) {
        static_cast<JackAudioSystem*>(arg)->sampleRate_.store(double(rate));
        return 0;
    }

    static int periodChanged(jack_nframes_t frames, void* arg) {
        static_cast<JackAudioSystem*>(arg)->periodFrames_.store(int(frames));
        return 0;
    }

    static void portRegistered(jack_port_id_t id, int, void* arg) {
        auto* self = static_cast<JackAudioSystem*>(arg);
        // A port already gone can't be looked at; count it as a change.
        const jack_port_t* port = jack_port_by_id(self->client_, id);
        const int playback = JackPortIsPhysical | JackPortIsInput;
        if (!port || (jack_port_flags(port) & playback) == playback) self->wakeWorker();
        self->notifyPortListener(id);
    }

    // Held across the call, so that a listener replaced is never called again.
    void notifyPortListener(std::optional<std::uint32_t> id) const {
        std::lock_guard lock(portListenerMutex_);
        if (portListener_) portListener_(id);
    }

    static void serverStopped(jack_status_t, const char*, void* arg) {
        auto* self = static_cast<JackAudioSystem*>(arg);
        self->serverGone_.store(true);
        self->wakeWorker();
        self->notifyPortListener(std::nullopt);
    }

    jack_client_t* client_;
    const int portCount_;
    jack_port_t* ports_[maxSources] = {};
    std::string portNames_[maxSources];
    std::atomic<bool> serverGone_{false};

    mutable std::mutex routeMutex_;
    std::optional<std::string> currentUid_;
    std::vector<int> map_;

    std::atomic<bool> changed_{false};
    std::unique_ptr<PeriodicThread> worker_;

    std::atomic<ProcessHook*> hook_{nullptr};
    std::atomic<bool> hookBusy_{false};
    mutable std::mutex portListenerMutex_;
    PortListener portListener_;
};

void silence(const char*) {}

} // namespace

Expected<std::unique_ptr<AudioSystem>> openJack() {
    // The library prints every failed connection attempt; our errors say it.
    static std::once_flag quiet;
    std::call_once(quiet, [] {
        jack_set_error_function(silence);
        jack_set_info_function(silence);
    });
    return JackAudioSystem::open("Ostinel", AudioSystem::maxSources);
}

JackClientHooks* jackClientHooks(AudioSystem& audio) { return dynamic_cast<JackAudioSystem*>(&audio); }

} // namespace ostinel::audioserver
