#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace ostinel {

// A 128-bit identity, written in canonical upper-case form.
class Uuid {
public:
    Uuid() = default; // the nil UUID
    explicit Uuid(const std::array<std::uint8_t, 16>& bytes) : bytes_(bytes) {}

    static Uuid random();
    // Accepts the 8-4-4-4-12 form in either case; anything else is nothing.
    static std::optional<Uuid> parse(std::string_view text);

    std::string toString() const;
    bool isNil() const;
    const std::array<std::uint8_t, 16>& bytes() const { return bytes_; }

    friend bool operator==(const Uuid&, const Uuid&) = default;
    friend auto operator<=>(const Uuid&, const Uuid&) = default;

private:
    std::array<std::uint8_t, 16> bytes_{};
};

} // namespace ostinel

template <>
struct std::hash<ostinel::Uuid> {
    std::size_t operator()(const ostinel::Uuid& id) const noexcept {
        std::size_t h = 0;
        for (auto b : id.bytes()) h = h * 131 + b;
        return h;
    }
};
