#include "playback/LevelLaw.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdio>

#include "document/Track.h"

namespace ostinel::LevelLaw {

namespace {

constexpr double silenceAmplitude = 0.0001;

std::string_view trimmed(std::string_view s) {
    auto space = [](char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v'; };
    while (!s.empty() && space(s.front())) s.remove_prefix(1);
    while (!s.empty() && space(s.back())) s.remove_suffix(1);
    return s;
}

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return std::tolower(static_cast<unsigned char>(x)) == std::tolower(static_cast<unsigned char>(y));
           });
}

} // namespace

double amplitudeForSlider(double position) {
    double s = std::clamp(position, 0.0, 1.0);
    return Constraint::maxTrackAmplitude * s * s * s * s;
}

double sliderForAmplitude(double amplitude) {
    double a = std::clamp(amplitude, 0.0, Constraint::maxTrackAmplitude);
    return std::pow(a / Constraint::maxTrackAmplitude, 0.25);
}

std::string formatDb(double amplitude) {
    if (!(amplitude > silenceAmplitude)) return "-∞";
    char text[32];
    std::snprintf(text, sizeof text, "%.1f", 20.0 * std::log10(amplitude));
    return text;
}

std::optional<double> parseDb(std::string_view text) {
    constexpr std::string_view typographicMinus = "\u2212";
    std::string s;
    for (std::string_view rest = trimmed(text); !rest.empty();) {
        if (rest.starts_with(typographicMinus)) {
            s += '-';
            rest.remove_prefix(typographicMinus.size());
        } else {
            s += rest.front();
            rest.remove_prefix(1);
        }
    }
    if (s == "-∞" || equalsIgnoringCase(s, "-inf")) return 0.0;

    std::string_view digits = s;
    if (digits.size() > 1 && digits.front() == '+' && digits[1] != '-') digits.remove_prefix(1);
    double db = 0.0;
    auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), db);
    if (error != std::errc() || end != digits.data() + digits.size() || digits.empty() || std::isnan(db))
        return std::nullopt;
    return std::clamp(std::pow(10.0, db / 20.0), 0.0, Constraint::maxTrackAmplitude);
}

} // namespace ostinel::LevelLaw
