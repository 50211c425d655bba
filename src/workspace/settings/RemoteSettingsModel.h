#pragma once

#include <string>
#include <vector>

#include "control/RemoteAddress.h"

namespace ostinel {

// The web remote's switches, as the Remote tab edits them.
struct RemoteSettings {
    bool enabled = false;
    int port = 8765;
    bool directConnection = true;

    friend bool operator==(const RemoteSettings&, const RemoteSettings&) = default;
};

// What the Remote tab needs of the web remote, so the tab does not depend
// on its server.
class RemoteSettingsModel {
  public:
    virtual ~RemoteSettingsModel() = default;
    virtual RemoteSettings remoteSettings() const = 0;
    // Persists and reopens the listener as the change requires.
    virtual void setRemoteSettings(const RemoteSettings& settings) = 0;
    // Four digits.
    virtual std::string pin() const = 0;
    // Signs out every device that used the old one.
    virtual void regeneratePIN() = 0;
    virtual bool isListening() const = 0;
    // Signed-in devices.
    virtual int clientCount() const = 0;
    // Why the remote is not listening, for the operator; empty when fine.
    virtual std::string problem() const = 0;
    // Ordered, the likeliest for a phone first.
    virtual std::vector<RemoteAddress> addresses() const = 0;
};

} // namespace ostinel
