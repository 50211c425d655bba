#include "workspace/settings/WebRemoteSettings.h"

#include "control/WebRemoteController.h"

namespace ostinel {

RemoteSettings WebRemoteSettings::remoteSettings() const {
    return {web_.enabled(), web_.port(), web_.directConnection()};
}

void WebRemoteSettings::setRemoteSettings(const RemoteSettings& settings) {
    web_.setPort(settings.port);
    web_.setDirectConnection(settings.directConnection);
    web_.setEnabled(settings.enabled);
}

std::string WebRemoteSettings::pin() const { return web_.pin(); }
void WebRemoteSettings::regeneratePIN() { web_.regeneratePIN(); }
bool WebRemoteSettings::isListening() const { return web_.isListening(); }
int WebRemoteSettings::clientCount() const { return web_.clientCount(); }
std::string WebRemoteSettings::problem() const { return web_.problem().value_or(""); }
std::vector<RemoteAddress> WebRemoteSettings::addresses() const { return remoteAddresses(); }

} // namespace ostinel
