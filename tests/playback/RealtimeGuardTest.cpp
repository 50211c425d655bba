#include <gtest/gtest.h>

#include <mutex>
#include <thread>

#include "support/PlayerFixtures.h"
#include "support/RealtimeGuard.h"

namespace ostinel {
namespace {

using test::RealtimeGuard;

TEST(RealtimeGuardTest, CountsAllocationsAndContendedLocksOfItsOwnThreadOnly) {
    std::mutex mutex;
    {
        RealtimeGuard guard;
        auto one = std::make_unique<int>(1);
        std::vector<float> two(16);
        mutex.lock(); // free: no wait
        mutex.unlock();
        EXPECT_EQ(guard.allocations(), 2);
        EXPECT_EQ(guard.mutexWaits(), 0);
    }

    std::atomic<const RealtimeGuard*> waiting{nullptr};
    std::int64_t waits = -1, allocations = -1;
    mutex.lock();
    std::thread other([&] {
        RealtimeGuard guard;
        waiting = &guard;
        mutex.lock();
        mutex.unlock();
        waits = guard.mutexWaits();
        allocations = guard.allocations();
    });
    EXPECT_TRUE(test::pollUntil([&] { return waiting.load() && waiting.load()->mutexWaits() > 0; }));
    auto unwatched = std::make_unique<int>(2); // this thread has no guard
    mutex.unlock();
    other.join();
    EXPECT_EQ(waits, 1);
    EXPECT_EQ(allocations, 0);
}

} // namespace
} // namespace ostinel
