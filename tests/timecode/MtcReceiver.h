#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/LoopbackMidiSystem.h"

namespace ostinel::test {

// What a chasing device makes of MIDI timecode, after the MIDI timecode
// standard: quarter frames F1 0nnn dddd, pieces 0...7 carrying frames, seconds,
// minutes and hours low then high nibble, the last with 0rrh (rate, hours
// bit 4); full messages F0 7F <device> 01 01 0rrhhhhh mm ss ff F7.
struct MtcReceiver {
    struct Timecode {
        int h = 0, m = 0, s = 0, f = 0, rateCode = -1;
        // Frames since 00:00:00:00 at the rate it names; at 29.97 drop, less
        // the two numbers skipped at each minute but every tenth.
        std::int64_t frames() const {
            static constexpr int fps[] = {24, 25, 30, 30};
            const std::int64_t minutes = h * 60 + m;
            const std::int64_t counted = (minutes * 60 + s) * fps[rateCode & 3] + f;
            return rateCode == 2 ? counted - 2 * (minutes - minutes / 10) : counted;
        }
    };
    struct Sequence {
        Timecode timecode;
        double firstPieceTime = 0.0;
    };

    std::vector<Sequence> sequences; // complete runs of pieces 0...7, in order
    std::vector<Timecode> fullFrames;
    std::vector<double> pieceTimes;
    std::vector<std::string> ports; // of every message
    std::vector<std::vector<std::string>> endpoints;
    int brokenSequences = 0; // a run cut short or out of order

    void receive(const LoopbackMessage& message) {
        ports.push_back(message.port);
        endpoints.push_back(message.endpoints);
        const auto& b = message.bytes;
        if (b.size() == 10 && b[0] == 0xF0 && b[1] == 0x7F && b[3] == 0x01 && b[4] == 0x01 && b[9] == 0xF7) {
            fullFrames.push_back({b[5] & 0x1F, b[6], b[7], b[8], (b[5] >> 5) & 3});
        } else if (b.size() == 2 && b[0] == 0xF1) {
            const int piece = (b[1] >> 4) & 7;
            pieceTimes.push_back(message.time);
            if (piece != next) {
                ++brokenSequences;
                if (piece != 0) return;
            }
            if (piece == 0) start = message.time;
            nibbles[piece] = b[1] & 0x0F;
            next = (piece + 1) & 7;
            if (piece == 7) {
                Timecode t{nibbles[6] | (nibbles[7] & 1) << 4, nibbles[4] | (nibbles[5] & 3) << 4,
                           nibbles[2] | (nibbles[3] & 3) << 4, nibbles[0] | (nibbles[1] & 1) << 4,
                           (nibbles[7] >> 1) & 3};
                sequences.push_back({t, start});
            }
        }
    }

private:
    int nibbles[8] = {};
    int next = 0;
    double start = 0.0;
};

} // namespace ostinel::test
