#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace ostinel {

struct Rgb {
    std::uint8_t red = 0, green = 0, blue = 0;
    friend bool operator==(const Rgb&, const Rgb&) = default;
};

// "ff8800", "#FF8800" or " #ff8800 " give a colour; anything else nothing,
// and the caller draws the plain colour.
std::optional<Rgb> colorFromHex(std::string_view text);

} // namespace ostinel
