#include "platform/linux/device/MacAddress.h"

#include <array>
#include <charconv>

namespace lumo {

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

} // namespace lumo
