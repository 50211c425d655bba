#include "timecode/TimecodeRate.h"

#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <vector>

namespace ostinel {

namespace timecode {

namespace {

struct RateInfo {
    const char* raw;
    const char* label;
    int nominal;
    double exact;
    double quarterFrames;
    double halfBits;
};

// Kept as constants rather than computed at each use.
constexpr RateInfo rates[] = {
    {"fps24", "24 fps", 24, 24.0, 96.0, 3840.0},
    {"fps25", "25 fps", 25, 25.0, 100.0, 4000.0},
    {"fps2997df", "29.97 fps drop", 30, 29.97002997002997, 119.88011988011988, 4795.204795204795},
    {"fps30", "30 fps", 30, 30.0, 120.0, 4800.0},
};

const RateInfo& info(TimecodeRate rate) noexcept { return rates[static_cast<int>(rate)]; }

constexpr std::int64_t dropBlockFrames = 17982; // ten drop-frame minutes
constexpr std::int64_t dropMinuteFrames = 1798; // a minute after the first of a block

} // namespace

std::string_view trimmed(std::string_view text) {
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.front()))) text.remove_prefix(1);
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back()))) text.remove_suffix(1);
    return text;
}

namespace {

// The platform's integer reading: one optional sign, then digits only.
std::optional<std::int64_t> integer(std::string_view text) {
    if (!text.empty() && text.front() == '+') {
        text.remove_prefix(1);
        if (!text.empty() && text.front() == '-') return std::nullopt;
    }
    if (text.empty() || text.front() == '+') return std::nullopt;
    std::int64_t value = 0;
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return value;
}

} // namespace

int rateCode(TimecodeRate rate) noexcept { return static_cast<int>(rate); }
const char* rawValue(TimecodeRate rate) noexcept { return info(rate).raw; }
const char* label(TimecodeRate rate) noexcept { return info(rate).label; }

std::optional<TimecodeRate> rateFromRaw(std::string_view raw) noexcept {
    for (TimecodeRate rate : allRates)
        if (raw == rawValue(rate)) return rate;
    return std::nullopt;
}

const char* rawValue(LTCMode mode) noexcept { return mode == LTCMode::customRoute ? "customRoute" : "splitMain"; }
LTCMode ltcModeFromRaw(std::string_view raw) noexcept {
    return raw == "customRoute" ? LTCMode::customRoute : LTCMode::splitMain;
}

int nominalFps(TimecodeRate rate) noexcept { return info(rate).nominal; }
double exactFps(TimecodeRate rate) noexcept { return info(rate).exact; }
double quarterFramesPerSecond(TimecodeRate rate) noexcept { return info(rate).quarterFrames; }
double ltcHalfBitsPerSecond(TimecodeRate rate) noexcept { return info(rate).halfBits; }

std::int64_t frameNumber(TimecodeRate rate, double seconds) noexcept {
    if (std::isnan(seconds)) std::abort();
    const double frames = std::floor(std::max(seconds, 0.0) * exactFps(rate) + 1e-6);
    if (!(frames < 9.2e18)) std::abort(); // a caller passed an unclamped time
    return static_cast<std::int64_t>(frames);
}

TimecodeComponents dropComponents(std::int64_t frame) noexcept {
    const std::int64_t blocks = frame / dropBlockFrames;
    const std::int64_t rest = frame % dropBlockFrames;
    std::int64_t dropped = 18 * blocks;
    if (rest >= 2) dropped += 2 * ((rest - 2) / dropMinuteFrames);
    const std::int64_t n = frame + dropped;
    return {(n / 108000) % 24, (n / 1800) % 60, (n / 30) % 60, n % 30};
}

TimecodeComponents components(TimecodeRate rate, std::int64_t frame) noexcept {
    if (rate == TimecodeRate::fps2997df) return dropComponents(frame);
    const std::int64_t fps = nominalFps(rate);
    const std::int64_t total = frame / fps;
    return {total / 3600, (total / 60) % 60, total % 60, frame % fps};
}

std::string string(TimecodeRate rate, double seconds) {
    const TimecodeComponents c = components(rate, frameNumber(rate, seconds));
    char text[96];
    std::snprintf(text, sizeof text, "%02lld:%02lld:%02lld%c%02lld", static_cast<long long>(c.h),
                  static_cast<long long>(c.m), static_cast<long long>(c.s),
                  rate == TimecodeRate::fps2997df ? ';' : ':', static_cast<long long>(c.f));
    return text;
}

std::optional<double> seconds(TimecodeRate rate, std::string_view text) {
    std::int64_t piece[4] = {};
    int count = 0;
    std::size_t begin = 0;
    while (true) {
        const std::size_t end = text.find_first_of(":;", begin);
        if (count == 4) return std::nullopt;
        auto value = integer(trimmed(text.substr(begin, end == std::string_view::npos ? end : end - begin)));
        if (!value) return std::nullopt;
        piece[count++] = *value;
        if (end == std::string_view::npos) break;
        begin = end + 1;
    }
    if (count != 4) return std::nullopt;
    const auto [h, m, s, f] = piece;
    if (rate != TimecodeRate::fps2997df)
        return double(h) * 3600.0 + double(m) * 60.0 + double(s) + double(f) / double(nominalFps(rate));
    // Text naming more frames than a count holds does not parse, rather than
    // stopping the process over a typing slip.
    std::int64_t totalMinutes = 0, frames = 0, secondFrames = 0;
    if (__builtin_mul_overflow(h, 60, &totalMinutes) || __builtin_add_overflow(totalMinutes, m, &totalMinutes) ||
        __builtin_mul_overflow(totalMinutes, 1800, &frames) || __builtin_mul_overflow(s, 30, &secondFrames) ||
        __builtin_add_overflow(frames, secondFrames, &frames) || __builtin_add_overflow(frames, f, &frames) ||
        __builtin_sub_overflow(frames, 2 * (totalMinutes - totalMinutes / 10), &frames))
        return std::nullopt;
    return double(frames) / exactFps(rate);
}

} // namespace timecode

std::string timeString(double seconds) {
    if (!std::isfinite(seconds) || seconds < 0.0) return "0:00.00";
    const double scaled = std::floor(seconds * 100.0);
    const long long cs = scaled < 9.2e18 ? static_cast<long long>(scaled) : std::numeric_limits<long long>::max();
    char text[64];
    std::snprintf(text, sizeof text, "%lld:%02lld.%02lld", cs / 6000, (cs / 100) % 60, cs % 100);
    return text;
}

std::optional<double> parseTime(std::string_view input) {
    std::string text(timecode::trimmed(input));
    for (char& c : text)
        if (c == ',') c = '.';
    std::vector<double> pieces;
    std::size_t begin = 0;
    while (begin <= text.size()) {
        std::size_t end = text.find(':', begin);
        if (end == std::string::npos) end = text.size();
        std::string_view piece(text.data() + begin, end - begin);
        if (!piece.empty()) {
            // One sign at most: from_chars takes a "-" but not a "+".
            if (piece.front() == '+') {
                piece.remove_prefix(1);
                if (!piece.empty() && piece.front() == '-') return std::nullopt;
            }
            double value = 0.0;
            auto [stop, error] = std::from_chars(piece.data(), piece.data() + piece.size(), value);
            if (piece.empty() || error != std::errc() || stop != piece.data() + piece.size()) return std::nullopt;
            pieces.push_back(value);
        }
        begin = end + 1;
    }
    if (pieces.size() == 1) return pieces[0];
    if (pieces.size() == 2) return pieces[0] * 60.0 + pieces[1];
    return std::nullopt;
}

} // namespace ostinel
