// Timecode and time text as an operator or a script types it: parsing must
// never crash, and what parses within a day prints back without fault.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "timecode/TimecodeRate.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    for (ostinel::TimecodeRate rate : ostinel::timecode::allRates) {
        const auto seconds = ostinel::timecode::seconds(rate, text);
        if (seconds && std::isfinite(*seconds) && std::fabs(*seconds) < 1e9)
            (void)ostinel::timecode::string(rate, *seconds);
    }
    if (auto seconds = ostinel::parseTime(text)) (void)ostinel::timeString(*seconds);
    return 0;
}
