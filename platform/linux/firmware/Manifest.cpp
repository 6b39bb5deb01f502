#include "platform/linux/firmware/Manifest.h"

#include <algorithm>
#include <initializer_list>
#include <limits>
#include <optional>
#include <set>

#include "platform/linux/device/StrictJson.h"

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

// One JSON object of the manifest, whose members are taken out one by one; what is left over is an error.
class Object {
public:
    Object(const Json& json, std::string path) : _json(json), _path(std::move(path)) {
        if (!json.is_object()) {
            throw ManifestError((_path.empty() ? "the manifest" : _path) + " must be an object");
        }
    }

    std::string where(const std::string& key) const { return _path.empty() ? key : _path + "." + key; }

    const Json& get(const std::string& key) {
        _used.insert(key);
        const auto found = _json.find(key);
        if (found == _json.end()) {
            throw ManifestError(where(key) + " is missing");
        }
        return *found;
    }

    std::string text(const std::string& key) {
        const Json& value = get(key);
        if (!value.is_string()) {
            throw ManifestError(where(key) + " must be a string");
        }
        return value.get<std::string>();
    }

    std::string name(const std::string& key) {
        const std::string value = text(key);
        if (!isSafeName(value)) {
            throw ManifestError(where(key) +
                                " is not a valid name (1 to 64 of A-Z a-z 0-9 . _ -, no leading dot)");
        }
        return value;
    }

    std::uint64_t number(const std::string& key, std::uint64_t smallest, std::uint64_t largest) {
        const Json& value = get(key);
        if (!value.is_number_unsigned() || value.get<std::uint64_t>() < smallest ||
            value.get<std::uint64_t>() > largest) {
            throw ManifestError(where(key) + " must be a whole number from " + std::to_string(smallest) +
                                " to " + std::to_string(largest) + ", not " + shortened(value));
        }
        return value.get<std::uint64_t>();
    }

    Digest digest(const std::string& key) {
        const std::optional<Digest> value = digestFromHex(text(key));
        if (!value) {
            throw ManifestError(where(key) + " must be 64 lower-case hex digits");
        }
        return *value;
    }

    const Json& list(const std::string& key, std::size_t smallest, std::size_t largest) {
        const Json& value = get(key);
        if (!value.is_array() || value.size() < smallest || value.size() > largest) {
            throw ManifestError(where(key) + " must be a list of " + std::to_string(smallest) + " to " +
                                std::to_string(largest) + " entries");
        }
        return value;
    }

    void refuseOthers() const {
        for (const auto& entry : _json.items()) {
            if (!_used.contains(entry.key())) {
                throw ManifestError("unknown key " + printable(where(entry.key())));
            }
        }
    }

private:
    static std::string shortened(const Json& value) {
        return value.dump(-1, ' ', true, Json::error_handler_t::replace).substr(0, 40);
    }

    const Json& _json;
    std::string _path;
    std::set<std::string> _used;
};

Payload parsePayload(Object& object, std::uint64_t headerEnd, std::uint64_t largest) {
    Payload payload;
    payload.offset = object.number("offset", headerEnd, format::maxPackageSize);
    if (payload.offset % format::payloadAlignment != 0) {
        throw ManifestError(object.where("offset") + " must be a multiple of 4096, not " +
                            std::to_string(payload.offset));
    }
    payload.stored = object.number("stored", 0, largest);
    return payload;
}

ManifestBlock parseBlock(const Json& json, const std::string& path, std::uint64_t headerEnd) {
    constexpr std::uint64_t max32 = std::numeric_limits<std::uint32_t>::max();
    Object object(json, path);
    ManifestBlock block;
    block.key = object.name("key");
    block.name = object.name("name");
    block.target = object.name("target");
    block.payload = parsePayload(object, headerEnd, max32);
    block.size = static_cast<std::uint32_t>(object.number("size", 0, max32));
    const std::string compression = object.text("compression");
    if (compression == "zstd") {
        block.compression = ManifestBlock::Compression::Zstd;
    } else if (compression != "none") {
        throw ManifestError(object.where("compression") + " must be \"none\" or \"zstd\"");
    } else if (block.payload.stored != block.size) {
        throw ManifestError(object.where("stored") + " is " + std::to_string(block.payload.stored) +
                            ", but the uncompressed block has " + std::to_string(block.size) + " bytes");
    }
    block.sha256 = object.digest("sha256");
    block.storedSha256 =
        block.compression == ManifestBlock::Compression::None ? block.sha256 : object.digest("storedSha256");
    object.refuseOthers();
    return block;
}

ManifestScript parseScript(const Json& json, const std::string& path, std::uint64_t headerEnd) {
    Object object(json, path);
    ManifestScript script;
    const std::string when = object.text("when");
    if (when != "before" && when != "after") {
        throw ManifestError(object.where("when") + " must be \"before\" or \"after\"");
    }
    script.when = when == "before" ? ManifestScript::When::Before : ManifestScript::When::After;
    script.payload = parsePayload(object, headerEnd, format::maxScriptSize);
    script.sha256 = object.digest("sha256");
    script.timeout = static_cast<std::uint32_t>(object.number("timeout", 1, format::maxScriptSeconds));
    object.refuseOthers();
    return script;
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

std::string entryPath(const char* list, std::size_t index) {
    return std::string(list) + "[" + std::to_string(index) + "]";
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
    Json root;
    try {
        root = parseStrictJson(json);
    } catch (const JsonError& error) {
        throw ManifestError(error.what());
    }
    Object object(root, "");
    Manifest manifest;
    manifest.version = object.text("version");
    if (!isVersion(manifest.version)) {
        throw ManifestError("version is not a valid version (1 to 64 of A-Z a-z 0-9 . + ~ : _ -)");
    }
    manifest.type = object.name("type");
    for (const Json& device : object.list("devices", 1, format::maxDevices)) {
        if (!device.is_string() || !isSafeName(device.get_ref<const std::string&>())) {
            throw ManifestError("devices must hold device identifiers only");
        }
        manifest.devices.push_back(device.get<std::string>());
    }
    for (const Json& block : object.list("blocks", 1, format::maxBlocks)) {
        manifest.blocks.push_back(parseBlock(block, entryPath("blocks", manifest.blocks.size()), headerEnd));
    }
    for (const Json& script : object.list("scripts", 0, format::maxScripts)) {
        manifest.scripts.push_back(
            parseScript(script, entryPath("scripts", manifest.scripts.size()), headerEnd));
    }
    object.refuseOthers();
    refuseTwins(manifest);
    refuseOverlaps(manifest);
    std::sort(manifest.blocks.begin(), manifest.blocks.end(),
              [](const ManifestBlock& a, const ManifestBlock& b) { return a.key < b.key; });
    return manifest;
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
