#include "document/ColorHex.h"

#include <cctype>

namespace ostinel {

std::optional<Rgb> colorFromHex(std::string_view text) {
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.front()))) text.remove_prefix(1);
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back()))) text.remove_suffix(1);
    if (text.starts_with('#')) text.remove_prefix(1);
    if (text.size() != 6) return std::nullopt;
    std::uint32_t value = 0;
    for (char c : text) {
        int digit;
        if (c >= '0' && c <= '9') digit = c - '0';
        else if (c >= 'a' && c <= 'f') digit = c - 'a' + 10;
        else if (c >= 'A' && c <= 'F') digit = c - 'A' + 10;
        else return std::nullopt;
        value = value * 16 + std::uint32_t(digit);
    }
    return Rgb{std::uint8_t(value >> 16), std::uint8_t(value >> 8), std::uint8_t(value)};
}

} // namespace ostinel
