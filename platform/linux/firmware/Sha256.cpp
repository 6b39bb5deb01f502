#include "platform/linux/firmware/Sha256.h"

#include <openssl/evp.h>

#include <stdexcept>

namespace lumo {

struct Sha256::Context {
    EVP_MD_CTX* handle = EVP_MD_CTX_new();

    Context() { restart(); }

    ~Context() { EVP_MD_CTX_free(handle); }

    Context(const Context&) = delete;
    Context& operator=(const Context&) = delete;

    void restart() {
        if (handle == nullptr || EVP_DigestInit_ex(handle, EVP_sha256(), nullptr) != 1) {
            throw std::runtime_error("libcrypto offers no SHA-256");
        }
    }
};

Sha256::Sha256() : _context(std::make_unique<Context>()) {}

Sha256::~Sha256() = default;
Sha256::Sha256(Sha256&&) noexcept = default;
Sha256& Sha256::operator=(Sha256&&) noexcept = default;

void Sha256::update(std::span<const std::byte> bytes) {
    if (EVP_DigestUpdate(_context->handle, bytes.data(), bytes.size()) != 1) {
        throw std::runtime_error("libcrypto failed to hash");
    }
}

Digest Sha256::finish() {
    Digest digest{};
    if (EVP_DigestFinal_ex(_context->handle, digest.data(), nullptr) != 1) {
        throw std::runtime_error("libcrypto failed to hash");
    }
    _context->restart();
    return digest;
}

Digest sha256(std::span<const std::byte> bytes) {
    Sha256 hash;
    hash.update(bytes);
    return hash.finish();
}

std::string toHex(const Digest& digest) {
    static constexpr char digits[] = "0123456789abcdef";
    std::string text;
    for (const unsigned char byte : digest) {
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}

std::optional<Digest> digestFromHex(std::string_view text) {
    Digest digest{};
    if (text.size() != 2 * digest.size()) {
        return std::nullopt;
    }
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        int value = 0;
        if (c >= '0' && c <= '9') {
            value = c - '0';
        } else if (c >= 'a' && c <= 'f') {
            value = c - 'a' + 10;
        } else {
            return std::nullopt;
        }
        digest[i / 2] = static_cast<unsigned char>(digest[i / 2] << 4 | value);
    }
    return digest;
}

} // namespace lumo
