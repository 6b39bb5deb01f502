#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/linux/firmware/Manifest.h"
#include "platform/linux/firmware/Signature.h"
#include "tools/lumo-firmware/InputFile.h"
#include "tools/lumo-firmware/PackageWriter.h"

namespace lumo {

// A package file in which everything was found as it should be.
struct CheckedPackage {
    Manifest manifest;
    std::uint64_t size = 0;
    Digest sha256{}; // of the whole file
    bool isSigned = false;
    std::string signer; // id of the key; empty when the package is unsigned or no keys were given
};

// Reads a package and checks it as a device would: structure, every hash, decompression, and that one of the
// keys signed it. Without keys any signature, or none, will do. Memory use does not grow with the package.
// Throws FirmwareError when the package is to be refused, ToolError when it cannot be read.
CheckedPackage checkPackage(const InputFile& file, const std::vector<PublicKey>& keys,
                            const WorkDone& done = {});

} // namespace lumo
