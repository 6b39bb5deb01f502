#include "platform/linux/firmware/PackageVerifier.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <span>

#include "platform/linux/firmware/FirmwareError.h"
#include "tests/support/PackageBuilder.h"

namespace {

using lumo::OpenResult;
using lumo::PackagePolicy;
using lumo::PackageVerifier;
using support::noise;
using support::PackageBuilder;
using support::zstdFrame;
using testing::HasSubstr;
using When = PackageBuilder::When;

constexpr auto zstd = PackageBuilder::Compression::Zstd;
constexpr auto none = PackageBuilder::Compression::None;

const lumo::PrivateKey deviceKey = lumo::PrivateKey::generate();
const lumo::PrivateKey strangersKey = lumo::PrivateKey::generate();

PackagePolicy strict() {
    return {"LUMO-SIM", "default", {deviceKey.publicKey()}};
}

PackagePolicy lenient() {
    PackagePolicy policy{"LUMO-SIM", "default", {}};
    policy.allowUnsigned = true;
    return policy;
}

std::span<const std::byte> bytesOf(const std::string& text) {
    return std::as_bytes(std::span(text));
}

void feedInPieces(PackageVerifier& verifier, const std::string& package, std::size_t piece) {
    for (std::size_t at = 0; at < package.size(); at += piece) {
        verifier.feed(bytesOf(package).subspan(at, std::min(piece, package.size() - at)));
    }
    verifier.finish();
}

struct Verdict {
    OpenResult result = OpenResult::Opened;
    std::string text;

    bool operator==(const Verdict&) const = default;
};

void PrintTo(const Verdict& verdict, std::ostream* out) {
    *out << static_cast<int>(verdict.result) << " " << verdict.text;
}

Verdict verdictOn(const std::string& package, const PackagePolicy& policy, std::size_t piece = SIZE_MAX) {
    PackageVerifier verifier(policy);
    try {
        feedInPieces(verifier, package, std::min(piece, package.size() + 1));
    } catch (const lumo::FirmwareError& error) {
        return {error.result(), error.what()};
    }
    return {};
}

// One of each: a compressed block, a plain one, a script; three stretches of padding.
PackageBuilder smallPackage() {
    return PackageBuilder()
        .key(deviceKey)
        .block("kernel", noise(100))
        .block("rootfs", std::string(3000, 'r') + noise(50), "disk", zstd)
        .script(When::After, "true\n");
}

TEST(PackageVerifierTest, ReadsAGoodPackageInPiecesOfAnySize) {
    const std::string text = std::string(1 << 20, 't') + noise(300000);
    const std::string package =
        smallPackage().block("a", text, "", zstd).block("b", "").block("c", "", "", zstd).build();
    PackagePolicy dropping = strict();
    dropping.keepDecoded = false;
    dropping.maxDecodedBytes = 0;
    for (const std::size_t piece : {std::size_t(1), std::size_t(4096), package.size()}) {
        PackageVerifier verifier(strict());
        verifier.feed(bytesOf(package).first(package.size() - 1));
        verifier.restart();
        EXPECT_EQ(verifier.manifest(), nullptr);
        feedInPieces(verifier, package, piece);
        EXPECT_EQ(verifier.signer(), deviceKey.publicKey().id());
        EXPECT_EQ(verifier.expectedSize(), package.size());
        ASSERT_EQ(verifier.manifest()->blocks.size(), 5U);
        const auto decoded = verifier.takeDecoded();
        const auto bytes = decoded.at(0)->bytes();
        EXPECT_TRUE(std::ranges::equal(bytes, bytesOf(text)));
        EXPECT_EQ(verdictOn(package, dropping, piece), Verdict{});
    }
}

TEST(PackageVerifierTest, RefusesAPackageThatIsCutAnywhere) {
    const std::string package = smallPackage().build();
    PackageVerifier verifier(strict());
    for (std::size_t size = 0; size < package.size(); ++size) {
        try {
            verifier.finish();
            FAIL() << "accepted with " << size << " bytes";
        } catch (const lumo::FirmwareError& error) {
            ASSERT_EQ(error.result(), size < 32 ? OpenResult::NotAPackage : OpenResult::Damaged)
                << error.what();
            ASSERT_THAT(error.what(), HasSubstr(std::to_string(size)));
        }
        verifier.feed(bytesOf(package).subspan(size, 1));
    }
    verifier.finish();
}

// Every bit, but within a run of zeros, which is padding all alike, only those of each 31st byte.
TEST(PackageVerifierTest, RefusesAPackageWithAnyBitFlipped) {
#ifdef LUMO_SLOW
    constexpr int bitStep = 8; // another bit of each byte
#else
    constexpr int bitStep = 1;
#endif
    std::string package = smallPackage().build();
    ASSERT_EQ(verdictOn(package, strict()), Verdict{});
    for (std::size_t at = 0; at < package.size(); ++at) {
        const bool inPadding = at % 31 != 0 && package.substr(at - 1, 3) == std::string(3, '\0');
        for (int bit = static_cast<int>(at % bitStep); bit < 8 && !inPadding; bit += bitStep) {
            package[at] = static_cast<char>(package[at] ^ (1 << bit));
            const Verdict verdict = verdictOn(package, strict());
            package[at] = static_cast<char>(package[at] ^ (1 << bit));
            ASSERT_NE(verdict.result, OpenResult::Opened) << "bit " << bit << " of byte " << at;
        }
    }
}

struct Damage {
    std::string package;
    PackagePolicy policy;
    OpenResult result;
    std::string message;
};

// However the bytes are cut into pieces, and whether decoded bytes are kept or not, the answer is the same.
void expectRefusals(const std::vector<Damage>& table) {
    for (const Damage& damage : table) {
        SCOPED_TRACE(damage.message);
        const Verdict whole = verdictOn(damage.package, damage.policy);
        EXPECT_EQ(whole.result, damage.result) << whole.text;
        EXPECT_THAT(whole.text, HasSubstr(damage.message));
        PackagePolicy dropping = damage.policy;
        dropping.keepDecoded = damage.policy.maxDecodedBytes != PackagePolicy().maxDecodedBytes;
        for (const std::size_t piece : {1, 7, 4096}) {
            EXPECT_EQ(verdictOn(damage.package, damage.policy, piece), whole) << "in pieces of " << piece;
            EXPECT_EQ(verdictOn(damage.package, dropping, piece), whole) << "dropped, in pieces of " << piece;
        }
    }
}

std::string poked(std::string bytes, std::size_t at, const std::string& patch) {
    return bytes.replace(at, patch.size(), patch);
}

std::string little32(std::uint32_t value) {
    std::string bytes;
    for (int i = 0; i < 4; ++i) {
        bytes += static_cast<char>(value >> (8 * i));
    }
    return bytes;
}

TEST(PackageVerifierTest, RefusesDamagedHeaders) {
    const std::string good = smallPackage().build();
    const auto headed = [&](std::size_t at, std::uint32_t value) { return poked(good, at, little32(value)); };
    const auto notAPackage = OpenResult::NotAPackage;
    expectRefusals({
        {"", strict(), notAPackage, "the file has only 0 bytes"},
        {"<!DOCTYPE html>", strict(), notAPackage, "does not begin as a firmware package"},
        {poked(good, 6, "\n\n"), strict(), notAPackage, "does not begin as a firmware package"},
        {headed(8, 2), strict(), notAPackage, "package format 2 is not known"},
        {headed(12, 0), strict(), notAPackage, "a manifest of 0 bytes"},
        {headed(12, 0xffffffff), strict(), notAPackage, "a manifest of 4294967295 bytes"},
        {headed(12, 1048576), strict(), OpenResult::Damaged, "inside its manifest, which ends at 1048672"},
        {headed(16, 0x80000040), strict(), notAPackage, "a signature of 2147483712 bytes"},
        {headed(20, 0x100), strict(), notAPackage, "header bytes 20 to 31 are not zero"},
    });
}

TEST(PackageVerifierTest, RefusesPackagesByStrangers) {
    const std::string good = smallPackage().build();
    const std::string stranger = smallPackage().key(strangersKey).build();
    const std::string unsignedPackage = PackageBuilder().block("kernel", "k").build();
    const std::string scripted = PackageBuilder().block("kernel", "k").script(When::Before, "true").build();
    PackagePolicy lenientWithKey = strict();
    lenientWithKey.allowUnsigned = true;
    const auto bad = OpenResult::BadSignature;
    expectRefusals({
        {unsignedPackage, strict(), bad, "the package is not signed, and only signed ones are accepted"},
        {stranger, strict(), bad, "not by any of the 1 accepted keys"},
        {stranger, lenientWithKey, bad, "not by any of the 1 accepted keys"},
        {poked(good, 16, little32(0)), strict(), bad, "the package is not signed"},
        {scripted, lenient(), bad, "the package holds scripts, but is not signed"},
        {good, lenient(), bad, "the package holds scripts, but is not signed by an accepted key"},
    });
    PackagePolicy twoKeys = strict();
    twoKeys.keys.push_back(strangersKey.publicKey());
    for (const PackageBuilder& package : {smallPackage(), smallPackage().key(strangersKey)}) {
        EXPECT_EQ(verdictOn(package.build(), twoKeys), Verdict{});
    }
    EXPECT_EQ(verdictOn(unsignedPackage, lenientWithKey), Verdict{});

    PackagePolicy showing = lenient(); // packages of unknown signers, but never their scripts
    showing.ignoreSignatures = true;
    PackageVerifier verifier(showing);
    feedInPieces(verifier, smallPackage().key(strangersKey).build(), 4096);
    EXPECT_TRUE(verifier.isSigned());
    EXPECT_EQ(verifier.signer(), "");
    EXPECT_EQ(verdictOn(scripted, showing).result, bad);
}

TEST(PackageVerifierTest, RefusesWhatIsNotForThisDevice) {
    PackagePolicy recovery = strict();
    recovery.type = "recovery";
    PackagePolicy small = strict();
    small.maxDecodedBytes = 3049;
    expectRefusals({
        {smallPackage().device("A").device("B").build(), strict(), OpenResult::WrongDevice,
         "the package is for A, B, and this device is LUMO-SIM"},
        {smallPackage().build(), recovery, OpenResult::WrongDevice,
         "the package is of type default, and type recovery was asked for"},
        {smallPackage().build(), small, OpenResult::Failed,
         "take 3050 bytes of memory when decoded, and at most 3049 may be used"},
    });
    EXPECT_EQ(verdictOn(smallPackage().device("A").type("x").build(), {"", {}, strict().keys}), Verdict{});
}

// The signature is good, so only the manifest's own rules stand between these and the flash.
TEST(PackageVerifierTest, RefusesSignedManifestsThatBreakTheFormat) {
    const auto edited = [](const std::string& from, const std::string& to) {
        return smallPackage()
            .editManifest([=](std::string& text) { text.replace(text.find(from), from.size(), to); })
            .build();
    };
    const std::string at = "\"offset\":" + std::to_string(smallPackage().manifest().blocks[1].payload.offset);
    const auto notAPackage = OpenResult::NotAPackage;
    expectRefusals({
        {edited("\"name\":\"kernel\"", "\"name\":\"../../x\""), strict(), notAPackage,
         "bad manifest: blocks[0].name is not a valid name"},
        {edited(at, "\"offset\":4096"), strict(), notAPackage, "the payload at offset 4096 overlaps"},
        {edited(at, "\"offset\":1099511627776"), strict(), OpenResult::Damaged, "the padding byte at"},
    });
}

// A zstd frame of zeros whose window is as large as its content (RFC 8878, 3.1.1: a single segment, RLE
// blocks).
std::string singleSegmentFrame(std::uint32_t size) {
    std::string frame = "\x28\xb5\x2f\xfd\xa0" + little32(size);
    while (size > 0) {
        const std::uint32_t block = std::min<std::uint32_t>(size, 128 << 10);
        size -= block;
        frame += little32(block << 3 | 1 << 1 | (size == 0 ? 1 : 0)).substr(0, 3) + '\0';
    }
    return frame;
}

TEST(PackageVerifierTest, RefusesDamagedPayloads) {
    const std::string text(200000, 'x');
    const std::string frame = zstdFrame(text);
    const std::string bomb = zstdFrame(std::string(8 << 20, '\0'));
    const std::string zeros(9 << 20, '\0');
    const std::string plain = PackageBuilder().block("disk", text).build();
    const auto raw = [](const std::string& stored, const std::string& content, auto compression) {
        return PackageBuilder().rawBlock("disk", stored, content, compression);
    };
    const std::string storedHash = lumo::toHex(lumo::sha256(bytesOf(frame)));
    const std::string otherHash =
        raw(frame, text, zstd)
            .editManifest([&](std::string& manifest) {
                manifest.replace(manifest.find(storedHash), 64, std::string(64, '0'));
            })
            .build();
    const std::string skippable = std::string("\x50\x2a\x4d\x18\0\0\0\0", 8);
    const std::vector<std::pair<PackageBuilder, const char*>> payloads = {
        {raw("one", "two", none),
         "block disk has the SHA-256 7692c3ad3540bb803c020b3aee66cd8887123234ea0c6e"},
        {raw(frame, text.substr(1) + 'y', zstd), "block disk has the SHA-256"},
        {raw(bomb, "tiny", zstd), "decodes to more than the 4 bytes the manifest gives it"},
        {raw(bomb, "", zstd), "decodes to more than the 0 bytes the manifest gives it"},
        {raw(frame, text + "y", zstd), "decodes to 200000 bytes, and the manifest gives it 200001"},
        {raw(frame.substr(0, frame.size() - 1), text, zstd), "and then breaks off"},
        {raw("", "", zstd), "decodes to 0 bytes and then breaks off"},
        {raw(frame + "x", text, zstd), "bytes behind its compressed data"},
        {raw("not zstd at all", text, zstd), "does not decode: not a zstd frame"},
        {raw(skippable + frame, text, zstd), "not a zstd frame"},
        {raw(zstdFrame(text, 24), text, zstd), "does not decode: Frame requires too much memory"},
        {raw(singleSegmentFrame(9 << 20), zeros, zstd), "too much memory"},
    };
    const auto damaged = OpenResult::Damaged;
    std::vector<Damage> table = {
        {plain + '\0', lenient(), damaged, "goes on behind its end at 204096 bytes"},
        {otherHash, lenient(), damaged, "block disk in its compressed form has the SHA-256"},
    };
    for (const auto& [package, message] : payloads) {
        table.push_back({package.build(), lenient(), damaged, message});
    }
    expectRefusals(table);
    EXPECT_EQ(verdictOn(raw(zstdFrame(text, 23), text, zstd).build(), lenient()), Verdict{});
    EXPECT_EQ(verdictOn(raw(singleSegmentFrame(8 << 20), zeros.substr(1 << 20), zstd).build(), lenient()),
              Verdict{});
}

} // namespace
