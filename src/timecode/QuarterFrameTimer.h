#pragma once

#include <cmath>
#include <cstdint>
#include <functional>

namespace ostinel {

// The MTC quarter-frame clock, a seam: a thread of its own in a live show,
// driven by hand in tests and offline renders so that their timecode is exact.
//
// Threads: start() and cancel() from one controlling thread (the main one);
// the handler runs on the timer's thread, never two firings at once.
class QuarterFrameTimer {
public:
    // Called with the deadline being fired, in the timer's clock's seconds:
    // the instant the piece is meant to leave.
    using Handler = std::function<void(double deadline)>;

    virtual ~QuarterFrameTimer() = default;
    // Replaces any schedule with one firing at now + k × interval, k = 1, 2...
    virtual void start(double interval, Handler handler) = 0;
    // On return no firing runs or will come: what the handler touches is the
    // caller's again. Does nothing when not started.
    virtual void cancel() noexcept = 0;
};

// Deadline k is start + k × interval, computed from k so that no rounding
// accumulates over a long show.
struct QuarterFrameSchedule {
    // Beyond this (a suspended machine) missed deadlines are dropped rather
    // than caught up; the latch's strikes then re-align the count.
    static constexpr double maxCatchUpSeconds = 1.0;

    double start = 0.0;
    double interval = 0.0;
    std::int64_t index = 1;

    double deadline() const noexcept { return start + double(index) * interval; }

    // After a firing that took place at `now`. Deadlines a late firing missed
    // follow back to back, so that the pieces sent keep up with time and the
    // spelled frames with the playhead.
    void advance(double now) noexcept {
        ++index;
        if (now - deadline() > maxCatchUpSeconds)
            index = std::int64_t(std::floor((now - start) / interval)) + 1;
    }
};

} // namespace ostinel
