#include <unistd.h>

#include <algorithm>

#include "platform/linux/device/Log.h"
#include "platform/linux/firmware/FirmwareError.h"
#include "platform/linux/firmware/Package.h"
#include "platform/linux/firmware/ReadAhead.h"
#include "platform/linux/firmware/Throttle.h"
#include "platform/linux/firmware/Url.h"

#define LUMO_LOG_FILE "platform/linux/firmware/PackageOpener"

namespace lumo {

namespace {

// Decoded blocks must leave the rest of the device enough to live on.
std::uint64_t memoryForDecodedBlocks() {
    const long pages = sysconf(_SC_PHYS_PAGES);
    const long pageSize = sysconf(_SC_PAGESIZE);
    return pages <= 0 || pageSize <= 0 ? std::uint64_t(64) << 20
                                       : std::uint64_t(pages) * std::uint64_t(pageSize) / 2;
}

PackagePolicy policyOf(const Config& config, const std::optional<std::string>& type) {
    PackagePolicy policy;
    policy.deviceId = config.deviceId;
    policy.type = type;
    policy.allowUnsigned = config.allowUnsigned;
    policy.maxDecodedBytes = memoryForDecodedBlocks();
    for (const std::string& key : config.keys) {
        try {
            policy.keys.push_back(PublicKey::load(key));
        } catch (const KeyError& error) {
            throw FirmwareError(OpenResult::Failed, error.what());
        }
    }
    return policy;
}

// Puts in front of an error what it is about.
template <typename Action>
auto naming(const std::string& subject, const Action& action) {
    try {
        return action();
    } catch (const FirmwareError& error) {
        throw FirmwareError(error.result(), subject + ": " + error.what());
    }
}

// Tells the listener how far one operation is.
class Reporter {
public:
    Reporter(const OpenProgress& progress, STBFirmwareFile::CurrentOperation operation)
        : _progress(progress), _operation(operation) {}

    void total(std::uint64_t bytes) { _total = bytes; }

    void done(std::uint64_t bytes) {
        const double share =
            _total == 0 ? 0 : static_cast<double>(std::min(bytes, _total)) / static_cast<double>(_total);
        const double percent = _throttle.step(100 * share);
        if (percent >= 0) {
            _progress(_operation, _total, bytes, percent);
        }
    }

    void finish(std::uint64_t bytes) { _progress(_operation, bytes, bytes, 100); }

private:
    const OpenProgress& _progress;
    STBFirmwareFile::CurrentOperation _operation;
    Throttle _throttle;
    std::uint64_t _total = 0;
};

// A download goes through the verifier before it is kept, so that a stranger's package ends the transfer at
// once.
class SpoolingSink : public DownloadSink {
public:
    SpoolingSink(PackageVerifier& verifier, PackageFile& spool, const OpenProgress& progress)
        : _verifier(verifier), _spool(spool), _reporter(progress, STBFirmwareFile::OPERATION_TRANSFER) {}

    void announce(std::uint64_t totalBytes) override {
        if (totalBytes > format::maxPackageSize) {
            throw FirmwareError(OpenResult::NotAPackage,
                                std::to_string(totalBytes) +
                                    " bytes announced, more than a package may have");
        }
        _spool.reserve(totalBytes);
        _reporter.total(totalBytes);
        _announced = totalBytes;
        compareLengths();
    }

    void append(std::span<const std::byte> bytes) override {
        _verifier.feed(bytes);
        _spool.append(bytes);
        compareLengths();
        _reporter.done(_spool.size());
    }

    void restart() override {
        _verifier.restart();
        _spool.clear();
        _announced.reset();
    }

    void finish() {
        _verifier.finish();
        _reporter.finish(_spool.size());
    }

private:
    // As soon as the package itself has said how long it is: the rest of one that cannot fit is not worth the
    // wait.
    void compareLengths() {
        const std::optional<std::uint64_t> expected = _verifier.expectedSize();
        if (expected && _announced && *expected != *_announced) {
            throw FirmwareError(OpenResult::Damaged, "the package has " + std::to_string(*expected) +
                                                         " bytes, and " + std::to_string(*_announced) +
                                                         " are there");
        }
        if (expected && !_announced) {
            announce(*expected);
        }
    }

    PackageVerifier& _verifier;
    PackageFile& _spool;
    Reporter _reporter;
    std::optional<std::uint64_t> _announced; // by the server, or by the package where the server says nothing
};

std::string describeSignature(const PackageVerifier& verifier) {
    if (!verifier.signer().empty()) {
        return "signed by key " + verifier.signer();
    }
    return verifier.isSigned() ? "signed, but by no known key" : "not signed";
}

void logDescription(const Package& package) {
    const Manifest& manifest = package.manifest();
    std::string devices;
    for (const std::string& device : manifest.devices) {
        devices += (devices.empty() ? "" : ", ") + device;
    }
    LUMO_LOG(LogNotice, "Package %s: version %s, type %s, for %s, %llu bytes, %s", package.url().c_str(),
             manifest.version.c_str(), manifest.type.c_str(), devices.c_str(),
             static_cast<unsigned long long>(package.file().size()), package.signature().c_str());
    for (const ManifestBlock& block : manifest.blocks) {
        const bool compressed = block.compression == ManifestBlock::Compression::Zstd;
        LUMO_LOG(LogNotice, "Block %s for %s: %u bytes (%llu in the package%s), SHA-256 %s",
                 block.name.c_str(), block.target.c_str(), block.size,
                 static_cast<unsigned long long>(block.payload.stored), compressed ? ", zstd" : "",
                 toHex(block.sha256).c_str());
    }
    for (const ManifestScript& script : manifest.scripts) {
        LUMO_LOG(LogNotice, "Script %s the installation: %llu bytes, at most %u seconds, SHA-256 %s",
                 script.when == ManifestScript::When::Before ? "before" : "after",
                 static_cast<unsigned long long>(script.payload.stored), script.timeout,
                 toHex(script.sha256).c_str());
    }
}

// Passes a local file's bytes to take, in order.
void readThrough(const PackageFile& file, const std::function<void(std::span<const std::byte>)>& take) {
    ReadAhead reader([&file](std::uint64_t offset, std::span<std::byte> bytes) { file.read(offset, bytes); },
                     0, file.size());
    for (auto bytes = reader.next(); !bytes.empty(); bytes = reader.next()) {
        take(bytes);
    }
}

void checkInPlace(const PackageFile& file, PackageVerifier& verifier, const OpenProgress& progress) {
    Reporter transfer(progress, STBFirmwareFile::OPERATION_TRANSFER);
    transfer.finish(file.size());
    Reporter check(progress, STBFirmwareFile::OPERATION_CHECK);
    check.total(file.size());
    readThrough(file, [&](std::span<const std::byte> bytes) {
        naming(file.name(), [&] { verifier.feed(bytes); });
        check.done(verifier.position());
    });
    naming(file.name(), [&] { verifier.finish(); });
    if (!file.isUnchanged()) {
        throw FirmwareError(OpenResult::Damaged, file.name() + " was changed while it was read");
    }
}

PackageFile obtainLocal(const std::string& path, const Config& config, PackageVerifier& verifier,
                        const OpenProgress& progress) {
    PackageFile file = PackageFile::openInPlace(path);
    if (file.isPrivate()) {
        checkInPlace(file, verifier, progress);
        return file;
    }
    PackageFile spool = naming(path, [&] { return PackageFile::createSpool(config.stateDir); });
    SpoolingSink sink(verifier, spool, progress);
    naming(path, [&] { sink.announce(file.size()); });
    readThrough(file, [&](std::span<const std::byte> bytes) { naming(path, [&] { sink.append(bytes); }); });
    naming(path, [&] { sink.finish(); });
    return spool;
}

PackageFile obtainRemote(const std::string& url, const Config& config, const HttpOptions& options,
                         PackageVerifier& verifier, const OpenProgress& progress) {
    const std::string shown = shownUrl(url);
    PackageFile spool = naming(shown, [&] { return PackageFile::createSpool(config.stateDir); });
    SpoolingSink sink(verifier, spool, progress);
    download(url, options, sink);
    naming(shown, [&] { sink.finish(); });
    return spool;
}

} // namespace

std::unique_ptr<Package> openPackage(const std::string& url, const Config& config,
                                     const std::optional<std::string>& type, int timeoutSeconds,
                                     const OpenProgress& progress,
                                     const std::function<void(int seconds)>& pause) {
    const Location location = locate(url);
    const std::string shown = shownUrl(url);
    PackageVerifier verifier(naming(shown, [&] { return policyOf(config, type); }));
    PackageFile file =
        location.local ? obtainLocal(location.place, config, verifier, progress)
                       : obtainRemote(url, config, {timeoutSeconds, deviceHeaders(config.deviceId), pause},
                                      verifier, progress);
    auto package = naming(shown, [&] {
        return std::make_unique<Package>(shown, std::move(file), *verifier.manifest(),
                                         describeSignature(verifier), verifier.takeDecoded());
    });
    Reporter(progress, STBFirmwareFile::OPERATION_CHECK).finish(package->file().size());
    if (verifier.signer().empty()) {
        LUMO_LOG(LogWarning, "Package %s is %s: anyone could have made it", shown.c_str(),
                 package->signature().c_str());
    }
    logDescription(*package);
    return package;
}

} // namespace lumo
