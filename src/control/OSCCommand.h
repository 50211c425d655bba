#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <variant>

#include "playback/MidiAction.h"

namespace ostinel {

// What an incoming datagram asks for. Addresses match exactly; anything
// else, a wrong argument type or bytes that are no message, is nothing.
struct OSCCommand {
    struct SelectIndex {
        std::int64_t index; // one-based
        friend bool operator==(const SelectIndex&, const SelectIndex&) = default;
    };
    struct GoIndex {
        std::int64_t index; // one-based
        friend bool operator==(const GoIndex&, const GoIndex&) = default;
    };
    struct Mode {
        std::string name;
        friend bool operator==(const Mode&, const Mode&) = default;
    };
    std::variant<MidiAction, SelectIndex, GoIndex, Mode> what;
    friend bool operator==(const OSCCommand&, const OSCCommand&) = default;

    static std::optional<OSCCommand> parse(std::span<const std::uint8_t> datagram);
};

} // namespace ostinel
