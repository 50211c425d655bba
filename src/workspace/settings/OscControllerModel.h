#pragma once

#include "workspace/settings/OscSettingsModel.h"

namespace ostinel {

class OSCController;

// The OSC tab's view of the live controller: each edit goes to its setter,
// which persists it and reopens that socket.
class OscControllerModel final : public OscSettingsModel {
public:
    explicit OscControllerModel(OSCController& osc) : osc_(osc) {}
    OscSettings oscSettings() const override;
    void setOscSettings(const OscSettings& settings) override;
    std::string listenerStatus() const override;
    std::string feedbackStatus() const override;
    std::string triggerStatus() const override;

private:
    OSCController& osc_;
};

} // namespace ostinel
