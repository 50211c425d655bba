#include "platform/PeriodicThread.h"

#include <pthread.h>
#include <sched.h>

#include <cerrno>
#include <ctime>

namespace ostinel {

namespace {
constexpr long nanosPerSecond = 1'000'000'000;

timespec now() {
    timespec t{};
    clock_gettime(CLOCK_MONOTONIC, &t);
    return t;
}

void advance(timespec& t, long nanos) {
    t.tv_nsec += nanos;
    while (t.tv_nsec >= nanosPerSecond) {
        t.tv_nsec -= nanosPerSecond;
        ++t.tv_sec;
    }
}

bool before(const timespec& a, const timespec& b) {
    return a.tv_sec < b.tv_sec || (a.tv_sec == b.tv_sec && a.tv_nsec < b.tv_nsec);
}
} // namespace

bool raiseThreadPriority(int priority) noexcept {
    sched_param param{};
    param.sched_priority = priority;
    return pthread_setschedparam(pthread_self(), SCHED_FIFO, &param) == 0;
}

PeriodicThread::PeriodicThread(std::string name, double periodSeconds, int fifoPriority, std::function<void()> work)
    : name_(std::move(name)), periodNanos_(long(periodSeconds * double(nanosPerSecond))), priority_(fifoPriority),
      work_(std::move(work)) {
    if (periodNanos_ < 1) periodNanos_ = 1;
    sem_init(&wake_, 0, 0);
    thread_ = std::thread([this] { run(); });
}

PeriodicThread::~PeriodicThread() {
    quit_.store(true, std::memory_order_release);
    sem_post(&wake_);
    thread_.join();
    sem_destroy(&wake_);
}

void PeriodicThread::wake() noexcept {
    sem_post(&wake_);
}

void PeriodicThread::run() {
    pthread_setname_np(pthread_self(), name_.substr(0, 15).c_str());
    raiseThreadPriority(priority_);
    timespec deadline = now();
    advance(deadline, periodNanos_);
    while (!quit_.load(std::memory_order_acquire)) {
        const int r = sem_clockwait(&wake_, CLOCK_MONOTONIC, &deadline);
        if (r != 0 && errno == EINTR) continue;
        if (quit_.load(std::memory_order_acquire)) break;
        work_();
        // A firing that overran skips the deadlines it missed rather than
        // running them back to back.
        const timespec t = now();
        while (!before(t, deadline))
            advance(deadline, periodNanos_);
    }
}

} // namespace ostinel
