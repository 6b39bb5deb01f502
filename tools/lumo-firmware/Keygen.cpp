#include "tools/lumo-firmware/Keygen.h"

#include <filesystem>

#include "platform/linux/firmware/Signature.h"
#include "tools/lumo-firmware/OutputFile.h"
#include "tools/lumo-firmware/ToolError.h"

namespace lumo {

std::string makeKeyPair(const std::string& name, bool force) {
    const std::string privateName = name + ".pem";
    const std::string publicName = name + ".pub.pem";
    for (const std::string& path : {privateName, publicName}) {
        std::error_code ignored;
        if (!force && std::filesystem::exists(std::filesystem::symlink_status(path, ignored))) {
            throw ToolError(path + " is there already (--force replaces it)");
        }
    }
    const PrivateKey key = PrivateKey::generate();
    OutputFile privateFile(privateName, OutputFile::Access::Owner);
    OutputFile publicFile(publicName);
    privateFile.write(0, key.toPem());
    publicFile.write(0, key.publicKey().toPem());
    const auto existing = force ? OutputFile::Existing::Replace : OutputFile::Existing::Keep;
    privateFile.commit(existing);
    publicFile.commit(existing);
    return key.publicKey().id();
}

} // namespace lumo
