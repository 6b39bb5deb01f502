#include "platform/linux/firmware/Manifest.h"

#include <algorithm>
#include <initializer_list>
#include <limits>
#include <optional>
#include <set>

#include "platform/linux/device/JsonValue.h"

namespace lumo {

namespace {

using Json = nlohmann::json;

bool isAlphanumeric(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

bool consistsOf(std::string_view text, std::string_view others) {
    return !text.empty() && text.size() <= 64 && std::all_of(text.begin(), text.end(), [others](char c) {
        return isAlphanumeric(c) || others.find(c) != std::string_view::npos;
    });
}

std::string textOf(const JsonValue& object, const char* key) {
    return object.at(key).string();
}

std::string nameOf(const JsonValue& object, const char* key) {
    const JsonValue value = object.at(key);
    const std::string text = value.string();
    if (!isSafeName(text)) {
        value.fail("is not a valid name (1 to 64 of A-Z a-z 0-9 . _ -, no leading dot)");
    }
    return text;
}

Digest digestOf(const JsonValue& object, const char* key) {
    const JsonValue value = object.at(key);
    const std::optional<Digest> digest = digestFromHex(value.string());
    if (!digest) {
        value.fail("must be 64 lower-case hex digits");
    }
    return *digest;
}

std::vector<JsonValue> listOf(const JsonValue& object, const char* key, std::size_t smallest,
                              std::size_t largest) {
    const JsonValue value = object.at(key);
    std::vector<JsonValue> elements = value.elements();
    if (elements.size() < smallest || elements.size() > largest) {
        value.fail("must be a list of " + std::to_string(smallest) + " to " + std::to_string(largest) +
                   " entries, not " + std::to_string(elements.size()));
    }
    return elements;
}

Payload parsePayload(const JsonValue& object, std::uint64_t headerEnd, std::uint64_t largest) {
    Payload payload;
    payload.offset = object.at("offset").integer(headerEnd, format::maxPackageSize);
    if (payload.offset % format::payloadAlignment != 0) {
        object.at("offset").fail("must be a multiple of 4096, not " + std::to_string(payload.offset));
    }
    payload.stored = object.at("stored").integer(0, largest);
    return payload;
}

ManifestBlock::Compression parseCompression(const JsonValue& object) {
    const std::string text = textOf(object, "compression");
    if (text != "none" && text != "zstd") {
        object.at("compression").fail("must be \"none\" or \"zstd\"");
    }
    return text == "zstd" ? ManifestBlock::Compression::Zstd : ManifestBlock::Compression::None;
}

ManifestBlock parseBlock(const JsonValue& object, std::uint64_t headerEnd) {
    constexpr std::uint64_t max32 = std::numeric_limits<std::uint32_t>::max();
    ManifestBlock block;
    block.key = nameOf(object, "key");
    block.name = nameOf(object, "name");
    block.target = nameOf(object, "target");
    block.payload = parsePayload(object, headerEnd, max32);
    block.size = static_cast<std::uint32_t>(object.at("size").integer(0, max32));
    block.compression = parseCompression(object);
    block.sha256 = digestOf(object, "sha256");
    if (block.compression == ManifestBlock::Compression::Zstd) {
        object.expectKeys(
            {"key", "name", "target", "offset", "stored", "size", "compression", "sha256", "storedSha256"});
        block.storedSha256 = digestOf(object, "storedSha256");
        return block;
    }
    object.expectKeys({"key", "name", "target", "offset", "stored", "size", "compression", "sha256"});
    block.storedSha256 = block.sha256;
    if (block.payload.stored != block.size) {
        object.at("stored").fail("is " + std::to_string(block.payload.stored) +
                                 ", but the uncompressed block has " + std::to_string(block.size) + " bytes");
    }
    return block;
}

ManifestScript parseScript(const JsonValue& object, std::uint64_t headerEnd) {
    object.expectKeys({"when", "offset", "stored", "sha256", "timeout"});
    ManifestScript script;
    const std::string when = textOf(object, "when");
    if (when != "before" && when != "after") {
        object.at("when").fail("must be \"before\" or \"after\"");
    }
    script.when = when == "before" ? ManifestScript::When::Before : ManifestScript::When::After;
    script.payload = parsePayload(object, headerEnd, format::maxScriptSize);
    script.sha256 = digestOf(object, "sha256");
    script.timeout = static_cast<std::uint32_t>(object.at("timeout").integer(1, format::maxScriptSeconds));
    return script;
}

Manifest parseRoot(const JsonValue& root, std::uint64_t headerEnd) {
    root.expectKeys({"version", "type", "devices", "blocks", "scripts"});
    Manifest manifest;
    manifest.version = textOf(root, "version");
    if (!isVersion(manifest.version)) {
        root.at("version").fail("is not a valid version (1 to 64 of A-Z a-z 0-9 . + ~ : _ -)");
    }
    manifest.type = nameOf(root, "type");
    for (const JsonValue& device : listOf(root, "devices", 1, format::maxDevices)) {
        manifest.devices.push_back(device.string());
        if (!isSafeName(manifest.devices.back())) {
            device.fail("is not a device identifier (1 to 64 of A-Z a-z 0-9 . _ -, no leading dot)");
        }
    }
    for (const JsonValue& block : listOf(root, "blocks", 1, format::maxBlocks)) {
        manifest.blocks.push_back(parseBlock(block, headerEnd));
    }
    for (const JsonValue& script : listOf(root, "scripts", 0, format::maxScripts)) {
        manifest.scripts.push_back(parseScript(script, headerEnd));
    }
    return manifest;
}

std::vector<Payload> payloadsByOffset(const Manifest& manifest) {
    std::vector<Payload> payloads;
    for (const ManifestBlock& block : manifest.blocks) {
        payloads.push_back(block.payload);
    }
    for (const ManifestScript& script : manifest.scripts) {
        payloads.push_back(script.payload);
    }
    std::sort(payloads.begin(), payloads.end(), [](const Payload& a, const Payload& b) {
        return a.offset != b.offset ? a.offset < b.offset : a.stored < b.stored;
    });
    return payloads;
}

void refuseOverlaps(const Manifest& manifest) {
    std::uint64_t end = 0;
    for (const Payload& payload : payloadsByOffset(manifest)) {
        if (payload.offset < end) {
            throw ManifestError("the payload at offset " + std::to_string(payload.offset) +
                                " overlaps the one that ends at " + std::to_string(end));
        }
        end = payload.end();
    }
}

// Two blocks of one key, name or target would overwrite each other in the map, in the folder or in flash.
void refuseTwins(const Manifest& manifest) {
    std::set<std::string> keys;
    std::set<std::string> names;
    std::set<std::string> targets;
    for (const ManifestBlock& block : manifest.blocks) {
        if (!keys.insert(block.key).second) {
            throw ManifestError("two blocks have the key " + block.key);
        }
        if (!names.insert(block.name).second) {
            throw ManifestError("two blocks have the name " + block.name);
        }
        if (!targets.insert(block.target).second) {
            throw ManifestError("two blocks have the target " + block.target);
        }
    }
}

Json payloadJson(const Payload& payload, const Digest& digest) {
    return {{"offset", payload.offset}, {"stored", payload.stored}, {"sha256", toHex(digest)}};
}

} // namespace

bool isSafeName(std::string_view text) {
    return consistsOf(text, "._-") && text.front() != '.';
}

bool isVersion(std::string_view text) {
    return consistsOf(text, ".+~:_-");
}

std::uint64_t Manifest::packageSize(std::uint64_t headerEnd) const {
    std::uint64_t end = headerEnd;
    for (const Payload& payload : payloadsByOffset(*this)) {
        end = payload.stored > 0 ? std::max(end, payload.end()) : end;
    }
    return end;
}

Manifest parseManifest(std::string_view json, std::uint64_t headerEnd) {
    try {
        const Json root = parseStrictJson(json);
        Manifest manifest = parseRoot(JsonValue(root), headerEnd);
        refuseTwins(manifest);
        refuseOverlaps(manifest);
        std::sort(manifest.blocks.begin(), manifest.blocks.end(),
                  [](const ManifestBlock& a, const ManifestBlock& b) { return a.key < b.key; });
        return manifest;
    } catch (const JsonError& error) {
        throw ManifestError(error.what());
    }
}

std::string formatManifest(const Manifest& manifest) {
    Json blocks = Json::array();
    for (const ManifestBlock& block : manifest.blocks) {
        Json entry = payloadJson(block.payload, block.sha256);
        entry["key"] = block.key;
        entry["name"] = block.name;
        entry["target"] = block.target;
        entry["size"] = block.size;
        const bool compressed = block.compression == ManifestBlock::Compression::Zstd;
        entry["compression"] = compressed ? "zstd" : "none";
        if (compressed) {
            entry["storedSha256"] = toHex(block.storedSha256);
        }
        blocks.push_back(entry);
    }
    Json scripts = Json::array();
    for (const ManifestScript& script : manifest.scripts) {
        Json entry = payloadJson(script.payload, script.sha256);
        entry["when"] = script.when == ManifestScript::When::Before ? "before" : "after";
        entry["timeout"] = script.timeout;
        scripts.push_back(entry);
    }
    return Json{{"version", manifest.version},
                {"type", manifest.type},
                {"devices", manifest.devices},
                {"blocks", blocks},
                {"scripts", scripts}}
        .dump();
}

} // namespace lumo
