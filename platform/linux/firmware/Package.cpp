#include "platform/linux/firmware/Package.h"

#include <cstring>

#include "platform/linux/firmware/FirmwareError.h"

namespace lumo {

Package::Package(std::string url, PackageFile file, Manifest manifest, std::string signer,
                 std::map<std::size_t, std::unique_ptr<DecodedBlock>> decoded)
    : _url(std::move(url)),
      _file(std::move(file)),
      _manifest(std::move(manifest)),
      _signer(std::move(signer)),
      _decoded(std::move(decoded)) {}

std::map<std::string, STBFirmwareFile::Block> Package::describeBlocks() {
    static constexpr unsigned char nothing = 0;
    std::map<std::string, STBFirmwareFile::Block> blocks;
    for (std::size_t i = 0; i < _manifest.blocks.size(); ++i) {
        const ManifestBlock& block = _manifest.blocks[i];
        const auto decoded = _decoded.find(i);
        const unsigned char* data = &nothing;
        if (decoded != _decoded.end() && block.size > 0) {
            data = reinterpret_cast<const unsigned char*>(decoded->second->bytes().data());
        } else if (block.size > 0) {
            data = _file.map() + block.payload.offset;
        }
        blocks[block.key] = {block.name,
                             data,
                             block.size,
                             static_cast<std::uint32_t>(i),
                             static_cast<std::uint32_t>(block.payload.stored),
                             static_cast<std::uint32_t>(block.compression),
                             0};
    }
    return blocks;
}

void Package::readBlock(std::size_t index, std::uint64_t offset, std::span<std::byte> bytes) const {
    if (const auto decoded = _decoded.find(index); decoded != _decoded.end()) {
        const auto from = decoded->second->bytes().subspan(static_cast<std::size_t>(offset), bytes.size());
        std::memcpy(bytes.data(), from.data(), from.size());
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
