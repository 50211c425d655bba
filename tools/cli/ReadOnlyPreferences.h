#pragma once

#include <map>
#include <optional>
#include <string>

#include "platform/SettingsPreferences.h"

namespace ostinel::cli {

// The user's preferences for reading, with every write kept in memory: a
// command-line run leaves the application's settings as they were.
class ReadOnlyPreferences final : public Preferences {
public:
    std::optional<PreferenceValue> value(const std::string& key) const override {
        if (auto it = written_.find(key); it != written_.end()) return it->second;
        return user_.value(key);
    }
    void setValue(const std::string& key, const PreferenceValue& value) override { written_[key] = value; }
    void remove(const std::string& key) override { written_[key] = std::nullopt; }

private:
    SettingsPreferences user_;
    std::map<std::string, std::optional<PreferenceValue>> written_;
};

} // namespace ostinel::cli
