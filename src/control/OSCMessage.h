#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace ostinel {

// One OSC message per UDP datagram, in the small subset we speak: int, float
// and string arguments, no bundles, no address patterns. Pure and stateless;
// malformed input never traps, it parses leniently or not at all.
struct OSCMessage {
    // Wider in memory than on the wire: an int goes out as its low 32 bits,
    // a float as single precision.
    using Arg = std::variant<std::int64_t, double, std::string>;

    std::string address;
    std::vector<Arg> args;

    friend bool operator==(const OSCMessage&, const OSCMessage&) = default;

    std::vector<std::uint8_t> encoded() const;

    // Nothing when the datagram is not a message we can read. Unknown type
    // tags are skipped without consuming data; a missing tag string means no
    // arguments.
    static std::optional<OSCMessage> decode(std::span<const std::uint8_t> data);

    // The bytes, a NUL, and NULs up to a multiple of four (four when the text
    // already is one).
    static std::vector<std::uint8_t> writeString(std::string_view text);
    // The string at `offset`, which moves past its padding; nothing without a
    // NUL or when the padding runs past the end. Bytes that are not UTF-8
    // read as an empty string.
    static std::optional<std::string> readString(std::span<const std::uint8_t> data, std::size_t& offset);
};

} // namespace ostinel
