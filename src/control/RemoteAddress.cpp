#include "control/RemoteAddress.h"

#include <QNetworkInterface>

#include <algorithm>
#include <fstream>
#include <tuple>

namespace ostinel {
namespace {

// ARPHRD_ETHER, as /sys/class/net/<name>/type gives it.
constexpr int etherType = 1;

int interfaceType(const std::filesystem::path& dir) {
    std::ifstream in(dir / "type");
    int type = -1;
    in >> type;
    return in ? type : -1;
}

// NetworkManager hands out this range on a connection it shares, its
// hotspot included.
bool sharedRange(const std::string& host) {
    return host.rfind("10.42.", 0) == 0;
}

RemoteAddress::Kind linkKind(const std::string& host, const std::filesystem::path& dir) {
    std::error_code ec;
    if (std::filesystem::exists(dir / "wireless", ec) || std::filesystem::exists(dir / "phy80211", ec))
        return sharedRange(host) ? RemoteAddress::sharing : RemoteAddress::wifi;
    if (std::filesystem::exists(dir / "bridge", ec) || sharedRange(host)) return RemoteAddress::sharing;
    // A virtual ethernet (veth, a tunnel's tap) has no device behind it.
    if (interfaceType(dir) == etherType && std::filesystem::exists(dir / "device", ec))
        return RemoteAddress::wired;
    return RemoteAddress::other;
}

std::string displayName(RemoteAddress::Kind kind, const std::string& interface) {
    switch (kind) {
    case RemoteAddress::wifi:
        return "Wi-Fi";
    case RemoteAddress::wired:
        return "Ethernet";
    case RemoteAddress::sharing:
        return "Internet Sharing";
    default:
        return interface;
    }
}

} // namespace

std::vector<RemoteAddress> RemoteAddress::ordered(std::vector<RemoteAddress> addresses) {
    std::stable_sort(addresses.begin(), addresses.end(), [](const RemoteAddress& a, const RemoteAddress& b) {
        return std::tie(a.kind, a.interface, a.host) < std::tie(b.kind, b.interface, b.host);
    });
    return addresses;
}

RemoteAddress RemoteAddress::classified(const std::string& host, const std::string& interface,
                                        const std::filesystem::path& sysfsNet) {
    const Kind link = linkKind(host, sysfsNet / interface);
    // Link-local says more about reachability than the link it is on; the
    // name still says which link that is.
    const Kind kind = host.rfind("169.254.", 0) == 0 ? selfAssigned : link;
    return {host, interface, displayName(link, interface), kind};
}

std::vector<RemoteAddress> remoteAddresses() {
    std::vector<RemoteAddress> found;
    for (const QNetworkInterface& interface : QNetworkInterface::allInterfaces()) {
        const auto flags = interface.flags();
        if (!flags.testFlag(QNetworkInterface::IsUp) || !flags.testFlag(QNetworkInterface::IsRunning) ||
            flags.testFlag(QNetworkInterface::IsLoopBack))
            continue;
        for (const QNetworkAddressEntry& entry : interface.addressEntries()) {
            const QHostAddress ip = entry.ip();
            if (ip.protocol() != QAbstractSocket::IPv4Protocol || ip.isLoopback() || ip.isNull() ||
                ip == QHostAddress(QHostAddress::AnyIPv4) || ip.isMulticast() || ip.isBroadcast())
                continue;
            found.push_back(RemoteAddress::classified(ip.toString().toStdString(),
                                                      interface.name().toStdString(), "/sys/class/net"));
        }
    }
    return RemoteAddress::ordered(std::move(found));
}

} // namespace ostinel
