// The ALSA output: a device is a playback PCM, "default" (the desktop's sound
// server through its ALSA plugin) or a card's hardware PCM. The PCM stays open
// across cues; a stream thread of our own writes interleaved periods while
// running, the channel map choosing which PCM channel carries which source.

#include <alsa/asoundlib.h>
#include <time.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <mutex>
#include <sstream>
#include <thread>

#include "platform/AudioSystemBackends.h"
#include "platform/PeriodicThread.h"

namespace ostinel::audioserver {

namespace {

constexpr const char* uidPrefix = "alsa:";
constexpr const char* defaultPcm = "default";
constexpr unsigned preferredRate = 48000;
constexpr snd_pcm_uframes_t preferredPeriod = 512;
constexpr unsigned periodsPerBuffer = 4;
constexpr unsigned maxChannels = 64;
constexpr int waitTimeoutMs = 200;
constexpr double cardPollSeconds = 1.0;
constexpr int streamPriority = 70;

void quiet(const char*, int, const char*, int, const char*, ...) {}

std::string alsaError(int rc) { return snd_strerror(rc); }

// Channels a PCM offers for playback, opening it briefly; none when it can't
// be opened now (absent, or busy with another program).
std::optional<int> playbackChannels(const std::string& pcmName) {
    snd_pcm_t* pcm = nullptr;
    if (snd_pcm_open(&pcm, pcmName.c_str(), SND_PCM_STREAM_PLAYBACK, SND_PCM_NONBLOCK) < 0) return std::nullopt;
    snd_pcm_hw_params_t* params = nullptr;
    snd_pcm_hw_params_alloca(&params);
    unsigned channels = 0;
    const bool ok = snd_pcm_hw_params_any(pcm, params) >= 0 && snd_pcm_hw_params_get_channels_max(params, &channels) >= 0;
    snd_pcm_close(pcm);
    if (!ok || channels == 0) return std::nullopt;
    return int(std::min(channels, maxChannels));
}

// The sound server's plugin offers any count; the desktop's output is a pair.
int deviceChannels(const std::string& pcmName, unsigned offered) {
    return pcmName == defaultPcm ? 2 : int(std::min(offered, maxChannels));
}

std::string hintText(const void* hint, const char* id) {
    char* text = snd_device_name_get_hint(hint, id);
    std::string value = text ? text : "";
    std::free(text);
    return value;
}

// The card's own words ("HDA Intel PCH, ALC892 Analog"), not the line after.
std::string friendlyName(const std::string& description, const std::string& pcmName) {
    std::string first = description.substr(0, description.find('\n'));
    return first.empty() ? pcmName : first;
}

// What the hardware lists in /proc/asound/cards; a change means hot-plug.
std::string cardList() {
    std::ifstream in("/proc/asound/cards");
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

struct Stream {
    snd_pcm_t* pcm = nullptr;
    snd_pcm_format_t format = SND_PCM_FORMAT_UNKNOWN;
    int channels = 0;
    unsigned rate = 0;
    snd_pcm_uframes_t period = 0;
};

void closeStream(Stream& stream) {
    if (stream.pcm) snd_pcm_close(stream.pcm);
    stream = {};
}

Expected<Stream> openStream(const std::string& pcmName, int channels) {
    Stream s;
    auto fail = [&](const std::string& what, int rc) -> Error {
        closeStream(s);
        return Error{"ALSA: can't " + what + " \"" + pcmName + "\" (" + alsaError(rc) + ")."};
    };
    int rc = snd_pcm_open(&s.pcm, pcmName.c_str(), SND_PCM_STREAM_PLAYBACK, SND_PCM_NONBLOCK);
    if (rc < 0) return fail("open", rc);
    snd_pcm_hw_params_t* hw = nullptr;
    snd_pcm_hw_params_alloca(&hw);
    if ((rc = snd_pcm_hw_params_any(s.pcm, hw)) < 0) return fail("configure", rc);
    if ((rc = snd_pcm_hw_params_set_access(s.pcm, hw, SND_PCM_ACCESS_RW_INTERLEAVED)) < 0)
        return fail("write interleaved to", rc);
    rc = -EINVAL;
    for (auto f : {SND_PCM_FORMAT_FLOAT, SND_PCM_FORMAT_S32, SND_PCM_FORMAT_S24_3LE, SND_PCM_FORMAT_S16}) {
        if (snd_pcm_hw_params_test_format(s.pcm, hw, f) == 0) {
            rc = snd_pcm_hw_params_set_format(s.pcm, hw, f);
            s.format = f;
            break;
        }
    }
    if (rc < 0) return fail("find a sample format for", rc);
    if ((rc = snd_pcm_hw_params_set_channels(s.pcm, hw, unsigned(channels))) < 0) return fail("set the channels of", rc);
    s.channels = channels;
    s.rate = preferredRate;
    if ((rc = snd_pcm_hw_params_set_rate_near(s.pcm, hw, &s.rate, nullptr)) < 0) return fail("set the rate of", rc);
    s.period = preferredPeriod;
    if ((rc = snd_pcm_hw_params_set_period_size_near(s.pcm, hw, &s.period, nullptr)) < 0)
        return fail("set the period of", rc);
    snd_pcm_uframes_t buffer = s.period * periodsPerBuffer;
    if ((rc = snd_pcm_hw_params_set_buffer_size_near(s.pcm, hw, &buffer)) < 0) return fail("set the buffer of", rc);
    if ((rc = snd_pcm_hw_params(s.pcm, hw)) < 0) return fail("configure", rc);
    snd_pcm_hw_params_get_period_size(hw, &s.period, nullptr);
    snd_pcm_hw_params_get_buffer_size(hw, &buffer);
    s.period = std::min<snd_pcm_uframes_t>(s.period, AudioSystem::maxRenderFrames);
    // The pacing divides by both; a driver that settles on zero is refused.
    if (s.rate == 0 || s.period == 0) return fail("play at a rate or period of zero on", -EINVAL);

    // Audio starts once the buffer is full of real samples, never of padding.
    snd_pcm_sw_params_t* sw = nullptr;
    snd_pcm_sw_params_alloca(&sw);
    snd_pcm_sw_params_current(s.pcm, sw);
    snd_pcm_sw_params_set_start_threshold(s.pcm, sw, buffer - buffer % s.period);
    snd_pcm_sw_params_set_avail_min(s.pcm, sw, s.period);
    if ((rc = snd_pcm_sw_params(s.pcm, sw)) < 0) return fail("configure", rc);
    if ((rc = snd_pcm_prepare(s.pcm)) < 0) return fail("prepare", rc);
    return s;
}

float clampSample(float x) { return std::clamp(x, -1.0f, 1.0f); }

// Writes the mapped sources into one interleaved period in the PCM's format.
void interleave(const Stream& s, const std::vector<int>& map, float* const* sources, int sourceCount, int frames,
                unsigned char* out) {
    const int bytes = snd_pcm_format_physical_width(s.format) / 8;
    for (int c = 0; c < s.channels; ++c) {
        const int src = sourceFor(map, c, sourceCount);
        unsigned char* p = out + c * bytes;
        for (int f = 0; f < frames; ++f, p += bytes * s.channels) {
            const float x = src >= 0 ? clampSample(sources[src][f]) : 0.0f;
            switch (s.format) {
            case SND_PCM_FORMAT_FLOAT: std::memcpy(p, &x, 4); break;
            case SND_PCM_FORMAT_S32: {
                const auto v = std::int32_t(std::clamp(double(x) * 2147483648.0, -2147483648.0, 2147483647.0));
                std::memcpy(p, &v, 4);
                break;
            }
            case SND_PCM_FORMAT_S24_3LE: {
                const auto v = std::int32_t(std::clamp(double(x) * 8388608.0, -8388608.0, 8388607.0));
                p[0] = std::uint8_t(v & 0xff);
                p[1] = std::uint8_t((v >> 8) & 0xff);
                p[2] = std::uint8_t((v >> 16) & 0xff);
                break;
            }
            default: {
                const auto v = std::int16_t(std::clamp(double(x) * 32768.0, -32768.0, 32767.0));
                std::memcpy(p, &v, 2);
            }
            }
        }
    }
}

// Every PCM that can play now. `openPcm`, ours, is busy to a second open and
// is listed as it is open.
std::vector<AudioDevice> listDevices(const std::string& openPcm, int openChannels) {
    std::vector<AudioDevice> devices;
    auto add = [&](const std::string& pcm, const std::string& name) {
        std::optional<int> channels = pcm == openPcm ? std::optional(openChannels) : playbackChannels(pcm);
        if (channels) devices.push_back({uidPrefix + pcm, name, deviceChannels(pcm, unsigned(*channels))});
    };
    add(defaultPcm, "System default");
    void** hints = nullptr;
    if (snd_device_name_hint(-1, "pcm", &hints) < 0) return devices;
    for (void** h = hints; *h; ++h) {
        const std::string pcm = hintText(*h, "NAME");
        const std::string io = hintText(*h, "IOID");
        if (pcm.rfind("hw:", 0) != 0 || (!io.empty() && io != "Output")) continue;
        add(pcm, friendlyName(hintText(*h, "DESC"), pcm));
    }
    snd_device_name_free_hint(hints);
    return devices;
}

void addNanoseconds(timespec& t, long long ns) {
    ns += t.tv_nsec;
    t.tv_sec += time_t(ns / 1000000000);
    t.tv_nsec = long(ns % 1000000000);
}

class AlsaAudioSystem final : public ServedAudioSystem {
public:
    // A companion opens its PCM when it can: a device busy now is an error
    // of start(), not of the opening.
    explicit AlsaAudioSystem(bool companion = false) : companion_(companion) {}

    ~AlsaAudioSystem() override {
        stopStream();
        poller_.reset();
        closeStream(stream_);
    }

    std::optional<Error> setUp() {
        auto opened = openStream(defaultPcm, deviceChannels(defaultPcm, 2));
        if (opened)
            adopt(*opened, std::string(uidPrefix) + defaultPcm);
        else if (companion_)
            currentUid_ = std::string(uidPrefix) + defaultPcm;
        else
            return opened.error();
        cards_ = cardList();
        // Normal priority: hot-plug is no real-time matter.
        poller_ = std::make_unique<PeriodicThread>("ostinel-alsadev", cardPollSeconds, 0, [this] { poll(); });
        return std::nullopt;
    }

    std::string backendName() const override { return "alsa"; }

    Expected<std::unique_ptr<AudioSystem>> openCompanion(const std::string&, int sourceCount) override {
        auto companion = std::make_unique<AlsaAudioSystem>(true);
        companion->setSourceCount(sourceCount);
        if (auto error = companion->setUp()) return *error;
        return std::unique_ptr<AudioSystem>(std::move(companion));
    }

    std::vector<AudioDevice> outputDevices() override {
        std::lock_guard lock(deviceMutex_);
        return listLocked();
    }

    std::optional<std::string> defaultOutputDeviceUID() override { return std::string(uidPrefix) + defaultPcm; }

    std::optional<Error> start() override {
        if (running_) return std::nullopt;
        if (!stream_.pcm && companion_ && currentUid_) {
            if (auto error = openLater()) return error;
        }
        if (!stream_.pcm) return Error{"ALSA: no output device is open."};
        const auto frames = std::size_t(stream_.period);
        for (auto& s : sources_) s.assign(frames, 0.0f);
        interleaved_.assign(frames * std::size_t(stream_.channels) * 4, 0);
        running_ = true;
        gate_.open();
        thread_ = std::thread([this] { stream(); });
        return std::nullopt;
    }

    void stop() override { stopStream(); }
    bool isRunning() const override { return running_; }

    std::optional<Error> setDevice(const std::string& uid) override {
        std::lock_guard lock(deviceMutex_);
        auto devices = listLocked();
        auto it = std::find_if(devices.begin(), devices.end(), [&](auto& d) { return d.uid == uid; });
        if (it == devices.end()) return Error{"There is no audio output device \"" + uid + "\"."};
        const bool wasRunning = running_;
        stopStream();
        std::optional<Error> failure;
        if (uid == currentUid_ && openChannels_ > 0) {
            map_ = defaultChannelMap(openChannels_);
        } else if (auto opened = openStream(uid.substr(std::strlen(uidPrefix)), it->channelCount)) {
            adopt(*opened, uid); // only now closes the old one, so a failure leaves it as it was
        } else {
            failure = opened.error();
        }
        if (wasRunning) start();
        return failure;
    }

    std::optional<std::string> currentDeviceUID() const override {
        std::lock_guard lock(deviceMutex_);
        return currentUid_;
    }

    std::optional<Error> setChannelMap(const std::vector<int>& map) override {
        std::lock_guard lock(deviceMutex_);
        if (openChannels_ == 0 && companion_ && currentUid_) {
            map_ = map; // checked when the PCM opens
            return std::nullopt;
        }
        if (openChannels_ == 0) return Error{"The audio output device is not connected."};
        if (auto error = checkChannelMap(map, openChannels_)) return error;
        const bool wasRunning = running_;
        stopStream();
        map_ = map;
        return wasRunning ? start() : std::nullopt;
    }

    std::vector<int> channelMap() const override {
        std::lock_guard lock(deviceMutex_);
        return map_;
    }

private:
    // The companion's PCM, busy when it was routed, tried again; the map
    // asked for meanwhile holds if the device has its channels. Main thread,
    // with or without deviceMutex_ held (setDevice restarts under it).
    std::optional<Error> openLater() {
        const std::string pcm = currentUid_->substr(std::strlen(uidPrefix));
        const auto offered = playbackChannels(pcm).value_or(2);
        auto opened = openStream(pcm, deviceChannels(pcm, unsigned(offered)));
        if (!opened) return opened.error();
        const auto wanted = map_;
        adopt(*opened, *currentUid_);
        if (!wanted.empty() && !checkChannelMap(wanted, openChannels_)) map_ = wanted;
        return std::nullopt;
    }

    void adopt(Stream opened, const std::string& uid) {
        closeStream(stream_);
        stream_ = opened;
        currentUid_ = uid;
        openChannels_ = stream_.channels;
        map_ = defaultChannelMap(openChannels_);
        sampleRate_.store(double(stream_.rate));
        periodFrames_.store(int(stream_.period));
    }

    std::vector<AudioDevice> listLocked() const {
        const std::string openPcm = openChannels_ > 0 ? currentUid_->substr(std::strlen(uidPrefix)) : "";
        return listDevices(openPcm, openChannels_);
    }

private:
    void stopStream() {
        if (!running_) return;
        running_ = false;
        gate_.close();
        thread_.join();
        snd_pcm_drop(stream_.pcm);
        snd_pcm_prepare(stream_.pcm);
    }

    // The stream thread. A PCM that fails for good (unplugged) is played into
    // nothing at the device's pace until the card list changes and it opens
    // again as it was.
    void stream() {
        raiseThreadPriority(streamPriority);
        float* sources[maxSources] = {sources_[0].data(), sources_[1].data()};
        const int frames = int(stream_.period);
        const long long periodNs = 1000000000LL * frames / stream_.rate;
        bool lost = false;
        std::uint64_t seenCards = cardsGeneration_.load();
        timespec deadline{};
        clock_gettime(CLOCK_MONOTONIC, &deadline);
        while (running_) {
            const int count = pull(sources, frames);
            interleave(stream_, map_, sources, count, frames, interleaved_.data());
            if (!lost) lost = !writePeriod(frames);
            if (!lost) continue;
            addNanoseconds(deadline, periodNs);
            clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &deadline, nullptr);
            if (cardsGeneration_.load() != seenCards) {
                seenCards = cardsGeneration_.load();
                lost = !reopen();
                clock_gettime(CLOCK_MONOTONIC, &deadline);
            }
        }
    }

    // False when the PCM has failed beyond recovery.
    bool writePeriod(int frames) {
        const unsigned char* data = interleaved_.data();
        const int frameBytes = snd_pcm_format_physical_width(stream_.format) / 8 * stream_.channels;
        while (frames > 0 && running_) {
            const int ready = snd_pcm_wait(stream_.pcm, waitTimeoutMs);
            if (ready == 0) continue;
            snd_pcm_sframes_t n = ready < 0 ? ready : snd_pcm_writei(stream_.pcm, data, snd_pcm_uframes_t(frames));
            if (n == -EAGAIN) continue;
            if (n < 0) {
                if (snd_pcm_recover(stream_.pcm, int(n), 1) < 0) return false;
                continue;
            }
            frames -= int(n);
            data += n * frameBytes;
        }
        return true;
    }

    bool reopen() {
        const std::string pcmName = currentUid_->substr(std::strlen(uidPrefix));
        auto again = openStream(pcmName, stream_.channels);
        if (!again || again->rate != stream_.rate || again->period != stream_.period) {
            if (again) closeStream(*again);
            return false;
        }
        closeStream(stream_);
        stream_ = *again;
        return true;
    }

    void poll() {
        std::string now = cardList();
        if (now == cards_) return;
        cards_ = std::move(now);
        cardsGeneration_.fetch_add(1);
        listener_.notify();
    }

    // deviceMutex_ guards the routing against the main thread's readers. The
    // stream thread owns stream_ between start and stop (reopening it after a
    // loss), and only reads the rest.
    const bool companion_;
    mutable std::mutex deviceMutex_;
    Stream stream_;
    std::optional<std::string> currentUid_;
    int openChannels_ = 0; // of the open PCM, the same across a reopen
    std::vector<int> map_;
    std::vector<float> sources_[maxSources];
    std::vector<unsigned char> interleaved_;

    std::atomic<bool> running_{false};
    std::thread thread_;

    std::string cards_; // the poller's own
    std::unique_ptr<PeriodicThread> poller_;
    std::atomic<std::uint64_t> cardsGeneration_{0};
};

} // namespace

void silenceAlsa() {
    static std::once_flag once;
    std::call_once(once, [] { snd_lib_error_set_handler(quiet); });
}

std::vector<AudioDevice> alsaOutputDevices() {
    silenceAlsa();
    return listDevices("", 0);
}

Expected<std::unique_ptr<AudioSystem>> openAlsa() {
    silenceAlsa();
    auto self = std::make_unique<AlsaAudioSystem>();
    if (auto error = self->setUp()) return *error;
    return std::unique_ptr<AudioSystem>(std::move(self));
}

} // namespace ostinel::audioserver
