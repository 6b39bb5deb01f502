#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/linux/firmware/Sha256.h"

namespace lumo {

// What a server offers to the devices of one folder for one type: <server>/<device>/<type>.json
// (docs/package-format.md).
struct ChannelFile {
    std::string version;
    std::string url; // of the package, relative to the channel file or absolute
    std::uint64_t size = 0;
    Digest sha256{}; // of the package

    // Nothing when there is no such file. Throws ToolError that names the file and the field.
    static std::optional<ChannelFile> read(const std::string& path);
    // Replaces the file, at once for all who look. Throws ToolError.
    void write(const std::string& path) const;
};

} // namespace lumo
