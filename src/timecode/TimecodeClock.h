#pragma once

#include <time.h>

#include <atomic>

namespace ostinel {

// Where the timecode outputs read "now", in seconds: the wall clock in a live
// show, the rendered sample clock in an offline render, so that a render's
// timecode is exact. Any thread; real-time safe.
class TimecodeClock {
public:
    virtual ~TimecodeClock() = default;
    virtual double now() const noexcept = 0;
};

// CLOCK_MONOTONIC, the clock the MIDI backends take send times in.
class MonotonicClock final : public TimecodeClock {
public:
    double now() const noexcept override {
        timespec t{};
        clock_gettime(CLOCK_MONOTONIC, &t);
        return double(t.tv_sec) + double(t.tv_nsec) * 1e-9;
    }
};

// Set by whoever drives time: a render sets it to the samples rendered so far.
class ManualClock final : public TimecodeClock {
public:
    explicit ManualClock(double start = 0.0) : now_(start) {}
    double now() const noexcept override { return now_.load(std::memory_order_acquire); }
    void set(double seconds) noexcept { now_.store(seconds, std::memory_order_release); }

private:
    std::atomic<double> now_;
};

} // namespace ostinel
