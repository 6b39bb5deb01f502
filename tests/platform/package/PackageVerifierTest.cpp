#include "platform/linux/firmware/PackageVerifier.h"

#include <gtest/gtest.h>

#include <span>

#include "platform/linux/firmware/FirmwareError.h"
#include "tests/support/PackageBuilder.h"

namespace {

using support::PackageBuilder;

lumo::PrivateKey testKey() {
    static const lumo::PrivateKey key = lumo::PrivateKey::generate();
    return key;
}

TEST(PackageVerifierTest, AcceptsAGoodPackage) {
    const std::string bytes =
        PackageBuilder()
            .key(testKey())
            .block("rootfs", std::string(100000, 'a'), "disk", PackageBuilder::Compression::Zstd)
            .block("kernel", support::noise(5000))
            .block("empty", "")
            .script(PackageBuilder::When::After, "true\n")
            .build();
    lumo::PackageVerifier verifier({"LUMO-SIM", "default", {testKey().publicKey()}});
    verifier.feed(std::as_bytes(std::span(bytes)));
    verifier.finish();
    EXPECT_EQ(verifier.signer(), testKey().publicKey().id());
    EXPECT_EQ(verifier.expectedSize(), bytes.size());
}

} // namespace
