// What one web remote client can send: a request head, then frames, each
// text frame a message. Whatever arrives, in whatever pieces, the server's
// parsing either takes it, waits, or drops the client; it never traps, never
// reads past what it was given, and always moves forward.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string_view>
#include <vector>

#include "control/RemoteCommand.h"
#include "control/WebSocketCodec.h"

namespace ws = ostinel::WebSocketCodec;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // The first byte chooses how the bytes are cut into reads.
    const std::size_t step = size > 0 ? std::size_t(data[0] % 16) + 1 : 1;
    std::vector<std::uint8_t> buffer;
    bool upgraded = false;
    for (std::size_t at = size > 0 ? 1 : 0; at < size; at += step) {
        const auto piece = std::span(data + at, std::min(step, size - at));
        buffer.insert(buffer.end(), piece.begin(), piece.end());
        if (!upgraded) {
            const auto request = ws::parseRequest(buffer);
            if (!request) {
                if (buffer.size() > ws::maxRequestHead) return 0;
                continue;
            }
            if (request->consumed == 0 || request->consumed > buffer.size()) std::abort();
            (void)request->value.isWebSocketUpgrade();
            buffer.erase(buffer.begin(), buffer.begin() + std::ptrdiff_t(request->consumed));
            upgraded = true;
        }
        while (auto frame = ws::parseFrame(buffer)) {
            if (frame->consumed < 2 || frame->consumed > buffer.size()) std::abort();
            if (frame->value.payload.size() > ws::maxFramePayload) std::abort();
            if (frame->value.opcode == 1) {
                const auto& p = frame->value.payload;
                (void)ostinel::RemoteCommand::parse(std::string_view(reinterpret_cast<const char*>(p.data()), p.size()));
            }
            buffer.erase(buffer.begin(), buffer.begin() + std::ptrdiff_t(frame->consumed));
        }
        if (ws::isUnparseable(buffer)) return 0;
    }
    return 0;
}
