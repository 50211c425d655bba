#include "timecode/ManualQuarterFrameTimer.h"

#include <algorithm>

namespace ostinel {

void ManualQuarterFrameTimer::start(double interval, Handler handler) {
    schedule_ = QuarterFrameSchedule{clock_.now(), interval};
    handler_ = std::move(handler);
}

void ManualQuarterFrameTimer::cancel() noexcept {
    schedule_.reset();
}

void ManualQuarterFrameTimer::advanceTo(double time) {
    while (schedule_ && schedule_->deadline() <= time) {
        const double deadline = schedule_->deadline();
        clock_.set(std::max(deadline, clock_.now()));
        handler_(deadline);
        if (schedule_) schedule_->advance(clock_.now());
    }
    clock_.set(std::max(time, clock_.now()));
}

std::optional<double> ManualQuarterFrameTimer::nextDeadline() const {
    if (!schedule_) return std::nullopt;
    return schedule_->deadline();
}

} // namespace ostinel
