#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace ostinel {

// The web remote's wire: one HTTP request head, then WebSocket frames. Pure
// and allocation-bounded: whatever a client on the network sends, a buffer
// either yields a request or frame, waits for more, or is known never to.
namespace WebSocketCodec {

enum class Opcode : std::uint8_t { continuation = 0, text = 1, binary = 2, close = 8, ping = 9, pong = 10 };

// Nothing larger is read; the announcement alone condemns the buffer.
inline constexpr std::uint64_t maxFramePayload = 0x100000;
// A head that has not ended by then never will, as far as we care.
inline constexpr std::size_t maxRequestHead = 16384;

struct Request {
    std::string method;
    std::string path;
    std::map<std::string, std::string> headers; // names in lower case, values trimmed
    std::string header(const std::string& name) const;
    // An upgrade to a WebSocket that carries its key.
    bool isWebSocketUpgrade() const;
};

struct Frame {
    std::uint8_t opcode = 0;
    std::vector<std::uint8_t> payload; // unmasked
};

template <class T>
struct Parsed {
    T value;
    std::size_t consumed = 0;
};

// Nothing while the head's blank line has not arrived.
std::optional<Parsed<Request>> parseRequest(std::span<const std::uint8_t> data);
// Nothing while the frame is incomplete or can never be one.
std::optional<Parsed<Frame>> parseFrame(std::span<const std::uint8_t> data);
// True when the buffer can never start a frame: an unknown opcode, or a
// length above the limit. Looks at 14 bytes at most.
bool isUnparseable(std::span<const std::uint8_t> data);
// A final, unmasked frame, as servers send them.
std::vector<std::uint8_t> encodeFrame(Opcode opcode, std::span<const std::uint8_t> payload);
std::vector<std::uint8_t> encodeFrame(Opcode opcode, std::string_view payload);
// A complete response that closes the connection and is never cached.
std::string httpResponse(const std::string& status, const std::string& contentType, std::string_view body);

} // namespace WebSocketCodec
} // namespace ostinel
