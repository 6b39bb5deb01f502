#include "tools/lumo-firmware/Commands.h"

#include <algorithm>
#include <optional>

#include "platform/linux/device/Text.h"
#include "platform/linux/firmware/FirmwareError.h"
#include "tools/lumo-firmware/Description.h"
#include "tools/lumo-firmware/Keygen.h"
#include "tools/lumo-firmware/PackageCheck.h"
#include "tools/lumo-firmware/Progress.h"
#include "tools/lumo-firmware/Publisher.h"
#include "tools/lumo-firmware/Report.h"
#include "tools/lumo-firmware/ToolError.h"

namespace lumo {

namespace {

std::vector<PublicKey> loadKeys(const std::vector<std::string>& files) {
    std::vector<PublicKey> keys;
    for (const std::string& file : files) {
        keys.push_back(PublicKey::load(file));
    }
    return keys;
}

PackageDescription describe(const CreateOptions& options) {
    PackageDescription description;
    if (!options.description.empty()) {
        if (!options.blocks.empty() || !options.scripts.empty()) {
            throw UsageError("blocks and scripts come from " + options.description +
                             " or from --block and --script, not from both");
        }
        description = readDescription(options.description);
    } else if (options.blocks.empty()) {
        throw UsageError("a package needs a description or at least one --block");
    }
    for (const std::string& block : options.blocks) {
        description.blocks.push_back(parseBlockOption(block));
    }
    for (const std::string& script : options.scripts) {
        description.scripts.push_back(parseScriptOption(script));
    }
    description.version = options.version.empty() ? description.version : options.version;
    description.type = options.type.empty() ? description.type : options.type;
    description.devices = options.devices.empty() ? description.devices : options.devices;
    if (description.version.empty() || description.devices.empty()) {
        throw UsageError(std::string("the package has no ") +
                         (description.version.empty() ? "version" : "device") +
                         ": neither the description nor " +
                         (description.version.empty() ? "--version" : "--device") + " says one");
    }
    return description;
}

CheckedPackage check(const InputFile& file, const std::vector<std::string>& keys, std::ostream* terminal) {
    Progress progress(terminal, "Checking " + visibleText(file.path()), file.size());
    CheckedPackage package =
        checkPackage(file, loadKeys(keys), [&progress](std::uint64_t bytes) { progress.add(bytes); });
    progress.finish();
    return package;
}

} // namespace

void keygen(const KeygenOptions& options, const Streams& streams) {
    const std::string id = makeKeyPair(options.name, options.force);
    streams.out << "Key " << id << ": " << visibleText(options.name) << ".pem (keep it secret), "
                << visibleText(options.name) << ".pub.pem (for devices)\n";
}

void create(const CreateOptions& options, const Streams& streams) {
    if (options.key.empty() != options.isUnsigned) {
        throw UsageError("a package is signed with --key or made with --unsigned: one of both");
    }
    const PackageDescription description = describe(options);
    std::optional<PrivateKey> key;
    if (!options.isUnsigned) {
        key = PrivateKey::load(options.key);
    }
    PackageWriter writer(description, key);
    Progress progress(streams.progress, "Writing " + visibleText(options.output), writer.inputSize());
    const Manifest manifest =
        writer.write(options.output, [&progress](std::uint64_t bytes) { progress.add(bytes); });
    progress.finish();
    streams.out << visibleText(options.output) << ": version " << manifest.version << ", "
                << manifest.blocks.size() << (manifest.blocks.size() == 1 ? " block, " : " blocks, ")
                << (key ? "signed by key " + key->publicKey().id() : "not signed") << '\n';
}

void inspect(const InspectOptions& options, const Streams& streams) {
    try {
        const InputFile file(options.package);
        const CheckedPackage package = check(file, options.keys, streams.progress);
        (options.json ? printJsonReport : printReport)(streams.out, options.package, package);
    } catch (const FirmwareError& error) {
        if (options.json) {
            printJsonRefusal(streams.out, options.package, static_cast<int>(error.result()), error.what());
        }
        throw;
    }
}

void publish(const PublishOptions& options, const Streams& streams) {
    const InputFile file(options.package);
    const CheckedPackage package = check(file, options.keys, streams.progress);
    Publisher publisher(options.server);
    Progress progress(streams.progress, "Copying " + visibleText(options.package),
                      package.size * package.manifest.devices.size());
    const std::vector<std::string> channels = publisher.publish(
        file, package, options.force, [&progress](std::uint64_t bytes) { progress.add(bytes); });
    progress.finish();
    for (const std::string& channel : channels) {
        streams.out << visibleText(channel) << " offers version " << package.manifest.version << '\n';
    }
}

} // namespace lumo
