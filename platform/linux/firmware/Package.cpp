#include "platform/linux/firmware/Package.h"

#include <algorithm>

#include "platform/linux/firmware/FirmwareError.h"

namespace lumo {

Package::Package(std::string url, PackageFile file, Manifest manifest, std::string signature,
                 std::map<std::size_t, std::unique_ptr<DecodedBlock>> decoded)
    : _url(std::move(url)),
      _file(std::move(file)),
      _manifest(std::move(manifest)),
      _signature(std::move(signature)),
      _decoded(std::move(decoded)) {
    for (std::size_t i = 0; i < _manifest.blocks.size(); ++i) {
        const ManifestBlock& block = _manifest.blocks[i];
        _blocks[block.key] = {block.name,
                              addressOf(i),
                              block.size,
                              static_cast<std::uint32_t>(i),
                              static_cast<std::uint32_t>(block.payload.stored),
                              static_cast<std::uint32_t>(block.compression),
                              0};
    }
}

const unsigned char* Package::addressOf(std::size_t index) {
    static constexpr unsigned char nothing = 0;
    const ManifestBlock& block = _manifest.blocks[index];
    if (block.size == 0) {
        return &nothing;
    }
    const auto decoded = _decoded.find(index);
    return decoded != _decoded.end() ? reinterpret_cast<const unsigned char*>(decoded->second->bytes().data())
                                     : _file.map(block.payload.offset, block.size);
}

void Package::readBlock(std::size_t index, std::uint64_t offset, std::span<std::byte> bytes) const {
    if (const auto decoded = _decoded.find(index); decoded != _decoded.end()) {
        const auto from = decoded->second->bytes().subspan(static_cast<std::size_t>(offset), bytes.size());
        std::copy(from.begin(), from.end(), bytes.begin());
    } else {
        _file.read(_manifest.blocks[index].payload.offset + offset, bytes);
    }
}

std::string Package::readScript(std::size_t index) const {
    const ManifestScript& script = _manifest.scripts[index];
    std::string text(static_cast<std::size_t>(script.payload.stored), '\0');
    _file.read(script.payload.offset, std::as_writable_bytes(std::span(text)));
    if (sha256(std::as_bytes(std::span(text))) != script.sha256) {
        throw FirmwareError(OpenResult::Damaged,
                            _url + ": script " + std::to_string(index) + " changed after it was checked");
    }
    return text;
}

bool Package::isUnchanged(std::size_t index) const {
    return _decoded.contains(index) || _file.isUnchanged();
}

} // namespace lumo
