#include "platform/MidiInputRelay.h"

namespace ostinel {

// Normal priority: the handler only hops. The period is a backstop; each
// message wakes the thread.
MidiInputRelay::MidiInputRelay(MidiInputHandler handler)
    : handler_(std::move(handler)),
      reader_(std::make_unique<PeriodicThread>("ostinel-midiin", 1.0, 0, [this] { deliver(); })) {}

bool MidiInputRelay::push(const std::uint8_t* bytes, std::size_t size) noexcept {
    if (!queue_.push(bytes, size, std::nullopt)) return false;
    reader_->wake();
    return true;
}

void MidiInputRelay::deliver() {
    while (const QueuedMidiMessage* message = queue_.front()) {
        if (handler_) handler_(message->bytes, message->size);
        queue_.pop();
    }
}

} // namespace ostinel
