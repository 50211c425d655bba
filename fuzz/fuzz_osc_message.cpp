// One UDP datagram from anyone on the network: decoding must never trap, and
// whatever decodes must encode to bytes that decode to the same message.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>

#include "control/OSCMessage.h"

namespace {

// Equal, but a NaN matches any NaN: its payload may be quieted on the way.
bool same(const ostinel::OSCMessage::Arg& a, const ostinel::OSCMessage::Arg& b) {
    const auto* x = std::get_if<double>(&a);
    const auto* y = std::get_if<double>(&b);
    if (x && y && std::isnan(*x)) return std::isnan(*y);
    return a == b;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::span<const std::uint8_t> bytes(data, size);
    if (size > 0) {
        std::size_t offset = data[0];
        if (ostinel::OSCMessage::readString(bytes, offset) && offset > size) std::abort();
    }
    const auto first = ostinel::OSCMessage::decode(bytes);
    if (!first) return 0;
    const auto wire = first->encoded();
    const auto second = ostinel::OSCMessage::decode(wire);
    if (!second || second->address != first->address || second->args.size() != first->args.size())
        std::abort();
    for (std::size_t k = 0; k < first->args.size(); ++k)
        if (!same(first->args[k], second->args[k])) std::abort();
    if (second->encoded() != wire) std::abort();
    return 0;
}
