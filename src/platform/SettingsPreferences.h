#pragma once

#include <QSettings>

#include "platform/Preferences.h"

namespace ostinel {

// Preferences in ~/.config/Ostinel/Ostinel.conf, or in a given file.
class SettingsPreferences final : public Preferences {
public:
    SettingsPreferences();
    explicit SettingsPreferences(const QString& iniPath);

    std::optional<PreferenceValue> value(const std::string& key) const override;
    void setValue(const std::string& key, const PreferenceValue& value) override;
    void remove(const std::string& key) override;

private:
    mutable QSettings settings_;
};

} // namespace ostinel
