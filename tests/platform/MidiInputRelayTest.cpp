#include "platform/MidiInputRelay.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

namespace ostinel {
namespace {

TEST(MidiInputRelay, HandsOnEveryMessageInOrderOnItsOwnThreadAndDropsWhatFindsItFull) {
    std::mutex mutex;
    std::condition_variable changed;
    bool released = false;
    std::vector<int> heard;
    std::vector<std::thread::id> threads;
    int accepted = 0;
    const auto sender = std::this_thread::get_id();
    {
        MidiInputRelay relay([&](const std::uint8_t* bytes, std::size_t size) {
            std::unique_lock lock(mutex);
            changed.wait(lock, [&] { return released; });
            ASSERT_EQ(size, 3u);
            heard.push_back(bytes[1] << 7 | bytes[2]);
            threads.push_back(std::this_thread::get_id());
            changed.notify_all();
        });
        const std::uint8_t empty[1] = {};
        EXPECT_FALSE(relay.push(empty, 0));
        // The handler holds the first message until released, so the queue
        // takes no more than it holds.
        for (int n = 0; n < 300; ++n) {
            const std::uint8_t bytes[3] = {0x90, std::uint8_t(n >> 7), std::uint8_t(n & 0x7F)};
            if (relay.push(bytes, 3)) ++accepted;
        }
        std::unique_lock lock(mutex);
        released = true;
        changed.notify_all();
        ASSERT_TRUE(changed.wait_for(lock, std::chrono::seconds(20),
                                     [&] { return int(heard.size()) == accepted; }));
    }
    EXPECT_EQ(accepted, 256);
    for (int n = 0; n < accepted; ++n)
        EXPECT_EQ(heard[std::size_t(n)], n);
    EXPECT_NE(threads.front(), sender);
    EXPECT_EQ(std::count(threads.begin(), threads.end(), threads.front()), accepted);
}

} // namespace
} // namespace ostinel
