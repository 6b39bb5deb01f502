#include "platform/STBMacAddr.h"

#include <cstdio>

STBMacAddr::STBMacAddr() : _bytes{} {}

STBMacAddr::STBMacAddr(const std::array<std::uint8_t, 6>& bytes) : _bytes(bytes) {}

std::string STBMacAddr::toString() const {
    char text[18];
    std::snprintf(text, sizeof text, "%02X:%02X:%02X:%02X:%02X:%02X", _bytes[0], _bytes[1], _bytes[2],
                  _bytes[3], _bytes[4], _bytes[5]);
    return text;
}

bool STBMacAddr::operator==(const STBMacAddr& other) const {
    return _bytes == other._bytes;
}
