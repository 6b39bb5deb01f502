#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace lumo {

using Digest = std::array<unsigned char, 32>;

// A SHA-256 (FIPS 180-4) over bytes that arrive in pieces. One thread at a time.
class Sha256 {
public:
    Sha256();
    ~Sha256();
    Sha256(Sha256&&) noexcept;
    Sha256& operator=(Sha256&&) noexcept;

    void update(std::span<const std::byte> bytes);
    // The digest of everything since construction or the last finish(); starts a new one.
    Digest finish();

private:
    struct Context;
    std::unique_ptr<Context> _context;
};

Digest sha256(std::span<const std::byte> bytes);

// 64 lower-case hex digits.
std::string toHex(const Digest& digest);
// Nothing unless text is exactly 64 lower-case hex digits.
std::optional<Digest> digestFromHex(std::string_view text);

} // namespace lumo
