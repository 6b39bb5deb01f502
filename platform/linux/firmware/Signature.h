#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>

namespace lumo {

// An Ed25519 signature (RFC 8032).
using Signature = std::array<unsigned char, 64>;

// A key file that cannot be used; the text names the file and what is wrong.
class KeyError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// An Ed25519 public key. Immutable; any thread.
class PublicKey {
public:
    // Reads a PEM file ("BEGIN PUBLIC KEY"). Throws KeyError.
    static PublicKey load(const std::string& file);

    bool verifies(std::span<const std::byte> message, const Signature& signature) const;
    // What the key is called in logs: the first 16 hex digits of the SHA-256 of its 32 bytes.
    std::string id() const;
    std::string toPem() const;

private:
    friend class PrivateKey;

    explicit PublicKey(std::shared_ptr<void> key) : _key(std::move(key)) {}

    std::shared_ptr<void> _key;
};

// An Ed25519 private key. Immutable; any thread.
class PrivateKey {
public:
    static PrivateKey generate();
    // Reads an unencrypted PEM file ("BEGIN PRIVATE KEY"). Throws KeyError.
    static PrivateKey load(const std::string& file);

    // The same key and message always give the same signature.
    Signature sign(std::span<const std::byte> message) const;
    PublicKey publicKey() const;
    std::string toPem() const;

private:
    explicit PrivateKey(std::shared_ptr<void> key) : _key(std::move(key)) {}

    std::shared_ptr<void> _key;
};

} // namespace lumo
