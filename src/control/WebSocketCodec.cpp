#include "control/WebSocketCodec.h"

#include <algorithm>
#include <cctype>

namespace ostinel::WebSocketCodec {

namespace {

bool knownOpcode(std::uint8_t opcode) { return opcode <= 2 || (opcode >= 8 && opcode <= 10); }

std::string lower(std::string_view text) {
    std::string out(text);
    std::transform(out.begin(), out.end(), out.begin(), [](unsigned char c) { return char(std::tolower(c)); });
    return out;
}

std::string_view trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

// The header of a frame as far as the bytes go: its full size, and the
// payload length it announces; nothing before the length is complete.
struct Header {
    std::size_t size = 0;
    std::uint64_t length = 0;
    bool masked = false;
};

std::optional<Header> header(std::span<const std::uint8_t> data) {
    if (data.size() < 2) return std::nullopt;
    Header h;
    h.masked = (data[1] & 0x80) != 0;
    const std::uint8_t short7 = data[1] & 0x7F;
    std::size_t extended = short7 == 126 ? 2 : short7 == 127 ? 8 : 0;
    if (data.size() < 2 + extended) return std::nullopt;
    if (extended == 0) {
        h.length = short7;
    } else {
        for (std::size_t i = 0; i < extended; ++i) h.length = (h.length << 8) | data[2 + i];
    }
    h.size = 2 + extended + (h.masked ? 4 : 0);
    return h;
}

} // namespace

std::string Request::header(const std::string& name) const {
    auto it = headers.find(name);
    return it == headers.end() ? std::string() : it->second;
}

bool Request::isWebSocketUpgrade() const {
    return lower(header("upgrade")) == "websocket" && headers.contains("sec-websocket-key");
}

std::optional<Parsed<Request>> parseRequest(std::span<const std::uint8_t> data) {
    const std::string_view text(reinterpret_cast<const char*>(data.data()), data.size());
    const auto end = text.find("\r\n\r\n");
    if (end == std::string_view::npos) return std::nullopt;
    Parsed<Request> parsed;
    parsed.consumed = end + 4;
    std::string_view head = text.substr(0, end);
    bool first = true;
    while (!head.empty()) {
        const auto lineEnd = head.find("\r\n");
        const std::string_view line = head.substr(0, lineEnd);
        head = lineEnd == std::string_view::npos ? std::string_view() : head.substr(lineEnd + 2);
        if (first) {
            first = false;
            const auto space = line.find(' ');
            parsed.value.method = std::string(line.substr(0, space));
            if (space != std::string_view::npos) {
                const auto rest = line.substr(space + 1);
                parsed.value.path = std::string(rest.substr(0, rest.find(' ')));
            }
            continue;
        }
        const auto colon = line.find(':');
        if (colon == std::string_view::npos) continue;
        parsed.value.headers[lower(trimmed(line.substr(0, colon)))] = std::string(trimmed(line.substr(colon + 1)));
    }
    return parsed;
}

bool isUnparseable(std::span<const std::uint8_t> data) {
    if (data.empty()) return false;
    if (!knownOpcode(data[0] & 0x0F)) return true;
    const auto h = header(data.first(std::min<std::size_t>(data.size(), 14)));
    return h && h->length > maxFramePayload;
}

std::optional<Parsed<Frame>> parseFrame(std::span<const std::uint8_t> data) {
    if (isUnparseable(data)) return std::nullopt;
    const auto h = header(data);
    if (!h || data.size() < h->size || data.size() - h->size < h->length) return std::nullopt;
    Parsed<Frame> parsed;
    parsed.value.opcode = data[0] & 0x0F;
    const auto payload = data.subspan(h->size, std::size_t(h->length));
    parsed.value.payload.assign(payload.begin(), payload.end());
    if (h->masked) {
        const auto key = data.subspan(h->size - 4, 4);
        for (std::size_t i = 0; i < parsed.value.payload.size(); ++i) parsed.value.payload[i] ^= key[i % 4];
    }
    parsed.consumed = h->size + std::size_t(h->length);
    return parsed;
}

std::vector<std::uint8_t> encodeFrame(Opcode opcode, std::span<const std::uint8_t> payload) {
    std::vector<std::uint8_t> out;
    out.reserve(payload.size() + 10);
    out.push_back(std::uint8_t(0x80 | std::uint8_t(opcode)));
    const std::uint64_t n = payload.size();
    if (n < 126) {
        out.push_back(std::uint8_t(n));
    } else if (n <= 0xFFFF) {
        out.push_back(126);
        out.push_back(std::uint8_t(n >> 8));
        out.push_back(std::uint8_t(n));
    } else {
        out.push_back(127);
        for (int shift = 56; shift >= 0; shift -= 8) out.push_back(std::uint8_t(n >> shift));
    }
    out.insert(out.end(), payload.begin(), payload.end());
    return out;
}

std::vector<std::uint8_t> encodeFrame(Opcode opcode, std::string_view payload) {
    return encodeFrame(opcode, std::span(reinterpret_cast<const std::uint8_t*>(payload.data()), payload.size()));
}

std::string httpResponse(const std::string& status, const std::string& contentType, std::string_view body) {
    std::string out = "HTTP/1.1 " + status + "\r\nContent-Type: " + contentType +
                      "\r\nContent-Length: " + std::to_string(body.size()) +
                      "\r\nCache-Control: no-store\r\nConnection: close\r\n\r\n";
    out += body;
    return out;
}

} // namespace ostinel::WebSocketCodec
