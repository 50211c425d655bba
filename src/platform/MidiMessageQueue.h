#pragma once

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "platform/MidiSystem.h"

namespace ostinel {

// One message waiting for the real-time thread.
struct QueuedMidiMessage {
    std::uint8_t bytes[MidiOutput::maxMessageBytes] = {};
    std::uint8_t size = 0;
    std::optional<double> at;
};

// A fixed ring of messages from any number of sending threads to one reader,
// in the order the senders claimed their slots. Lock-free and allocation-free
// on both sides (a bounded queue with a sequence number per slot). A sender
// stopped between claiming and filling its slot holds back the messages
// behind it, never reorders them.
template <std::size_t Capacity> class MidiMessageQueue {
    static_assert(Capacity >= 2 && (Capacity & (Capacity - 1)) == 0, "a power of two");

public:
    MidiMessageQueue() {
        for (std::size_t i = 0; i < Capacity; ++i)
            slots_[i].sequence.store(i, std::memory_order_relaxed);
    }

    // Any thread. False, having queued nothing, when the ring is full or the
    // message empty or too long.
    bool push(const std::uint8_t* bytes, std::size_t size, std::optional<double> at) noexcept {
        if (size == 0 || size > MidiOutput::maxMessageBytes) return false;
        std::size_t position = tail_.load(std::memory_order_relaxed);
        Slot* slot = nullptr;
        for (;;) {
            slot = &slots_[position & (Capacity - 1)];
            const std::size_t sequence = slot->sequence.load(std::memory_order_acquire);
            const auto lag = std::ptrdiff_t(sequence) - std::ptrdiff_t(position);
            if (lag == 0) {
                if (tail_.compare_exchange_weak(position, position + 1, std::memory_order_relaxed)) break;
            } else if (lag < 0) {
                return false;
            } else {
                position = tail_.load(std::memory_order_relaxed);
            }
        }
        std::copy_n(bytes, size, slot->message.bytes);
        slot->message.size = std::uint8_t(size);
        slot->message.at = at;
        slot->sequence.store(position + 1, std::memory_order_release);
        return true;
    }

    // The reader's thread only: the oldest message, left in place, or null.
    const QueuedMidiMessage* front() const noexcept {
        const Slot& slot = slots_[head_ & (Capacity - 1)];
        return slot.sequence.load(std::memory_order_acquire) == head_ + 1 ? &slot.message : nullptr;
    }

    // The reader's thread only, after front() gave a message.
    void pop() noexcept {
        slots_[head_ & (Capacity - 1)].sequence.store(head_ + Capacity, std::memory_order_release);
        ++head_;
    }

private:
    struct Slot {
        std::atomic<std::size_t> sequence{0};
        QueuedMidiMessage message;
    };

    std::array<Slot, Capacity> slots_;
    alignas(64) std::atomic<std::size_t> tail_{0};
    alignas(64) std::size_t head_ = 0;
};

} // namespace ostinel
