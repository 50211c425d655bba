#include "base/Uuid.h"

#include <random>

namespace ostinel {

namespace {
int hexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}
} // namespace

Uuid Uuid::random() {
    thread_local std::mt19937_64 engine = [] {
        std::random_device device;
        std::seed_seq seed{device(), device(), device(), device(), device(), device(), device(), device()};
        return std::mt19937_64(seed);
    }();
    std::array<std::uint8_t, 16> bytes{};
    for (int half = 0; half < 2; ++half) {
        std::uint64_t v = engine();
        for (int i = 0; i < 8; ++i) bytes[half * 8 + i] = static_cast<std::uint8_t>(v >> (8 * i));
    }
    bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40); // version 4
    bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80); // RFC 4122 variant
    return Uuid(bytes);
}

std::optional<Uuid> Uuid::parse(std::string_view text) {
    if (text.size() != 36) return std::nullopt;
    std::array<std::uint8_t, 16> bytes{};
    std::size_t out = 0;
    for (std::size_t i = 0; i < 36;) {
        if (i == 8 || i == 13 || i == 18 || i == 23) {
            if (text[i] != '-') return std::nullopt;
            ++i;
            continue;
        }
        int hi = hexValue(text[i]);
        int lo = hexValue(text[i + 1]);
        if (hi < 0 || lo < 0) return std::nullopt;
        bytes[out++] = static_cast<std::uint8_t>(hi * 16 + lo);
        i += 2;
    }
    return Uuid(bytes);
}

std::string Uuid::toString() const {
    static constexpr char digits[] = "0123456789ABCDEF";
    std::string s;
    s.reserve(36);
    for (std::size_t i = 0; i < 16; ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) s.push_back('-');
        s.push_back(digits[bytes_[i] >> 4]);
        s.push_back(digits[bytes_[i] & 0x0F]);
    }
    return s;
}

bool Uuid::isNil() const {
    for (auto b : bytes_)
        if (b != 0) return false;
    return true;
}

} // namespace ostinel
