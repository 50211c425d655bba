#pragma once

#include "workspace/settings/RemoteSettingsModel.h"

namespace ostinel {

class WebRemoteController;

// The Remote tab's view of the live server: each edit goes to its setter,
// which persists it and reopens the listener.
class WebRemoteSettings final : public RemoteSettingsModel {
public:
    explicit WebRemoteSettings(WebRemoteController& web) : web_(web) {}
    RemoteSettings remoteSettings() const override;
    void setRemoteSettings(const RemoteSettings& settings) override;
    std::string pin() const override;
    void regeneratePIN() override;
    bool isListening() const override;
    int clientCount() const override;
    std::string problem() const override;
    std::vector<RemoteAddress> addresses() const override;

private:
    WebRemoteController& web_;
};

} // namespace ostinel
