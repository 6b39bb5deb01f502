// Packages: any bytes are accepted or refused, alike in one piece and in many, and no byte of a signed
// package can change without notice.
#include <sys/stat.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <span>

#include "fuzz/Input.h"
#include "platform/linux/firmware/FirmwareError.h"
#include "platform/linux/firmware/Package.h"
#include "platform/linux/firmware/PackageVerifier.h"
#include "tests/support/PackageBuilder.h"

namespace {

using support::PackageBuilder;

const lumo::PrivateKey& key() {
    static const lumo::PrivateKey made = lumo::PrivateKey::generate();
    return made;
}

// Fed in pieces of that many bytes, and the end in larger ones, or most of the time would go by with padding;
// empty when it is refused.
std::unique_ptr<lumo::PackageVerifier> verify(const lumo::PackagePolicy& policy, std::string_view bytes,
                                              std::size_t piece) {
    auto verifier = std::make_unique<lumo::PackageVerifier>(policy);
    try {
        for (int count = 0; !bytes.empty(); ++count) {
            const std::string_view next =
                bytes.substr(0, count < 64 ? piece : std::max<std::size_t>(piece, 999));
            verifier->feed(std::as_bytes(std::span(next)));
            bytes.remove_prefix(next.size());
        }
        verifier->finish();
    } catch (const lumo::FirmwareError& error) {
        require(error.result() != lumo::OpenResult::Opened && *error.what() != '\0');
        return nullptr;
    }
    return verifier;
}

// What a device reads of an accepted package is what its manifest promises.
void readAll(lumo::PackageVerifier& verifier, const std::string& bytes) {
    auto file = lumo::PackageFile::createSpool(std::filesystem::temp_directory_path());
    file.append(std::as_bytes(std::span(bytes)));
    const lumo::Package package("fuzz", std::move(file), *verifier.manifest(), "", verifier.takeDecoded());
    const lumo::Manifest& manifest = package.manifest();
    for (std::size_t i = 0; i < manifest.blocks.size(); ++i) {
        const lumo::ManifestBlock& block = manifest.blocks[i];
        std::vector<std::byte> read(block.size);
        package.readBlock(i, 0, read);
        require(lumo::sha256(read) == block.sha256);
        const auto& shown = package.blocks().at(block.key);
        require(lumo::sha256(std::as_bytes(std::span(shown.data, shown.size))) == block.sha256);
    }
    for (std::size_t i = 0; i < manifest.scripts.size(); ++i) {
        package.readScript(i);
    }
}

bool isAccepted(lumo::PackagePolicy policy, const std::string& bytes, std::size_t piece) {
    policy.maxDecodedBytes = 1 << 20;
    const auto whole = verify(policy, bytes, bytes.size() + 1);
    const auto pieces = verify(policy, bytes, piece);
    require((whole == nullptr) == (pieces == nullptr));
    if (pieces != nullptr && policy.keepDecoded) {
        readAll(*pieces, bytes);
    }
    return pieces != nullptr;
}

void anyBytes(Input& input) {
    const unsigned flags = input.byte();
    lumo::PackagePolicy policy;
    policy.allowUnsigned = (flags & 1) != 0;
    policy.ignoreSignatures = (flags & 2) != 0;
    policy.keepDecoded = (flags & 4) != 0;
    isAccepted(policy, input.rest(), 1 + flags / 8U * 37);
}

// A package as it is made, with blocks that may be no frames at all.
void madePackage(Input& input) {
    PackageBuilder builder;
    bool honest = true;
    const unsigned count = 1 + input.byte() % 3U;
    for (unsigned i = 0; i < count; ++i) {
        const unsigned kind = input.byte();
        const std::string bytes = input.text(input.byte());
        const std::string name = "b" + std::to_string(i);
        if (kind % 4 == 0) {
            builder.rawBlock(name, bytes, input.text(input.byte()), PackageBuilder::Compression::Zstd);
            honest = false;
        } else if (kind % 4 == 1) {
            // So many of them, from so few.
            std::string many;
            for (unsigned copies = 1 + kind / 4; copies > 0; --copies) {
                many += bytes;
            }
            builder.block(name, many, "", PackageBuilder::Compression::Zstd);
        } else if (kind % 4 == 2) {
            builder.block(name, bytes);
        } else {
            builder.block(name, bytes).script(PackageBuilder::When::After, bytes + "#");
        }
    }
    std::string package = builder.key(key()).build();
    const std::size_t at = input.word() % package.size();
    const std::string change = input.text(1);
    bool changed = false;
    if (!change.empty() && change[0] != 0) {
        package[at] = static_cast<char>(package[at] ^ change[0]);
        changed = true;
    } else if (at % 4 == 1) {
        package.resize(at);
        changed = true;
    } else if (at % 4 == 2) {
        package += '\0';
        changed = true;
    }
    lumo::PackagePolicy policy;
    policy.keys.push_back(key().publicKey());
    const bool accepted = isAccepted(policy, package, 1 + input.word());
    if (changed || honest) {
        require(accepted == !changed);
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    input.byte() % 2 == 0 ? anyBytes(input) : madePackage(input);
    return 0;
}
