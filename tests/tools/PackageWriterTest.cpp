#include "tools/lumo-firmware/PackageWriter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "tests/support/PackageBuilder.h"
#include "tests/support/TempDir.h"
#include "tools/lumo-firmware/PackageCheck.h"
#include "tools/lumo-firmware/ToolError.h"

namespace {

using lumo::PackageDescription;
using lumo::PackageWriter;
using testing::HasSubstr;

constexpr auto zstd = PackageDescription::Compression::Zstd;
constexpr auto none = PackageDescription::Compression::None;

class PackageWriterTest : public testing::Test {
protected:
    void SetUp() override {
        std::filesystem::create_directory(_dir.file("out"));
        support::writeFile(_dir.file("text"), _text);
        support::writeFile(_dir.file("noise"), _noise);
        support::writeFile(_dir.file("empty"), "");
    }

    PackageDescription::Block block(const std::string& name, const std::string& file,
                                    PackageDescription::Compression compression = none) const {
        PackageDescription::Block made;
        made.name = name;
        made.target = name;
        made.file = _dir.file(file);
        made.compression = compression;
        return made;
    }

    PackageDescription describe(std::vector<PackageDescription::Block> blocks) const {
        PackageDescription description;
        description.version = "2.0";
        description.devices = {"LUMO-SIM"};
        description.blocks = std::move(blocks);
        return description;
    }

    std::string refusal(const PackageDescription& description, std::optional<lumo::PrivateKey> key = {},
                        const std::function<void(std::uint64_t)>& progress = {}) const {
        try {
            PackageWriter(description, key).write(_output, progress);
        } catch (const lumo::ToolError& error) {
            return error.what();
        }
        return "accepted";
    }

    std::vector<std::string> outputFolder() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(_dir.file("out"))) {
            names.push_back(entry.path().filename().string());
        }
        return names;
    }

    support::TempDir _dir;
    std::string _text = std::string(700000, 't') + "the end";
    std::string _noise = support::noise(600000);
    std::string _output = _dir.file("out/update.bin");
};

TEST_F(PackageWriterTest, WritesWhatTheReaderAcceptsAlwaysTheSameBytes) {
    PackageDescription description =
        describe({block("rootfs", "text", zstd), block("kernel", "noise"), block("empty", "empty"),
                  block("both", "noise", zstd), block("nothing", "empty", zstd)});
    description.scripts.push_back({lumo::ManifestScript::When::Before, _dir.file("noise"), 5});
    const lumo::PrivateKey key = lumo::PrivateKey::generate();
    PackageWriter writer(description, key);
    std::uint64_t reported = 0;
    const lumo::Manifest written = writer.write(_output, [&](std::uint64_t bytes) { reported += bytes; });
    EXPECT_EQ(reported, writer.inputSize());
    const std::string first = support::readFile(_output);

    const lumo::CheckedPackage package = lumo::checkPackage(lumo::InputFile(_output), {key.publicKey()});
    EXPECT_EQ(package.signer, key.publicKey().id());
    EXPECT_EQ(lumo::formatManifest(package.manifest), lumo::formatManifest(written));
    std::string blocks;
    for (const lumo::ManifestBlock& made : written.blocks) {
        blocks += made.name + (made.compression == zstd ? " zstd, " : ", ");
    }
    EXPECT_EQ(blocks, "both, empty, kernel, nothing, rootfs zstd, ") << "noise does not get smaller";
    std::reverse(description.blocks.begin(), description.blocks.end());
    PackageWriter(description, key).write(_output);
    EXPECT_EQ(support::readFile(_output), first);
}

TEST_F(PackageWriterTest, LeavesTheOldPackageWhenAFileChangesUnderneath) {
    const std::string old = support::PackageBuilder().block("old", "old").build();
    support::writeFile(_output, old);
    const std::string file = _dir.file("text");
    const std::function<void()> changes[] = {
        [&] { std::ofstream(file, std::ios::app) << "more"; },
        [&] { std::filesystem::resize_file(file, 500000); },
        [&] { std::filesystem::last_write_time(file, std::filesystem::file_time_type()); },
    };
    for (const auto& change : changes) {
        support::writeFile(file, _text);
        const auto onProgress = [&, changed = false](std::uint64_t) mutable {
            if (!std::exchange(changed, true)) {
                change();
            }
        };
        EXPECT_EQ(refusal(describe({block("text", "text"), block("z", "text", zstd)}), {}, onProgress),
                  file + " changed while it was read (it had 700007 bytes)");
    }
    EXPECT_EQ(support::readFile(_output), old);
    EXPECT_EQ(outputFolder(), std::vector<std::string>{"update.bin"});
}

TEST_F(PackageWriterTest, RefusesBadDescriptions) {
    support::writeFile(_dir.file("huge"), "");
    std::filesystem::resize_file(_dir.file("huge"), std::uint64_t(1) << 32);
    using Description = PackageDescription;
    using When = lumo::ManifestScript::When;
    const std::pair<std::function<void(Description&)>, std::string> table[] = {
        {[](Description& d) { d.version = "2 0"; }, "version \"2 0\" is not a valid version"},
        {[](Description& d) { d.devices = {"\xff"}; }, "device \"\xff\" is not a valid name"},
        {[](Description& d) { d.devices = {}; }, "devices must be a list of 1 to 256 entries"},
        {[](Description& d) { d.blocks[0].key = "a b"; }, "block a: key \"a b\" is not a valid name"},
        {[](Description& d) { d.blocks[0].target = "/x"; }, "block a: target \"/x\" is not a valid name"},
        {[](Description& d) { d.blocks[0].key = "b"; }, "two blocks have the key b"},
        {[](Description& d) { d.blocks[0].level = 20; }, "there is no compression level 20 (1 to 19)"},
        {[&](Description& d) { d.blocks[0].file = _dir.file("missing"); }, "missing: No such file"},
        {[&](Description& d) { d.blocks[0].file = _dir.file("out"); }, "out is not a regular file"},
        {[&](Description& d) { d.blocks[0].file = _dir.file("huge"); }, "huge has 4294967296 bytes, and at"},
        {[&](Description& d) {
             d.scripts = {{When::After, _dir.file("text"), 0}};
         },
         "a timeout of 0 seconds"},
        {[&](Description& d) {
             d.scripts = {{When::After, _dir.file("huge"), 1}};
         },
         "at most 1048576 are"},
    };
    for (const auto& [edit, message] : table) {
        PackageDescription description = describe({block("a", "text"), block("b", "noise")});
        edit(description);
        EXPECT_THAT(refusal(description, lumo::PrivateKey::generate()), HasSubstr(message));
    }
    PackageDescription scripted = describe({block("a", "text")});
    scripted.scripts = {{When::After, _dir.file("text"), 60}};
    EXPECT_THAT(refusal(scripted), HasSubstr("must be signed"));
    EXPECT_TRUE(outputFolder().empty());
}

TEST_F(PackageWriterTest, RefusesOutputsItCannotReplace) {
    const std::pair<const char*, const char*> table[] = {
        {"out", "it is not a regular file"},
        {"text", "is not a firmware package"},
        {"missing/update.bin", "No such file or directory"},
        {"empty", "accepted"},
        {"empty", "accepted"}, // now it is a package
    };
    for (const auto& [output, message] : table) {
        _output = _dir.file(output);
        EXPECT_THAT(refusal(describe({block("a", "text")})), HasSubstr(message)) << output;
    }
    EXPECT_EQ(support::readFile(_dir.file("text")), _text);
}

} // namespace
