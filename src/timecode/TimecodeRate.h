#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace ostinel {

// The four timecode rates. The order is the MTC rate code and the order the
// settings offer them; the raw value is what preferences store.
enum class TimecodeRate { fps24 = 0, fps25 = 1, fps2997df = 2, fps30 = 3 };

// Where an LTC signal goes: one channel of the music's pair, the music folded
// to the other; or a device and channel of its own.
enum class LTCMode { splitMain, customRoute };

struct TimecodeComponents {
    std::int64_t h = 0, m = 0, s = 0, f = 0;
    friend bool operator==(const TimecodeComponents&, const TimecodeComponents&) = default;
};

// Everything here is pure and allocation-free where it says so: the MTC clock
// and the LTC render path call it on real-time threads.
namespace timecode {

inline constexpr TimecodeRate allRates[] = {TimecodeRate::fps24, TimecodeRate::fps25, TimecodeRate::fps2997df,
                                            TimecodeRate::fps30};

int rateCode(TimecodeRate rate) noexcept;
const char* rawValue(TimecodeRate rate) noexcept;
const char* label(TimecodeRate rate) noexcept;
// Nothing for an unknown text; the holder of the preference falls back to fps25.
std::optional<TimecodeRate> rateFromRaw(std::string_view raw) noexcept;

const char* rawValue(LTCMode mode) noexcept;
// Anything but "customRoute" reads as splitMain.
LTCMode ltcModeFromRaw(std::string_view raw) noexcept;

// The integer counting base: 24, 25, 30, 30.
int nominalFps(TimecodeRate rate) noexcept;
double exactFps(TimecodeRate rate) noexcept;
double quarterFramesPerSecond(TimecodeRate rate) noexcept;
double ltcHalfBitsPerSecond(TimecodeRate rate) noexcept;

// A true count of frames: negative seconds are 0; the 1e-6 keeps a time
// computed from a frame count from falling one frame short. Seconds must be
// finite and small enough to count; anything else stops the process.
std::int64_t frameNumber(TimecodeRate rate, double seconds) noexcept;
// Drop-frame numbering at 29.97 (hours wrap at 24); plain counting at the
// other rates, hours unwrapped.
TimecodeComponents components(TimecodeRate rate, std::int64_t frame) noexcept;
TimecodeComponents dropComponents(std::int64_t frame) noexcept;

// "hh:mm:ss:ff", ";" before the frames at 29.97.
std::string string(TimecodeRate rate, double seconds);
// Four integer pieces separated by ":" or ";"; no range check.
std::optional<double> seconds(TimecodeRate rate, std::string_view text);

// Whitespace off both ends.
std::string_view trimmed(std::string_view text);

} // namespace timecode

// Plain time text for lists and fields: "m:ss.cc", minutes never turned into
// hours; "0:00.00" for anything negative or not finite.
std::string timeString(double seconds);
// "s", "m:s", with "," as a decimal point too; nothing for anything else.
std::optional<double> parseTime(std::string_view text);

} // namespace ostinel
