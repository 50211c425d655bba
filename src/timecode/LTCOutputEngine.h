#pragma once

#include <atomic>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <string>

#include "platform/AudioSystem.h"
#include "platform/MainLoop.h"
#include "timecode/LTCEncoder.h"
#include "timecode/TimecodeClock.h"
#include "timecode/TimecodeRate.h"

namespace ostinel {

// LTC as audio on an output of its own: the main audio system's companion,
// so the timecode passes neither the music's limiter nor its meters, and may
// go to another device altogether. The companion is opened at the first
// routing pass that wants output and kept when LTC is turned off, for a fast
// restart.
//
// The transport (locate, tick, stop) and the controller (rate, level) write a
// few words of shared state under a short spin lock; the render callback
// copies them under the same lock and runs the encoder outside it. A wrong
// encoder (rate or sample rate) is replaced in place on the render thread, so
// rendering never allocates.
//
// Threads: everything from the main thread; the companion's render callback
// on its real-time thread; the device listener on any thread, which only
// hops to the main loop.
class LTCOutputEngine {
  public:
    static constexpr const char* outputName = "Ostinel LTC";
    static constexpr double minLevelDb = -40.0;
    static constexpr double maxLevelDb = 0.0;
    static constexpr float defaultAmplitude = 0.12589254f; // -18 dB
    // Renders in a row whose position disagrees by more than a frame before
    // the encoder is located again.
    static constexpr int driftStrikesToLocate = 3;

    enum class LogLevel { info, error };
    // Main thread only; never called from the render path.
    using LogFn = std::function<void(LogLevel, const std::string&)>;

    LTCOutputEngine(AudioSystem& main, MainLoop& mainLoop, const TimecodeClock& clock, LogFn log = {});
    ~LTCOutputEngine();
    LTCOutputEngine(const LTCOutputEngine&) = delete;
    LTCOutputEngine& operator=(const LTCOutputEngine&) = delete;

    // --- Transport and controller ---------------------------------------------------
    // Runs from `seconds` (negative is 0), uncapped; the next render locates.
    void locate(double seconds);
    // The reference refresh: `position` (negative is 0) is now, `cap` the
    // highest position to run to until the next tick.
    void tick(double position, double cap);
    void stop();
    void setRate(TimecodeRate rate);
    // Clamped to minLevelDb...maxLevelDb; no routing change.
    void setLevelDb(double db);

    // --- Routing ----------------------------------------------------------------------
    // Device (none = the system default) and zero-based channel; re-applied
    // when either changes or there is no output yet.
    void configure(std::optional<std::string> deviceUID, int channel);
    // Routing wants sound: opens the output if need be and starts it.
    void setActive();
    // Routing wants none: silent and stopped, the output kept.
    void turnOff();
    // A device came or went: a vanished chosen device gives way to the
    // default, without touching the user's setting.
    void handleDeviceChange();
    // What a uid stands for: none, or one the system doesn't list, is the
    // current default output.
    std::optional<std::string> resolveDevice(const std::optional<std::string>& uid) const;

    bool isActive() const { return active_; }
    const std::optional<std::string>& deviceUID() const { return deviceUID_; }
    int channel() const { return channel_; }
    // The companion once made; tests and offline renders pull it.
    AudioSystem* output() const { return output_.get(); }

  private:
    // The words both sides share.
    struct State {
        bool enabled = false;
        bool running = false;
        double baseTime = 0.0;
        double baseClock = 0.0;
        double cap = std::numeric_limits<double>::max();
        TimecodeRate rate = TimecodeRate::fps25;
        float amplitude = defaultAmplitude;
        bool needsLocate = true;
    };
    // Held for a copy of a few words; a spin lock, so the render thread never
    // sleeps on a mutex.
    class ShortLock {
      public:
        void lock() noexcept;
        void unlock() noexcept { flag_.clear(std::memory_order_release); }

      private:
        std::atomic_flag flag_;
    };
    struct Render {
        explicit Render(const TimecodeClock& c) : clock(c) {}
        const TimecodeClock& clock;
        ShortLock lock;
        State state;                         // under lock
        std::atomic<double> sampleRate{0.0}; // of the output's current device
        // The render thread's own.
        std::optional<LTCEncoder> encoder;
        int driftStrikes = 0;
    };
    static void render(void* context, float* const* sources, int sourceCount, int frames);

    template <class Fn> void withState(Fn&& fn) {
        render_->lock.lock();
        fn(render_->state);
        render_->lock.unlock();
    }
    void rebuild();
    void applyDeviceAndMap();
    void startIfNeeded();
    void log(LogLevel level, const std::string& text) const;

    AudioSystem& main_;
    MainLoop& mainLoop_;
    const TimecodeClock& clock_;
    LogFn log_;
    std::unique_ptr<Render> render_;
    std::unique_ptr<AudioSystem> output_;
    bool active_ = false;
    std::optional<std::string> deviceUID_;
    int channel_ = 1;
    // Lets a device event posted to the main loop find out the engine is gone.
    std::shared_ptr<LTCOutputEngine*> self_;
};

} // namespace ostinel
