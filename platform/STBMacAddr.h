#pragma once

#include <array>
#include <cstdint>
#include <string>

// A 48-bit hardware address. A plain value; all zero when unknown.
class STBMacAddr {
public:
    STBMacAddr();
    explicit STBMacAddr(const std::array<std::uint8_t, 6>& bytes);

    // Six two-digit upper-case hex numbers with colons: "00:1A:2B:3C:4D:5E".
    std::string toString() const;

    bool operator==(const STBMacAddr& other) const;

private:
    std::array<std::uint8_t, 6> _bytes;
};
