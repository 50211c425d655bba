#include <gtest/gtest.h>

#include <filesystem>

#include "control/RemoteAddress.h"
#include "support/TempDir.h"

using namespace ostinel;

namespace {

// A /sys/class/net of our own: each interface a folder with what the
// kernel would show of it.
struct FakeSysfs {
    test::TempDir dir;

    void add(const std::string& name, int type, std::initializer_list<const char*> entries,
             bool device = false) {
        dir.write(name + "/type", std::to_string(type) + "\n");
        for (const char* entry : entries)
            std::filesystem::create_directories(dir.path() / name / entry);
        if (device) std::filesystem::create_directory_symlink(dir.path(), dir.path() / name / "device");
    }
    RemoteAddress operator()(const std::string& host, const std::string& interface) const {
        return RemoteAddress::classified(host, interface, dir.path());
    }
};

TEST(RemoteAddressTest, KindAndNameFollowWhatTheKernelSaysOfTheInterface) {
    FakeSysfs sys;
    sys.add("wlp2s0", 1, {"wireless"}, true);
    sys.add("enp3s0", 1, {}, true);
    sys.add("veth12", 1, {});
    sys.add("br0", 1, {"bridge"});
    sys.add("tun0", 65534, {});

    const struct {
        std::string host, interface, name;
        RemoteAddress::Kind kind;
    } cases[] = {
        {"192.168.1.20", "wlp2s0", "Wi-Fi", RemoteAddress::wifi},
        {"10.0.0.5", "enp3s0", "Ethernet", RemoteAddress::wired},
        {"172.18.0.1", "veth12", "veth12", RemoteAddress::other},
        {"192.168.50.1", "br0", "Internet Sharing", RemoteAddress::sharing},
        // A hotspot is a wireless link, in NetworkManager's shared range.
        {"10.42.0.1", "wlp2s0", "Internet Sharing", RemoteAddress::sharing},
        {"10.8.0.2", "tun0", "tun0", RemoteAddress::other},
        {"169.254.10.2", "enp3s0", "Ethernet", RemoteAddress::selfAssigned},
        {"10.1.1.1", "gone0", "gone0", RemoteAddress::other},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.host + " on " + c.interface);
        const RemoteAddress address = sys(c.host, c.interface);
        EXPECT_EQ(address.kind, c.kind);
        EXPECT_EQ(address.name, c.name);
        EXPECT_EQ(address.host, c.host);
        EXPECT_EQ(address.interface, c.interface);
    }
}

TEST(RemoteAddressTest, OrderedPutsTheLikeliestFirstAndLinkLocalLast) {
    using K = RemoteAddress;
    const std::vector<RemoteAddress> mixed = {
        {"169.254.1.1", "eth0", "Ethernet", K::selfAssigned}, {"10.0.0.9", "tun0", "tun0", K::other},
        {"10.0.0.7", "eth1", "Ethernet", K::wired},           {"192.168.1.2", "wlan0", "Wi-Fi", K::wifi},
        {"10.0.0.3", "eth1", "Ethernet", K::wired},           {"10.0.0.8", "eth0", "Ethernet", K::wired},
        {"10.42.0.1", "br0", "Internet Sharing", K::sharing},
    };
    std::vector<std::string> hosts;
    for (const auto& a : RemoteAddress::ordered(mixed))
        hosts.push_back(a.host);
    // Ties go by interface, then by host as text.
    EXPECT_EQ(hosts, (std::vector<std::string>{"192.168.1.2", "10.0.0.8", "10.0.0.3", "10.0.0.7", "10.42.0.1",
                                               "10.0.0.9", "169.254.1.1"}));
}

TEST(RemoteAddressTest, TheMachinesOwnAddressesLeaveLoopbackOut) {
    const auto addresses = remoteAddresses();
    for (const auto& a : addresses) {
        EXPECT_NE(a.host.rfind("127.", 0), 0u) << a.host;
        EXPECT_NE(a.interface, "lo");
        EXPECT_EQ(a.host.find(':'), std::string::npos) << "IPv4 only: " << a.host;
    }
    EXPECT_EQ(addresses, RemoteAddress::ordered(addresses));
}

} // namespace
