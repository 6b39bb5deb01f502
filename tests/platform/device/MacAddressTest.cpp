#include "platform/linux/device/MacAddress.h"

#include <gtest/gtest.h>

#include "tests/support/TempDir.h"

namespace lumo {
namespace {

using support::writeFile;

// A tree like the kernel's.
class MacAddressTest : public testing::Test {
protected:
    MacAddressTest() {
        const std::pair<const char*, const char*> interfaces[] = {
            {"tun0", "\n"},
            {"ib0", "80:00:02:08:fe:80:00:00:00:00:00:00:00:02:c9:03:00:00:00:01\n"},
            {"lo", "00:00:00:00:00:00\n"},
            {"eth0", "00:1a:2b:3c:4d:5e\n"},
            {"eth1", "00:00:00:00:00:01\n"},
        };
        for (const auto& [name, address] : interfaces) {
            std::filesystem::create_directories(_root.path() / "sys/class/net" / name);
            writeFile(_root.path() / "sys/class/net" / name / "address", address);
        }
        std::filesystem::create_directories(_root.path() / "proc/net");
        writeFile(_root.file("address"), "66:66:66:66:66:66\n");
    }

    std::string withRoutes(const std::string& lines, const char* file = "route") const {
        writeFile(_root.path() / "proc/net" / file,
                  (file == std::string("route") ? "Iface\tDestination\tGateway\t...\n" : "") + lines);
        return findMainMacAddress(_root.path().string()).toString();
    }

private:
    support::TempDir _root;
};

TEST_F(MacAddressTest, IsThatOfTheDefaultRouteOfTheLowestMetricThatHasOne) {
    EXPECT_EQ(withRoutes("eth0\t0000A8C0\t00000000\t0001\t0\t0\t0\t00FFFFFF\t0\t0\t0\n"
                         "eth0\t00000000\t0100A8C0\t0002\t0\t0\t0\t00000000\t0\t0\t0\n"
                         "eth0\t00000000\t00000000\t0001\t0\t0\t0\t0000007F\t0\t0\t0\n"
                         "eth0\t00000000\n"),
              "00:00:00:00:00:00")
        << "none is a default route that is up";
    std::string routes = "eth1\t00000000\t0100A8C0\t0003\t0\t0\t600\t00000000\t0\t0\t0\n";
    for (const char* name : {"tun0", "ib0", "lo", "missing", "../../..", "", "eth0"}) {
        routes += std::string(name) + "\t00000000\t0100A8C0\t0003\t0\t0\t100\t00000000\t0\t0\t0\n";
    }
    EXPECT_EQ(withRoutes(routes), "00:1A:2B:3C:4D:5E");
}

TEST_F(MacAddressTest, FallsBackToTheRouteOfIpv6) {
    const std::string zeros(32, '0');
    const std::string route = zeros + " 00 " + zeros + " 00 fd000000000000000000000000000001 ";
    EXPECT_EQ(withRoutes(route + "00000001 00000002 00000000 00200200 eth1\n" +     // rejects
                             route + "00000400 00000002 00000000 00000003 eth1\n" + // a higher metric
                             route + "000000ff 00000002 00000000 00000003 eth0\n" + "fe80 40\n",
                         "ipv6_route"),
              "00:1A:2B:3C:4D:5E");
}

} // namespace
} // namespace lumo
