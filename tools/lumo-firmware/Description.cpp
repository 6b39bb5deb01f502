#include "tools/lumo-firmware/Description.h"

#include <charconv>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <optional>
#include <system_error>

#include "platform/linux/device/Files.h"
#include "platform/linux/device/JsonValue.h"
#include "tools/lumo-firmware/ToolError.h"
#include "tools/lumo-firmware/ZstdEncoder.h"

namespace lumo {

namespace {

using Compression = PackageDescription::Compression;
using When = ManifestScript::When;

constexpr std::size_t maxDescriptionSize = 1 << 20;

std::optional<Compression> compressionNamed(const std::string& text) {
    if (text == "none") {
        return Compression::None;
    }
    return text == "zstd" ? std::optional(Compression::Zstd) : std::nullopt;
}

std::optional<When> whenNamed(const std::string& text) {
    if (text == "before") {
        return When::Before;
    }
    return text == "after" ? std::optional(When::After) : std::nullopt;
}

template <typename Number>
std::optional<Number> wholeNumber(const std::string& text) {
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

std::string besides(const std::string& description, const std::string& file) {
    return (std::filesystem::path(parentDirectory(description)) / file).string();
}

PackageDescription::Block readBlock(const JsonValue& json, const std::string& path) {
    json.expectKeys({"key", "name", "target", "file", "compression", "level"});
    PackageDescription::Block block;
    block.name = json.at("name").string();
    block.target = json.at("target").string();
    block.file = besides(path, json.at("file").string());
    const auto key = json.find("key");
    block.key = key ? key->string() : block.name;
    if (const auto named = json.find("compression")) {
        const auto compression = compressionNamed(named->string());
        if (!compression) {
            named->fail("must be \"none\" or \"zstd\", not \"" + named->string() + "\"");
        }
        block.compression = *compression;
    }
    if (const auto level = json.find("level")) {
        if (block.compression != Compression::Zstd) {
            level->fail("is for zstd only");
        }
        block.level = static_cast<int>(level->integer(ZstdEncoder::minLevel, ZstdEncoder::maxLevel));
    }
    return block;
}

PackageDescription::Script readScript(const JsonValue& json, const std::string& path) {
    json.expectKeys({"when", "file", "timeout"});
    PackageDescription::Script script;
    const JsonValue named = json.at("when");
    const auto when = whenNamed(named.string());
    if (!when) {
        named.fail("must be \"before\" or \"after\", not \"" + named.string() + "\"");
    }
    script.when = *when;
    script.file = besides(path, json.at("file").string());
    if (const auto timeout = json.find("timeout")) {
        script.timeout = static_cast<std::uint32_t>(timeout->integer(1, format::maxScriptSeconds));
    }
    return script;
}

PackageDescription fromJson(const JsonValue& json, const std::string& path) {
    json.expectKeys({"version", "type", "devices", "blocks", "scripts"});
    PackageDescription description;
    if (const auto version = json.find("version")) {
        description.version = version->string();
    }
    if (const auto type = json.find("type")) {
        description.type = type->string();
    }
    if (const auto devices = json.find("devices")) {
        for (const JsonValue& device : devices->elements()) {
            description.devices.push_back(device.string());
        }
    }
    for (const JsonValue& block : json.at("blocks").elements()) {
        description.blocks.push_back(readBlock(block, path));
    }
    if (const auto scripts = json.find("scripts")) {
        for (const JsonValue& script : scripts->elements()) {
            description.scripts.push_back(readScript(script, path));
        }
    }
    return description;
}

} // namespace

PackageDescription readDescription(const std::string& path) {
    try {
        const std::optional<std::string> text = readSmallFile(path, maxDescriptionSize);
        if (!text) {
            throw ToolError("cannot open " + path + ": there is no such file");
        }
        const nlohmann::json json = parseStrictJson(*text);
        return fromJson(JsonValue(json), path);
    } catch (const std::system_error& error) {
        throw ToolError(error.what());
    } catch (const JsonError& error) {
        throw ToolError(path + ": " + error.what());
    }
}

PackageDescription::Block parseBlockOption(const std::string& text) {
    const auto fail = [&text](const std::string& problem) {
        throw UsageError("block \"" + text + "\": " + problem);
    };
    const auto equals = text.find('=');
    const auto at = text.rfind('@');
    if (equals == std::string::npos || at == std::string::npos || at < equals) {
        fail("must be name=file@target, with :none, :zstd or :zstd:LEVEL behind it if wanted");
    }
    PackageDescription::Block block;
    block.name = text.substr(0, equals);
    block.file = text.substr(equals + 1, at - equals - 1);
    const std::string rest = text.substr(at + 1);
    const auto colon = rest.find(':');
    block.target = rest.substr(0, colon);
    if (block.name.empty() || block.file.empty() || block.target.empty()) {
        fail(std::string("the ") +
             (block.name.empty()   ? "name"
              : block.file.empty() ? "file"
                                   : "target") +
             " is empty");
    }
    if (colon == std::string::npos) {
        return block;
    }
    const std::string how = rest.substr(colon + 1);
    const auto levelColon = how.find(':');
    const auto compression = compressionNamed(how.substr(0, levelColon));
    if (!compression) {
        fail("the compression must be none, zstd or zstd:LEVEL, not \"" + how + "\"");
    }
    block.compression = *compression;
    if (levelColon != std::string::npos) {
        const auto level = wholeNumber<int>(how.substr(levelColon + 1));
        if (!level || block.compression != Compression::Zstd) {
            fail("\"" + how + "\" is no compression (zstd alone takes a level)");
        }
        block.level = *level;
    }
    return block;
}

PackageDescription::Script parseScriptOption(const std::string& text) {
    const auto fail = [&text](const std::string& problem) {
        throw UsageError("script \"" + text + "\": " + problem);
    };
    const auto equals = text.find('=');
    const auto when = whenNamed(text.substr(0, equals));
    if (equals == std::string::npos || !when) {
        fail("must be before=file or after=file, with :SECONDS behind it if wanted");
    }
    PackageDescription::Script script;
    script.when = *when;
    script.file = text.substr(equals + 1);
    const auto colon = script.file.rfind(':');
    if (colon != std::string::npos) {
        const auto timeout = wholeNumber<std::uint32_t>(script.file.substr(colon + 1));
        if (!timeout) {
            fail("\"" + script.file.substr(colon + 1) + "\" is no number of seconds");
        }
        script.timeout = *timeout;
        script.file.erase(colon);
    }
    if (script.file.empty()) {
        fail("the file is empty");
    }
    return script;
}

} // namespace lumo
