#include "timecode/LTCOutputEngine.h"

#include <algorithm>
#include <cmath>
#include <thread>
#include <vector>

namespace ostinel {

void LTCOutputEngine::ShortLock::lock() noexcept {
    // The holder keeps it for a few words; yield only if it was preempted.
    for (int spins = 0; flag_.test_and_set(std::memory_order_acquire); ++spins)
        if (spins > 64) std::this_thread::yield();
}

LTCOutputEngine::LTCOutputEngine(AudioSystem& main, MainLoop& mainLoop, const TimecodeClock& clock, LogFn log)
    : main_(main), mainLoop_(mainLoop), clock_(clock), log_(std::move(log)),
      render_(std::make_unique<Render>(clock)), self_(std::make_shared<LTCOutputEngine*>(this)) {}

LTCOutputEngine::~LTCOutputEngine() {
    // Stopped first: after stop() the renderer and its state are never used again.
    if (output_) output_->stop();
    output_.reset();
}

void LTCOutputEngine::log(LogLevel level, const std::string& text) const {
    if (log_) log_(level, text);
}

// --- Transport and controller ----------------------------------------------------------

void LTCOutputEngine::locate(double seconds) {
    const double now = clock_.now();
    withState([&](State& s) {
        s.running = true;
        s.baseTime = std::max(seconds, 0.0);
        s.baseClock = now;
        s.cap = std::numeric_limits<double>::max();
        s.needsLocate = true;
    });
    if (active_) startIfNeeded();
}

void LTCOutputEngine::tick(double position, double cap) {
    const double now = clock_.now();
    withState([&](State& s) {
        s.baseTime = std::max(position, 0.0);
        s.baseClock = now;
        s.cap = cap;
    });
}

void LTCOutputEngine::stop() {
    withState([](State& s) { s.running = false; });
}

void LTCOutputEngine::setRate(TimecodeRate rate) {
    withState([&](State& s) {
        s.rate = rate;
        s.needsLocate = true;
    });
}

void LTCOutputEngine::setLevelDb(double db) {
    const double clamped = std::isnan(db) ? maxLevelDb : std::clamp(db, minLevelDb, maxLevelDb);
    const auto amplitude = float(std::pow(10.0, clamped / 20.0));
    withState([&](State& s) { s.amplitude = amplitude; });
}

// --- Render --------------------------------------------------------------------------------

void LTCOutputEngine::render(void* context, float* const* sources, int sourceCount, int frames) {
    auto& r = *static_cast<Render*>(context);
    float* out = sourceCount > 0 && sources ? sources[0] : nullptr;
    if (!out || frames <= 0) return;
    r.lock.lock();
    const State v = r.state;
    r.state.needsLocate = false;
    r.lock.unlock();

    const double sampleRate = r.sampleRate.load(std::memory_order_relaxed);
    if (!v.enabled || !v.running || !(sampleRate > 0.0)) {
        // Silence is always followed by a locate.
        std::fill_n(out, frames, 0.0f);
        r.lock.lock();
        r.state.needsLocate = true;
        r.lock.unlock();
        return;
    }

    const double elapsed = r.clock.now() - v.baseClock;
    const double position = std::min(elapsed >= 0.0 ? v.baseTime + elapsed : v.baseTime, v.cap);
    auto& encoder = r.encoder;
    if (!encoder || encoder->rate() != v.rate || encoder->sampleRate() != sampleRate) {
        encoder.emplace(sampleRate, v.rate);
        encoder->locate(position);
        r.driftStrikes = 0;
    } else if (v.needsLocate) {
        encoder->locate(position);
        r.driftStrikes = 0;
    } else if (std::fabs(encoder->position() - position) > 1.0 / timecode::exactFps(v.rate)) {
        // A looser hold than MTC's on purpose: a frame, three renders.
        if (++r.driftStrikes >= driftStrikesToLocate) {
            encoder->locate(position);
            r.driftStrikes = 0;
        }
    } else {
        r.driftStrikes = 0;
    }
    encoder->fill(out, frames, v.amplitude);
}

// --- Routing --------------------------------------------------------------------------------

void LTCOutputEngine::configure(std::optional<std::string> deviceUID, int channel) {
    const bool same = deviceUID == deviceUID_ && channel == channel_;
    deviceUID_ = std::move(deviceUID);
    channel_ = channel;
    if (!same || !output_) rebuild();
}

void LTCOutputEngine::setActive() {
    active_ = true;
    // Turning off stopped the output, so no silent render flagged the jump
    // since; the first render after it locates.
    withState([](State& s) {
        if (!s.enabled) s.needsLocate = true;
        s.enabled = true;
    });
    if (!output_) rebuild();
    startIfNeeded();
}

void LTCOutputEngine::turnOff() {
    active_ = false;
    withState([](State& s) { s.enabled = false; });
    if (output_) output_->stop();
}

std::optional<std::string> LTCOutputEngine::resolveDevice(const std::optional<std::string>& uid) const {
    if (uid) {
        for (const auto& device : main_.outputDevices())
            if (device.uid == *uid) return uid;
    }
    return main_.defaultOutputDeviceUID();
}

// The output is opened once and re-routed; a failure to open is tried again
// at the next routing pass.
void LTCOutputEngine::rebuild() {
    if (!output_) {
        auto opened = main_.openCompanion(outputName, 1);
        if (!opened) {
            log(LogLevel::error, "LTC audio engine failed to start: " + opened.error().message);
            return;
        }
        output_ = std::move(*opened);
        output_->setSourceCount(1);
        output_->setRenderer(&LTCOutputEngine::render, render_.get());
        std::weak_ptr<LTCOutputEngine*> weak = self_;
        MainLoop& loop = mainLoop_;
        output_->setDeviceListener([weak, &loop] {
            loop.post([weak] {
                if (auto engine = weak.lock()) (*engine)->handleDeviceChange();
            });
        });
    } else {
        output_->stop();
    }
    applyDeviceAndMap();
}

void LTCOutputEngine::applyDeviceAndMap() {
    if (!output_) return;
    std::optional<AudioDevice> device;
    const auto devices = output_->outputDevices();
    const std::optional<std::string> uid = deviceUID_ ? deviceUID_ : output_->defaultOutputDeviceUID();
    for (const auto& d : devices)
        if (d.uid == uid) device = d;
    if (!device) {
        if (deviceUID_)
            log(LogLevel::error,
                "LTC output device not found (uid: " + *deviceUID_ + ") — keeping current routing");
        return;
    }

    const bool wasRunning = output_->isRunning();
    if (wasRunning) output_->stop();
    if (auto error = output_->setDevice(device->uid))
        log(LogLevel::error, "Failed to set LTC output device (" + error->message + ")");
    render_->sampleRate.store(output_->sampleRate(), std::memory_order_relaxed);

    if (device->channelCount >= 1) {
        int chosen = channel_;
        if (chosen >= device->channelCount || chosen < 0) {
            log(LogLevel::info, "LTC channel " + std::to_string(channel_) + " exceeds device channels (" +
                                    std::to_string(device->channelCount) + ") — using channel 1");
            chosen = 0;
        }
        std::vector<int> map(std::size_t(device->channelCount), -1);
        map[std::size_t(chosen)] = 0;
        if (auto error = output_->setChannelMap(map))
            log(LogLevel::error, "Failed to set LTC channel map (" + error->message + ")");
    }
    if (wasRunning || active_) startIfNeeded();
}

void LTCOutputEngine::startIfNeeded() {
    if (!output_ || output_->isRunning()) return;
    // No retry: the next routing change or locate starts it again.
    if (auto error = output_->start())
        log(LogLevel::error, "LTC audio engine failed to start: " + error->message);
}

void LTCOutputEngine::handleDeviceChange() {
    if (!output_) return;
    if (deviceUID_) {
        const auto devices = output_->outputDevices();
        const bool present = std::any_of(devices.begin(), devices.end(),
                                         [&](const AudioDevice& d) { return d.uid == *deviceUID_; });
        if (!present) {
            log(LogLevel::error,
                "LTC output device disappeared (uid: " + *deviceUID_ + ") — following the system default");
            deviceUID_.reset();
        }
    }
    applyDeviceAndMap();
}

} // namespace ostinel
