// The output side of the engine: which device and channels the chain plays
// into, falling back when the chosen device goes and returning to it once no
// cue is playing; the limiter switch and the meters.

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <mutex>

#include "platform/Preferences.h"
#include "playback/EngineLog.h"
#include "playback/LevelMeter.h"
#include "playback/PlaybackEngine.h"

namespace ostinel {

namespace {

const char* const deviceUIDKey = "outputDeviceUID";
const char* const deviceNameKey = "outputDeviceName";
const char* const limiterKey = "limiterEnabled";
const char* const stopFadeKey = "stopFadeSeconds";
const char* const fallbackName = "Audio interface";

// An automated run must not rewrite the operator's stored device.
bool isAutomatedRun() { return std::getenv("OSTINEL_SNAPSHOT_DIR") != nullptr; }

int evenOffset(std::int64_t offset) {
    const std::int64_t positive = std::clamp<std::int64_t>(offset, 0, 1 << 20);
    return int(positive - positive % 2);
}

} // namespace

void PlaybackEngine::buildGraph() {
    if (auto seconds = preferences_.doubleValue(stopFadeKey)) stopFadeSeconds_ = std::clamp(*seconds, 0.0, maxStopFadeSeconds);
    if (auto enabled = preferences_.boolValue(limiterKey)) limiterEnabled_ = *enabled;

    preferredOutputDeviceUID_ = preferences_.stringValue(deviceUIDKey);
    preferredOutputDeviceName_ = preferences_.stringValue(deviceNameKey);
    if (preferredOutputDeviceUID_) {
        if (findDevice(*preferredOutputDeviceUID_))
            outputDeviceUID_ = preferredOutputDeviceUID_;
        else
            setNotice(preferredOutputDeviceName_.value_or(fallbackName) +
                      " is not connected — using the system default until it is.");
    }
    loadChannelOffset();

    // An offline device is pulled by its caller, never against a deadline, so
    // the player may wait for its read-ahead and rendering stays exact.
    offline_ = audio_.backendName() == "offline";
    player_.setWaitForData(offline_);
    scheduler_.setAutomaticTopUp(!offline_);
    audio_.setRenderer(&PlaybackEngine::renderAudio, this);
    safeConnect();
    appliedDeviceUID_ = audio_.defaultOutputDeviceUID();

    std::weak_ptr<PlaybackEngine*> weak = self_;
    MainLoop& loop = mainLoop_;
    audio_.setDeviceListener([weak, &loop] {
        loop.post([weak] {
            if (auto engine = weak.lock()) (*engine)->handleDeviceChange();
        });
    });
    chain_.setLimiterEnabled(limiterEnabled_);
    applyOutputDevice();
}

void PlaybackEngine::renderAudio(void* context, float* const* sources, int sourceCount, int frames) {
    static_cast<PlaybackEngine*>(context)->chain_.render(sources, sourceCount, frames);
}

// --- Settings ------------------------------------------------------------------------------

std::optional<AudioDevice> PlaybackEngine::findDevice(const std::string& uid) const {
    for (auto& device : audio_.outputDevices())
        if (device.uid == uid) return device;
    return std::nullopt;
}

std::string PlaybackEngine::channelOffsetKey() const {
    return "outputChannelOffset." + outputDeviceUID_.value_or(systemDefaultKey);
}

void PlaybackEngine::loadChannelOffset() {
    const auto stored = preferences_.intValue(channelOffsetKey());
    assign(outputChannelOffset_, evenOffset(stored.value_or(0)), &PlaybackEngine::outputChannelOffsetChanged);
}

void PlaybackEngine::rememberPreferredOutputDevice(const std::optional<std::string>& uid) {
    std::optional<std::string> name;
    if (uid) {
        if (auto device = findDevice(*uid)) name = device->name;
    }
    assign(preferredOutputDeviceUID_, uid, &PlaybackEngine::preferredOutputDeviceUIDChanged);
    assign(preferredOutputDeviceName_, name, &PlaybackEngine::preferredOutputDeviceNameChanged);
    if (isAutomatedRun()) return;
    if (uid)
        preferences_.setValue(deviceUIDKey, *uid);
    else
        preferences_.remove(deviceUIDKey);
    if (name)
        preferences_.setValue(deviceNameKey, *name);
    else
        preferences_.remove(deviceNameKey);
}

void PlaybackEngine::setOutputDeviceUID(std::optional<std::string> uid) {
    if (!isFallingBack_) rememberPreferredOutputDevice(uid);
    // Choosing the device already in use must not interrupt a cue.
    if (uid == outputDeviceUID_) return;
    assign(outputDeviceUID_, std::move(uid), &PlaybackEngine::outputDeviceUIDChanged);
    loadChannelOffset();
    applyOutputDevice();
}

void PlaybackEngine::setOutputChannelOffset(int offset) {
    const int corrected = evenOffset(offset);
    if (corrected != offset) return setOutputChannelOffset(corrected);
    preferences_.setValue(channelOffsetKey(), std::int64_t(offset));
    if (offset == outputChannelOffset_) return;
    assign(outputChannelOffset_, offset, &PlaybackEngine::outputChannelOffsetChanged);
    applyOutputDevice();
}

void PlaybackEngine::setMonoOutputChannel(std::optional<int> channel) {
    if (channel == monoOutputChannel_) return;
    assign(monoOutputChannel_, channel, &PlaybackEngine::monoOutputChannelChanged);
    applyOutputDevice();
}

void PlaybackEngine::setLimiterEnabled(bool enabled) {
    preferences_.setValue(limiterKey, enabled);
    chain_.setLimiterEnabled(enabled);
    if (!enabled) limiterReductionDb_ = 0.0f;
    assign(limiterEnabled_, enabled, &PlaybackEngine::limiterEnabledChanged);
}

// --- Routing ----------------------------------------------------------------------------------

std::optional<std::string> PlaybackEngine::resolveDevice() const {
    if (!outputDeviceUID_) return audio_.defaultOutputDeviceUID();
    if (findDevice(*outputDeviceUID_)) return outputDeviceUID_;
    return std::nullopt;
}

// Audio stops before anything is touched, and the position is read before
// it stops, so a cue resumes where it was after a short gap.
void PlaybackEngine::applyOutputDevice() {
    const auto device = resolveDevice();
    if (!device) {
        qCWarning(engineLog, "Output device not found (uid: %s) — keeping current routing",
                  outputDeviceUID_.value_or("default").c_str());
        return;
    }
    const bool wasRunning = audio_.isRunning();
    std::optional<double> resumeAt;
    if (isPlaying_ && !inPreRoll_) {
        {
            std::lock_guard lock(scheduler_.lock());
            resumeAt = scheduler_.currentPlaybackTimeLocked();
        }
        scheduler_.stop();
    }
    if (wasRunning) audio_.stop();
    if (auto error = audio_.setDevice(*device))
        qCWarning(engineLog, "Failed to set output device (%s)", error->message.c_str());
    applyMixerOutputFormat(*device);
    applyChannelMap(*device);
    appliedDeviceUID_ = device;
    if (wasRunning) startEngineIfNeeded();
    if (!resumeAt) return;
    if (audio_.isRunning()) {
        currentTime_ = tickTime_ = *resumeAt;
        tickDate_ = mainLoop_.now();
        applyEnvelope(*resumeAt);
        scheduler_.start(*resumeAt);
        if (onTimecodeLocate) onTimecodeLocate(timecodeStartSeconds_ + *resumeAt);
    } else {
        currentTime_ = *resumeAt;
        stopHere();
    }
}

void PlaybackEngine::applyMixerOutputFormat(const std::string& deviceUID) {
    const double rate = audio_.sampleRate();
    const auto device = findDevice(deviceUID);
    const int deviceChannels = device ? device->channelCount : 0;
    if (!(rate > 0.0) || deviceChannels == 0) {
        qCInfo(engineLog, "Skipping mixer→output reconnect: output device format not ready (rate %f, channels %u)",
               rate, unsigned(deviceChannels));
        return;
    }
    const int channels = monoOutputChannel_ ? 1 : 2;
    chain_.setMono(monoOutputChannel_.has_value());
    if (channels != connectedChannels_ || rate != connectedDeviceRate_) safeConnect();
}

// The chain's rates and the number of sources the device pulls: what
// connecting nodes in a graph amounts to here.
bool PlaybackEngine::safeConnect() {
    const double deviceRate = audio_.sampleRate();
    if (!(deviceRate > 0.0)) return false;
    const int channels = monoOutputChannel_ ? 1 : 2;
    const double sourceRate = fileRate_ > 0.0 ? fileRate_ : deviceRate;
    try {
        if (sourceRate != connectedFileRate_ || deviceRate != connectedDeviceRate_)
            chain_.setRates(sourceRate, deviceRate);
        if (channels != connectedChannels_) audio_.setSourceCount(channels);
    } catch (const std::exception& error) {
        qCWarning(engineLog, "AVAudioEngine.connect failed: %s", error.what());
        setNotice("Couldn't reconfigure the audio output for the current device.");
        return false;
    }
    connectedFileRate_ = sourceRate;
    connectedDeviceRate_ = deviceRate;
    connectedChannels_ = channels;
    return true;
}

void PlaybackEngine::applyChannelMap(const std::string& deviceUID) {
    const auto device = findDevice(deviceUID);
    const int n = device ? device->channelCount : 0;
    if (n <= 0) return;
    std::vector<int> map(std::size_t(n), -1);
    if (!monoOutputChannel_) {
        int o = outputChannelOffset_;
        // A one-channel device has no pair: the first pair means its channel 1.
        if (o + 1 < n || (n == 1 && o == 0)) {
            lastChannelFallbackWarning_.reset();
        } else {
            qCInfo(engineLog, "Saved output pair (offset %ld) exceeds device channels (%ld) — using 1-2", long(o),
                   long(n));
            warnAboutChannelFallback(deviceUID, o,
                                     "Selected output channels aren't available on this device — using channels 1-2.");
            o = 0;
        }
        map[std::size_t(o)] = 0;
        // A one-channel device keeps the left side only.
        if (o + 1 < n) map[std::size_t(o) + 1] = 1;
    } else {
        int c = *monoOutputChannel_;
        if (c >= 0 && c < n) {
            lastChannelFallbackWarning_.reset();
        } else {
            qCInfo(engineLog, "Mono output channel %ld exceeds device channels (%ld) — using channel 1", long(c),
                   long(n));
            warnAboutChannelFallback(deviceUID, c,
                                     "Selected output channel isn't available on this device — using channel 1.");
            c = 0;
        }
        map[std::size_t(c)] = 0;
    }
    if (auto error = audio_.setChannelMap(map)) {
        qCWarning(engineLog, "Failed to set output channel map (%s)", error->message.c_str());
        setNotice("Couldn't route audio to the selected output channels.");
    }
}

void PlaybackEngine::warnAboutChannelFallback(const std::string& deviceUID, int requested, const std::string& message) {
    ChannelWarning warning{deviceUID, requested};
    if (lastChannelFallbackWarning_ == warning) return;
    lastChannelFallbackWarning_ = warning;
    setNotice(message);
}

// --- Devices coming and going ----------------------------------------------------------------

void PlaybackEngine::handleDeviceChange() {
    if (!outputDeviceUID_) {
        returnToPreferredOutputDeviceIfConnected();
        if (outputDeviceUID_) return;
        const auto systemDefault = audio_.defaultOutputDeviceUID();
        if (systemDefault && systemDefault != appliedDeviceUID_) {
            qCInfo(engineLog, "System default output changed — following it");
            applyOutputDevice();
        }
        return;
    }
    if (findDevice(*outputDeviceUID_)) return;
    qCWarning(engineLog, "Selected output device disappeared (uid: %s) — falling back to the system default",
              outputDeviceUID_->c_str());
    isFallingBack_ = true;
    setOutputDeviceUID(std::nullopt);
    isFallingBack_ = false;
    setNotice("Audio output device disconnected — switched to the system default until it is back.");
}

void PlaybackEngine::returnToPreferredOutputDeviceIfConnected() {
    if (isPlaying_) return;
    if (!preferredOutputDeviceUID_ || preferredOutputDeviceUID_ == outputDeviceUID_) return;
    if (!findDevice(*preferredOutputDeviceUID_)) return;
    qCInfo(engineLog, "Preferred output device connected (uid: %s) — switching back",
           preferredOutputDeviceUID_->c_str());
    setOutputDeviceUID(preferredOutputDeviceUID_);
    setNotice(preferredOutputDeviceName_.value_or(fallbackName) + " connected — switched back to it.");
}

// --- Meters -----------------------------------------------------------------------------------

void PlaybackEngine::updateMeter() {
    const auto peaks = chain_.takePeaks();
    meterLevelL_ = LevelMeter::approach(meterLevelL_, peaks.left);
    meterLevelR_ = LevelMeter::approach(meterLevelR_, peaks.right);
    const float reduction = limiterEnabled_ ? std::max(0.0f, chain_.limiterReductionDb()) : 0.0f;
    limiterReductionDb_ = LevelMeter::approach(limiterReductionDb_, reduction);
}

} // namespace ostinel
