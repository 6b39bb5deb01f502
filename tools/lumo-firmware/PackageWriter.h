#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/linux/firmware/Manifest.h"
#include "platform/linux/firmware/Signature.h"
#include "tools/lumo-firmware/InputFile.h"

namespace lumo {

// What goes into a package, by the files it is made from.
struct PackageDescription {
    using Compression = ManifestBlock::Compression;

    struct Block {
        std::string key; // empty: as the name
        std::string name;
        std::string target;
        std::string file;
        Compression compression = Compression::None;
        int level = 10; // of zstd
    };

    struct Script {
        ManifestScript::When when = ManifestScript::When::After;
        std::string file;
        std::uint32_t timeout = 60; // seconds
    };

    std::string version;
    std::string type = "default";
    std::vector<std::string> devices;
    std::vector<Block> blocks;
    std::vector<Script> scripts;
};

// Called as work goes on, with the bytes that were done since the last call.
using WorkDone = std::function<void(std::uint64_t)>;

// Writes a package file (docs/package-format.md). Memory use does not grow with the blocks: it is a few
// megabytes, and what zstd takes for its level. The same description, files and key give the same bytes, in
// whatever order the blocks are described. One thread at a time.
class PackageWriter {
public:
    // Opens all files and checks everything that can be known before the first byte is written. No key: the
    // package will be unsigned, and cannot hold scripts. Throws ToolError.
    PackageWriter(const PackageDescription& description, std::optional<PrivateKey> key);

    // Bytes of all files together.
    std::uint64_t inputSize() const;

    // Writes the package to a file that appears complete and flushed, or not at all. A block that does not
    // get smaller is stored uncompressed. Returns the manifest. Throws ToolError. To be called once.
    Manifest write(const std::string& output, const WorkDone& done = {});

private:
    struct Source {
        InputFile file;
        int level = 0; // 0: not to be compressed
    };

    void addBlock(const PackageDescription::Block& block);
    void addScript(const PackageDescription::Script& script);
    void checkManifest();
    void sortBlocks();

    std::optional<PrivateKey> _key;
    Manifest _manifest;              // complete but for offsets, hashes and compressed sizes
    std::vector<Source> _blocks;     // in the manifest's order
    std::vector<InputFile> _scripts; // in the manifest's order
};

} // namespace lumo
