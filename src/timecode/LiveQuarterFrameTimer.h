#pragma once

#include <semaphore.h>

#include <atomic>
#include <thread>

#include "timecode/QuarterFrameTimer.h"

namespace ostinel {

// The quarter-frame clock of a live show: a thread of our own sleeping to
// absolute CLOCK_MONOTONIC deadlines at SCHED_FIFO where the system allows,
// so that the spacing of the pieces depends neither on the work of a firing
// nor on rounding. Each start() runs a fresh thread; cancel() joins it.
class LiveQuarterFrameTimer final : public QuarterFrameTimer {
public:
    // Above the scheduler's top-up, below the audio stream.
    static constexpr int fifoPriority = 50;

    LiveQuarterFrameTimer();
    ~LiveQuarterFrameTimer() override;
    LiveQuarterFrameTimer(const LiveQuarterFrameTimer&) = delete;
    LiveQuarterFrameTimer& operator=(const LiveQuarterFrameTimer&) = delete;

    void start(double interval, Handler handler) override;
    void cancel() noexcept override;

private:
    void run(QuarterFrameSchedule schedule);

    Handler handler_; // written only while no thread runs
    std::atomic<bool> quit_{false};
    sem_t wake_;
    std::thread thread_;
};

} // namespace ostinel
