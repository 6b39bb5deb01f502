#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/STBMacAddr.h"

namespace lumo {

// Six two-digit hex numbers with colons ("00:1a:2B:3c:4d:5e"); empty for anything else.
std::optional<STBMacAddr> parseMacAddress(std::string_view text);

// The address of the interface of the default route: the IPv4 route of the lowest metric whose interface has
// a 48-bit address, else the IPv6 one. All zero when there is none. root is put before "/proc/net" and
// "/sys/class/net".
STBMacAddr findMainMacAddress(const std::string& root);

} // namespace lumo
