#pragma once

#include <algorithm>
#include <cstdint>

namespace ostinel::midiserver {

// Where CLOCK_MONOTONIC falls among one cycle's frames.
struct CycleClock {
    bool valid = false;
    double startUsecs = 0.0; // CLOCK_MONOTONIC of the cycle's first frame
    double framesPerUsec = 0.0;

    // Frames from the cycle's first to the one meant for `at`, two periods
    // on: one period on, a message for the end of a period would have to be
    // queued before its time, and a clock thread sends at its deadline, a
    // little after; the second period is its margin.
    double frameFor(double at, std::uint32_t period) const {
        return (at * 1e6 - startUsecs) * framesPerUsec + 2.0 * double(period);
    }
};

// The cycle's start on CLOCK_MONOTONIC, from the frame count at the nominal
// rate and the earliest callbacks: a callback never comes before its cycle
// starts, and often well after. JACK's own estimate (jack_get_cycle_times)
// is smoother but takes seconds to find the rate after the server starts,
// long enough to misplace timed messages by several frames. The audio
// thread's own.
class CycleClockEstimate {
public:
    // How the estimate creeps up towards later callbacks: a share of the
    // distance, at most so much a cycle. A card up to some hundreds of ppm
    // slower than its nominal rate is followed, a late callback barely moves
    // the estimate.
    static constexpr double riseShare = 0.01;
    static constexpr double riseLimitUsecs = 2.0;
    // A callback before the estimated start shows the estimate late; it
    // comes back at most so much a cycle, so that two messages a few cycles
    // apart never move against each other by a frame (20 µs at 48 kHz), as
    // they would if it fell at once to a callback less late than the rest.
    static constexpr double fallLimitUsecs = 4.0;
    // A callback this many periods later than expected means frames were
    // lost (an overrun, a stalled server), one a period early that the
    // estimate is far off: it starts again.
    static constexpr double resyncPeriods = 4.0;

    // At the callback of the cycle whose first frame is `first`, `nowUsecs`
    // on CLOCK_MONOTONIC.
    CycleClock read(std::uint32_t first, std::uint32_t frames, double rate, double nowUsecs) noexcept {
        CycleClock clock;
        if (rate <= 0.0) return clock;
        const double usecsPerFrame = 1e6 / rate;
        double start = nowUsecs;
        if (startKnown_) {
            const auto elapsed = std::int32_t(first - lastFirst_);
            start = lastStartUsecs_ + double(elapsed) * usecsPerFrame;
            const double late = nowUsecs - start;
            const double period = double(frames) * usecsPerFrame;
            if (late < -period || late > resyncPeriods * period)
                start = nowUsecs;
            else if (late < 0.0)
                start -= std::min(-late, fallLimitUsecs);
            else
                start += std::min(late * riseShare, riseLimitUsecs);
        }
        startKnown_ = true;
        lastFirst_ = first;
        lastStartUsecs_ = start;
        clock.valid = true;
        clock.startUsecs = start;
        clock.framesPerUsec = 1.0 / usecsPerFrame;
        return clock;
    }

private:
    bool startKnown_ = false;
    std::uint32_t lastFirst_ = 0;
    double lastStartUsecs_ = 0.0;
};

} // namespace ostinel::midiserver
