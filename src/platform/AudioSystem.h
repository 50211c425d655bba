#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/Expected.h"

namespace ostinel {

// An output device as the operator chooses it: a JACK client owning physical
// playback ports ("jack:<client>"), an ALSA PCM ("alsa:<pcm>"), or an offline
// device.
struct AudioDevice {
    std::string uid;  // stable across reconnects
    std::string name; // for people
    int channelCount = 0;
    friend bool operator==(const AudioDevice&, const AudioDevice&) = default;
};

// The audio server the engine plays through. One output lives for the whole
// run of the process: its client, ports and connections are made once and
// re-routed, never re-made per cue, so no cue loses its first samples to a
// connection being made.
//
// After creation the output is routed to the default device with the default
// map (source i to channel i) and is stopped.
//
// Threads: everything from the main thread except the render callback (the
// real-time thread) and the device listener (any thread; it must only hop).
class AudioSystem {
public:
    // Fills `sourceCount` (1 or 2) buffers of `frames` frames, every sample.
    // Real-time: no allocation, no locks held for long, no file access, no
    // logging. `frames` is the period or less, never above maxRenderFrames.
    using RenderFn = void (*)(void* context, float* const* sources, int sourceCount, int frames);

    static constexpr int maxSources = 2;
    static constexpr int maxRenderFrames = 8192;

    virtual ~AudioSystem() = default;

    // JACK when a server answers, else ALSA, else Offline with a notice.
    // OSTINEL_AUDIO_BACKEND=jack|alsa|offline forces one; a forced backend that
    // can't start is an error.
    static Expected<std::unique_ptr<AudioSystem>> create();

    virtual std::string backendName() const = 0; // "jack", "alsa", "offline"

    // A second output on the same server, for a signal that must pass
    // neither this output's chain nor its meters (timecode), possibly to
    // another device: a client and ports of its own named `name` on JACK, a
    // PCM of its own on ALSA, another device the caller pulls offline. It
    // starts stopped, routed to the default device.
    virtual Expected<std::unique_ptr<AudioSystem>> openCompanion(const std::string& name, int sourceCount) {
        (void)name;
        (void)sourceCount;
        return Error{"This audio system has no second output."};
    }
    // Why the automatic choice fell back, for the notice; empty otherwise.
    virtual std::string fallbackReason() const { return {}; }

    // Allocates and may ask the server: for device events and explicit
    // lookups, not for the tick.
    virtual std::vector<AudioDevice> outputDevices() = 0;
    virtual std::optional<std::string> defaultOutputDeviceUID() = 0;

    // The render source. Safe at any time: a running flow is held silent for
    // the instant of the swap. After stop() returns the old renderer is never
    // called again, so its context may be destroyed.
    virtual void setRenderer(RenderFn fn, void* context) = 0;
    virtual void setSourceCount(int count) = 0; // 2 stereo, 1 mono
    virtual int sourceCount() const = 0;

    // Start and stop the flow of audio to the device (the output stays open).
    // While stopped, or without a renderer, the device hears silence.
    virtual std::optional<Error> start() = 0;
    virtual void stop() = 0;
    virtual bool isRunning() const = 0;

    // Routes to the device with that uid and resets the map to source i on
    // channel i. Best done while stopped; a running flow goes on across the
    // change with a short gap. An unknown uid is an error and changes nothing.
    virtual std::optional<Error> setDevice(const std::string& uid) = 0;
    // Stays the same when the device vanishes: the output then plays into
    // nothing until it is routed elsewhere or the device returns.
    virtual std::optional<std::string> currentDeviceUID() const = 0;
    // One entry per device channel: the source index for it, or -1 for
    // silence. Shorter than the device leaves the rest silent; an entry naming
    // a channel the device lacks or a source that doesn't exist is an error.
    // Entries naming source 1 are silent in mono.
    virtual std::optional<Error> setChannelMap(const std::vector<int>& map) = 0;
    virtual std::vector<int> channelMap() const = 0;

    virtual double sampleRate() const = 0; // of the current device
    virtual int periodFrames() const = 0;

    // Called on any change of the device list or the default device, on the
    // thread of whoever noticed it. Several calls for one change can happen.
    virtual void setDeviceListener(std::function<void()> listener) = 0;
};

} // namespace ostinel
