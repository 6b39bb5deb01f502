#include "platform/linux/device/Config.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "platform/linux/device/Files.h"
#include "platform/linux/device/JsonValue.h"
#include "platform/linux/device/MacAddress.h"
#include "platform/linux/device/StrictJson.h"
#include "platform/linux/device/Text.h"

namespace lumo {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t longestFile = 1 << 20;
constexpr std::uint64_t largestFlash = std::uint64_t(1) << 40;
constexpr std::uint64_t slowestFlash = 1 << 10; // bytes a second
constexpr std::uint32_t smallestEraseSize = 512;
constexpr std::uint32_t largestEraseSize = 64 << 20;

const char* const systemFile = LUMO_SYSROOT "/etc/lumo/platform.json";
const char* const defaultStateDir = LUMO_SYSROOT "/var/lib/lumo";

// Names that go into paths, URLs and messages as they are.
std::string readName(const JsonValue& value, const std::string& name) {
    const bool allowed = std::all_of(name.begin(), name.end(), [](char c) {
        return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '.' ||
               c == '_' || c == '-';
    });
    if (!allowed || name.empty() || name.size() > 64 || name[0] == '.') {
        value.fail("must be named with 1 to 64 letters, digits, \".\", \"_\" or \"-\", the first no \".\"");
    }
    return name;
}

std::string readAbsolutePath(const JsonValue& value) {
    std::string path = value.string();
    if (!path.starts_with('/')) {
        value.fail("must be an absolute path, not \"" + path + "\"");
    }
    return path;
}

// A path that may be relative to a folder.
std::string readPath(const JsonValue& value, const std::string& folder) {
    const std::string path = value.string();
    if (path.empty()) {
        value.fail("must not be empty");
    }
    return path[0] == '/' ? path : (fs::path(folder) / path).lexically_normal().string();
}

std::string readServer(const JsonValue& value) {
    std::string url = value.string();
    const bool visible = std::all_of(url.begin(), url.end(), [](char c) { return c > ' ' && c < 0x7F; });
    if (!visible || url.find_first_of("?#\\\"<>") != std::string::npos) {
        value.fail("must be a URL of visible ASCII characters without query or fragment, not \"" + url +
                   "\"");
    }
    while (url.ends_with('/')) {
        url.pop_back();
    }
    for (const std::string_view scheme : {"http://", "https://"}) {
        if (url.starts_with(scheme) && url.size() > scheme.size() && url[scheme.size()] != '/') {
            return url;
        }
    }
    // "file:///" has lost all its slashes, and gets two of them back.
    if (url == "file:" || url.starts_with("file:///")) {
        return url == "file:" ? "file://" : url;
    }
    value.fail("must begin with http://, https:// or file:/// and name a place, not \"" + value.string() +
               "\"");
}

void readDevice(const JsonValue& device, const std::string& folder, Config& config) {
    device.expectKeys({"id", "mac", "stateDir"});
    const JsonValue id = device.at("id");
    config.deviceId = readName(id, id.string());
    if (const auto mac = device.find("mac"); mac && mac->string() != "auto") {
        config.mac = parseMacAddress(mac->string());
        if (!config.mac) {
            mac->fail("must be \"auto\" or an address like \"00:1A:2B:3C:4D:5E\", not \"" + mac->string() +
                      "\"");
        }
    }
    const auto stateDir = device.find("stateDir");
    config.stateDir = stateDir ? readPath(*stateDir, folder) : defaultStateDir;
}

void readUpdates(const JsonValue& updates, const std::string& folder, Config& config) {
    updates.expectKeys({"server", "keys", "allowUnsigned"});
    config.server = readServer(updates.at("server"));
    if (const auto keys = updates.find("keys")) {
        for (const JsonValue& key : keys->elements()) {
            config.keys.push_back(readPath(key, folder));
        }
    }
    if (const auto allow = updates.find("allowUnsigned")) {
        config.allowUnsigned = allow->boolean();
    }
    if (config.keys.empty() && !config.allowUnsigned) {
        throw JsonError("updates.keys must name at least one key while updates.allowUnsigned is not true");
    }
}

FlashTarget readFlashTarget(const JsonValue& entry, const std::string& stateDir) {
    FlashTarget target;
    const auto device = entry.find("device");
    const auto file = entry.find("file");
    if (device.has_value() == file.has_value()) {
        entry.fail("must have either \"device\" or \"file\"");
    }
    if (device) {
        entry.expectKeys({"device"});
        target.kind = FlashTarget::Kind::Device;
        target.path = readAbsolutePath(*device);
        return target;
    }
    entry.expectKeys({"file", "size", "eraseSize", "speed"});
    target.path = readPath(*file, stateDir);
    target.size = entry.at("size").integer(1, largestFlash);
    target.eraseSize = defaultEraseSize;
    if (const auto eraseSize = entry.find("eraseSize")) {
        target.eraseSize =
            static_cast<std::uint32_t>(eraseSize->integer(smallestEraseSize, largestEraseSize));
        if ((target.eraseSize & (target.eraseSize - 1)) != 0) {
            eraseSize->fail("must be a power of two, not " + std::to_string(target.eraseSize));
        }
    }
    if (const auto speed = entry.find("speed")) {
        target.speed = speed->integer(slowestFlash, largestFlash);
    }
    return target;
}

DisplayConfig readDisplay(const JsonValue& display, const std::string& stateDir) {
    display.expectKeys({"backend", "width", "height", "frames"});
    DisplayConfig result;
    if (const auto backend = display.find("backend")) {
        result.backend = backend->string();
        const auto known = {"headless", "window", "kms", "none"};
        if (std::find(known.begin(), known.end(), result.backend) == known.end()) {
            backend->fail("must be \"headless\", \"window\", \"kms\" or \"none\", not \"" + result.backend +
                          "\"");
        }
    }
    if (const auto width = display.find("width")) {
        result.width = static_cast<int>(width->integer(1, 8192));
    }
    if (const auto height = display.find("height")) {
        result.height = static_cast<int>(height->integer(1, 8192));
    }
    if (const auto frames = display.find("frames"); frames && !frames->string().empty()) {
        result.frames = readPath(*frames, stateDir);
    }
    return result;
}

std::map<int, std::string> readLeds(const JsonValue& leds) {
    std::map<int, std::string> result;
    for (const auto& [number, folder] : leds.members()) {
        // Written in one way only, so that no LED can be there twice.
        const bool digits = !number.empty() && number.size() <= 3 &&
                            number.find_first_not_of("0123456789") == std::string::npos &&
                            (number.size() == 1 || number[0] != '0');
        if (!digits || std::stoi(number) > 255) {
            folder.fail("must be named with an LED number from 0 to 255");
        }
        result[std::stoi(number)] = readAbsolutePath(folder);
    }
    return result;
}

LogConfig readLog(const JsonValue& log, const std::string& stateDir) {
    log.expectKeys({"level", "file"});
    LogConfig result;
    if (const auto level = log.find("level")) {
        result.level = static_cast<int>(level->integer(1, 5));
    }
    if (const auto file = log.find("file"); file && !file->string().empty()) {
        result.file = readPath(*file, stateDir);
    }
    return result;
}

Config readConfig(const JsonValue& root, const std::string& folder) {
    root.expectKeys({"device", "updates", "flash", "display", "leds", "log"});
    Config config;
    readDevice(root.at("device"), folder, config);
    readUpdates(root.at("updates"), folder, config);
    if (const auto flash = root.find("flash")) {
        for (const auto& [name, entry] : flash->members()) {
            config.flash[readName(entry, name)] = readFlashTarget(entry, config.stateDir);
        }
    }
    if (const auto display = root.find("display")) {
        config.display = readDisplay(*display, config.stateDir);
    }
    if (const auto leds = root.find("leds")) {
        config.leds = readLeds(*leds);
    }
    if (const auto log = root.find("log")) {
        config.log = readLog(*log, config.stateDir);
    }
    return config;
}

std::optional<std::string> readConfigFile(const std::string& path) {
    try {
        return readSmallFile(path, longestFile);
    } catch (const std::system_error& error) {
        throw ConfigError(visibleText(error.what()));
    }
}

const char* variable(const char* name) {
    const char* value = ::secure_getenv(name);
    return value == nullptr ? "" : value;
}

std::string simulatedStateDir() {
    // XDG base directories: a relative path there is to be ignored.
    if (const std::string state = variable("XDG_STATE_HOME"); state.starts_with('/')) {
        return state + "/lumo";
    }
    if (const std::string home = variable("HOME"); home.starts_with('/')) {
        return home + "/.local/state/lumo";
    }
    throw ConfigError(
        std::string("there is no ") + systemFile +
        ", and no place for the state of a simulated device: set HOME, XDG_STATE_HOME or LUMO_PLATFORM");
}

} // namespace

Config parseConfig(const std::string& json, const std::string& fileName) {
    std::error_code ignored;
    const fs::path file = fs::absolute(fileName, ignored);
    try {
        const auto tree = parseStrictJson(json);
        return readConfig(JsonValue(tree), file.parent_path().lexically_normal().string());
    } catch (const JsonError& error) {
        throw ConfigError(visibleText(fileName) + ": " + error.what());
    }
}

Config simulatedConfig(const std::string& stateDir) {
    Config config;
    config.simulated = true;
    config.deviceId = "LUMO-SIM";
    config.stateDir = stateDir;
    config.server = "http://127.0.0.1:8080";
    config.allowUnsigned = true;
    const auto file = [&](const char* name, std::uint64_t mebibytes) {
        return FlashTarget{FlashTarget::Kind::File, stateDir + "/flash/" + name, mebibytes << 20,
                           defaultEraseSize, 0};
    };
    config.flash["kernel"] = file("kernel.img", 32);
    config.flash["rootfs"] = file("rootfs.img", 512);
    return config;
}

Config loadConfig() {
    if (const std::string named = variable("LUMO_PLATFORM"); !named.empty()) {
        const std::optional<std::string> text = readConfigFile(named);
        if (!text) {
            throw ConfigError("cannot open " + visibleText(named) + ", named by LUMO_PLATFORM: no such file");
        }
        return parseConfig(*text, named);
    }
    if (const std::optional<std::string> text = readConfigFile(systemFile)) {
        return parseConfig(*text, systemFile);
    }

    struct stat status {};

    if (::lstat(systemFile, &status) == 0) {
        throw ConfigError(std::string("cannot open ") + systemFile + ": it is a link to nowhere");
    }
    return simulatedConfig(simulatedStateDir());
}

} // namespace lumo
