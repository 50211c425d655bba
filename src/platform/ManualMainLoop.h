#pragma once

#include <map>
#include <optional>
#include <mutex>
#include <utility>
#include <vector>

#include "platform/MainLoop.h"

namespace ostinel {

// Virtual time for tests and offline rendering: nothing happens until
// advance() is called, and then timers fire in deadline order.
class ManualMainLoop final : public MainLoop {
public:
    explicit ManualMainLoop(double start = 0.0) : now_(start) {}

    double now() const override { return now_; }
    TimerId after(double seconds, std::function<void()> fn) override;
    TimerId every(double seconds, std::function<void()> fn) override;
    void cancel(TimerId id) override;
    void post(std::function<void()> fn) override;

    // Runs posted work, then every timer due up to now + seconds, with now()
    // set to each timer's deadline as it fires.
    void advance(double seconds);
    void runPosted();
    std::size_t pendingTimers() const { return timers_.size(); }
    // The earliest timer's deadline, for a driver that interleaves other clocks.
    std::optional<double> nextDeadline() const;

private:
    struct Timer {
        double deadline;
        double period; // 0 for one-shot
        std::function<void()> fn;
    };
    TimerId add(double seconds, double period, std::function<void()> fn);

    double now_;
    TimerId nextId_ = 1;
    std::map<TimerId, Timer> timers_;
    std::mutex postedMutex_;
    std::vector<std::function<void()>> posted_;
};

} // namespace ostinel
