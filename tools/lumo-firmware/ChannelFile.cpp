#include "tools/lumo-firmware/ChannelFile.h"

#include <nlohmann/json.hpp>
#include <system_error>

#include "platform/linux/device/Files.h"
#include "platform/linux/device/JsonValue.h"
#include "platform/linux/firmware/Manifest.h"
#include "tools/lumo-firmware/OutputFile.h"
#include "tools/lumo-firmware/ToolError.h"

namespace lumo {

namespace {

constexpr std::size_t maxChannelSize = 64 << 10;

ChannelFile fromJson(const JsonValue& json) {
    json.expectKeys({"version", "url", "size", "sha256"});
    ChannelFile channel;
    channel.version = json.at("version").string();
    if (!isVersion(channel.version)) {
        json.at("version").fail("is not a valid version (1 to 64 of A-Z a-z 0-9 . + ~ : _ -)");
    }
    channel.url = json.at("url").string();
    channel.size = json.at("size").integer(0, format::maxPackageSize);
    const std::optional<Digest> digest = digestFromHex(json.at("sha256").string());
    if (!digest) {
        json.at("sha256").fail("must be 64 lower-case hex digits");
    }
    channel.sha256 = *digest;
    return channel;
}

} // namespace

std::optional<ChannelFile> ChannelFile::read(const std::string& path) {
    try {
        const std::optional<std::string> text = readSmallFile(path, maxChannelSize);
        if (!text) {
            return std::nullopt;
        }
        const nlohmann::json json = parseStrictJson(*text);
        return fromJson(JsonValue(json));
    } catch (const std::system_error& error) {
        throw ToolError(error.what());
    } catch (const JsonError& error) {
        throw ToolError(path + ": " + error.what());
    }
}

void ChannelFile::write(const std::string& path) const {
    const nlohmann::ordered_json json = {
        {"version", version}, {"url", url}, {"size", size}, {"sha256", toHex(sha256)}};
    OutputFile file(path);
    file.write(0, json.dump(2) + "\n");
    file.commit();
}

} // namespace lumo
