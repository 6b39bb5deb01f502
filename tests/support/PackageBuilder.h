#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/linux/firmware/Manifest.h"
#include "platform/linux/firmware/Signature.h"

namespace support {

// Makes small firmware packages in memory, good ones and, by way of editManifest(), ones with any fault.
//
//     support::PackageBuilder().version("2.0").block("kernel", bytes).key(key).build()
//
// Left unsaid, the version is "1.0", the type "default", the device "LUMO-SIM", and the package unsigned.
class PackageBuilder {
public:
    using Compression = lumo::ManifestBlock::Compression;
    using When = lumo::ManifestScript::When;

    PackageBuilder& version(const std::string& text);
    PackageBuilder& type(const std::string& text);
    // Adds a device; the first one takes the place of "LUMO-SIM".
    PackageBuilder& device(const std::string& id);
    // Adds a block; key and, unless one is given, target are its name.
    PackageBuilder& block(const std::string& name, const std::string& bytes, const std::string& target = "",
                          Compression compression = Compression::None);
    // Adds a block of which size and compression can be other than they are: stored goes into the file as it
    // is, content is what the manifest's size and hash are made from.
    PackageBuilder& rawBlock(const std::string& name, const std::string& stored, const std::string& content,
                             Compression compression);
    PackageBuilder& script(When when, const std::string& text, std::uint32_t timeout = 60);
    PackageBuilder& key(const lumo::PrivateKey& key);
    // Lets a function change the manifest's text before it is signed; the payloads stay where they are.
    PackageBuilder& editManifest(std::function<void(std::string&)> edit);

    // The package's bytes. Throws std::logic_error when an edited manifest runs into the first payload.
    std::string build() const;
    // The manifest as it stands in the package, unedited.
    lumo::Manifest manifest() const;

private:
    struct Layout {
        lumo::Manifest manifest;
        std::map<std::uint64_t, std::string> payloads; // by offset
    };

    struct Block {
        lumo::ManifestBlock entry;
        std::string stored;
    };

    Layout layout() const;

    lumo::Manifest _manifest; // all but blocks and offsets
    std::vector<Block> _blocks;
    std::vector<std::string> _scripts;
    std::optional<lumo::PrivateKey> _key;
    std::function<void(std::string&)> _edit;
};

// One zstd frame with these bytes; windowLog 0: what the encoder likes.
std::string zstdFrame(const std::string& bytes, int windowLog = 0);

// Bytes that do not compress, always the same ones for the same seed.
std::string noise(std::size_t size, std::uint32_t seed = 1);

} // namespace support
