#pragma once

#include <optional>

#include "timecode/QuarterFrameTimer.h"
#include "timecode/TimecodeClock.h"

namespace ostinel {

// A quarter-frame clock turned by whoever owns time: a test, or an offline
// render at each rendered buffer. Deadlines are on `clock`.
class ManualQuarterFrameTimer final : public QuarterFrameTimer {
public:
    explicit ManualQuarterFrameTimer(ManualClock& clock) : clock_(clock) {}

    void start(double interval, Handler handler) override;
    void cancel() noexcept override;

    // Fires every deadline up to `time` in order, with the clock at each, then
    // leaves the clock at `time`. A clock already past a deadline (set ahead
    // to stand for a stall) stays put: that firing is late, like a live
    // thread woken late. Never allocates.
    void advanceTo(double time);

    std::optional<double> nextDeadline() const;

private:
    ManualClock& clock_;
    std::optional<QuarterFrameSchedule> schedule_;
    Handler handler_;
};

} // namespace ostinel
