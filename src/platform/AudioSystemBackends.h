#pragma once

// What the audio servers share; private to the platform folder and its tests.

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/AudioSystem.h"

typedef struct _jack_client jack_client_t;

namespace ostinel::audioserver {

Expected<std::unique_ptr<AudioSystem>> openJack();
Expected<std::unique_ptr<AudioSystem>> openAlsa();
// The PCMs ALSA offers for playback, "default" first; opens none that is busy.
std::vector<AudioDevice> alsaOutputDevices();
// Keeps alsa-lib's own complaints off stderr; our errors say what failed.
void silenceAlsa();

// Hands the renderer to the thread that pulls audio, and takes it back: once
// close() returns no call is in progress and none will start until open().
class RenderGate {
public:
    // Main thread. Holds a running flow silent for the instant of the swap.
    void setRenderer(AudioSystem::RenderFn fn, void* context);
    void open();
    void close();
    bool isOpen() const { return open_.load(std::memory_order_acquire); }

    // Real-time. False, having called nothing, when closed or without a
    // renderer: the caller writes silence.
    bool render(float* const* sources, int sourceCount, int frames) noexcept;

private:
    std::atomic<bool> open_{false};
    std::atomic<bool> busy_{false};
    AudioSystem::RenderFn fn_ = nullptr; // written only while closed
    void* context_ = nullptr;
};

// The device listener, callable from any thread while it is being replaced.
class ListenerSlot {
public:
    void set(std::function<void()> listener);
    void notify() const;

private:
    mutable std::mutex mutex_;
    std::shared_ptr<const std::function<void()>> listener_;
};

// What the JACK and ALSA outputs share: a thread of the server's or our own
// pulls the renderer through the gate; rate and period are the device's.
class ServedAudioSystem : public AudioSystem {
public:
    void setRenderer(RenderFn fn, void* context) override { gate_.setRenderer(fn, context); }
    void setSourceCount(int count) override { sourceCount_.store(std::clamp(count, 1, int(maxSources))); }
    int sourceCount() const override { return sourceCount_.load(); }
    double sampleRate() const override { return sampleRate_.load(); }
    int periodFrames() const override { return periodFrames_.load(); }
    void setDeviceListener(std::function<void()> listener) override { listener_.set(std::move(listener)); }

protected:
    // Real-time: fills `buffers` buffers (at most maxSources), those the
    // renderer doesn't feed (all while stopped) with silence. Returns the
    // source count it used.
    int pull(float* const* sources, int frames, int buffers = maxSources) noexcept {
        const int count = std::min(sourceCount_.load(std::memory_order_relaxed), buffers);
        const int fed = gate_.render(sources, count, frames) ? count : 0;
        for (int i = fed; i < buffers; ++i) std::fill_n(sources[i], frames, 0.0f);
        return count;
    }

    RenderGate gate_;
    std::atomic<int> sourceCount_{2};
    std::atomic<double> sampleRate_{0.0};
    std::atomic<int> periodFrames_{0};
    ListenerSlot listener_;
};

// What JACK MIDI needs of a JACK output: its client, a turn in its process
// callback and word of port changes, so MIDI ports share the audio's client
// and cycle.
class JackClientHooks {
public:
    // Real-time work done in every cycle, after the audio.
    class ProcessHook {
    public:
        virtual void process(unsigned frames) noexcept = 0;

    protected:
        ~ProcessHook() = default;
    };

    virtual jack_client_t* jackClient() const = 0;
    virtual bool serverRunning() const = 0;
    // Main thread. Replacing it returns once the old hook's last call has
    // ended, so its object may go; null removes it.
    virtual void setProcessHook(ProcessHook* hook) = 0;
    // Called on JACK's notification thread, which mustn't call the server,
    // with the id of every port registered or unregistered, and with no id
    // when the server stops. It must only hop. Replacing it returns once a
    // call in progress has ended.
    virtual void setPortListener(std::function<void(std::optional<std::uint32_t>)> listener) = 0;

protected:
    ~JackClientHooks() = default;
};

// The hooks of a JACK output; null for every other backend.
JackClientHooks* jackClientHooks(AudioSystem& audio);

// Checks a channel map against a device; see AudioSystem::setChannelMap.
std::optional<Error> checkChannelMap(const std::vector<int>& map, int deviceChannels);
// Source i on channel i, silence on the rest.
std::vector<int> defaultChannelMap(int deviceChannels);
// The source feeding a device channel, or -1 for silence.
inline int sourceFor(const std::vector<int>& map, int channel, int sourceCount) {
    if (channel >= int(map.size())) return -1;
    int s = map[std::size_t(channel)];
    return s < sourceCount ? s : -1;
}

} // namespace ostinel::audioserver
