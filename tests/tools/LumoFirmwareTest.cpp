#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "platform/linux/firmware/Signature.h"
#include "tests/support/PackageBuilder.h"
#include "tests/support/Subprocess.h"
#include "tests/support/TempDir.h"
#include "tools/lumo-firmware/Description.h"
#include "tools/lumo-firmware/PackageWriter.h"
#include "tools/lumo-firmware/ToolError.h"

namespace {

using support::ProcessResult;
using support::readFile;
using support::writeFile;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

// The program in a folder of its own, with a key pair and two files to make blocks from.
class LumoFirmwareTest : public testing::Test {
protected:
    void SetUp() override {
        writeFile(_dir.file("kernel.img"), support::noise(50000));
        writeFile(_dir.file("rootfs.img"), std::string(300000, 'r'));
        writeFile(_dir.file("run.sh"), "true\n");
        writeFile(_dir.file("release.pem"), _key.toPem());
        writeFile(_dir.file("release.pub.pem"), _key.publicKey().toPem());
        writeFile(_dir.file("other.pub.pem"), lumo::PrivateKey::generate().publicKey().toPem());
        std::filesystem::create_directory(_dir.file("server"));
    }

    // Runs it with arguments as a shell would split them, in that folder.
    ProcessResult tool(const std::string& arguments, const std::string& before = "") const {
        return support::run(
            {{"sh", "-c", before + "exec '" LUMO_FIRMWARE "' " + arguments}, {}, _dir.path()});
    }

    void writePackage(const std::string& version, const std::string& name = "update.bin",
                      const std::string& content = "content") const {
        writeFile(_dir.file(name), support::PackageBuilder()
                                       .version(version)
                                       .device("LUMO-SIM")
                                       .device("LUMO-4K")
                                       .key(_key)
                                       .block("kernel", content)
                                       .build());
    }

    ProcessResult publish(const std::string& more = "") const {
        return tool("publish update.bin --server server " + more);
    }

    std::vector<std::string> filesIn(const std::string& folder) const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(_dir.file(folder))) {
            if (!entry.is_directory()) {
                names.push_back(std::filesystem::relative(entry.path(), _dir.file(folder)).string());
            }
        }
        std::sort(names.begin(), names.end());
        return names;
    }

    std::filesystem::perms modeOf(const std::string& name) const {
        return std::filesystem::status(_dir.file(name)).permissions();
    }

    std::string offeredVersion(const std::string& device) const {
        return nlohmann::json::parse(readFile(_dir.file("server/" + device + "/default.json")))["version"];
    }

    support::TempDir _dir;
    lumo::PrivateKey _key = lumo::PrivateKey::generate();
};

void expectFailure(const ProcessResult& result, int exitCode, const std::string& message) {
    EXPECT_EQ(result.exitCode, exitCode) << result.err;
    EXPECT_THAT(result.err, StartsWith("lumo-firmware: "));
    EXPECT_THAT(result.err, HasSubstr(message));
    if (exitCode == 1) {
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
    }
}

TEST_F(LumoFirmwareTest, ExplainsItselfAndAnswersWrongUsageWithTwo) {
    EXPECT_THAT(tool("create --help").out, HasSubstr("Usage: lumo-firmware"));
    EXPECT_THAT(tool("--version").out, StartsWith("lumo-firmware "));
    const std::pair<std::string, std::string> table[] = {
        {"", "subcommand is required"},
        {"publish a", "--server is required"},
        {"create --unsigned -o x", "needs a description or at least one --block"},
        {"create -o x --block k=f@t", "signed with --key or made with --unsigned"},
        {"create -o x --block k=f@t --unsigned --key release.pem", "one of both"},
        {"create -o x --block k=f@t --unsigned --device D", "the package has no version"},
        {"create -o x d.json --block k=f@t --unsigned", "not from both"},
    };
    for (const auto& [arguments, message] : table) {
        expectFailure(tool(arguments), 2, message);
    }
    for (const std::string option : {"", "kernel", "kernel=f", "f@t=k", "=f@t", "k=@t", "k=f@", "k=f@t:",
                                     "k=f@t:gzip", "k=f@t:none:3", "k=f@t:zstd:", "k=f@t:zstd:3x"}) {
        EXPECT_THROW(lumo::parseBlockOption(option), lumo::ToolError) << option;
    }
    for (const std::string option : {"", "now=f", "after=", "after=:5", "after=f:", "after=f:-1"}) {
        EXPECT_THROW(lumo::parseScriptOption(option), lumo::ToolError) << option;
    }
    EXPECT_EQ(lumo::parseBlockOption("k=a=b@c:d.img@t:zstd:3").file, "a=b@c:d.img");
    EXPECT_EQ(lumo::parseScriptOption("before=a:b.sh:7").file, "a:b.sh");
}

TEST_F(LumoFirmwareTest, MakesKeysThatOnlyTheirOwnerReads) {
    const ProcessResult made = tool("keygen new");
    EXPECT_EQ(made.exitCode, 0) << made.err;
    using std::filesystem::perms;
    EXPECT_EQ(modeOf("new.pem"), perms::owner_read | perms::owner_write);
    const lumo::PrivateKey key = lumo::PrivateKey::load(_dir.file("new.pem"));
    EXPECT_EQ(lumo::PublicKey::load(_dir.file("new.pub.pem")).id(), key.publicKey().id());
    EXPECT_THAT(made.out, HasSubstr(key.publicKey().id()));

    const std::string old = readFile(_dir.file("new.pem"));
    expectFailure(tool("keygen new"), 1, "new.pem is there already");
    std::filesystem::remove(_dir.file("new.pem"));
    expectFailure(tool("keygen new"), 1, "new.pub.pem is there already");
    EXPECT_EQ(tool("keygen new --force").exitCode, 0);
    EXPECT_NE(readFile(_dir.file("new.pem")), old);
    expectFailure(tool("keygen missing/new"), 1, "cannot create missing/new.pem: No such file or directory");
}

TEST_F(LumoFirmwareTest, CreatesFromOptionsAndDescriptionsWhatItInspects) {
    const std::string kernel = " --block kernel=kernel.img@boot:zstd"; // noise does not get smaller
    const std::string rootfs = " --block rootfs=rootfs.img@disk:zstd";
    const std::string create = "create -o update.bin --version 2.0 --device LUMO-SIM --device LUMO-4K "
                               "--type recovery --script after=run.sh:9 --key release.pem";
    ASSERT_EQ(tool(create + rootfs + kernel).exitCode, 0);
    const std::string package = readFile(_dir.file("update.bin"));
    const ProcessResult made = tool(create + kernel + rootfs);
    ASSERT_EQ(made.exitCode, 0) << made.err;
    EXPECT_EQ(readFile(_dir.file("update.bin")), package);
    EXPECT_EQ(made.out, "update.bin: version 2.0, 2 blocks, signed by key " + _key.publicKey().id() + "\n");

    const auto json = nlohmann::json::parse(tool("inspect update.bin --key release.pub.pem --json").out);
    EXPECT_EQ(json["accepted"], true);
    EXPECT_EQ(json["type"], "recovery");
    EXPECT_EQ(json["signer"], _key.publicKey().id());
    EXPECT_EQ(json["size"], std::filesystem::file_size(_dir.file("update.bin")));
    EXPECT_EQ(json["blocks"][1]["compression"], "zstd");
    EXPECT_EQ(json["blocks"][1]["size"], 300000);
    EXPECT_EQ(json["scripts"][0]["timeout"], 9);

    const ProcessResult table = tool("inspect update.bin");
    EXPECT_THAT(table.out, HasSubstr("Devices    LUMO-SIM, LUMO-4K\n"));
    EXPECT_THAT(table.out, HasSubstr("Signature  there, not checked (no key given)\n"));
    EXPECT_THAT(table.out, HasSubstr("\n  kernel  kernel  boot    50000   50000   none         "));
    expectFailure(tool("inspect update.bin > /dev/full"), 1, "cannot write to standard output");

    std::filesystem::create_directory(_dir.file("below"));
    writeFile(_dir.file("below/d.json"), R"({"version": "1.0", "type": "recovery", "devices": ["A"],
        "blocks": [{"name": "a", "key": "10-a", "file": "../kernel.img", "target": "boot"},
                   {"name": "b", "file": ")" +
                                             _dir.file("rootfs.img") +
                                             R"(", "target": "t", "compression": "zstd", "level": 19}],
        "scripts": [{"when": "before", "file": "../run.sh", "timeout": 5}]})");
    ASSERT_EQ(tool("create below/d.json --version 1.1 --key release.pem -o update.bin").exitCode, 0);
    const auto described = nlohmann::json::parse(tool("inspect update.bin --json").out);
    EXPECT_EQ(described["version"], "1.1");
    EXPECT_EQ(described["type"], "recovery");
    EXPECT_EQ(described["blocks"][0]["key"], "10-a");
    EXPECT_EQ(described["blocks"][1]["compression"], "zstd");
    EXPECT_EQ(described["scripts"][0]["timeout"], 5);
}

TEST_F(LumoFirmwareTest, RefusesWhatItCannotMakeAPackageOf) {
    writeFile(_dir.file("huge"), "");
    std::filesystem::resize_file(_dir.file("huge"), std::uint64_t(1) << 32);
    const std::string blockA = "--device D --block a=kernel.img@t --key release.pem ";
    const std::string good = blockA + "--version 2 -o server/u.bin ";
    const std::pair<std::string, std::string> table[] = {
        {blockA + "-o server/u.bin --version '2 0'", "version \"2 0\" is not a valid version"},
        {blockA + "--version 2 -o server", "it is not a regular file"},
        {blockA + "--version 2 -o run.sh", "is not a firmware package"},
        {blockA + "--version 2 -o missing/u.bin", "No such file or directory"},
        {good + "--device 'a b'", "device \"a b\" is not a valid name"},
        {good + "--block b=kernel.img@/dev/sda", "block b: target \"/dev/sda\" is not a valid name"},
        {good + "--block a=kernel.img@u", "two blocks have the key a"},
        {good + "--block b=kernel.img@u:zstd:20", "there is no compression level 20 (1 to 19)"},
        {good + "--block b=missing@u", "missing: No such file"},
        {good + "--block b=server@u", "server is not a regular file"},
        {good + "--block b=huge@u", "huge has 4294967296 bytes, and at most 4294967295 are allowed"},
        {good + "--script after=run.sh:0", "a timeout of 0 seconds"},
        {good + "--script after=huge", "at most 1048576 are allowed"},
    };
    for (const auto& [arguments, message] : table) {
        expectFailure(tool("create " + arguments), 1, message);
    }
    const std::string block = R"({"blocks": [{"name": "a", "file": "a", "target": "a", )";
    const std::pair<std::string, std::string> descriptions[] = {
        {"", "parse error at line 1"},
        {R"({"version": "1", "version": "2", "blocks": []})", R"(the key "version" stands twice)"},
        {R"({"version": "1"})", "blocks is missing"},
        {block + R"("size": 1}]})", "unknown key blocks[0].size"},
        {block + R"("compression": "xz"}]})", R"(blocks[0].compression must be "none" or "zstd", not "xz")"},
        {block + R"("compression": "zstd", "level": 20}]})", "blocks[0].level must be a whole number from 1"},
        {block + R"("level": 3}]})", "blocks[0].level is for zstd only"},
    };
    for (const auto& [json, message] : descriptions) {
        writeFile(_dir.file("d.json"), json);
        expectFailure(tool("create d.json --unsigned -o server/u.bin"), 1, "d.json: " + message);
    }
    expectFailure(
        tool("create --version 2 --device D --block a=kernel.img@t --unsigned --script after=run.sh -o x"), 1,
        "must be signed");
    EXPECT_THAT(filesIn("server"), IsEmpty());
    EXPECT_EQ(readFile(_dir.file("run.sh")), "true\n");
}

TEST_F(LumoFirmwareTest, LeavesTheOldPackageWhenAFileChangesUnderneath) {
    const std::string output = _dir.file("server/u.bin");
    const std::string file = _dir.file("rootfs.img");
    const std::string old = support::PackageBuilder().block("old", "old").build();
    writeFile(output, old);
    lumo::PackageDescription description;
    description.version = "2.0";
    description.devices = {"D"};
    for (const char* option : {"a=rootfs.img@a", "b=rootfs.img@b:zstd"}) {
        description.blocks.push_back(lumo::parseBlockOption(option));
        description.blocks.back().file = file;
    }
    const std::function<void()> changes[] = {
        [&] { std::ofstream(file, std::ios::app) << "more"; },
        [&] { std::filesystem::resize_file(file, 200000); },
        [&] { std::filesystem::last_write_time(file, std::filesystem::file_time_type()); },
    };
    for (const auto& change : changes) {
        writeFile(file, std::string(300000, 'r'));
        bool changed = false;
        const auto onProgress = [&](std::uint64_t) {
            if (!std::exchange(changed, true)) {
                change();
            }
        };
        EXPECT_THROW(lumo::PackageWriter(description, {}).write(output, onProgress), lumo::ToolError);
    }
    EXPECT_EQ(readFile(output), old);
    EXPECT_THAT(filesIn("server"), ElementsAre("u.bin"));
}

TEST_F(LumoFirmwareTest, LeavesNothingBehindWhenItCannotWriteOrIsKilled) {
    const std::string limit = "ulimit -f 20; "; // blocks of 512 bytes
    const std::string create =
        "create --version 1 --device D --unsigned --block k=kernel.img@t -o server/u.bin";
    expectFailure(tool(create, "trap '' XFSZ; " + limit), 1, "cannot write server/u.bin: File too large");
    EXPECT_THAT(filesIn("server"), IsEmpty());
    writePackage("2.0", "update.bin", support::noise(100000));
    expectFailure(tool("publish update.bin --server server", "trap '' XFSZ; " + limit), 1,
                  "cannot write server/LUMO-SIM/update.bin: File too large");
    EXPECT_THAT(filesIn("server"), IsEmpty());
    if (const int nameless = open(_dir.path().c_str(), O_TMPFILE | O_RDWR, 0600); nameless >= 0) {
        close(nameless);
        EXPECT_EQ(tool(create, limit).signal, SIGXFSZ);
        EXPECT_THAT(filesIn("server"), IsEmpty());
    }
}

TEST_F(LumoFirmwareTest, InspectsAndPublishesNoBadPackages) {
    writePackage("2.0");
    expectFailure(tool("inspect update.bin --key other.pub.pem"), 1,
                  "update.bin is refused: the signature is not by any of the 1 accepted keys");
    EXPECT_EQ(tool("inspect update.bin --key other.pub.pem --key release.pub.pem").exitCode, 0);
    expectFailure(tool("inspect update.bin --key run.sh"), 1, "run.sh holds no public key");
    expectFailure(tool("inspect kernel.img"), 1, "does not begin as a firmware package");
    expectFailure(publish("--key other.pub.pem"), 1, "the signature is not by any");
    const std::string bytes = readFile(_dir.file("update.bin"));
    for (const char* name : {"default.json", "a b.bin"}) {
        writeFile(_dir.file(name), bytes);
        expectFailure(tool("publish '" + std::string(name) + "' --server server"), 1, "cannot publish \"");
    }
    expectFailure(tool("publish update.bin --server missing"), 1, "the server folder missing: No such");
    writeFile(_dir.file("update.bin"), bytes.substr(0, bytes.size() - 1));
    expectFailure(publish(), 1, "update.bin is refused: the package breaks off");
    EXPECT_THAT(filesIn("server"), IsEmpty());
    writeFile(_dir.file("update.bin"), support::PackageBuilder().block("kernel", "k").build());
    expectFailure(tool("inspect update.bin --key release.pub.pem"), 1, "the package is not signed");
    EXPECT_THAT(tool("inspect update.bin").out, HasSubstr("Signature  none\n"));
}

TEST_F(LumoFirmwareTest, PublishesForEveryDeviceAndReplacesNoOtherPackage) {
    writePackage("2.0");
    const ProcessResult result = publish("--key release.pub.pem");
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.out, "server/LUMO-SIM/default.json offers version 2.0\n"
                          "server/LUMO-4K/default.json offers version 2.0\n");
    EXPECT_THAT(filesIn("server"), ElementsAre("LUMO-4K/default.json", "LUMO-4K/update.bin",
                                               "LUMO-SIM/default.json", "LUMO-SIM/update.bin"));
    const std::string package = readFile(_dir.file("update.bin"));
    EXPECT_EQ(readFile(_dir.file("server/LUMO-SIM/update.bin")), package);
    const nlohmann::json expected = {
        {"version", "2.0"},
        {"url", "update.bin"},
        {"size", package.size()},
        {"sha256", lumo::toHex(lumo::sha256(std::as_bytes(std::span(package))))}};
    EXPECT_EQ(nlohmann::json::parse(readFile(_dir.file("server/LUMO-4K/default.json"))), expected);
    EXPECT_NE(modeOf("server/LUMO-SIM/default.json") & std::filesystem::perms::others_read,
              std::filesystem::perms::none)
        << "a web server must be able to read it";
    EXPECT_EQ(publish().exitCode, 0) << "publishing again changes nothing";

    writePackage("2.1", "update.bin", "CONTENT");
    expectFailure(publish(), 1, "server/LUMO-SIM/update.bin is there already, and is another package");
    EXPECT_EQ(readFile(_dir.file("server/LUMO-SIM/update.bin")), package);
    EXPECT_EQ(publish("--force").exitCode, 0);
    EXPECT_EQ(offeredVersion("LUMO-SIM"), "2.1");
    EXPECT_THAT(filesIn("server").size(), 4U);
}

TEST_F(LumoFirmwareTest, PublishNeverGoesBackUnlessForcedTo) {
    writePackage("1.10");
    ASSERT_EQ(publish().exitCode, 0);
    writePackage("1.9", "older.bin");
    const std::string older = "publish older.bin --server server";
    expectFailure(tool(older), 1, "server/LUMO-SIM/default.json offers version 1.10, and 1.9 is older");

    // One device that would go back keeps the package from all.
    std::filesystem::remove_all(_dir.file("server/LUMO-SIM"));
    expectFailure(tool(older), 1, "server/LUMO-4K/default.json offers version 1.10");
    EXPECT_FALSE(std::filesystem::exists(_dir.file("server/LUMO-SIM")));

    writeFile(_dir.file("server/LUMO-4K/default.json"), "{\"version\": \"1.0\"}");
    expectFailure(tool(older), 1, "server/LUMO-4K/default.json: url is missing");
    EXPECT_EQ(tool(older + " --force").exitCode, 0);
    EXPECT_EQ(offeredVersion("LUMO-SIM"), "1.9");
    EXPECT_EQ(offeredVersion("LUMO-4K"), "1.9");
}

} // namespace
