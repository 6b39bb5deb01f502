// Channel files: any bytes are refused with a line that says why, or offer something that can be asked for.
#include <stdexcept>

#include "fuzz/Input.h"
#include "platform/linux/firmware/Channel.h"
#include "platform/linux/firmware/Manifest.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const bool fromFile = input.byte() % 2 == 1;
    const std::string url =
        fromFile ? "file:///srv/LUMO/default.json" : "https://updates.example/l/default.json";
    try {
        const lumo::Channel channel = lumo::parseChannel(input.rest(), url);
        require(lumo::isVersion(channel.version) && lumo::digestFromHex(channel.sha256));
        require(channel.size <= lumo::format::maxPackageSize);
        require(channel.url.starts_with("http://") || channel.url.starts_with("https://") ||
                (fromFile && channel.url.starts_with("file://")));
        require(
            std::all_of(channel.url.begin(), channel.url.end(), [](char c) { return c > ' ' && c < 0x7F; }));
    } catch (const std::runtime_error& error) {
        require(std::string_view(error.what()).find('\n') == std::string_view::npos);
    }
    return 0;
}
