#include "timecode/MtcMessages.h"

namespace ostinel::mtc {

std::uint8_t quarterFrameData(const TimecodeComponents& latched, int piece, TimecodeRate rate) noexcept {
    const auto& [h, m, s, f] = latched;
    std::int64_t nibble = 0;
    switch (piece & 7) {
    case 0:
        nibble = f;
        break;
    case 1:
        nibble = f >> 4;
        break;
    case 2:
        nibble = s;
        break;
    case 3:
        nibble = s >> 4;
        break;
    case 4:
        nibble = m;
        break;
    case 5:
        nibble = m >> 4;
        break;
    case 6:
        nibble = h;
        break;
    case 7:
        nibble = ((timecode::rateCode(rate) & 7) << 1) | ((h >> 4) & 1);
        break;
    }
    return std::uint8_t(((piece & 7) << 4) | (nibble & 0x0F));
}

FullFrame fullFrame(std::int64_t frame, TimecodeRate rate) noexcept {
    const TimecodeComponents c = timecode::components(rate, frame);
    return {0xF0,
            0x7F, // universal real-time
            0x7F, // all devices
            0x01, // MIDI timecode
            0x01, // full message
            std::uint8_t((timecode::rateCode(rate) << 5) | (c.h & 0x1F)),
            std::uint8_t(c.m),
            std::uint8_t(c.s),
            std::uint8_t(c.f),
            0xF7};
}

} // namespace ostinel::mtc
