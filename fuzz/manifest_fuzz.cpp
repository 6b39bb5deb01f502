// Manifests: any bytes are refused, or give a manifest that obeys the format and reads back as it is written.
#include <set>

#include "fuzz/Input.h"
#include "platform/linux/firmware/Manifest.h"

namespace {

constexpr std::uint64_t headerEnd = 1000;

void checkPayload(const lumo::Payload& payload) {
    require(payload.offset >= headerEnd && payload.offset % lumo::format::payloadAlignment == 0);
    require(payload.offset <= lumo::format::maxPackageSize && payload.stored <= 0xFFFFFFFF);
}

void checkManifest(const lumo::Manifest& manifest) {
    require(lumo::isVersion(manifest.version) && lumo::isSafeName(manifest.type));
    require(!manifest.blocks.empty() && manifest.blocks.size() <= lumo::format::maxBlocks);
    std::set<std::string> names;
    for (const lumo::ManifestBlock& block : manifest.blocks) {
        require(lumo::isSafeName(block.name) && names.insert(block.name).second);
        require(block.name.find('/') == std::string::npos && block.name[0] != '.');
        checkPayload(block.payload);
    }
    for (const lumo::ManifestScript& script : manifest.scripts) {
        checkPayload(script.payload);
        require(script.payload.stored <= lumo::format::maxScriptSize && script.timeout > 0);
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    try {
        const auto manifest = lumo::parseManifest(Input(data, size).rest(), headerEnd);
        checkManifest(manifest);
        const std::string written = lumo::formatManifest(manifest);
        require(lumo::formatManifest(lumo::parseManifest(written, headerEnd)) == written);
    } catch (const lumo::ManifestError& error) {
        require(std::string_view(error.what()).find('\n') == std::string_view::npos);
    }
    return 0;
}
