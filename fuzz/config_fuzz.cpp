// Configurations: any bytes are refused with a line that says why, or give one that can be used.
#include "fuzz/Input.h"
#include "platform/linux/device/Config.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    try {
        const lumo::Config config = lumo::parseConfig(Input(data, size).rest(), "/etc/lumo/platform.json");
        require(!config.simulated && !config.deviceId.empty() && config.stateDir.starts_with('/'));
        require(config.allowUnsigned || !config.keys.empty());
        require(!config.server.empty());
        for (const std::string& key : config.keys) {
            require(key.starts_with('/'));
        }
        for (const auto& [name, target] : config.flash) {
            require(!name.empty() && name.find('/') == std::string::npos && target.path.starts_with('/'));
            require(target.kind == lumo::FlashTarget::Kind::Device ||
                    (target.size > 0 && target.eraseSize >= 512));
        }
        for (const auto& [number, folder] : config.leds) {
            require(number >= 0 && number <= 255 && folder.starts_with('/'));
        }
        require(config.log.level >= 1 && config.log.level <= 5);
        require(config.display.width > 0 && config.display.height > 0);
    } catch (const lumo::ConfigError& error) {
        require(std::string_view(error.what()).find('\n') == std::string_view::npos);
    }
    return 0;
}
