#include "tools/lumo-firmware/PackageWriter.h"

#include <algorithm>
#include <filesystem>
#include <limits>
#include <set>

#include "tools/lumo-firmware/OutputFile.h"
#include "tools/lumo-firmware/PackageHead.h"
#include "tools/lumo-firmware/ToolError.h"
#include "tools/lumo-firmware/ZstdEncoder.h"

namespace lumo {

namespace {

constexpr const char* nameRule = " is not a valid name (1 to 64 of A-Z a-z 0-9 . _ -, no leading dot)";

void expectName(const std::string& what, const std::string& text) {
    if (!isSafeName(text)) {
        throw ToolError(what + " \"" + text + "\"" + nameRule);
    }
}

void expectSize(const std::string& what, const InputFile& file, std::uint64_t largest) {
    if (file.size() > largest) {
        throw ToolError(what + ": " + file.path() + " has " + std::to_string(file.size()) +
                        " bytes, and at most " + std::to_string(largest) + " are allowed");
    }
}

// A mistyped name must not cost somebody a key or an image.
void expectReplaceable(const std::string& output) {
    std::error_code absent;
    if (!std::filesystem::is_regular_file(output, absent)) {
        return;
    }
    std::string start;
    InputFile(output).read([&start](std::span<const std::byte> piece) {
        const auto* text = reinterpret_cast<const char*>(piece.data());
        start.assign(text, std::min(piece.size(), format::magic.size()));
        return false;
    });
    if (!start.empty() && start != format::magic) {
        throw ToolError("cannot replace " + output + ": it is there already, and is not a firmware package");
    }
}

// Puts payloads one behind the other.
class PayloadWriter {
public:
    PayloadWriter(OutputFile& output, std::uint64_t offset, const WorkDone& done)
        : _output(output), _offset(offset), _done(done) {}

    // Stores a file as it is; returns the hash of its bytes.
    Digest store(const InputFile& file, Payload& payload) {
        begin(payload);
        Sha256 hash;
        file.read([&](std::span<const std::byte> piece) {
            hash.update(piece);
            append(payload, piece);
            report(payload.stored);
            return true;
        });
        end(payload);
        return hash.finish();
    }

    // Stores a file compressed, with both hashes of the block; false when that would not make it smaller.
    // Then the payload is still to be stored, in the same place.
    bool compress(const InputFile& file, int level, ManifestBlock& block) {
        begin(block.payload);
        Sha256 hash;
        Sha256 storedHash;
        ZstdEncoder encoder(level, file.size());
        std::uint64_t position = 0;
        bool smaller = true;
        const auto sink = [&](std::span<const std::byte> frame) {
            smaller = smaller && frame.size() < file.size() - block.payload.stored;
            if (smaller) {
                storedHash.update(frame);
                append(block.payload, frame);
            }
        };
        file.read([&](std::span<const std::byte> piece) {
            hash.update(piece);
            encoder.encode(piece, sink);
            position += piece.size();
            report(position);
            return smaller;
        });
        if (smaller) {
            encoder.finish(sink);
        }
        if (smaller) {
            end(block.payload);
            block.sha256 = hash.finish();
            block.storedSha256 = storedHash.finish();
        }
        return smaller;
    }

private:
    void begin(Payload& payload) const { payload = {_offset, 0}; }

    void append(Payload& payload, std::span<const std::byte> bytes) {
        _output.write(payload.end(), bytes);
        payload.stored += bytes.size();
    }

    void end(const Payload& payload) {
        _offset = alignedPayload(payload.end());
        _reported = 0;
    }

    // Work counts once, also when a file is read a second time.
    void report(std::uint64_t position) {
        if (position > _reported) {
            if (_done) {
                _done(position - _reported);
            }
            _reported = position;
        }
    }

    OutputFile& _output;
    std::uint64_t _offset;
    const WorkDone& _done;
    std::uint64_t _reported = 0; // bytes of the file at hand
};

} // namespace

PackageWriter::PackageWriter(const PackageDescription& description, std::optional<PrivateKey> key)
    : _key(std::move(key)) {
    if (!isVersion(description.version)) {
        throw ToolError("version \"" + description.version +
                        "\" is not a valid version (1 to 64 of A-Z a-z 0-9 . + ~ : _ -)");
    }
    expectName("type", description.type);
    std::set<std::string> devices;
    for (const std::string& device : description.devices) {
        expectName("device", device);
        if (!devices.insert(device).second) {
            throw ToolError("the device " + device + " is named twice");
        }
    }
    if (!_key && !description.scripts.empty()) {
        throw ToolError("a package with scripts must be signed: no device runs unsigned ones");
    }
    _manifest.version = description.version;
    _manifest.type = description.type;
    _manifest.devices = description.devices;
    for (const PackageDescription::Block& block : description.blocks) {
        addBlock(block);
    }
    for (const PackageDescription::Script& script : description.scripts) {
        addScript(script);
    }
    checkManifest();
    sortBlocks();
}

void PackageWriter::addBlock(const PackageDescription::Block& block) {
    ManifestBlock entry;
    entry.name = block.name;
    entry.key = block.key.empty() ? block.name : block.key;
    entry.target = block.target;
    expectName("block name", entry.name);
    const std::string what = "block " + block.name;
    expectName(what + ": key", entry.key);
    expectName(what + ": target", entry.target);
    if (block.level < ZstdEncoder::minLevel || block.level > ZstdEncoder::maxLevel) {
        throw ToolError(what + ": there is no compression level " + std::to_string(block.level) + " (" +
                        std::to_string(ZstdEncoder::minLevel) + " to " +
                        std::to_string(ZstdEncoder::maxLevel) + ")");
    }
    const bool compressed = block.compression == PackageDescription::Compression::Zstd;
    _blocks.push_back({InputFile(block.file), compressed ? block.level : 0});
    const InputFile& file = _blocks.back().file;
    expectSize(what, file, std::numeric_limits<std::uint32_t>::max());
    entry.size = static_cast<std::uint32_t>(file.size());
    _manifest.blocks.push_back(entry);
}

void PackageWriter::addScript(const PackageDescription::Script& script) {
    if (script.timeout < 1 || script.timeout > format::maxScriptSeconds) {
        throw ToolError("script " + script.file + ": a timeout of " + std::to_string(script.timeout) +
                        " seconds (1 to " + std::to_string(format::maxScriptSeconds) + " are allowed)");
    }
    const InputFile& file = _scripts.emplace_back(script.file);
    expectSize("script", file, format::maxScriptSize);
    ManifestScript entry;
    entry.when = script.when;
    entry.timeout = script.timeout;
    _manifest.scripts.push_back(entry);
}

// The reader's own rules, tried on the package as it would be if nothing were compressed: counts, twins,
// length.
void PackageWriter::checkManifest() {
    Manifest plain = _manifest;
    std::uint64_t offset = firstPayloadOffset(plain, _key.has_value());
    const auto place = [&offset](Payload& payload, std::uint64_t size) {
        payload = {offset, size};
        offset = alignedPayload(payload.end());
    };
    for (ManifestBlock& block : plain.blocks) {
        place(block.payload, block.size);
    }
    for (std::size_t i = 0; i < _scripts.size(); ++i) {
        place(plain.scripts[i].payload, _scripts[i].size());
    }
    try {
        parseManifest(formatManifest(plain), format::headerSize);
    } catch (const ManifestError& error) {
        throw ToolError(error.what());
    }
}

void PackageWriter::sortBlocks() {
    std::vector<std::size_t> order(_blocks.size());
    for (std::size_t i = 0; i < order.size(); ++i) {
        order[i] = i;
    }
    std::sort(order.begin(), order.end(), [this](std::size_t a, std::size_t b) {
        return _manifest.blocks[a].key < _manifest.blocks[b].key;
    });
    std::vector<ManifestBlock> entries;
    std::vector<Source> sources;
    for (const std::size_t i : order) {
        entries.push_back(std::move(_manifest.blocks[i]));
        sources.push_back(std::move(_blocks[i]));
    }
    _manifest.blocks = std::move(entries);
    _blocks = std::move(sources);
}

std::uint64_t PackageWriter::inputSize() const {
    std::uint64_t size = 0;
    for (const Source& block : _blocks) {
        size += block.file.size();
    }
    for (const InputFile& script : _scripts) {
        size += script.size();
    }
    return size;
}

Manifest PackageWriter::write(const std::string& output, const WorkDone& done) {
    expectReplaceable(output);
    OutputFile file(output);
    PayloadWriter payloads(file, firstPayloadOffset(_manifest, _key.has_value()), done);
    for (std::size_t i = 0; i < _blocks.size(); ++i) {
        const Source& source = _blocks[i];
        ManifestBlock& block = _manifest.blocks[i];
        if (source.level != 0 && payloads.compress(source.file, source.level, block)) {
            block.compression = ManifestBlock::Compression::Zstd;
        } else {
            block.sha256 = block.storedSha256 = payloads.store(source.file, block.payload);
        }
    }
    for (std::size_t i = 0; i < _scripts.size(); ++i) {
        _manifest.scripts[i].sha256 = payloads.store(_scripts[i], _manifest.scripts[i].payload);
    }
    file.write(0, formatHead(formatManifest(_manifest), _key ? &*_key : nullptr));
    file.commit();
    return _manifest;
}

} // namespace lumo
