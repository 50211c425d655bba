#pragma once

#include <atomic>
#include <cstdint>

namespace ostinel::test {

// While alive, counts what the current thread does that a real-time audio
// callback must not: heap allocations through operator new, and waits for a
// pthread mutex another thread holds. The counting lives in RealtimeGuard.cpp,
// which replaces the global operator new/delete and interposes
// pthread_mutex_lock for the whole test program that links it. Threads
// without a guard are not counted. The guard itself never allocates.
class RealtimeGuard {
public:
    RealtimeGuard();
    ~RealtimeGuard();
    RealtimeGuard(const RealtimeGuard&) = delete;
    RealtimeGuard& operator=(const RealtimeGuard&) = delete;

    // Readable from any thread.
    std::int64_t allocations() const { return allocations_.load(); }
    std::int64_t mutexWaits() const { return mutexWaits_.load(); }

private:
    friend struct RealtimeGuardAccess;
    RealtimeGuard* outer_;
    std::atomic<std::int64_t> allocations_{0};
    std::atomic<std::int64_t> mutexWaits_{0};
};

} // namespace ostinel::test
