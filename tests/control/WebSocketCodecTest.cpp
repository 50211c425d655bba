#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "control/RemoteGate.h"
#include "control/WebSocketAccept.h"
#include "control/WebSocketCodec.h"

using namespace ostinel;
namespace ws = ostinel::WebSocketCodec;

namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes bytes(std::string_view text) { return Bytes(text.begin(), text.end()); }

// A client's frame: masked, as browsers send them.
Bytes masked(std::uint8_t opcode, const Bytes& payload, std::array<std::uint8_t, 4> key = {0x37, 0xfa, 0x21, 0x3d}) {
    Bytes out = ws::encodeFrame(ws::Opcode(opcode), payload);
    const std::size_t header = out.size() - payload.size();
    out[1] |= 0x80;
    out.insert(out.begin() + std::ptrdiff_t(header), key.begin(), key.end());
    for (std::size_t i = 0; i < payload.size(); ++i) out[header + 4 + i] ^= key[i % 4];
    return out;
}

TEST(WebSocketCodec, HandshakeAnswersTheStandardsOwnExample) {
    EXPECT_EQ(webSocketAccept("dGhlIHNhbXBsZSBub25jZQ=="), "s3pPLMBiTxaQ9kYGzzhZRbK+xOo=");
    const auto head = bytes("GET /ws HTTP/1.1\r\nHost: 10.0.0.5:8765\r\nUpgrade:  WebSocket \r\n"
                            "Connection: Upgrade\r\nSec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\nNoColon\r\n\r\nrest");
    for (std::size_t cut = 0; cut < head.size() - 4; ++cut)
        ASSERT_FALSE(ws::parseRequest(std::span(head).first(cut))) << "a request split at " << cut << " waits";
    const auto parsed = ws::parseRequest(head);
    ASSERT_TRUE(parsed);
    EXPECT_EQ(parsed->consumed, head.size() - 4);
    EXPECT_EQ(parsed->value.method, "GET");
    EXPECT_EQ(parsed->value.path, "/ws");
    EXPECT_EQ(parsed->value.header("host"), "10.0.0.5:8765");
    EXPECT_TRUE(parsed->value.isWebSocketUpgrade());
    EXPECT_FALSE(ws::parseRequest(bytes("GET / HTTP/1.1\r\nHost: x\r\n\r\n"))->value.isWebSocketUpgrade());

    const std::string response = ws::httpResponse("404 Not Found", "text/plain", "Not found");
    EXPECT_EQ(response, "HTTP/1.1 404 Not Found\r\nContent-Type: text/plain\r\nContent-Length: 9\r\n"
                        "Cache-Control: no-store\r\nConnection: close\r\n\r\nNot found");
}

TEST(WebSocketCodec, FramesOfEachLengthFormRoundTripMaskedOrNot) {
    for (std::size_t n : {0u, 125u, 126u, 65535u, 65536u, 200000u}) {
        Bytes payload(n);
        for (std::size_t i = 0; i < n; ++i) payload[i] = std::uint8_t(i * 7);
        const Bytes plain = ws::encodeFrame(ws::Opcode::binary, payload);
        EXPECT_EQ(plain.size() - n, n < 126 ? 2u : n <= 65535 ? 4u : 10u) << n;
        EXPECT_EQ(plain[0], 0x82);
        for (const Bytes& wire : {plain, masked(2, payload)}) {
            const auto frame = ws::parseFrame(wire);
            ASSERT_TRUE(frame) << n;
            EXPECT_EQ(frame->consumed, wire.size());
            EXPECT_EQ(frame->value.opcode, 2);
            EXPECT_EQ(frame->value.payload, payload) << n;
        }
    }
}

TEST(WebSocketCodec, PartialFramesWaitAndImpossibleOnesAreKnownEarly) {
    Bytes stream = masked(1, bytes(R"({"t":"go"})"));
    const Bytes second = masked(9, bytes("ping"));
    stream.insert(stream.end(), second.begin(), second.end());
    Bytes buffer;
    std::vector<std::string> got;
    for (std::uint8_t b : stream) {
        buffer.push_back(b);
        ASSERT_FALSE(ws::isUnparseable(buffer));
        while (auto frame = ws::parseFrame(buffer)) {
            got.emplace_back(frame->value.payload.begin(), frame->value.payload.end());
            buffer.erase(buffer.begin(), buffer.begin() + std::ptrdiff_t(frame->consumed));
        }
    }
    EXPECT_EQ(got, (std::vector<std::string>{R"({"t":"go"})", "ping"}));

    EXPECT_TRUE(ws::isUnparseable(Bytes{0x83})) << "opcode 3 is unknown";
    EXPECT_TRUE(ws::isUnparseable(Bytes{0x8F, 0x00}));
    Bytes huge{0x82, 127, 0, 0, 0, 0, 0, 0x10, 0, 0x01}; // 0x100001
    EXPECT_TRUE(ws::isUnparseable(huge)) << "refused on the announcement, not after the bytes";
    huge[9] = 0x00;
    EXPECT_FALSE(ws::isUnparseable(huge)) << "exactly the limit is a frame";
    Bytes longTail(1 << 16, 0xFF);
    longTail[0] = 0x81;
    longTail[1] = 0x05;
    EXPECT_FALSE(ws::isUnparseable(longTail)) << "what follows the 14 bytes is not looked at";
}

TEST(RemoteGate, FiveWrongPinsLockOneAddressForAMinute) {
    RemoteGate gate;
    for (int i = 0; i < 5; ++i) EXPECT_EQ(gate.check("0000", "4711", "10.0.0.9", 100.0 + i), RemoteGate::Verdict::wrong);
    EXPECT_EQ(gate.check("4711", "4711", "10.0.0.9", 110.0), RemoteGate::Verdict::lockedOut);
    EXPECT_EQ(gate.check("4711", "4711", "10.0.0.8", 110.0), RemoteGate::Verdict::accepted) << "another device";
    EXPECT_EQ(gate.check("0000", "4711", "10.0.0.9", 163.9), RemoteGate::Verdict::lockedOut);
    EXPECT_EQ(gate.check("0000", "4711", "10.0.0.9", 164.1), RemoteGate::Verdict::wrong) << "starts from scratch";
    for (int i = 0; i < 3; ++i) gate.check("0000", "4711", "10.0.0.9", 165.0);
    EXPECT_EQ(gate.check("4711", "4711", "10.0.0.9", 166.0), RemoteGate::Verdict::accepted);
    for (int i = 0; i < 4; ++i) gate.check("0000", "4711", "10.0.0.9", 167.0);
    EXPECT_EQ(gate.check("0000", "4711", "10.0.0.9", 167.0), RemoteGate::Verdict::wrong)
        << "a right PIN cleared the count: this is only the fifth";

    for (int i = 0; i < 300; ++i) gate.check("x", "4711", "192.168.0." + std::to_string(i), 200.0);
    EXPECT_LT(gate.rememberedAddresses(), 300u) << "single guesses are forgotten past the ceiling";
    EXPECT_EQ(gate.check("4711", "4711", "10.0.0.9", 200.0), RemoteGate::Verdict::lockedOut) << "locks survive it";
}

TEST(RemoteGate, OriginMustNameTheHostItCameTo) {
    EXPECT_TRUE(RemoteGate::originAllowed("", ""));
    EXPECT_TRUE(RemoteGate::originAllowed("http://10.0.0.5:8765", "10.0.0.5:8765"));
    EXPECT_TRUE(RemoteGate::originAllowed("HTTP://Stage.local:8765", "stage.local:8765"));
    EXPECT_TRUE(RemoteGate::originAllowed("http://[fe80::1]:8765", "[FE80::1]:8765"));
    EXPECT_FALSE(RemoteGate::originAllowed("http://10.0.0.5:9000", "10.0.0.5:8765"));
    EXPECT_FALSE(RemoteGate::originAllowed("http://10.0.0.5", "10.0.0.5:8765"));
    EXPECT_FALSE(RemoteGate::originAllowed("https://evil.example", "10.0.0.5:8765"));
    EXPECT_FALSE(RemoteGate::originAllowed("http://10.0.0.5:8765", ""));
    EXPECT_FALSE(RemoteGate::originAllowed("null", "10.0.0.5:8765"));
}

} // namespace
