#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "playback/MidiAction.h"

namespace ostinel {

// One message from a web remote, as its text frame says it. Invalid JSON,
// an unknown type or an index that is missing or not an integer is nothing.
struct RemoteCommand {
    struct Auth {
        std::string pin;
        friend bool operator==(const Auth&, const Auth&) = default;
    };
    struct Panic {
        friend bool operator==(const Panic&, const Panic&) = default;
    };
    enum class Index { cue, select, section };
    struct Indexed {
        Index kind;
        std::int64_t i; // one-based
        friend bool operator==(const Indexed&, const Indexed&) = default;
    };
    std::variant<Auth, MidiAction, Panic, Indexed> what;
    friend bool operator==(const RemoteCommand&, const RemoteCommand&) = default;

    static std::optional<RemoteCommand> parse(std::string_view text);
};

} // namespace ostinel
