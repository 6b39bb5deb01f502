#include "platform/linux/firmware/Manifest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace {

using nlohmann::json;
using testing::AllOf;
using testing::Each;
using testing::HasSubstr;
using testing::SizeIs;

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

struct Fault {
    const char* path; // JSON pointer of the member to replace, or to add
    json value;       // discarded: the member is removed
    const char* message;
};

const json removed(json::value_t::discarded);

void expectRefusals(const std::vector<Fault>& faults) {
    for (const Fault& fault : faults) {
        json manifest = goodManifest();
        const json::json_pointer path(fault.path);
        if (fault.value.is_discarded()) {
            manifest.at(path.parent_pointer()).erase(path.back());
        } else {
            manifest[path] = fault.value;
        }
        EXPECT_THAT(refusal(manifest.dump()), HasSubstr(fault.message)) << fault.path;
    }
}

TEST(ManifestTest, RefusesAManifestThatBreaksTheRules) {
    expectRefusals({{"/version", "2.0 beta", "version is not a valid version"},
                    {"/version", std::string(65, '1'), "version is not a valid version"},
                    {"/type", "../x", "type is not a valid name"},
                    {"/devices", "LUMO-SIM", "devices must be a list, not a string"},
                    {"/devices", json(257, "D"), "devices must be a list of 1 to 256 entries"},
                    {"/devices/0", "a b", "devices[0] is not a device identifier"},
                    {"/blocks", json::array(), "blocks must be a list of 1 to 256 entries"},
                    {"/blocks/0", "kernel", "blocks[0] must be an object"},
                    {"/scripts", json(33, 1), "scripts must be a list of 0 to 32 entries"},
                    {"/extra", 1, "unknown key extra"},
                    {"/\xc2\x9bx", 1, "unknown key \\xC2\\x9Bx"}});
}

TEST(ManifestTest, RefusesABlockThatBreaksTheRules) {
    expectRefusals(
        {{"/blocks/1/key", "a/b", "blocks[1].key is not a valid name"},
         {"/blocks/1/name", "..", "blocks[1].name is not a valid name"},
         {"/blocks/1/name", ".profile", "blocks[1].name is not a valid name"},
         {"/blocks/1/name", "a\x1b[2Jb", "control character"},
         {"/blocks/1/name", std::string("a\0b", 3), "control character"},
         {"/blocks/1/name", "\xc3\xa9", "blocks[1].name is not a valid name"},
         {"/blocks/1/target", "/dev/sda", "blocks[1].target is not a valid name"},
         {"/blocks/1/size", 101, "blocks[1].stored is 100, but the uncompressed block has 101"},
         {"/blocks/1/size", 4294967296, "blocks[1].size must be a whole number from 0 to 4294967295"},
         {"/blocks/1/compression", "lzma", "blocks[1].compression must be \"none\" or \"zstd\""},
         {"/blocks/1/sha256", hex('A'), "blocks[1].sha256 must be 64 lower-case hex digits"},
         {"/blocks/1/compression", "zstd", "blocks[1].storedSha256 is missing"},
         {"/blocks/1/storedSha256", hex('a'), "unknown key blocks[1].storedSha256"},
         {"/blocks/1/key", "rootfs", "two blocks have the key rootfs"},
         {"/blocks/1/name", "rootfs", "two blocks have the name rootfs"},
         {"/blocks/1/target", "rootfs", "two blocks have the target rootfs"}});
}

TEST(ManifestTest, RefusesAPlaceThatBreaksTheRules) {
    expectRefusals({
        {"/blocks/1/offset", 0, "blocks[1].offset must be a whole number from 1000 to 1099511627776, not 0"},
        {"/blocks/1/offset", 8193, "blocks[1].offset must be a multiple of 4096, not 8193"},
        {"/blocks/1/offset", 8192.5, "not 8192.5"},
        {"/blocks/1/offset", "8192", "blocks[1].offset must be a number, not a string"},
        {"/blocks/1/offset", 18446744073709547520U, "not 18446744073709547520"},
        {"/blocks/1/offset", 4096, "the payload at offset 4096 overlaps the one that ends at 4196"},
        {"/scripts/0/offset", 8192, "the payload at offset 8192 overlaps the one that ends at"},
        {"/blocks/1/stored", 99, "blocks[1].stored is 99, but the uncompressed block has 100"},
        {"/blocks/1/stored", 4294967296, "not 4294967296"},
    });
}

TEST(ManifestTest, RefusesAScriptThatBreaksTheRules) {
    expectRefusals(
        {{"/scripts/0", 1, "scripts[0] must be an object"},
         {"/scripts/0/when", "later", "scripts[0].when must be \"before\" or \"after\""},
         {"/scripts/0/stored", 1048577, "scripts[0].stored must be a whole number from 0 to 1048576"},
         {"/scripts/0/timeout", 0, "scripts[0].timeout must be a whole number from 1 to 3600, not 0"},
         {"/scripts/0/name", "x", "unknown key scripts[0].name"}});
}

// Faults that a JSON library would not write.
TEST(ManifestTest, RefusesTextThatIsNotStrictJson) {
    const std::string good = goodManifest().dump();
    const auto with = [&](const std::string& from, const std::string& to) {
        std::string text = good;
        return text.replace(text.find(from), from.size(), to);
    };
    EXPECT_THAT(refusal(""), HasSubstr("unexpected end of input"));
    EXPECT_THAT(refusal("[]"), HasSubstr("the top level must be an object"));
    EXPECT_THAT(refusal(good + "x"), HasSubstr("parse error"));
    EXPECT_THAT(refusal(good + std::string("\0x", 2)),
                HasSubstr("a NUL byte at offset " + std::to_string(good.size())));
    EXPECT_THAT(refusal(with("2.0", std::string("2\0.0", 4))), HasSubstr("a NUL byte"));
    EXPECT_THAT(refusal(with("\"version\"", "\"type\":\"x\",\"version\"")),
                HasSubstr("the key \"type\" stands twice"));
    EXPECT_THAT(refusal(with("\"key\":\"kernel\"", "\"key\":\"kernel\",\"key\":\"kernel\"")),
                HasSubstr("the key \"key\" stands twice"));
    EXPECT_THAT(refusal(with("2.0", "2.0\xff")), HasSubstr("invalid string"));
    EXPECT_THAT(refusal(with("2.0", "\xed\xa0\x80")), HasSubstr("invalid string"));
    EXPECT_THAT(refusal(with("8192", "1e999")), HasSubstr("number overflow"));
    EXPECT_THAT(refusal(with("8192", "36893488147419103232")),
                HasSubstr("blocks[1].offset must be a whole number"));
    EXPECT_THAT(refusal(std::string(100000, '[')), HasSubstr("nested more than 16 levels deep"));
    EXPECT_THAT(refusal(with("2.0", "\\u0000")), HasSubstr("control character"));
}

TEST(ManifestTest, RefusesInOneShortPrintableLine) {
    const std::string name = std::string(100000, 'k') + "\xc2\x9b";
    std::vector<std::string> refusals = {
        refusal("{\"" + name + "\":1,\"" + name + "\":1}"),
        refusal("{\"" + name + "\" 1"),
        refusal("{\"a\":\"" + name + "\x01"),
        refusal("{\"\x9b"
                "2J"),
    };
    json manifest = goodManifest();
    manifest[name] = 1;
    refusals.push_back(refusal(manifest.dump()));
    manifest = goodManifest();
    manifest["blocks"][0]["size"] = name;
    refusals.push_back(refusal(manifest.dump()));
    for (const std::string& line : refusals) {
        EXPECT_LT(line.size(), 300U) << line;
        EXPECT_THAT(line, Each(testing::AllOf(testing::Ge(' '), testing::Le('~'))));
    }
}

TEST(ManifestTest, ReadsWhatItFormats) {
    json text = goodManifest();
    text["blocks"][1]["compression"] = "zstd";
    text["blocks"][1]["storedSha256"] = hex('b');
    text["blocks"][1]["size"] = 4294967295;
    const lumo::Manifest manifest = lumo::parseManifest(text.dump(), headerEnd);
    ASSERT_THAT(manifest.blocks, SizeIs(2));
    EXPECT_EQ(manifest.blocks[0].key, "kernel"); // sorted by key
    EXPECT_EQ(manifest.blocks[0].size, 4294967295U);
    EXPECT_EQ(manifest.blocks[0].payload.offset, 8192U);
    EXPECT_EQ(lumo::toHex(manifest.blocks[0].storedSha256), hex('b'));
    EXPECT_EQ(lumo::toHex(manifest.blocks[1].storedSha256), hex('a'));
    EXPECT_EQ(manifest.packageSize(headerEnd), 12298U);

    const std::string formatted = lumo::formatManifest(manifest);
    EXPECT_EQ(lumo::formatManifest(lumo::parseManifest(formatted, headerEnd)), formatted);
}

} // namespace
