#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/STBMacAddr.h"

namespace lumo {

// The unit in which files and block devices are compared and rewritten unless something else is configured,
// in bytes.
constexpr std::uint32_t defaultEraseSize = 128 << 10;

// One destination of the flash map.
struct FlashTarget {
    enum class Kind { Device, File };
    Kind kind = Kind::File;
    std::string path;            // absolute
    std::uint64_t size = 0;      // bytes; files only
    std::uint32_t eraseSize = 0; // bytes; files only
    std::uint64_t speed = 0;     // bytes a second; files only; 0: as fast as it goes
};

// How the display is to be driven; read here, used by whoever brings it up.
struct DisplayConfig {
    std::string backend = "headless"; // headless, window, kms, none
    int width = 1280;                 // pixels
    int height = 720;
    std::string frames; // folder for a PNG of every frame; empty: none are kept
};

struct LogConfig {
    int level = 3;    // messages above it are dropped
    std::string file; // empty: standard error
};

// The configuration of this device. All paths are absolute.
struct Config {
    bool simulated = false; // no configuration was found: the built-in simulated device
    std::string deviceId;
    std::optional<STBMacAddr> mac; // empty: that of the default route's interface
    std::string stateDir;
    std::string server;            // URL without trailing slash
    std::vector<std::string> keys; // PEM files of the accepted signers
    bool allowUnsigned = false;
    std::map<std::string, FlashTarget> flash;
    DisplayConfig display;
    std::map<int, std::string> leds; // LED number to its folder under /sys/class/leds
    LogConfig log;
};

// A configuration that cannot be used. The text names the file and the key, and says what is wrong with it.
class ConfigError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Reads a configuration from JSON text. fileName names it in errors; its folder is what relative paths of
// keys and of the state directory refer to. Relative flash files, log files and frame folders lie in the
// state directory. Throws ConfigError for text that is not JSON, keys that are unknown, missing or there
// twice, wrong types and values out of range.
Config parseConfig(const std::string& json, const std::string& fileName);

// The configuration of a machine without any: device "LUMO-SIM", state and file-backed flash (targets
// "kernel" of 32 MiB and "rootfs" of 512 MiB) under stateDir, server http://127.0.0.1:8080, unsigned packages
// accepted.
Config simulatedConfig(const std::string& stateDir);

// Finds and reads this process's configuration: the file named by LUMO_PLATFORM, else /etc/lumo/platform.json
// (below LUMO_SYSROOT, as the default state directory is), else the simulated device under
// $XDG_STATE_HOME/lumo (or $HOME/.local/state/lumo). A file that is named or there but cannot be used is an
// error, never a reason to fall back to the simulated device. Throws ConfigError.
Config loadConfig();

} // namespace lumo
