#include "tools/lumo-firmware/PackageHead.h"

#include <limits>
#include <span>
#include <tuple>

namespace lumo {

namespace {

void appendLittle32(std::string& bytes, std::uint64_t value) {
    for (int i = 0; i < 4; ++i) {
        bytes += static_cast<char>(value >> (8 * i) & 0xff);
    }
}

} // namespace

std::uint64_t alignedPayload(std::uint64_t position) {
    return (position + format::payloadAlignment - 1) / format::payloadAlignment * format::payloadAlignment;
}

std::uint64_t firstPayloadOffset(const Manifest& shape, bool isSigned) {
    constexpr std::uint32_t max32 = std::numeric_limits<std::uint32_t>::max();
    Manifest longest = shape;
    for (ManifestBlock& block : longest.blocks) {
        block.payload = {format::maxPackageSize, max32};
        block.size = max32;
        block.compression = ManifestBlock::Compression::Zstd;
    }
    for (ManifestScript& script : longest.scripts) {
        script.payload = {format::maxPackageSize, max32};
    }
    return alignedPayload(format::headerSize + formatManifest(longest).size() +
                          (isSigned ? std::tuple_size_v<Signature> : 0));
}

std::string formatHead(const std::string& manifestText, const PrivateKey* key) {
    std::string head(format::magic);
    appendLittle32(head, format::version);
    appendLittle32(head, manifestText.size());
    appendLittle32(head, key != nullptr ? std::tuple_size_v<Signature> : 0);
    head.resize(format::headerSize, '\0');
    head += manifestText;
    if (key != nullptr) {
        const Signature signature = key->sign(std::as_bytes(std::span(head)));
        head.append(signature.begin(), signature.end());
    }
    return head;
}

} // namespace lumo
