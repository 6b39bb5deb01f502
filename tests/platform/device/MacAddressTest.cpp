#include "platform/linux/device/MacAddress.h"

#include <gtest/gtest.h>

#include "tests/support/TempDir.h"

namespace lumo {
namespace {

using support::TempDir;
using support::writeFile;

// A tree like the kernel's.
class Network {
public:
    Network() {
        std::filesystem::create_directories(_root.path() / "proc/net");
        writeFile(_root.file("address"), "66:66:66:66:66:66\n");
    }

    Network& routes(const std::string& lines) {
        writeFile(_root.file("proc/net/route"),
                  "Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric\tMask\t\tMTU\tWindow\tIRTT\n" +
                      lines);
        return *this;
    }

    Network& routes6(const std::string& lines) {
        writeFile(_root.file("proc/net/ipv6_route"), lines);
        return *this;
    }

    Network& interface(const std::string& name, const std::string& address) {
        std::filesystem::create_directories(_root.path() / "sys/class/net" / name);
        writeFile(_root.path() / "sys/class/net" / name / "address", address);
        return *this;
    }

    std::string mainAddress() const { return findMainMacAddress(_root.path().string()).toString(); }

private:
    TempDir _root;
};

const std::string none = "00:00:00:00:00:00";
const std::string zeros(32, '0');

std::string route6(const std::string& interface, const std::string& metric, const std::string& flags) {
    return zeros + " 00 " + zeros + " 00 fd000000000000000000000000000001 " + metric + " 00000002 00000000 " +
           flags + " " + interface + "\n";
}

TEST(MacAddressTest, IsThatOfTheDefaultRouteOfTheLowestMetricThatHasOne) {
    Network network;
    network.interface("tun0", "\n")
        .interface("ib0", "80:00:02:08:fe:80:00:00:00:00:00:00:00:02:c9:03:00:00:00:01\n");
    network.interface("lo", none + "\n")
        .interface("eth0", "00:1a:2b:3c:4d:5e\n")
        .interface("wlan0", "00:00:00:00:00:01\n");
    std::string routes = "wlan0\t0000A8C0\t00000000\t0001\t0\t0\t0\t00FFFFFF\t0\t0\t0\n"
                         "wlan0\t00000000\t0100A8C0\t0003\t0\t0\t600\t00000000\t0\t0\t0\n";
    for (const char* name : {"tun0", "ib0", "lo", "missing", "../../..", "", "eth0"}) {
        routes += std::string(name) + "\t00000000\t0100A8C0\t0003\t0\t0\t100\t00000000\t0\t0\t0\n";
    }
    EXPECT_EQ(network.routes(routes).mainAddress(), "00:1A:2B:3C:4D:5E");
}

TEST(MacAddressTest, FallsBackToTheRouteOfIpv6) {
    Network network;
    network.interface("eth0", "00:1a:2b:3c:4d:5e\n").interface("eth1", "00:00:00:00:00:01\n");
    network.interface("eth2", "00:00:00:00:00:02\n");
    network.routes6(route6("eth2", "00000001", "00200200") + route6("eth1", "00000400", "00000003") +
                    route6("eth0", "000000ff", "00000003") + "fe80 40\n");
    EXPECT_EQ(network.mainAddress(), "00:1A:2B:3C:4D:5E");
}

TEST(MacAddressTest, IsAllZeroWithoutADefaultRoute) {
    Network network;
    network.interface("eth0", "00:1a:2b:3c:4d:5e\n");
    EXPECT_EQ(network.mainAddress(), none);
    network.routes("eth0\t0000A8C0\t00000000\t0001\t0\t0\t0\t00FFFFFF\t0\t0\t0\n"
                   "eth0\t00000000\t0100A8C0\t0002\t0\t0\t0\t00000000\t0\t0\t0\n"
                   "eth0\t00000000\t00000000\t0001\t0\t0\t0\t0000007F\t0\t0\t0\n"
                   "eth0\t00000000\n");
    EXPECT_EQ(network.mainAddress(), none);
}

} // namespace
} // namespace lumo
