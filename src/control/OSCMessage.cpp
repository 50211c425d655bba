#include "control/OSCMessage.h"

#include <bit>
#include <limits>

namespace ostinel {

namespace {

// Narrowing a double beyond float's range must give infinity, not UB.
static_assert(std::numeric_limits<float>::is_iec559 && std::numeric_limits<double>::is_iec559);

// Strict UTF-8: no overlong forms, no surrogates, nothing past U+10FFFF.
bool validUtf8(std::span<const std::uint8_t> bytes) {
    std::size_t i = 0;
    while (i < bytes.size()) {
        const std::uint8_t lead = bytes[i];
        if (lead < 0x80) {
            ++i;
            continue;
        }
        std::size_t length = 0;
        std::uint8_t low = 0x80, high = 0xBF; // bounds of the second byte
        if (lead >= 0xC2 && lead <= 0xDF) {
            length = 2;
        } else if (lead >= 0xE0 && lead <= 0xEF) {
            length = 3;
            if (lead == 0xE0) low = 0xA0;
            if (lead == 0xED) high = 0x9F;
        } else if (lead >= 0xF0 && lead <= 0xF4) {
            length = 4;
            if (lead == 0xF0) low = 0x90;
            if (lead == 0xF4) high = 0x8F;
        } else {
            return false;
        }
        if (bytes.size() - i < length) return false;
        if (bytes[i + 1] < low || bytes[i + 1] > high) return false;
        for (std::size_t k = 2; k < length; ++k)
            if ((bytes[i + k] & 0xC0) != 0x80) return false;
        i += length;
    }
    return true;
}

std::optional<std::uint32_t> readWord(std::span<const std::uint8_t> data, std::size_t& offset) {
    if (data.size() - offset < 4) return std::nullopt;
    std::uint32_t word = 0;
    for (std::size_t k = 0; k < 4; ++k)
        word = (word << 8) | data[offset + k];
    offset += 4;
    return word;
}

void appendWord(std::vector<std::uint8_t>& out, std::uint32_t word) {
    for (int shift = 24; shift >= 0; shift -= 8)
        out.push_back(static_cast<std::uint8_t>(word >> shift));
}

void appendString(std::vector<std::uint8_t>& out, std::string_view text) {
    out.insert(out.end(), text.begin(), text.end());
    out.resize(out.size() + 4 - text.size() % 4, 0);
}

} // namespace

std::vector<std::uint8_t> OSCMessage::writeString(std::string_view text) {
    std::vector<std::uint8_t> out;
    appendString(out, text);
    return out;
}

std::optional<std::string> OSCMessage::readString(std::span<const std::uint8_t> data, std::size_t& offset) {
    if (offset > data.size()) return std::nullopt;
    const auto rest = data.subspan(offset);
    std::size_t n = 0;
    while (n < rest.size() && rest[n] != 0)
        ++n;
    if (n == rest.size()) return std::nullopt;
    const std::size_t padded = (n + 4) & ~std::size_t{3};
    if (padded > rest.size()) return std::nullopt;
    offset += padded;
    const auto bytes = rest.first(n);
    if (!validUtf8(bytes)) return std::string();
    return std::string(bytes.begin(), bytes.end());
}

std::vector<std::uint8_t> OSCMessage::encoded() const {
    std::string tags = ",";
    for (const Arg& arg : args)
        tags += arg.index() == 0 ? 'i' : arg.index() == 1 ? 'f' : 's';
    std::vector<std::uint8_t> out;
    appendString(out, address);
    appendString(out, tags);
    for (const Arg& arg : args) {
        if (const auto* value = std::get_if<std::int64_t>(&arg))
            appendWord(out, static_cast<std::uint32_t>(*value));
        else if (const auto* real = std::get_if<double>(&arg))
            appendWord(out, std::bit_cast<std::uint32_t>(static_cast<float>(*real)));
        else
            appendString(out, std::get<std::string>(arg));
    }
    return out;
}

std::optional<OSCMessage> OSCMessage::decode(std::span<const std::uint8_t> data) {
    std::size_t offset = 0;
    auto address = readString(data, offset);
    if (!address) return std::nullopt;
    OSCMessage message{std::move(*address), {}};
    // Some senders leave out the tag string: an address alone is a command.
    const auto tags = readString(data, offset);
    if (!tags || !tags->starts_with(',')) return message;
    for (char tag : std::string_view(*tags).substr(1)) {
        if (tag == 'i') {
            const auto word = readWord(data, offset);
            if (!word) return std::nullopt;
            message.args.emplace_back(std::int64_t{static_cast<std::int32_t>(*word)});
        } else if (tag == 'f') {
            const auto word = readWord(data, offset);
            if (!word) return std::nullopt;
            message.args.emplace_back(double{std::bit_cast<float>(*word)});
        } else if (tag == 's') {
            auto text = readString(data, offset);
            if (!text) return std::nullopt;
            message.args.emplace_back(std::move(*text));
        }
        // Any other tag (T, F, N, b, h, d...) is passed over and takes no
        // data: lax on purpose, this is no full parser.
    }
    return message;
}

} // namespace ostinel
