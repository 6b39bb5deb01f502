#include <array>
#include <charconv>

#include "src/common/Utils.h"
#include "src/system/Translator.h"

namespace {

// With two decimals and a point, in every locale.
std::string twoDecimals(double value) {
    char text[400]; // the largest double has 309 digits before the point
    const auto end = std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, 2);
    return {text, end.ptr};
}

// units: the words for 1, 1024, 1024^2 and 1024^3.
std::string formatAmount(unsigned long long amount, const std::array<std::string, 4>& units) {
    if (amount <= 1024) {
        return std::to_string(amount) + " " + units[0];
    }
    const auto kibi = static_cast<double>(amount >> 10);
    if (kibi <= 1024) {
        return twoDecimals(kibi) + " " + units[1];
    }
    const double mebi = kibi / 1024;
    return mebi <= 1024 ? twoDecimals(mebi) + " " + units[2] : twoDecimals(mebi / 1024) + " " + units[3];
}

} // namespace

std::string Utils::formatFileSize(unsigned long long bytes) {
    return formatAmount(bytes, {tr("bytes"), tr("kBytes"), tr("MBytes"), tr("GBytes")});
}

std::string Utils::formatBitRate(unsigned long long bitsPerSecond) {
    return formatAmount(bitsPerSecond, {tr("bit/s"), tr("kbit/s"), tr("Mbit/s"), tr("Gbit/s")});
}
