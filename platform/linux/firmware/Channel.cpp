#include "platform/linux/firmware/Channel.h"

#include <stdexcept>

#include "platform/linux/device/StrictJson.h"
#include "platform/linux/device/Text.h"
#include "platform/linux/firmware/Manifest.h"
#include "platform/linux/firmware/Url.h"

namespace lumo {

namespace {

constexpr std::size_t maxChannelSize = 64 << 10;

std::string textOf(const nlohmann::json& root, const char* key) {
    const auto found = root.find(key);
    if (found == root.end() || !found->is_string()) {
        throw std::runtime_error(std::string(key) + " must be there, and a string");
    }
    return found->get<std::string>();
}

} // namespace

Channel parseChannel(std::string_view json, const std::string& url) {
    const nlohmann::json root = parseStrictJson(json);
    if (!root.is_object()) {
        throw std::runtime_error("the channel file must hold an object");
    }
    Channel channel;
    channel.version = textOf(root, "version");
    if (!isVersion(channel.version)) {
        throw std::runtime_error("version \"" + visibleText(channel.version) +
                                 "\" is not valid (1 to 64 of A-Z a-z 0-9 . + ~ : _ -)");
    }
    const std::string reference = textOf(root, "url");
    channel.url = resolveUrl(url, reference);
    if (channel.url.empty()) {
        throw std::runtime_error("url \"" + shownUrl(visibleText(reference)) +
                                 "\" does not lead to a package over http or https");
    }
    const auto size = root.find("size");
    if (size == root.end() || !size->is_number_unsigned() || *size > format::maxPackageSize) {
        throw std::runtime_error("size must be there, and a whole number of bytes up to 2^40");
    }
    channel.size = size->get<std::uint64_t>();
    channel.sha256 = textOf(root, "sha256");
    if (!digestFromHex(channel.sha256)) {
        throw std::runtime_error("sha256 must be 64 lower-case hex digits");
    }
    return channel;
}

ChannelAnswer askServer(const Config& config, const std::string& type, int timeoutSeconds) {
    using Outcome = ChannelAnswer::Outcome;
    if (!type.empty() && !isSafeName(type)) {
        return {Outcome::Failed, {}, "\"" + type + "\" is not a valid update type"};
    }
    HttpOptions options;
    options.timeoutSeconds = timeoutSeconds;
    options.headers = deviceHeaders(config.deviceId);
    const std::string url =
        config.server + "/" + config.deviceId + "/" + (type.empty() ? "default" : type) + ".json";
    const HttpDocument document = fetchDocument(url, options, maxChannelSize);
    switch (document.outcome) {
    case HttpDocument::Outcome::Received:
        break;
    case HttpDocument::Outcome::NotFound:
        return {Outcome::NoFiles, {}, document.error + ": no firmware there for this device"};
    case HttpDocument::Outcome::Unreachable:
        return {Outcome::Unreachable, {}, document.error};
    case HttpDocument::Outcome::Failed:
        return {Outcome::Failed, {}, document.error};
    }
    try {
        return {Outcome::Offered, parseChannel(document.body, document.url), ""};
    } catch (const std::exception& error) {
        return {Outcome::Failed, {}, shownUrl(document.url) + ": " + error.what()};
    }
}

} // namespace lumo
