#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/linux/device/Config.h"
#include "platform/linux/firmware/HttpClient.h"

namespace lumo {

// What a channel file offers: docs/package-format.md. Nothing in it is to be trusted; the package's signature
// is.
struct Channel {
    std::string version;
    std::string url; // absolute
    std::uint64_t size = 0;
    std::string sha256; // of the package file
};

// Outcome of asking the server; the values are those of STBFirmwareUpdater::CheckForUpdatesResult::status
// that speak of the server.
struct ChannelAnswer {
    enum class Outcome { Offered, NoFiles = 2, Unreachable = 3, Failed = 4 };
    Outcome outcome = Outcome::Failed;
    Channel channel;
    std::string error; // one line that says why there is no offer
};

// Reads a channel file that came from url. Throws std::runtime_error that names the field. Pure.
Channel parseChannel(std::string_view json, const std::string& url);

// Asks the configured server for the channel of this device and type ("" for the default one). Never throws.
ChannelAnswer askServer(const Config& config, const std::string& type, int timeoutSeconds);

} // namespace lumo
