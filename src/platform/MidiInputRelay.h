#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "platform/MidiMessageQueue.h"
#include "platform/MidiSystem.h"
#include "platform/PeriodicThread.h"

namespace ostinel {

// Carries the messages an input reads, on the server's thread, to a thread
// of ours that calls the handler with each in order, so the server's thread
// never waits on the handler. Once the relay is destroyed the handler is
// never called again.
class MidiInputRelay {
public:
    explicit MidiInputRelay(MidiInputHandler handler);
    MidiInputRelay(const MidiInputRelay&) = delete;
    MidiInputRelay& operator=(const MidiInputRelay&) = delete;

    // One reading thread, the real-time one included: never allocates,
    // locks or blocks. False, having dropped it, for a message that is empty,
    // too long, or finds the queue full.
    bool push(const std::uint8_t* bytes, std::size_t size) noexcept;

private:
    void deliver();

    static constexpr std::size_t capacity = 256;
    const MidiInputHandler handler_;
    MidiMessageQueue<capacity> queue_;
    std::unique_ptr<PeriodicThread> reader_; // last: it goes first
};

} // namespace ostinel
