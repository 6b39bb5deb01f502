#include "tools/lumo-firmware/PackageWriter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

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

TEST_F(PackageWriterTest, WritesWhatTheReaderAccepts) {
    PackageDescription description =
        describe({block("rootfs", "text", zstd), block("kernel", "noise"), block("empty", "empty"),
                  block("both", "noise", zstd), block("nothing", "empty", zstd)});
    description.scripts.push_back({lumo::ManifestScript::When::Before, _dir.file("noise"), 5});
    const lumo::PrivateKey key = lumo::PrivateKey::generate();
    PackageWriter writer(description, key);
    std::uint64_t reported = 0;
    const lumo::Manifest written = writer.write(_output, [&](std::uint64_t bytes) { reported += bytes; });
    EXPECT_EQ(reported, writer.inputSize());

    const lumo::CheckedPackage package = lumo::checkPackage(lumo::InputFile(_output), {key.publicKey()});
    EXPECT_EQ(package.signer, key.publicKey().id());
    EXPECT_EQ(package.size, std::filesystem::file_size(_output));
    EXPECT_EQ(lumo::formatManifest(package.manifest), lumo::formatManifest(written));
    ASSERT_EQ(written.blocks.size(), 5U);
    const auto& [both, empty, kernel, nothing, rootfs] = std::tie(
        written.blocks[0], written.blocks[1], written.blocks[2], written.blocks[3], written.blocks[4]);
    EXPECT_EQ(rootfs.compression, zstd);
    EXPECT_LT(rootfs.payload.stored, rootfs.size);
    EXPECT_EQ(rootfs.sha256, lumo::sha256(std::as_bytes(std::span(_text))));
    // Noise does not get smaller, nor does nothing.
    EXPECT_EQ(both.compression, none);
    EXPECT_EQ(both.sha256, kernel.sha256);
    EXPECT_EQ(nothing.compression, none);
    EXPECT_EQ(empty.size, 0U);
}

TEST_F(PackageWriterTest, WritesTheSameBytesForTheSameInput) {
    const lumo::PrivateKey key = lumo::PrivateKey::generate();
    const auto package = [&](const PackageDescription& description) {
        PackageWriter(description, key).write(_output);
        return support::readFile(_output);
    };
    const auto a = block("a", "text", zstd);
    const auto b = block("b", "noise");
    const std::string first = package(describe({a, b}));
    EXPECT_EQ(package(describe({a, b})), first);
    EXPECT_EQ(package(describe({b, a})), first);
    EXPECT_EQ(package(describe({block("b", "noise")})),
              support::PackageBuilder().version("2.0").key(key).block("b", _noise).build());
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
    std::filesystem::create_directory(_dir.file("folder"));
    support::writeFile(_dir.file("huge"), "");
    std::filesystem::resize_file(_dir.file("huge"), std::uint64_t(1) << 32);
    const auto edited = [this](const std::function<void(PackageDescription&)>& edit) {
        PackageDescription description = describe({block("a", "text"), block("b", "noise")});
        edit(description);
        return refusal(description);
    };
    const auto block0 = [&](std::string PackageDescription::Block::*field, const std::string& value) {
        return edited([&](PackageDescription& d) { d.blocks[0].*field = value; });
    };
    using Block = PackageDescription::Block;
    using Description = PackageDescription;
    const std::pair<std::string, std::string> table[] = {
        {edited([](Description& d) { d.version = "2 0"; }), "version \"2 0\" is not a valid version"},
        {edited([](Description& d) { d.devices = {"\xff"}; }), "device \"\xff\" is not a valid name"},
        {edited([](Description& d) { d.devices = {}; }), "devices must be a list of 1 to 256 entries"},
        {block0(&Block::key, "a b"), "block a: key \"a b\" is not a valid name"},
        {block0(&Block::target, "/dev/sda"), "block a: target \"/dev/sda\" is not a valid name"},
        {block0(&Block::key, "b"), "two blocks have the key b"},
        {block0(&Block::file, _dir.file("missing")),
         "cannot open " + _dir.file("missing") + ": No such file"},
        {block0(&Block::file, _dir.file("folder")), _dir.file("folder") + " is not a regular file"},
        {block0(&Block::file, _dir.file("huge")),
         "block a: " + _dir.file("huge") + " has 4294967296 bytes, and at most 4294967295 are allowed"},
        {edited([](Description& d) { d.blocks[0].level = 20; }),
         "there is no compression level 20 (1 to 19)"},
        {edited([&](Description& d) { d.scripts.emplace_back().file = _dir.file("text"); }),
         "must be signed"},
    };
    for (const auto& [refused, message] : table) {
        EXPECT_THAT(refused, HasSubstr(message));
    }
    EXPECT_TRUE(outputFolder().empty());
}

TEST_F(PackageWriterTest, RefusesBadScripts) {
    support::writeFile(_dir.file("long"), std::string((1 << 20) + 1, ' '));
    const std::tuple<const char*, std::uint32_t, const char*> table[] = {
        {"long", 1, "has 1048577 bytes, and at most 1048576 are allowed"},
        {"text", 0, "a timeout of 0 seconds"},
        {"text", 3601, "a timeout of 3601 seconds"}};
    for (const auto& [file, timeout, message] : table) {
        PackageDescription description = describe({block("a", "text")});
        description.scripts.push_back({lumo::ManifestScript::When::After, _dir.file(file), timeout});
        EXPECT_THAT(refusal(description, lumo::PrivateKey::generate()), HasSubstr(message));
    }
}

TEST_F(PackageWriterTest, RefusesOutputsItCannotReplace) {
    const auto refusalOf = [this](const std::string& output) {
        _output = output;
        return refusal(describe({block("a", "text")}));
    };
    EXPECT_THAT(refusalOf(_dir.file("out")), HasSubstr("it is not a regular file"));
    EXPECT_THAT(refusalOf(_dir.file("text")), HasSubstr("is not a firmware package"));
    EXPECT_EQ(support::readFile(_dir.file("text")), _text);
    EXPECT_THAT(refusalOf(_dir.file("missing/update.bin")), HasSubstr("No such file or directory"));
    EXPECT_EQ(refusalOf(_dir.file("empty")), "accepted");
    EXPECT_EQ(refusalOf(_dir.file("empty")), "accepted") << "now it is a package";
}

} // namespace
