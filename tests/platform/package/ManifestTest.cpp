#include "platform/linux/firmware/Manifest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace {

using nlohmann::json;
using testing::HasSubstr;

constexpr std::uint64_t headerEnd = 1000;

std::string hex(char digit) {
    return std::string(64, digit);
}

json goodBlock(const std::string& name, std::uint64_t offset) {
    return {{"key", name},   {"name", name}, {"target", name},        {"offset", offset},
            {"stored", 100}, {"size", 100},  {"compression", "none"}, {"sha256", hex('a')}};
}

json goodManifest() {
    const json script = {
        {"when", "after"}, {"offset", 12288}, {"stored", 10}, {"sha256", hex('c')}, {"timeout", 60}};
    return {{"version", "2.0"},
            {"type", "default"},
            {"devices", {"LUMO-SIM"}},
            {"blocks", {goodBlock("rootfs", 4096), goodBlock("kernel", 8192)}},
            {"scripts", {script}}};
}

// The line with which a manifest is refused; "accepted" when it is not.
std::string refusal(const std::string& text) {
    try {
        lumo::parseManifest(text, headerEnd);
    } catch (const lumo::ManifestError& error) {
        return error.what();
    }
    return "accepted";
}

} // namespace

TEST(ManifestTest, RefusesAManifestThatBreaksTheRules) {
    const struct {
        const char* path; // JSON pointer of the member to replace, or to add
        json value;
        const char* message;
    } faults[] = {
        {"/version", "2.0 beta", "version is not a valid version"},
        {"/version", std::string(65, '1'), "version is not a valid version"},
        {"/type", "../x", "type is not a valid name"},
        {"/devices", "LUMO-SIM", "devices must be a list, not a string"},
        {"/devices", json(257, "D"), "devices must be a list of 1 to 256 entries"},
        {"/devices/0", "a b", "devices[0] is not a device identifier"},
        {"/blocks", json::array(), "blocks must be a list of 1 to 256 entries"},
        {"/blocks/0", "kernel", "blocks[0] must be an object"},
        {"/extra", 1, "unknown key extra"},
        {"/blocks/1/key", "a/b", "blocks[1].key is not a valid name"},
        {"/blocks/1/name", "..", "blocks[1].name is not a valid name"},
        {"/blocks/1/name", ".profile", "blocks[1].name is not a valid name"},
        {"/blocks/1/name", "\xc3\xa9", "blocks[1].name is not a valid name"},
        {"/blocks/1/name", std::string("a\0b", 3), "control character"},
        {"/blocks/1/target", "/dev/sda", "blocks[1].target is not a valid name"},
        {"/blocks/1/size", 101, "blocks[1].stored is 100, but the uncompressed block has 101"},
        {"/blocks/1/size", 4294967296, "blocks[1].size must be a whole number from 0 to 4294967295"},
        {"/blocks/1/compression", "lzma", "blocks[1].compression must be \"none\" or \"zstd\""},
        {"/blocks/1/compression", "zstd", "blocks[1].storedSha256 is missing"},
        {"/blocks/1/sha256", hex('A'), "blocks[1].sha256 must be 64 lower-case hex digits"},
        {"/blocks/1/storedSha256", hex('a'), "unknown key blocks[1].storedSha256"},
        {"/blocks/1/key", "rootfs", "two blocks have the key rootfs"},
        {"/blocks/1/name", "rootfs", "two blocks have the name rootfs"},
        {"/blocks/1/target", "rootfs", "two blocks have the target rootfs"},
        {"/blocks/1/offset", 0, "blocks[1].offset must be a whole number from 1000 to 1099511627776, not 0"},
        {"/blocks/1/offset", 8193, "blocks[1].offset must be a multiple of 4096, not 8193"},
        {"/blocks/1/offset", 8192.5, "not 8192.5"},
        {"/blocks/1/offset", 18446744073709547520U, "not 18446744073709547520"},
        {"/blocks/1/offset", 4096, "the payload at offset 4096 overlaps the one that ends at 4196"},
        {"/scripts/0/offset", 8192, "the payload at offset 8192 overlaps the one that ends at"},
        {"/scripts", json(33, 1), "scripts must be a list of 0 to 32 entries"},
        {"/scripts/0/when", "later", "scripts[0].when must be \"before\" or \"after\""},
        {"/scripts/0/stored", 1048577, "scripts[0].stored must be a whole number from 0 to 1048576"},
        {"/scripts/0/timeout", 0, "scripts[0].timeout must be a whole number from 1 to 3600, not 0"},
    };

    for (const auto& fault : faults) {
        json manifest = goodManifest();
        manifest[json::json_pointer(fault.path)] = fault.value;
        EXPECT_THAT(refusal(manifest.dump()), HasSubstr(fault.message)) << fault.path;
    }
}

// Faults that a JSON library would not write.
TEST(ManifestTest, RefusesTextThatIsNotStrictJson) {
    const std::string good = goodManifest().dump();
    const auto with = [&](const std::string& from, const std::string& to) {
        return std::string(good).replace(good.find(from), from.size(), to);
    };
    const std::pair<std::string, const char*> cases[] = {
        {"", "unexpected end of input"},
        {"[]", "the top level must be an object"},
        {good + "x", "parse error"},
        {good + std::string("\0x", 2), "a NUL byte at offset "},
        {with("2.0", std::string("2\0.0", 4)), "a NUL byte"},
        {with("2.0", "\\u0000"), "control character"},
        {with("\"version\"", "\"type\":\"x\",\"version\""), "the key \"type\" stands twice"},
        {with("\"key\":\"kernel\"", "\"key\":\"kernel\",\"key\":\"kernel\""), "the key \"key\" stands twice"},
        {with("2.0", "2.0\xff"), "invalid string"},
        {with("2.0", "\xed\xa0\x80"), "invalid string"},
        {with("8192", "1e999"), "number overflow"},
        {with("8192", "36893488147419103232"), "blocks[1].offset must be a whole number"},
        {std::string(100000, '['), "nested more than 16 levels deep"},
    };
    for (const auto& [text, message] : cases) {
        EXPECT_THAT(refusal(text), HasSubstr(message)) << text.substr(0, 1000);
    }
}

TEST(ManifestTest, RefusesInOneShortPrintableLine) {
    const std::string name = std::string(100000, 'k') + "\xc2\x9b";
    json manifest = goodManifest();
    manifest["blocks"][0]["size"] = name;
    for (const std::string& text : {"{\"" + name + "\":1,\"" + name + "\":1}", "{\"" + name + "\" 1",
                                    "{\"a\":\"" + name + "\x01", "{\"" + name + "\":1}", manifest.dump()}) {
        const std::string line = refusal(text);
        EXPECT_LT(line.size(), 300U) << line;
        EXPECT_THAT(line, testing::Each(testing::AllOf(testing::Ge(' '), testing::Le('~'))));
    }
}

TEST(ManifestTest, ReadsWhatItFormats) {
    json text = goodManifest();
    text["blocks"][1]["compression"] = "zstd";
    text["blocks"][1]["storedSha256"] = hex('b');
    text["blocks"][1]["size"] = 4294967295;
    const lumo::Manifest manifest = lumo::parseManifest(text.dump(), headerEnd);
    EXPECT_EQ(manifest.blocks.at(0).key, "kernel"); // sorted by key
    EXPECT_EQ(manifest.blocks[0].size, 4294967295U);
    EXPECT_EQ(lumo::toHex(manifest.blocks[0].storedSha256), hex('b'));
    EXPECT_EQ(lumo::toHex(manifest.blocks.at(1).storedSha256), hex('a'));
    EXPECT_EQ(manifest.packageSize(headerEnd), 12298U);
    const std::string formatted = lumo::formatManifest(manifest);
    EXPECT_EQ(lumo::formatManifest(lumo::parseManifest(formatted, headerEnd)), formatted);
}
