#include "workspace/editpanel/ClockText.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <vector>

namespace ostinel {

namespace {

std::string_view trimmed(std::string_view s) {
    while (!s.empty() && (s.front() == ' ' || s.front() == '\t')) s.remove_prefix(1);
    while (!s.empty() && (s.back() == ' ' || s.back() == '\t')) s.remove_suffix(1);
    return s;
}

// Digits with at most one decimal point; from_chars alone would take
// exponents and "inf", which no one types into a time.
std::optional<double> number(std::string_view s, bool allowFraction) {
    if (s.empty()) return std::nullopt;
    int points = 0;
    for (char c : s) {
        if (c == '.' && allowFraction) ++points;
        else if (c < '0' || c > '9') return std::nullopt;
    }
    if (points > 1 || s == ".") return std::nullopt;
    double value = 0.0;
    auto [end, error] = std::from_chars(s.data(), s.data() + s.size(), value);
    if (error != std::errc() || end != s.data() + s.size()) return std::nullopt;
    return value;
}

} // namespace

std::optional<double> parseClock(std::string_view text) {
    std::vector<std::string_view> parts;
    std::string_view rest = trimmed(text);
    for (auto colon = rest.find(':'); colon != std::string_view::npos; colon = rest.find(':')) {
        parts.push_back(rest.substr(0, colon));
        rest.remove_prefix(colon + 1);
    }
    parts.push_back(rest);
    if (parts.size() > 3) return std::nullopt;

    auto seconds = number(parts.back(), true);
    if (!seconds || (parts.size() > 1 && *seconds >= 60.0)) return std::nullopt;
    double total = *seconds;
    if (parts.size() >= 2) {
        auto minutes = number(parts[parts.size() - 2], false);
        if (!minutes || (parts.size() == 3 && *minutes >= 60.0)) return std::nullopt;
        total += *minutes * 60.0;
    }
    if (parts.size() == 3) {
        auto hours = number(parts[0], false);
        if (!hours) return std::nullopt;
        total += *hours * 3600.0;
    }
    return total;
}

std::string formatHours(double seconds) {
    if (!std::isfinite(seconds) || seconds < 0.0) seconds = 0.0;
    const auto millis = static_cast<long long>(std::llround(seconds * 1000.0));
    const long long whole = millis / 1000;
    char text[48];
    if (millis % 1000 == 0)
        std::snprintf(text, sizeof text, "%lld:%02lld:%02lld", whole / 3600, whole / 60 % 60, whole % 60);
    else
        std::snprintf(text, sizeof text, "%lld:%02lld:%02lld.%03lld", whole / 3600, whole / 60 % 60, whole % 60,
                      millis % 1000);
    return text;
}

} // namespace ostinel
