#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/AudioSystem.h"

namespace ostinel {

// A device the caller pulls: render(frames) runs the renderer on the calling
// thread, period by period, and returns what the device's channels carry.
// Tests use it to prove timing sample by sample; the application falls back
// to it, silent, when no audio server answers.
//
// Starts with one device (uid "offline", name "Offline", 2 channels) that is
// the default and the current one. Everything, the listener included, runs
// on the calling thread.
//
// A companion shares the devices as hardware would: a device added, removed
// or made the default is seen by both, and each one's listener hears of it.
// Routing, period and flow are each one's own; the caller pulls each.
class OfflineAudioSystem final : public AudioSystem {
public:
    explicit OfflineAudioSystem(double sampleRate = 48000.0, int periodFrames = 512);
    ~OfflineAudioSystem() override;
    OfflineAudioSystem(const OfflineAudioSystem&) = delete;
    OfflineAudioSystem& operator=(const OfflineAudioSystem&) = delete;

    // Renders `frames` frames in calls of at most periodFrames(). Returns one
    // vector per channel of the current device, silent while stopped; none at
    // all while the current device is absent (the renderer still runs, as it
    // would into unplugged hardware).
    std::vector<std::vector<float>> render(int frames);
    // The same into `out`, reshaped only when its shape differs: pulling the
    // same shape again allocates nothing, as a real-time thread needs.
    void render(int frames, std::vector<std::vector<float>>& out);

    // Device changes as the hardware would make them; each calls the listener.
    // A device added with the uid of a present one replaces it; a device
    // without its own rate runs at the system's.
    void addDevice(const AudioDevice& device, std::optional<double> sampleRate = std::nullopt);
    void removeDevice(const std::string& uid);
    // An unknown uid (or none) leaves the system without a default device.
    void setDefaultDevice(std::optional<std::string> uid);

    void setSampleRate(double rate); // of devices without a rate of their own
    void setPeriodFrames(int frames);
    void setFallbackReason(std::string reason) { fallbackReason_ = std::move(reason); }

    std::string backendName() const override { return "offline"; }
    // An OfflineAudioSystem: the caller may cast it to pull it.
    Expected<std::unique_ptr<AudioSystem>> openCompanion(const std::string& name, int sourceCount) override;
    std::string fallbackReason() const override { return fallbackReason_; }
    std::vector<AudioDevice> outputDevices() override;
    std::optional<std::string> defaultOutputDeviceUID() override { return hardware_->defaultUid; }
    void setRenderer(RenderFn fn, void* context) override;
    void setSourceCount(int count) override;
    int sourceCount() const override { return sourceCount_; }
    std::optional<Error> start() override;
    void stop() override { running_ = false; }
    bool isRunning() const override { return running_; }
    std::optional<Error> setDevice(const std::string& uid) override;
    std::optional<std::string> currentDeviceUID() const override { return currentUid_; }
    std::optional<Error> setChannelMap(const std::vector<int>& map) override;
    std::vector<int> channelMap() const override { return map_; }
    double sampleRate() const override;
    int periodFrames() const override { return periodFrames_; }
    void setDeviceListener(std::function<void()> listener) override { listener_ = std::move(listener); }

private:
    struct Entry {
        AudioDevice device;
        std::optional<double> sampleRate;
    };
    // What a system and its companions share.
    struct Hardware {
        std::vector<Entry> devices;
        std::optional<std::string> defaultUid;
        double sampleRate; // of devices without a rate of their own
        std::vector<OfflineAudioSystem*> systems;
    };
    OfflineAudioSystem(std::shared_ptr<Hardware> hardware, int periodFrames);
    const Entry* find(const std::string& uid) const;
    void notify() const;

    std::shared_ptr<Hardware> hardware_;
    std::optional<std::string> currentUid_;
    std::vector<int> map_;
    std::optional<double> lastRate_; // of the current device once it is gone
    int periodFrames_;
    int sourceCount_ = 2;
    bool running_ = false;
    RenderFn fn_ = nullptr;
    void* context_ = nullptr;
    std::vector<std::vector<float>> sources_;
    std::function<void()> listener_;
    std::string fallbackReason_;
};

} // namespace ostinel
