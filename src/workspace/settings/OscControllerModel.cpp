#include "workspace/settings/OscControllerModel.h"

#include "control/OSCController.h"

namespace ostinel {

OscSettings OscControllerModel::oscSettings() const {
    return {osc_.enabled(),        osc_.port(),        osc_.feedbackEnabled(), osc_.feedbackHost(), osc_.feedbackPort(),
            osc_.triggerOutputEnabled(), osc_.triggerHost(), osc_.triggerPort()};
}

void OscControllerModel::setOscSettings(const OscSettings& s) {
    osc_.setPort(s.port);
    osc_.setEnabled(s.enabled);
    osc_.setFeedbackHost(s.feedbackHost);
    osc_.setFeedbackPort(s.feedbackPort);
    osc_.setFeedbackEnabled(s.feedbackEnabled);
    osc_.setTriggerHost(s.triggerHost);
    osc_.setTriggerPort(s.triggerPort);
    osc_.setTriggerOutputEnabled(s.triggerOutputEnabled);
}

std::string OscControllerModel::listenerStatus() const { return osc_.listenerStatus(); }
std::string OscControllerModel::feedbackStatus() const { return osc_.feedbackStatus(); }
std::string OscControllerModel::triggerStatus() const { return osc_.triggerOutputStatus(); }

} // namespace ostinel
