#pragma once

#include <map>

#include "platform/Preferences.h"

namespace ostinel {

// Preferences that live only as long as the object: tests and scripted runs.
class MemoryPreferences final : public Preferences {
public:
    std::optional<PreferenceValue> value(const std::string& key) const override {
        auto it = values_.find(key);
        if (it == values_.end()) return std::nullopt;
        return it->second;
    }
    void setValue(const std::string& key, const PreferenceValue& value) override { values_[key] = value; }
    void remove(const std::string& key) override { values_.erase(key); }

private:
    std::map<std::string, PreferenceValue> values_;
};

} // namespace ostinel
