#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace ostinel {

// An address a phone may use to reach the web remote, with what kind of
// link it sits on, so the settings can offer the likeliest one first.
struct RemoteAddress {
    // In order of preference: a phone most likely shares the Wi-Fi, least
    // likely a link-local address.
    enum Kind { wifi, wired, sharing, other, selfAssigned };

    std::string host;
    std::string interface;
    std::string name;
    Kind kind = other;

    // By kind in the order above, then by interface and host as text.
    static std::vector<RemoteAddress> ordered(std::vector<RemoteAddress> addresses);
    // Kind and display name of a host on an interface, from what the kernel
    // shows of that interface under sysfsNet (normally /sys/class/net).
    static RemoteAddress classified(const std::string& host, const std::string& interface,
                                    const std::filesystem::path& sysfsNet);

    friend bool operator==(const RemoteAddress&, const RemoteAddress&) = default;
};

// The usable IPv4 addresses of the interfaces that are up and running,
// loopback aside, ordered.
std::vector<RemoteAddress> remoteAddresses();

} // namespace ostinel
