#include "platform/linux/device/MacAddress.h"

#include <net/route.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <sstream>
#include <system_error>
#include <vector>

#include "platform/linux/device/Files.h"
#include "platform/linux/device/Log.h"

#define LUMO_LOG_FILE "platform/linux/device/MacAddress"

namespace lumo {

namespace {

struct DefaultRoute {
    std::string interface;
    std::uint64_t metric;
};

using Columns = std::vector<std::string>;

// The columns of a line in which `needed` ones are there at least; empty otherwise.
Columns columnsOf(const std::string& line, std::size_t needed) {
    std::istringstream stream(line);
    Columns columns;
    for (std::string column; stream >> column;) {
        columns.push_back(column);
    }
    return columns.size() < needed ? Columns() : columns;
}

std::optional<std::uint64_t> number(const std::string& text, int base) {
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(value) : std::nullopt;
}

bool isUsable(std::optional<std::uint64_t> flags) {
    return flags && (*flags & RTF_UP) != 0 && (*flags & RTF_REJECT) == 0;
}

// A line of /proc/net/route: interface, destination, gateway, flags, references, use, metric, mask, ...
std::optional<DefaultRoute> parseRoute4(const std::string& line) {
    const Columns columns = columnsOf(line, 8);
    if (columns.empty() || columns[1] != "00000000" || columns[7] != "00000000" ||
        !isUsable(number(columns[3], 16))) {
        return std::nullopt;
    }
    return DefaultRoute{columns[0], number(columns[6], 10).value_or(UINT64_MAX)};
}

// A line of /proc/net/ipv6_route: destination, its length, source, its length, next hop, metric, references,
// use, flags, interface.
std::optional<DefaultRoute> parseRoute6(const std::string& line) {
    const Columns columns = columnsOf(line, 10);
    if (columns.empty() || columns[0] != std::string(32, '0') || columns[1] != "00" || columns[3] != "00" ||
        !isUsable(number(columns[8], 16))) {
        return std::nullopt;
    }
    return DefaultRoute{columns[9], number(columns[5], 16).value_or(UINT64_MAX)};
}

std::string readOrNothing(const std::string& path) {
    try {
        return readSmallFile(path, 4 << 20).value_or("");
    } catch (const std::system_error& error) {
        LUMO_LOG(LogWarning, "%s", error.what());
        return "";
    }
}

// The default routes of a table, the preferred one first.
std::vector<DefaultRoute> routesOf(const std::string& table,
                                   std::optional<DefaultRoute> (*parse)(const std::string& line)) {
    std::vector<DefaultRoute> routes;
    std::istringstream stream(readOrNothing(table));
    for (std::string line; std::getline(stream, line);) {
        if (auto route = parse(line)) {
            routes.push_back(*route);
        }
    }
    std::stable_sort(routes.begin(), routes.end(),
                     [](const DefaultRoute& a, const DefaultRoute& b) { return a.metric < b.metric; });
    return routes;
}

// What the kernel accepts as an interface's name, and what therefore stays in its folder of a path.
bool isInterfaceName(const std::string& name) {
    return !name.empty() && name.size() < 16 && name != "." && name != ".." &&
           std::all_of(name.begin(), name.end(),
                       [](char c) { return c > ' ' && c != '/' && c != ':' && c != 0x7F; });
}

std::optional<STBMacAddr> addressOf(const std::string& root, const std::string& interface) {
    if (!isInterfaceName(interface)) {
        return std::nullopt;
    }
    std::string text = readOrNothing(root + "/sys/class/net/" + interface + "/address");
    if (text.ends_with('\n')) {
        text.pop_back();
    }
    const auto address = parseMacAddress(text);
    return address == STBMacAddr() ? std::nullopt : address;
}

} // namespace

std::optional<STBMacAddr> parseMacAddress(std::string_view text) {
    std::array<std::uint8_t, 6> bytes{};
    if (text.size() != 17) {
        return std::nullopt;
    }
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const char* const digits = text.data() + 3 * i;
        const auto [end, error] = std::from_chars(digits, digits + 2, bytes[i], 16);
        if (error != std::errc() || end != digits + 2 || (i < 5 && *end != ':')) {
            return std::nullopt;
        }
    }
    return STBMacAddr(bytes);
}

STBMacAddr findMainMacAddress(const std::string& root) {
    std::vector<DefaultRoute> routes = routesOf(root + "/proc/net/route", parseRoute4);
    const std::vector<DefaultRoute> routes6 = routesOf(root + "/proc/net/ipv6_route", parseRoute6);
    routes.insert(routes.end(), routes6.begin(), routes6.end());
    for (const DefaultRoute& route : routes) {
        // Tunnels and dial-up links have none.
        if (const auto address = addressOf(root, route.interface)) {
            return *address;
        }
    }
    LUMO_LOG(LogInfo, "No MAC address: no default route leads over an interface that has one");
    return STBMacAddr();
}

} // namespace lumo
