#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace ostinel {

// What the web remote tells the network about itself: the service type and
// the TXT record a phone reads before it connects.
struct RemoteAdvertisement {
    static constexpr const char* serviceType = "_ostinel._tcp";
    static constexpr const char* protocolVersion = "1";
    // A TXT string holds 255 bytes, "show=" included.
    static constexpr std::size_t showLimit = 250;

    using Txt = std::vector<std::pair<std::string, std::string>>;

    // The show name cut to at most showLimit bytes, never inside a UTF-8 character.
    static std::string truncated(const std::string& name);
    // proto, app and show, in that order.
    static Txt txt(const std::string& appVersion, const std::string& showName);
};

} // namespace ostinel
