#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "platform/STBFirmwareFile.h"
#include "platform/linux/device/Config.h"
#include "platform/linux/firmware/HttpClient.h"
#include "platform/linux/firmware/Manifest.h"
#include "platform/linux/firmware/PackageFile.h"
#include "platform/linux/firmware/PackageVerifier.h"

namespace lumo {

// A package that was found good: its manifest, and its bytes where nobody else can change them.
class Package {
public:
    // url: what messages call it.
    // signature: what the log says of it. Makes every block addressable; throws FirmwareError when that is
    // impossible.
    Package(std::string url, PackageFile file, Manifest manifest, std::string signature,
            std::map<std::size_t, std::unique_ptr<DecodedBlock>> decoded);

    const std::string& url() const { return _url; }

    const Manifest& manifest() const { return _manifest; }

    const std::string& signature() const { return _signature; }

    // The blocks as users of the platform library see them, by key.
    const std::map<std::string, STBFirmwareFile::Block>& blocks() const { return _blocks; }

    // Bytes of a block, decoded; offset and length within its size. Throws FirmwareError.
    void readBlock(std::size_t index, std::uint64_t offset, std::span<std::byte> bytes) const;
    // Bytes of a script, checked against the manifest again. Throws FirmwareError.
    std::string readScript(std::size_t index) const;
    // Whether the block's bytes can still be only those that were checked. When not, they must be hashed
    // again.
    bool isUnchanged(std::size_t index) const;

    const PackageFile& file() const { return _file; }

private:
    const unsigned char* addressOf(std::size_t index);

    std::string _url;
    PackageFile _file;
    Manifest _manifest;
    std::string _signature;
    std::map<std::size_t, std::unique_ptr<DecodedBlock>> _decoded;
    std::map<std::string, STBFirmwareFile::Block> _blocks;
};

// Receives what STBFirmwareFile::EventsListener is told.
using OpenProgress = std::function<void(STBFirmwareFile::CurrentOperation operation, std::uint64_t total,
                                        std::uint64_t done, double percent)>;

// Fetches a package, checks it on the way, and logs its description. A file:// package is used where it lies
// when nobody but root and the running user can write to it; otherwise it goes through a spool file, as a
// download does. type: the type it must have; none accepts any. pause: see HttpOptions. Throws FirmwareError.
std::unique_ptr<Package> openPackage(const std::string& url, const Config& config,
                                     const std::optional<std::string>& type, int timeoutSeconds,
                                     const OpenProgress& progress,
                                     const std::function<void(int seconds)>& pause = {});

} // namespace lumo
