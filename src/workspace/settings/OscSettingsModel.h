#pragma once

#include <string>

namespace ostinel {

// The eight OSC switches and routes, as the OSC tab edits them.
struct OscSettings {
    bool enabled = false;
    int port = 53000;
    bool feedbackEnabled = false;
    std::string feedbackHost;
    int feedbackPort = 53001;
    bool triggerOutputEnabled = false;
    std::string triggerHost;
    int triggerPort = 53000;

    friend bool operator==(const OscSettings&, const OscSettings&) = default;
};

// What the OSC tab needs of the OSC controller, so the tab does not depend
// on its sockets.
class OscSettingsModel {
public:
    virtual ~OscSettingsModel() = default;
    virtual OscSettings oscSettings() const = 0;
    // Persists and reopens whatever sockets the change concerns.
    virtual void setOscSettings(const OscSettings& settings) = 0;
    // One line per socket for the operator ("listening on port 53000", …);
    // empty when there is nothing to say.
    virtual std::string listenerStatus() const = 0;
    virtual std::string feedbackStatus() const = 0;
    virtual std::string triggerStatus() const = 0;
};

} // namespace ostinel
