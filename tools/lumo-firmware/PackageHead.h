#pragma once

#include <cstdint>
#include <string>

#include "platform/linux/firmware/Manifest.h"
#include "platform/linux/firmware/Signature.h"

namespace lumo {

// The smallest multiple of the payload alignment that is not below position.
std::uint64_t alignedPayload(std::uint64_t position);

// Where the first payload goes: behind any head that a manifest of this shape (version, type, devices, names,
// number of blocks and scripts) can get, whatever offsets, sizes and compressions are filled in later. So
// payloads can be written before the manifest that describes them is complete.
std::uint64_t firstPayloadOffset(const Manifest& shape, bool isSigned);

// Header, manifest text and signature as they stand at the start of a package; key null: unsigned.
std::string formatHead(const std::string& manifestText, const PrivateKey* key);

} // namespace lumo
