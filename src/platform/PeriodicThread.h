#pragma once

#include <semaphore.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>

namespace ostinel {

// A thread of our own that runs `work` on absolute CLOCK_MONOTONIC deadlines,
// so its period does not drift with the time the work takes. It asks for
// SCHED_FIFO at `fifoPriority` and carries on at normal priority where the
// system refuses.
class PeriodicThread {
public:
    PeriodicThread(std::string name, double periodSeconds, int fifoPriority, std::function<void()> work);
    // Stops and joins; a firing in progress finishes first.
    ~PeriodicThread();
    PeriodicThread(const PeriodicThread&) = delete;
    PeriodicThread& operator=(const PeriodicThread&) = delete;

    // Runs the next firing now instead of at its deadline. Any thread;
    // async-signal-safe, so the real-time thread may call it.
    void wake() noexcept;

private:
    void run();

    std::string name_;
    long periodNanos_;
    int priority_;
    std::function<void()> work_;
    std::atomic<bool> quit_{false};
    sem_t wake_;
    std::thread thread_;
};

// Asks for SCHED_FIFO at `priority` for the calling thread; false where the
// system refuses (no rtprio limit), which callers simply accept.
bool raiseThreadPriority(int priority) noexcept;

} // namespace ostinel
