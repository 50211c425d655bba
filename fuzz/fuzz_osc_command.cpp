// What the OSC listener does with any datagram from the network: it either
// names a command or is dropped, never traps. A command parsed must survive
// being sent again by the address table's own form.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>

#include "control/OSCCommand.h"
#include "control/OSCMessage.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto command = ostinel::OSCCommand::parse(std::span(data, size));
    if (!command) return 0;
    const auto message = ostinel::OSCMessage::decode(std::span(data, size));
    if (!message || !message->address.starts_with("/ostinel/")) std::abort();
    const auto again = ostinel::OSCCommand::parse(message->encoded());
    if (!again || !(*again == *command)) std::abort();
    return 0;
}
