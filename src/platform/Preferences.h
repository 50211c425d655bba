#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace ostinel {

using PreferenceBytes = std::vector<std::uint8_t>;
using PreferenceValue =
    std::variant<bool, std::int64_t, double, std::string, std::vector<std::string>, PreferenceBytes>;

// The machine's own settings. Typed reads are lenient about how a store kept
// the value (an INI file keeps numbers as text) and strict about its meaning:
// "abc" is no integer.
class Preferences {
public:
    virtual ~Preferences() = default;
    virtual std::optional<PreferenceValue> value(const std::string& key) const = 0;
    virtual void setValue(const std::string& key, const PreferenceValue& value) = 0;
    virtual void remove(const std::string& key) = 0;

    bool contains(const std::string& key) const { return value(key).has_value(); }
    std::optional<bool> boolValue(const std::string& key) const;
    std::optional<std::int64_t> intValue(const std::string& key) const;
    std::optional<double> doubleValue(const std::string& key) const;
    std::optional<std::string> stringValue(const std::string& key) const;
    std::optional<std::vector<std::string>> stringListValue(const std::string& key) const;
    std::optional<PreferenceBytes> dataValue(const std::string& key) const;
};

} // namespace ostinel
