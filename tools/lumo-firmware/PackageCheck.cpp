#include "tools/lumo-firmware/PackageCheck.h"

#include "platform/linux/firmware/FirmwareError.h"
#include "platform/linux/firmware/PackageVerifier.h"

namespace lumo {

CheckedPackage checkPackage(const InputFile& file, const std::vector<PublicKey>& keys, const WorkDone& done) {
    PackagePolicy policy;
    policy.keys = keys;
    policy.allowUnsigned = policy.ignoreSignatures = keys.empty();
    policy.keepDecoded = false;
    PackageVerifier verifier(policy);
    Sha256 hash;
    try {
        file.read([&](std::span<const std::byte> piece) {
            hash.update(piece);
            verifier.feed(piece);
            if (done) {
                done(piece.size());
            }
            return true;
        });
        verifier.finish();
    } catch (const FirmwareError& error) {
        throw FirmwareError(error.result(), file.path() + " is refused: " + error.what());
    }
    return {*verifier.manifest(), file.size(), hash.finish(), verifier.isSigned(), verifier.signer()};
}

} // namespace lumo
