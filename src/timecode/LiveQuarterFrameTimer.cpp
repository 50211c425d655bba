#include "timecode/LiveQuarterFrameTimer.h"

#include <pthread.h>
#include <time.h>

#include <cerrno>
#include <cmath>

#include "platform/PeriodicThread.h"

namespace ostinel {

namespace {

double monotonicNow() noexcept {
    timespec t{};
    clock_gettime(CLOCK_MONOTONIC, &t);
    return double(t.tv_sec) + double(t.tv_nsec) * 1e-9;
}

timespec toTimespec(double seconds) noexcept {
    timespec t{};
    t.tv_sec = time_t(std::floor(seconds));
    t.tv_nsec = long((seconds - double(t.tv_sec)) * 1e9);
    if (t.tv_nsec >= 1'000'000'000) {
        t.tv_nsec -= 1'000'000'000;
        ++t.tv_sec;
    }
    return t;
}

} // namespace

LiveQuarterFrameTimer::LiveQuarterFrameTimer() {
    sem_init(&wake_, 0, 0);
}

LiveQuarterFrameTimer::~LiveQuarterFrameTimer() {
    cancel();
    sem_destroy(&wake_);
}

void LiveQuarterFrameTimer::start(double interval, Handler handler) {
    cancel();
    handler_ = std::move(handler);
    quit_.store(false, std::memory_order_relaxed);
    thread_ =
        std::thread([this, schedule = QuarterFrameSchedule{monotonicNow(), interval}] { run(schedule); });
}

void LiveQuarterFrameTimer::cancel() noexcept {
    if (!thread_.joinable()) return;
    quit_.store(true, std::memory_order_release);
    sem_post(&wake_);
    thread_.join();
    // A wake the thread did not take would cut the next one's first sleep short.
    while (sem_trywait(&wake_) == 0) {
    }
}

void LiveQuarterFrameTimer::run(QuarterFrameSchedule schedule) {
    pthread_setname_np(pthread_self(), "ostinel-mtc");
    raiseThreadPriority(fifoPriority);
    while (!quit_.load(std::memory_order_acquire)) {
        const timespec deadline = toTimespec(schedule.deadline());
        if (sem_clockwait(&wake_, CLOCK_MONOTONIC, &deadline) == 0 || errno != ETIMEDOUT) continue;
        handler_(schedule.deadline());
        schedule.advance(monotonicNow());
    }
}

} // namespace ostinel
