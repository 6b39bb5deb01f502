#include "tools/lumo-firmware/Description.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/TempDir.h"
#include "tools/lumo-firmware/ToolError.h"

namespace {

using lumo::PackageDescription;
using testing::HasSubstr;
using testing::StartsWith;

template <typename Read>
std::string refusal(Read read) {
    try {
        read();
    } catch (const lumo::ToolError& error) {
        return error.what();
    }
    return "accepted";
}

TEST(DescriptionTest, ReadsEveryField) {
    const support::TempDir dir;
    support::writeFile(dir.file("package.json"),
                       R"({"version": "2.0", "type": "recovery", "devices": ["A", "B"],
        "blocks": [{"name": "kernel", "file": "out/kernel.img", "target": "boot"},
                   {"name": "rootfs", "file": "/abs/rootfs.img", "target": "disk", "key": "10-rootfs",
                    "compression": "zstd", "level": 19}],
        "scripts": [{"when": "before", "file": "stop.sh", "timeout": 5}, {"when": "after", "file": "s.sh"}]})");
    const PackageDescription read = lumo::readDescription(dir.file("package.json"));
    EXPECT_EQ(read.type + " " + read.devices.at(1), "recovery B");
    EXPECT_EQ(read.blocks.at(0).key, "kernel");
    EXPECT_EQ(read.blocks.at(0).file, dir.file("out/kernel.img"));
    EXPECT_EQ(read.blocks.at(1).key, "10-rootfs");
    EXPECT_EQ(read.blocks.at(1).file, "/abs/rootfs.img");
    EXPECT_EQ(read.blocks.at(1).level, 19);
    EXPECT_EQ(read.scripts.at(0).when, lumo::ManifestScript::When::Before);
    EXPECT_EQ(read.scripts.at(0).timeout, 5U);
}

TEST(DescriptionTest, NamesFileAndFieldOfWhatItRefuses) {
    const support::TempDir dir;
    const std::string file = dir.file("package.json");
    const auto block = [](const std::string& members) {
        return R"({"blocks": [{"name": "a", "file": "a", "target": "a", )" + members + "}]}";
    };
    const std::pair<std::string, std::string> table[] = {
        {"", "unexpected end of input"},
        {R"({"version": "1", "version": "2", "blocks": []})", R"(the key "version" stands twice)"},
        {R"({"version": "1"})", "blocks is missing"},
        {block(R"("size": 1)"), "unknown key blocks[0].size"},
        {block(R"("compression": "xz")"), R"(blocks[0].compression must be "none" or "zstd", not "xz")"},
        {block(R"("compression": "zstd", "level": 20)"),
         "blocks[0].level must be a whole number from 1 to 19"},
        {block(R"("level": 3)"), "blocks[0].level is for zstd only"},
    };
    for (const auto& [json, message] : table) {
        support::writeFile(file, json);
        const std::string line = refusal([&] { lumo::readDescription(file); });
        EXPECT_THAT(line, testing::AllOf(StartsWith(file + ": "), HasSubstr(message))) << json;
    }
}

TEST(DescriptionTest, SplitsOptionsWithAnyFileName) {
    const auto block = lumo::parseBlockOption("kernel=a=b@c:d.img@boot:zstd:3");
    EXPECT_EQ(block.name + " " + block.file + " " + block.target, "kernel a=b@c:d.img boot");
    EXPECT_EQ(block.compression, PackageDescription::Compression::Zstd);
    EXPECT_EQ(block.level, 3);
    EXPECT_EQ(lumo::parseBlockOption("k=f:x@t").compression, PackageDescription::Compression::None);
    const auto script = lumo::parseScriptOption("before=a:b.sh:7");
    EXPECT_EQ(script.when, lumo::ManifestScript::When::Before);
    EXPECT_EQ(script.file, "a:b.sh");
    EXPECT_EQ(script.timeout, 7U);
    EXPECT_EQ(lumo::parseScriptOption("after=x.sh").timeout, 60U);

    for (const std::string text : {"", "kernel", "kernel=f", "f@t=k", "=f@t", "k=@t", "k=f@",
                                   "k=f@t:", "k=f@t:gzip", "k=f@t:none:3", "k=f@t:zstd:", "k=f@t:zstd:3x"}) {
        EXPECT_THAT(refusal([&] { lumo::parseBlockOption(text); }), StartsWith("block \"" + text + "\": "));
    }
    for (const std::string text : {"", "now=x.sh", "after=", "after=:5", "after=x.sh:", "after=x.sh:-1"}) {
        EXPECT_THAT(refusal([&] { lumo::parseScriptOption(text); }), StartsWith("script \"" + text + "\": "));
    }
}

} // namespace
