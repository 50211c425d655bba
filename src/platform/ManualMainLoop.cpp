#include "platform/ManualMainLoop.h"

#include <limits>

namespace ostinel {

MainLoop::TimerId ManualMainLoop::add(double seconds, double period, std::function<void()> fn) {
    TimerId id = nextId_++;
    timers_.emplace(id, Timer{now_ + (seconds > 0.0 ? seconds : 0.0), period, std::move(fn)});
    return id;
}

MainLoop::TimerId ManualMainLoop::after(double seconds, std::function<void()> fn) {
    return add(seconds, 0.0, std::move(fn));
}

MainLoop::TimerId ManualMainLoop::every(double seconds, std::function<void()> fn) {
    // A zero period would spin forever inside advance().
    double period = seconds > 1e-9 ? seconds : 1e-9;
    return add(period, period, std::move(fn));
}

void ManualMainLoop::cancel(TimerId id) { timers_.erase(id); }

void ManualMainLoop::post(std::function<void()> fn) {
    std::lock_guard lock(postedMutex_);
    posted_.push_back(std::move(fn));
}

void ManualMainLoop::runPosted() {
    for (;;) {
        std::vector<std::function<void()>> batch;
        {
            std::lock_guard lock(postedMutex_);
            batch.swap(posted_);
        }
        if (batch.empty()) return;
        for (auto& fn : batch) fn();
    }
}

std::optional<double> ManualMainLoop::nextDeadline() const {
    std::optional<double> due;
    for (const auto& [id, timer] : timers_)
        if (!due || timer.deadline < *due) due = timer.deadline;
    return due;
}

void ManualMainLoop::advance(double seconds) {
    const double target = now_ + seconds;
    runPosted();
    for (;;) {
        // Earliest deadline first; equal deadlines in the order they were made.
        TimerId dueId = 0;
        double due = std::numeric_limits<double>::infinity();
        for (const auto& [id, timer] : timers_) {
            if (timer.deadline < due) {
                due = timer.deadline;
                dueId = id;
            }
        }
        if (dueId == 0 || due > target + 1e-12) break;
        if (due > now_) now_ = due;
        auto it = timers_.find(dueId);
        std::function<void()> fn = it->second.fn;
        if (it->second.period > 0.0) it->second.deadline += it->second.period;
        else timers_.erase(it);
        fn();
        runPosted();
    }
    now_ = target > now_ ? target : now_;
}

} // namespace ostinel
