#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/firmware/Sha256.h"

namespace lumo {

// Bounds of package format 1 (docs/package-format.md). Numbers in a package are compared with them before
// use.
namespace format {
inline constexpr std::string_view magic{"LUMOFW\r\n", 8};
inline constexpr std::uint32_t version = 1;
inline constexpr std::uint64_t headerSize = 32;
inline constexpr std::uint64_t maxManifestSize = 1 << 20;
inline constexpr std::uint64_t payloadAlignment = 4096;
inline constexpr std::uint64_t maxPackageSize = std::uint64_t(1) << 40;
inline constexpr std::size_t maxBlocks = 256;
inline constexpr std::size_t maxScripts = 32;
inline constexpr std::size_t maxDevices = 256;
inline constexpr std::size_t maxScriptSize = 1 << 20;
inline constexpr std::uint32_t maxScriptSeconds = 3600;
// Decoding needs at most this much memory beside the decoded bytes: 8 MiB.
inline constexpr int maxZstdWindowLog = 23;
} // namespace format

// Where bytes lie in the package.
struct Payload {
    std::uint64_t offset = 0; // from the start of the file, a multiple of 4096
    std::uint64_t stored = 0; // bytes in the file

    std::uint64_t end() const { return offset + stored; }
};

struct ManifestBlock {
    enum class Compression : std::uint32_t { None = 0, Zstd = 1 };
    std::string key;
    std::string name;
    std::string target;
    Payload payload;
    std::uint32_t size = 0; // bytes of the block itself
    Compression compression = Compression::None;
    Digest sha256{}; // of the block itself
    // Of the bytes in the file. Equal to sha256 for an uncompressed block; a zstd frame can be changed in
    // many ways and still decode to the same bytes.
    Digest storedSha256{};
};

struct ManifestScript {
    enum class When { Before, After };
    When when = When::After;
    Payload payload;
    Digest sha256{};
    std::uint32_t timeout = 0; // seconds
};

// What a package says about itself.
struct Manifest {
    std::string version;
    std::string type;
    std::vector<std::string> devices;
    std::vector<ManifestBlock> blocks; // in bytewise order of their keys
    std::vector<ManifestScript> scripts;

    // Bytes the whole package must have when its header, manifest and signature take headerEnd bytes.
    std::uint64_t packageSize(std::uint64_t headerEnd) const;
};

// A manifest that breaks the format. The text names the field and the value.
class ManifestError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Reads and checks a manifest. headerEnd: where payloads may begin. What it returns obeys every rule of the
// format: names are safe as file names, counts and sizes are within bounds, payloads are aligned, lie behind
// headerEnd and do not overlap, keys, names and targets are unique. Throws ManifestError. Pure; any thread.
Manifest parseManifest(std::string_view json, std::uint64_t headerEnd);

// The manifest as it stands in a package: the same manifest always gives the same bytes.
std::string formatManifest(const Manifest& manifest);

// Whether text may be a block name, key, target, device or type: [A-Za-z0-9._-]{1,64} without a leading dot.
bool isSafeName(std::string_view text);
// Whether text may be a version: [A-Za-z0-9.+~:_-]{1,64}.
bool isVersion(std::string_view text);

} // namespace lumo
