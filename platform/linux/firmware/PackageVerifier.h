#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/linux/firmware/Manifest.h"
#include "platform/linux/firmware/Signature.h"

namespace lumo {

// Whose packages are taken, and for what.
struct PackagePolicy {
    std::string deviceId;            // empty: any device
    std::optional<std::string> type; // none: any type
    std::vector<PublicKey> keys;
    bool allowUnsigned = false;
    // Signatures are not looked at, as if each were good: to show packages of which no key is at hand, never
    // to install them.
    bool ignoreSignatures = false;
    bool keepDecoded = true; // otherwise compressed blocks are checked, and their bytes dropped
    std::uint64_t maxDecodedBytes = ~std::uint64_t(0); // memory that decoded blocks may take together
};

// The decoded bytes of one compressed block: memory of its own, from the kernel, touched as it is filled.
class DecodedBlock {
public:
    explicit DecodedBlock(std::size_t size);
    ~DecodedBlock();
    DecodedBlock(const DecodedBlock&) = delete;
    DecodedBlock& operator=(const DecodedBlock&) = delete;

    std::span<std::byte> bytes() const { return {_data, _size}; }

private:
    std::byte* _data = nullptr;
    std::size_t _size;
};

// Checks a package whose bytes arrive in order, in pieces of any size, and so needs no second pass over them:
// header, signature, manifest, device and type, padding, every payload's hash and the total length. What is
// wrong is found at the earliest byte that shows it and thrown as FirmwareError; the verifier is of no use
// afterwards but for restart(). Compressed blocks are decoded on the way, into memory if they are to be kept.
// One thread at a time.
class PackageVerifier {
public:
    explicit PackageVerifier(PackagePolicy policy);
    ~PackageVerifier();

    void feed(std::span<const std::byte> bytes);
    // The package is over: throws unless it was complete.
    void finish();
    // Forgets everything, for a transfer that starts again from the first byte.
    void restart();

    // Bytes fed so far.
    std::uint64_t position() const;
    // The length the package says it has; none before its manifest was read.
    std::optional<std::uint64_t> expectedSize() const;
    // Null before the manifest was read and its signature found good.
    const Manifest* manifest() const;
    // The accepted key that signed it: its id. Empty for an unsigned package, and when none was looked for.
    const std::string& signer() const;
    // Whether there is a signature, good or not looked at.
    bool isSigned() const;
    // The decoded blocks by their place in manifest()->blocks, if they were kept; complete after finish().
    std::map<std::size_t, std::unique_ptr<DecodedBlock>> takeDecoded();

private:
    struct State;
    PackagePolicy _policy;
    std::unique_ptr<State> _state;
};

} // namespace lumo
