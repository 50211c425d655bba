#include "platform/Preferences.h"

#include <charconv>
#include <cmath>

namespace ostinel {

namespace {
template <class... F>
struct Overload : F... {
    using F::operator()...;
};
template <class... F>
Overload(F...) -> Overload<F...>;

std::optional<std::int64_t> parseInt(const std::string& s) {
    std::int64_t v = 0;
    auto [end, ec] = std::from_chars(s.data(), s.data() + s.size(), v);
    if (ec != std::errc() || end != s.data() + s.size() || s.empty()) return std::nullopt;
    return v;
}

std::optional<double> parseDouble(const std::string& s) {
    double v = 0;
    auto [end, ec] = std::from_chars(s.data(), s.data() + s.size(), v);
    if (ec != std::errc() || end != s.data() + s.size() || s.empty()) return std::nullopt;
    return v;
}
} // namespace

std::optional<bool> Preferences::boolValue(const std::string& key) const {
    auto v = value(key);
    if (!v) return std::nullopt;
    return std::visit(Overload{
                          [](bool b) -> std::optional<bool> { return b; },
                          [](std::int64_t i) -> std::optional<bool> { return i != 0; },
                          [](const std::string& s) -> std::optional<bool> {
                              if (s == "true" || s == "1") return true;
                              if (s == "false" || s == "0") return false;
                              return std::nullopt;
                          },
                          [](const auto&) -> std::optional<bool> { return std::nullopt; },
                      },
                      *v);
}

std::optional<std::int64_t> Preferences::intValue(const std::string& key) const {
    auto v = value(key);
    if (!v) return std::nullopt;
    return std::visit(Overload{
                          [](std::int64_t i) -> std::optional<std::int64_t> { return i; },
                          [](double d) -> std::optional<std::int64_t> {
                              if (std::isfinite(d) && d == std::trunc(d)) return static_cast<std::int64_t>(d);
                              return std::nullopt;
                          },
                          [](const std::string& s) { return parseInt(s); },
                          [](const auto&) -> std::optional<std::int64_t> { return std::nullopt; },
                      },
                      *v);
}

std::optional<double> Preferences::doubleValue(const std::string& key) const {
    auto v = value(key);
    if (!v) return std::nullopt;
    return std::visit(Overload{
                          [](std::int64_t i) -> std::optional<double> { return static_cast<double>(i); },
                          [](double d) -> std::optional<double> { return d; },
                          [](const std::string& s) { return parseDouble(s); },
                          [](const auto&) -> std::optional<double> { return std::nullopt; },
                      },
                      *v);
}

std::optional<std::string> Preferences::stringValue(const std::string& key) const {
    auto v = value(key);
    if (!v) return std::nullopt;
    if (auto* s = std::get_if<std::string>(&*v)) return *s;
    return std::nullopt;
}

std::optional<std::vector<std::string>> Preferences::stringListValue(const std::string& key) const {
    auto v = value(key);
    if (!v) return std::nullopt;
    if (auto* l = std::get_if<std::vector<std::string>>(&*v)) return *l;
    // A one-element list read back from a text store is a plain string.
    if (auto* s = std::get_if<std::string>(&*v)) return std::vector<std::string>{*s};
    return std::nullopt;
}

std::optional<PreferenceBytes> Preferences::dataValue(const std::string& key) const {
    auto v = value(key);
    if (!v) return std::nullopt;
    if (auto* b = std::get_if<PreferenceBytes>(&*v)) return *b;
    if (auto* s = std::get_if<std::string>(&*v)) return PreferenceBytes(s->begin(), s->end());
    return std::nullopt;
}

} // namespace ostinel
