#include "platform/MidiMessageQueue.h"

#include <gtest/gtest.h>

#include <thread>

namespace ostinel {
namespace {

TEST(MidiMessageQueue, KeepsOrderDropsWhenFullAndRefusesWhatIsNoMessage) {
    MidiMessageQueue<4> queue;
    std::uint8_t bytes[MidiOutput::maxMessageBytes + 1] = {0xF1};
    EXPECT_FALSE(queue.push(bytes, 0, {}));
    EXPECT_FALSE(queue.push(bytes, sizeof bytes, {}));
    for (std::uint8_t n = 0; n < 4; ++n) {
        bytes[1] = n;
        EXPECT_TRUE(queue.push(bytes, 2, n == 1 ? std::optional(2.5) : std::nullopt));
    }
    EXPECT_FALSE(queue.push(bytes, 2, {}));

    for (std::uint8_t n = 0; n < 4; ++n) {
        const auto* message = queue.front();
        ASSERT_TRUE(message);
        EXPECT_EQ(message->size, 2);
        EXPECT_EQ(message->bytes[1], n);
        EXPECT_EQ(message->at, n == 1 ? std::optional(2.5) : std::nullopt);
        queue.pop();
    }
    EXPECT_FALSE(queue.front());
    // Slots come round again once read.
    EXPECT_TRUE(queue.push(bytes, 2, {}));
    EXPECT_TRUE(queue.front());
}

TEST(MidiMessageQueue, TwoSendersAndAReaderLoseNothingAndKeepEachSendersOrder) {
    MidiMessageQueue<64> queue;
    constexpr int perSender = 20000;
    auto sender = [&](std::uint8_t id) {
        for (int n = 0; n < perSender; ++n) {
            const std::uint8_t bytes[] = {id, std::uint8_t(n >> 8), std::uint8_t(n)};
            while (!queue.push(bytes, sizeof bytes, {})) std::this_thread::yield();
        }
    };
    std::thread first(sender, std::uint8_t(0));
    std::thread second(sender, std::uint8_t(1));
    int next[2] = {0, 0};
    int outOfOrder = 0;
    while (next[0] + next[1] < 2 * perSender) {
        const auto* message = queue.front();
        if (!message) {
            std::this_thread::yield();
            continue;
        }
        const int id = message->bytes[0] & 1;
        if (((message->bytes[1] << 8) | message->bytes[2]) != (next[id] & 0xFFFF)) ++outOfOrder;
        ++next[id];
        queue.pop();
    }
    first.join();
    second.join();
    EXPECT_EQ(outOfOrder, 0);
    EXPECT_EQ(next[0], perSender);
    EXPECT_EQ(next[1], perSender);
}

} // namespace
} // namespace ostinel
