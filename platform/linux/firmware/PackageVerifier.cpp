#include "platform/linux/firmware/PackageVerifier.h"

#include <sys/mman.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "platform/linux/firmware/FirmwareError.h"
#include "platform/linux/firmware/ZstdStream.h"

namespace lumo {

namespace {

std::uint32_t little32(std::span<const std::byte> bytes, std::size_t at) {
    std::uint32_t value = 0;
    for (std::size_t i = 4; i-- > 0;) {
        value = value << 8 | std::to_integer<std::uint32_t>(bytes[at + i]);
    }
    return value;
}

FirmwareError damaged(const std::string& text) {
    return {OpenResult::Damaged, text};
}

FirmwareError notAPackage(const std::string& text) {
    return {OpenResult::NotAPackage, text};
}

// A stretch of the package behind the manifest: a payload, or the zero bytes that align the next one.
struct Region {
    enum class Kind { Padding, Block, Script };
    Kind kind;
    std::size_t index; // in the manifest's list
    std::uint64_t end;
};

std::vector<Region> regionsOf(const Manifest& manifest, std::uint64_t headerEnd) {
    struct Place {
        Payload payload;
        Region region;
    };

    std::vector<Place> places;
    for (std::size_t i = 0; i < manifest.blocks.size(); ++i) {
        const Payload& payload = manifest.blocks[i].payload;
        places.push_back({payload, {Region::Kind::Block, i, payload.end()}});
    }
    for (std::size_t i = 0; i < manifest.scripts.size(); ++i) {
        const Payload& payload = manifest.scripts[i].payload;
        places.push_back({payload, {Region::Kind::Script, i, payload.end()}});
    }
    std::sort(places.begin(), places.end(), [](const Place& a, const Place& b) {
        return a.payload.offset != b.payload.offset ? a.payload.offset < b.payload.offset
                                                    : a.payload.stored < b.payload.stored;
    });
    std::vector<Region> regions;
    std::uint64_t end = headerEnd;
    for (const Place& place : places) {
        // An empty payload at the very end takes no bytes, so nothing needs to be aligned for it.
        if (place.payload.stored > 0 && place.payload.offset > end) {
            regions.push_back({Region::Kind::Padding, 0, place.payload.offset});
        }
        Region region = place.region;
        region.end = place.payload.stored > 0 ? place.payload.end() : end;
        regions.push_back(region);
        end = std::max(end, region.end);
    }
    return regions;
}

} // namespace

DecodedBlock::DecodedBlock(std::size_t size) : _size(size) {
    if (size == 0) {
        return;
    }
    void* memory =
        mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (memory == MAP_FAILED) {
        throw FirmwareError(OpenResult::Failed,
                            "no memory for a decoded block of " + std::to_string(size) + " bytes");
    }
    _data = static_cast<std::byte*>(memory);
}

DecodedBlock::~DecodedBlock() {
    if (_data != nullptr) {
        munmap(_data, _size);
    }
}

struct PackageVerifier::State {
    enum class Phase { Header, Manifest, Regions };

    explicit State(const PackagePolicy& packagePolicy) : policy(packagePolicy) {}

    void feed(std::span<const std::byte> bytes);
    void finish();

    const PackagePolicy& policy;
    Phase phase = Phase::Header;
    std::vector<std::byte> head; // header, manifest and signature, until they are complete
    std::uint64_t position = 0;
    std::uint64_t headerEnd = format::headerSize;
    std::uint32_t manifestSize = 0;
    std::optional<Manifest> manifest;
    std::string signer;
    bool isSigned = false;
    std::uint64_t packageSize = 0;
    std::vector<Region> regions;
    std::size_t region = 0;
    Sha256 hash;
    Sha256 storedHash; // of a compressed block's bytes in the file
    std::unique_ptr<ZstdStream> decoder;
    std::uint64_t decodedSize = 0;
    std::vector<std::byte> dropped; // room for decoded bytes that are not kept
    std::map<std::size_t, std::unique_ptr<DecodedBlock>> decoded;

private:
    void readHeader();
    void readManifest();
    void checkSignature();
    void checkAudience() const;
    void checkMemory() const;
    void enterRegion();
    void feedRegion(std::span<const std::byte> bytes);
    std::span<std::byte> roomForDecoded();
    void feedCompressed(std::span<const std::byte> bytes);
    FirmwareError tooMuchDecoded() const;
    void leaveCompressed();
    void leaveFinishedRegions();
    void leaveRegion();
    void compare(const Digest& digest, const Digest& wanted, const char* what) const;
    std::string regionName() const;
};

void PackageVerifier::State::feed(std::span<const std::byte> bytes) {
    while (!bytes.empty()) {
        if (phase == Phase::Regions) {
            if (region == regions.size()) {
                throw damaged("the package goes on behind its end at " + std::to_string(packageSize) +
                              " bytes");
            }
            const auto count = static_cast<std::size_t>(
                std::min<std::uint64_t>(regions[region].end - position, bytes.size()));
            feedRegion(bytes.first(count));
            position += count;
            bytes = bytes.subspan(count);
            leaveFinishedRegions();
            continue;
        }
        const auto count =
            static_cast<std::size_t>(std::min<std::uint64_t>(headerEnd - position, bytes.size()));
        head.insert(head.end(), bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(count));
        position += count;
        bytes = bytes.subspan(count);
        if (position == headerEnd) {
            phase == Phase::Header ? readHeader() : readManifest();
        } else if (phase == Phase::Header && std::memcmp(head.data(), format::magic.data(),
                                                         std::min(head.size(), format::magic.size())) != 0) {
            throw notAPackage("the file does not begin as a firmware package");
        }
    }
}

void PackageVerifier::State::readHeader() {
    if (std::memcmp(head.data(), format::magic.data(), format::magic.size()) != 0) {
        throw notAPackage("the file does not begin as a firmware package");
    }
    const std::uint32_t version = little32(head, 8);
    if (version != format::version) {
        throw notAPackage("package format " + std::to_string(version) + " is not known here (only 1 is)");
    }
    manifestSize = little32(head, 12);
    if (manifestSize == 0 || manifestSize > format::maxManifestSize) {
        throw notAPackage("a manifest of " + std::to_string(manifestSize) +
                          " bytes (1 to 1048576 are allowed)");
    }
    const std::uint32_t signatureSize = little32(head, 16);
    if (signatureSize != 0 && signatureSize != std::tuple_size_v<Signature>) {
        throw notAPackage("a signature of " + std::to_string(signatureSize) + " bytes (0 or 64 are allowed)");
    }
    if (std::any_of(head.begin() + 20, head.end(), [](std::byte b) { return b != std::byte{0}; })) {
        throw notAPackage("header bytes 20 to 31 are not zero");
    }
    headerEnd = format::headerSize + manifestSize + signatureSize;
    phase = Phase::Manifest;
}

void PackageVerifier::State::readManifest() {
    checkSignature();
    const auto* text = reinterpret_cast<const char*>(head.data()) + format::headerSize;
    try {
        manifest = parseManifest({text, manifestSize}, headerEnd);
    } catch (const ManifestError& error) {
        throw notAPackage(std::string("bad manifest: ") + error.what());
    }
    const bool trusted = !signer.empty() || (isSigned && policy.ignoreSignatures);
    if (!trusted && !manifest->scripts.empty()) {
        throw FirmwareError(OpenResult::BadSignature, "the package holds scripts, but is not signed" +
                                                          std::string(isSigned ? " by an accepted key" : ""));
    }
    checkAudience();
    checkMemory();
    packageSize = manifest->packageSize(headerEnd);
    regions = regionsOf(*manifest, headerEnd);
    head.clear();
    head.shrink_to_fit();
    phase = Phase::Regions;
    enterRegion();
    leaveFinishedRegions();
}

void PackageVerifier::State::checkSignature() {
    const std::size_t signedSize = format::headerSize + manifestSize;
    isSigned = head.size() > signedSize;
    if (!isSigned) {
        if (!policy.allowUnsigned) {
            throw FirmwareError(OpenResult::BadSignature,
                                "the package is not signed, and only signed ones are accepted");
        }
        return;
    }
    if (policy.ignoreSignatures) {
        return;
    }
    Signature signature;
    std::memcpy(signature.data(), head.data() + signedSize, signature.size());
    const std::span<const std::byte> message(head.data(), signedSize);
    const auto key = std::find_if(policy.keys.begin(), policy.keys.end(), [&](const PublicKey& candidate) {
        return candidate.verifies(message, signature);
    });
    if (key != policy.keys.end()) {
        signer = key->id();
    } else if (!policy.allowUnsigned || !policy.keys.empty()) {
        throw FirmwareError(OpenResult::BadSignature,
                            "the signature is not by any of the " + std::to_string(policy.keys.size()) +
                                " accepted keys, or header or manifest were changed");
    }
}

void PackageVerifier::State::checkAudience() const {
    const auto& devices = manifest->devices;
    if (!policy.deviceId.empty() &&
        std::find(devices.begin(), devices.end(), policy.deviceId) == devices.end()) {
        std::string list;
        for (const std::string& device : devices) {
            list += (list.empty() ? "" : ", ") + device;
        }
        throw FirmwareError(OpenResult::WrongDevice, "the package is for " + list.substr(0, 300) +
                                                         ", and this device is " + policy.deviceId);
    }
    if (policy.type && *policy.type != manifest->type) {
        throw FirmwareError(OpenResult::WrongDevice, "the package is of type " + manifest->type +
                                                         ", and type " + *policy.type + " was asked for");
    }
}

void PackageVerifier::State::checkMemory() const {
    std::uint64_t bytes = 0;
    for (const ManifestBlock& block : manifest->blocks) {
        bytes += block.compression == ManifestBlock::Compression::Zstd ? block.size : 0;
    }
    if (policy.keepDecoded && bytes > policy.maxDecodedBytes) {
        throw FirmwareError(OpenResult::Failed, "the package's compressed blocks take " +
                                                    std::to_string(bytes) +
                                                    " bytes of memory when decoded, and at most " +
                                                    std::to_string(policy.maxDecodedBytes) + " may be used");
    }
}

void PackageVerifier::State::enterRegion() {
    if (region == regions.size() || regions[region].kind != Region::Kind::Block) {
        return;
    }
    const ManifestBlock& block = manifest->blocks[regions[region].index];
    if (block.compression == ManifestBlock::Compression::Zstd) {
        decoder = std::make_unique<ZstdStream>();
        decodedSize = 0;
        if (policy.keepDecoded) {
            decoded[regions[region].index] = std::make_unique<DecodedBlock>(block.size);
        } else {
            dropped.resize(128 << 10);
        }
    }
}

void PackageVerifier::State::feedRegion(std::span<const std::byte> bytes) {
    if (regions[region].kind == Region::Kind::Padding) {
        const auto bad =
            std::find_if(bytes.begin(), bytes.end(), [](std::byte b) { return b != std::byte{0}; });
        if (bad != bytes.end()) {
            throw damaged("the padding byte at offset " +
                          std::to_string(position + static_cast<std::uint64_t>(bad - bytes.begin())) +
                          " is not zero");
        }
    } else if (decoder) {
        feedCompressed(bytes);
    } else {
        hash.update(bytes);
    }
}

// Where the decoder may write next: never room for more than the block's own size.
std::span<std::byte> PackageVerifier::State::roomForDecoded() {
    const std::size_t index = regions[region].index;
    const std::uint64_t left = manifest->blocks[index].size - decodedSize;
    if (policy.keepDecoded) {
        return decoded[index]->bytes().last(static_cast<std::size_t>(left));
    }
    return std::span(dropped).first(static_cast<std::size_t>(std::min<std::uint64_t>(dropped.size(), left)));
}

void PackageVerifier::State::feedCompressed(std::span<const std::byte> bytes) {
    storedHash.update(bytes);
    bool more = false;
    do {
        const std::span<std::byte> room = roomForDecoded();
        const ZstdStream::Step step = decoder->decode(bytes, room);
        if (step.failed) {
            throw damaged(regionName() + " does not decode: " + step.error);
        }
        hash.update(room.first(step.produced));
        decodedSize += step.produced;
        if (!bytes.empty() && step.consumed == 0 && step.produced == 0) {
            throw decoder->finished() ? damaged(regionName() + " has bytes behind its compressed data")
                                      : tooMuchDecoded();
        }
        bytes = bytes.subspan(step.consumed);
        more = step.produced > 0 && step.produced == room.size();
    } while (!bytes.empty() || more);
}

FirmwareError PackageVerifier::State::tooMuchDecoded() const {
    const ManifestBlock& block = manifest->blocks[regions[region].index];
    return damaged(regionName() + " decodes to more than the " + std::to_string(block.size) +
                   " bytes the manifest gives it");
}

void PackageVerifier::State::leaveCompressed() {
    const ManifestBlock& block = manifest->blocks[regions[region].index];
    std::byte extra;
    if (!decoder->finished() && decoder->decode({}, {&extra, 1}).produced > 0) {
        throw tooMuchDecoded();
    }
    if (!decoder->finished() || decodedSize != block.size) {
        throw damaged(regionName() + " decodes to " + std::to_string(decodedSize) + " bytes" +
                      (decoder->finished() ? "" : " and then breaks off") + ", and the manifest gives it " +
                      std::to_string(block.size));
    }
    decoder.reset();
    compare(storedHash.finish(), block.storedSha256, " in its compressed form");
}

// Payloads without bytes end where they begin, so several regions may end at one position.
void PackageVerifier::State::leaveFinishedRegions() {
    while (region < regions.size() && position >= regions[region].end) {
        leaveRegion();
        ++region;
        enterRegion();
    }
}

void PackageVerifier::State::leaveRegion() {
    const Region& ended = regions[region];
    if (ended.kind == Region::Kind::Padding) {
        return;
    }
    const Digest& wanted = ended.kind == Region::Kind::Block ? manifest->blocks[ended.index].sha256
                                                             : manifest->scripts[ended.index].sha256;
    if (decoder) {
        leaveCompressed();
    }
    compare(hash.finish(), wanted, "");
}

void PackageVerifier::State::compare(const Digest& digest, const Digest& wanted, const char* what) const {
    if (digest != wanted) {
        throw damaged(regionName() + what + " has the SHA-256 " + toHex(digest) + ", and the manifest says " +
                      toHex(wanted));
    }
}

std::string PackageVerifier::State::regionName() const {
    const Region& current = regions[region];
    return current.kind == Region::Kind::Block ? "block " + manifest->blocks[current.index].name
                                               : "script " + std::to_string(current.index);
}

void PackageVerifier::State::finish() {
    if (phase == Phase::Header) {
        throw notAPackage("the file has only " + std::to_string(position) + " bytes");
    }
    if (phase == Phase::Manifest) {
        throw damaged("the package breaks off at byte " + std::to_string(position) +
                      ", inside its manifest, which ends at " + std::to_string(headerEnd));
    }
    if (region != regions.size()) {
        throw damaged("the package breaks off at byte " + std::to_string(position) + " of " +
                      std::to_string(packageSize));
    }
}

PackageVerifier::PackageVerifier(PackagePolicy policy)
    : _policy(std::move(policy)), _state(std::make_unique<State>(_policy)) {}

PackageVerifier::~PackageVerifier() = default;

void PackageVerifier::feed(std::span<const std::byte> bytes) {
    _state->feed(bytes);
}

void PackageVerifier::finish() {
    _state->finish();
}

void PackageVerifier::restart() {
    _state = std::make_unique<State>(_policy);
}

std::uint64_t PackageVerifier::position() const {
    return _state->position;
}

std::optional<std::uint64_t> PackageVerifier::expectedSize() const {
    return _state->manifest ? std::optional(_state->packageSize) : std::nullopt;
}

const Manifest* PackageVerifier::manifest() const {
    return _state->manifest ? &*_state->manifest : nullptr;
}

const std::string& PackageVerifier::signer() const {
    return _state->signer;
}

bool PackageVerifier::isSigned() const {
    return _state->isSigned;
}

std::map<std::size_t, std::unique_ptr<DecodedBlock>> PackageVerifier::takeDecoded() {
    return std::move(_state->decoded);
}

} // namespace lumo
