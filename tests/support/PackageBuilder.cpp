#include "tests/support/PackageBuilder.h"

#include <zstd.h>

#include <algorithm>
#include <memory>
#include <random>
#include <span>
#include <stdexcept>

#include "tools/lumo-firmware/PackageHead.h"

namespace support {

namespace {

lumo::Digest digestOf(const std::string& bytes) {
    return lumo::sha256(std::as_bytes(std::span(bytes)));
}

} // namespace

PackageBuilder& PackageBuilder::version(const std::string& text) {
    _manifest.version = text;
    return *this;
}

PackageBuilder& PackageBuilder::type(const std::string& text) {
    _manifest.type = text;
    return *this;
}

PackageBuilder& PackageBuilder::device(const std::string& id) {
    _manifest.devices.push_back(id);
    return *this;
}

PackageBuilder& PackageBuilder::block(const std::string& name, const std::string& bytes,
                                      const std::string& target, Compression compression) {
    rawBlock(name, compression == Compression::Zstd ? zstdFrame(bytes) : bytes, bytes, compression);
    _blocks.back().entry.target = target.empty() ? name : target;
    return *this;
}

PackageBuilder& PackageBuilder::rawBlock(const std::string& name, const std::string& stored,
                                         const std::string& content, Compression compression) {
    lumo::ManifestBlock entry;
    entry.key = entry.name = entry.target = name;
    entry.payload.stored = stored.size();
    entry.size = static_cast<std::uint32_t>(content.size());
    entry.compression = compression;
    entry.sha256 = digestOf(content);
    entry.storedSha256 = digestOf(stored);
    _blocks.push_back({entry, stored});
    return *this;
}

PackageBuilder& PackageBuilder::script(When when, const std::string& text, std::uint32_t timeout) {
    lumo::ManifestScript entry;
    entry.when = when;
    entry.payload.stored = text.size();
    entry.sha256 = digestOf(text);
    entry.timeout = timeout;
    _manifest.scripts.push_back(entry);
    _scripts.push_back(text);
    return *this;
}

PackageBuilder& PackageBuilder::key(const lumo::PrivateKey& key) {
    _key = key;
    return *this;
}

PackageBuilder& PackageBuilder::editManifest(std::function<void(std::string&)> edit) {
    _edit = std::move(edit);
    return *this;
}

PackageBuilder::Layout PackageBuilder::layout() const {
    Layout layout{_manifest, {}};
    lumo::Manifest& manifest = layout.manifest;
    manifest.version = manifest.version.empty() ? "1.0" : manifest.version;
    manifest.type = manifest.type.empty() ? "default" : manifest.type;
    if (manifest.devices.empty()) {
        manifest.devices.push_back("LUMO-SIM");
    }
    std::vector<Block> blocks = _blocks;
    std::stable_sort(blocks.begin(), blocks.end(),
                     [](const Block& a, const Block& b) { return a.entry.key < b.entry.key; });
    for (const Block& block : blocks) {
        manifest.blocks.push_back(block.entry);
    }
    std::uint64_t offset = lumo::firstPayloadOffset(manifest, _key.has_value());
    const auto place = [&](lumo::Payload& payload, const std::string& bytes) {
        payload.offset = offset;
        offset = lumo::alignedPayload(payload.end());
        if (!bytes.empty()) {
            layout.payloads[payload.offset] = bytes;
        }
    };
    for (std::size_t i = 0; i < blocks.size(); ++i) {
        place(manifest.blocks[i].payload, blocks[i].stored);
    }
    for (std::size_t i = 0; i < _scripts.size(); ++i) {
        place(manifest.scripts[i].payload, _scripts[i]);
    }
    return layout;
}

lumo::Manifest PackageBuilder::manifest() const {
    return layout().manifest;
}

std::string PackageBuilder::build() const {
    const Layout made = layout();
    std::string text = lumo::formatManifest(made.manifest);
    if (_edit) {
        _edit(text);
    }
    std::string bytes = lumo::formatHead(text, _key ? &*_key : nullptr);
    for (const auto& [offset, payload] : made.payloads) {
        if (bytes.size() > offset) {
            throw std::logic_error("the edited manifest runs into the first payload");
        }
        bytes.resize(static_cast<std::size_t>(offset), '\0');
        bytes += payload;
    }
    return bytes;
}

std::string zstdFrame(const std::string& bytes, int windowLog) {
    const std::unique_ptr<ZSTD_CCtx, std::size_t (*)(ZSTD_CCtx*)> context(ZSTD_createCCtx(), &ZSTD_freeCCtx);
    ZSTD_CCtx_setParameter(context.get(), ZSTD_c_windowLog, windowLog);
    std::string frame(ZSTD_compressBound(bytes.size()), '\0');
    // As a stream of unknown length, so that the frame's header states the window that was asked for.
    ZSTD_inBuffer in{bytes.data(), bytes.size(), 0};
    ZSTD_outBuffer out{frame.data(), frame.size(), 0};
    ZSTD_compressStream2(context.get(), &out, &in, ZSTD_e_continue);
    if (ZSTD_compressStream2(context.get(), &out, &in, ZSTD_e_end) != 0) {
        throw std::logic_error("zstd cannot make the frame");
    }
    frame.resize(out.pos);
    return frame;
}

std::string noise(std::size_t size, std::uint32_t seed) {
    std::mt19937 random(seed);
    std::string bytes(size, '\0');
    for (char& byte : bytes) {
        byte = static_cast<char>(random() >> 24);
    }
    return bytes;
}

} // namespace support
