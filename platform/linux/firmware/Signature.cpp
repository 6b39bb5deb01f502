#include "platform/linux/firmware/Signature.h"

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "platform/linux/firmware/Sha256.h"

namespace lumo {

namespace {

EVP_PKEY* raw(const std::shared_ptr<void>& key) {
    return static_cast<EVP_PKEY*>(key.get());
}

std::shared_ptr<void> own(EVP_PKEY* key) {
    return {key, [](void* held) { EVP_PKEY_free(static_cast<EVP_PKEY*>(held)); }};
}

const unsigned char* bytesOf(std::span<const std::byte> message) {
    return reinterpret_cast<const unsigned char*>(message.data());
}

using PemReader = EVP_PKEY* (*)(FILE*, EVP_PKEY**, pem_password_cb*, void*);

// A key file must not make the program ask for a passphrase at the terminal.
int refusePassphrase(char*, int, int, void*) {
    return -1;
}

std::shared_ptr<void> loadKey(const std::string& file, PemReader reader, const char* kind) {
    const std::unique_ptr<FILE, int (*)(FILE*)> in(std::fopen(file.c_str(), "re"), &std::fclose);
    if (!in) {
        throw KeyError("cannot open the " + std::string(kind) + " key " + file + ": " + std::strerror(errno));
    }
    EVP_PKEY* key = reader(in.get(), nullptr, refusePassphrase, nullptr);
    ERR_clear_error();
    if (key == nullptr) {
        throw KeyError(file + " holds no " + kind + " key in PEM form");
    }
    std::shared_ptr<void> owned = own(key);
    if (EVP_PKEY_base_id(key) != EVP_PKEY_ED25519) {
        throw KeyError("the key in " + file + " is not an Ed25519 key");
    }
    return owned;
}

template <typename Write>
std::string pem(Write write) {
    const std::unique_ptr<BIO, int (*)(BIO*)> out(BIO_new(BIO_s_mem()), &BIO_free);
    if (!out || write(out.get()) != 1) {
        throw std::runtime_error("libcrypto failed to write a key");
    }
    char* data = nullptr;
    const long length = BIO_get_mem_data(out.get(), &data);
    return {data, static_cast<std::size_t>(length)};
}

} // namespace

PublicKey PublicKey::load(const std::string& file) {
    return PublicKey(loadKey(file, PEM_read_PUBKEY, "public"));
}

bool PublicKey::verifies(std::span<const std::byte> message, const Signature& signature) const {
    const std::unique_ptr<EVP_MD_CTX, void (*)(EVP_MD_CTX*)> context(EVP_MD_CTX_new(), &EVP_MD_CTX_free);
    const bool good = context &&
                      EVP_DigestVerifyInit(context.get(), nullptr, nullptr, nullptr, raw(_key)) == 1 &&
                      EVP_DigestVerify(context.get(), signature.data(), signature.size(), bytesOf(message),
                                       message.size()) == 1;
    ERR_clear_error();
    return good;
}

std::string PublicKey::id() const {
    std::array<unsigned char, 32> bytes{};
    std::size_t length = bytes.size();
    if (EVP_PKEY_get_raw_public_key(raw(_key), bytes.data(), &length) != 1) {
        throw std::runtime_error("libcrypto failed to read a key");
    }
    return toHex(sha256(std::as_bytes(std::span(bytes)))).substr(0, 16);
}

std::string PublicKey::toPem() const {
    return pem([this](BIO* out) { return PEM_write_bio_PUBKEY(out, raw(_key)); });
}

PrivateKey PrivateKey::generate() {
    EVP_PKEY* key = EVP_PKEY_Q_keygen(nullptr, nullptr, "ED25519");
    if (key == nullptr) {
        throw std::runtime_error("libcrypto failed to make a key");
    }
    return PrivateKey(own(key));
}

PrivateKey PrivateKey::load(const std::string& file) {
    return PrivateKey(loadKey(file, PEM_read_PrivateKey, "private"));
}

Signature PrivateKey::sign(std::span<const std::byte> message) const {
    Signature signature{};
    std::size_t length = signature.size();
    const std::unique_ptr<EVP_MD_CTX, void (*)(EVP_MD_CTX*)> context(EVP_MD_CTX_new(), &EVP_MD_CTX_free);
    if (!context || EVP_DigestSignInit(context.get(), nullptr, nullptr, nullptr, raw(_key)) != 1 ||
        EVP_DigestSign(context.get(), signature.data(), &length, bytesOf(message), message.size()) != 1) {
        throw std::runtime_error("libcrypto failed to sign");
    }
    return signature;
}

PublicKey PrivateKey::publicKey() const {
    std::array<unsigned char, 32> bytes{};
    std::size_t length = bytes.size();
    EVP_PKEY* key = nullptr;
    if (EVP_PKEY_get_raw_public_key(raw(_key), bytes.data(), &length) == 1) {
        key = EVP_PKEY_new_raw_public_key(EVP_PKEY_ED25519, nullptr, bytes.data(), bytes.size());
    }
    if (key == nullptr) {
        throw std::runtime_error("libcrypto failed to derive a public key");
    }
    return PublicKey(own(key));
}

std::string PrivateKey::toPem() const {
    return pem([this](BIO* out) {
        return PEM_write_bio_PrivateKey(out, raw(_key), nullptr, nullptr, 0, nullptr, nullptr);
    });
}

} // namespace lumo
