#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <nlohmann/json.hpp>

#include "platform/linux/firmware/Signature.h"
#include "tests/support/PackageBuilder.h"
#include "tests/support/Subprocess.h"
#include "tests/support/TempDir.h"

namespace {

using support::ProcessResult;
using support::readFile;
using support::writeFile;
using testing::ElementsAre;
using testing::EndsWith;
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

    ProcessResult tool(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), LUMO_FIRMWARE);
        return support::run({arguments, {}, _dir.path().string()});
    }

    // The same under a limit on the size of files, in blocks of 512 bytes.
    ProcessResult toolWithoutRoom(const std::string& blocks, const std::string& arguments,
                                  bool killed) const {
        const std::string limit = std::string(killed ? "" : "trap '' XFSZ; ") + "ulimit -f " + blocks + "; ";
        return support::run(
            {{"sh", "-c", limit + "exec '" LUMO_FIRMWARE "' " + arguments}, {}, _dir.path().string()});
    }

    ProcessResult create(const std::vector<std::string>& more) const {
        std::vector<std::string> all{"create", "-o",       "update.bin", "--version",
                                     "2.0",    "--device", "LUMO-SIM"};
        all.insert(all.end(), more.begin(), more.end());
        return tool(all);
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

    ProcessResult publish(const std::vector<std::string>& more = {}) const {
        std::vector<std::string> all{"publish", "update.bin", "--server", "server"};
        all.insert(all.end(), more.begin(), more.end());
        return tool(all);
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
    EXPECT_THAT(tool({"create", "--help"}).out, HasSubstr("Usage: lumo-firmware"));
    EXPECT_THAT(tool({"--version"}).out, StartsWith("lumo-firmware "));
    const std::pair<std::vector<std::string>, std::string> table[] = {
        {{}, "subcommand is required"},
        {{"publish", "a"}, "--server is required"},
        {{"create", "--unsigned", "-o", "x"}, "needs a description or at least one --block"},
        {{"create", "-o", "x", "--block", "k=f@t"}, "signed with --key or made with --unsigned"},
        {{"create", "-o", "x", "--block", "k=f@t", "--unsigned", "--key", "release.pem"}, "one of both"},
        {{"create", "-o", "x", "--block", "k=f@t", "--unsigned", "--device", "D"},
         "the package has no version"},
        {{"create", "-o", "x", "--block", "k=f", "--unsigned"}, "block \"k=f\": must be name=file@target"},
        {{"create", "-o", "x", "d.json", "--block", "k=f@t", "--unsigned"}, "not from both"},
    };
    for (const auto& [arguments, message] : table) {
        expectFailure(tool(arguments), 2, message);
    }
}

TEST_F(LumoFirmwareTest, MakesKeysThatOnlyTheirOwnerReads) {
    const ProcessResult made = tool({"keygen", "new"});
    EXPECT_EQ(made.exitCode, 0) << made.err;

    struct stat status {};

    ASSERT_EQ(stat(_dir.file("new.pem").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600U);
    const lumo::PrivateKey key = lumo::PrivateKey::load(_dir.file("new.pem"));
    EXPECT_EQ(lumo::PublicKey::load(_dir.file("new.pub.pem")).id(), key.publicKey().id());
    EXPECT_THAT(made.out, HasSubstr(key.publicKey().id()));

    const std::string old = readFile(_dir.file("new.pem"));
    expectFailure(tool({"keygen", "new"}), 1, "new.pem is there already");
    std::filesystem::remove(_dir.file("new.pem"));
    expectFailure(tool({"keygen", "new"}), 1, "new.pub.pem is there already");
    EXPECT_EQ(tool({"keygen", "new", "--force"}).exitCode, 0);
    EXPECT_NE(readFile(_dir.file("new.pem")), old);
    expectFailure(tool({"keygen", "missing/new"}), 1,
                  "cannot create missing/new.pem: No such file or directory");
}

TEST_F(LumoFirmwareTest, CreatesFromOptionsAndDescriptionsWhatItInspects) {
    const ProcessResult made =
        create({"--device", "LUMO-4K", "--type", "recovery", "--block", "kernel=kernel.img@boot", "--block",
                "rootfs=rootfs.img@disk:zstd", "--script", "after=run.sh:9", "--key", "release.pem"});
    ASSERT_EQ(made.exitCode, 0) << made.err;
    EXPECT_EQ(made.out, "update.bin: version 2.0, 2 blocks, signed by key " + _key.publicKey().id() + "\n");

    const ProcessResult shown = tool({"inspect", "update.bin", "--key", "release.pub.pem", "--json"});
    ASSERT_EQ(shown.exitCode, 0) << shown.err;
    const auto json = nlohmann::json::parse(shown.out);
    EXPECT_EQ(json["accepted"], true);
    EXPECT_EQ(json["version"], "2.0");
    EXPECT_EQ(json["type"], "recovery");
    EXPECT_EQ(json["signer"], _key.publicKey().id());
    EXPECT_EQ(json["size"], std::filesystem::file_size(_dir.file("update.bin")));
    EXPECT_EQ(json["blocks"][1]["compression"], "zstd");
    EXPECT_EQ(json["blocks"][1]["size"], 300000);
    EXPECT_EQ(json["scripts"][0]["timeout"], 9);

    const ProcessResult table = tool({"inspect", "update.bin"});
    EXPECT_THAT(table.out, HasSubstr("Devices    LUMO-SIM, LUMO-4K\n"));
    EXPECT_THAT(table.out, HasSubstr("Signature  there, not checked (no key given)\n"));
    EXPECT_THAT(table.out, HasSubstr("\n  kernel  kernel  boot    50000   50000   none         "));
    const ProcessResult lost = support::run(
        {{"sh", "-c", "exec '" LUMO_FIRMWARE "' inspect update.bin > /dev/full"}, {}, _dir.path().string()});
    expectFailure(lost, 1, "cannot write to standard output");

    writeFile(_dir.file("d.json"), R"({"version": "1.0", "devices": ["A"],
        "blocks": [{"name": "kernel", "file": "kernel.img", "target": "boot"}]})");
    EXPECT_EQ(tool({"create", "d.json", "--version", "1.1", "--unsigned", "-o", "update.bin"}).exitCode, 0);
    EXPECT_EQ(nlohmann::json::parse(tool({"inspect", "update.bin", "--json"}).out)["version"], "1.1");
}

TEST_F(LumoFirmwareTest, LeavesNothingBehindWhenItCannotWriteOrIsKilled) {
    const std::string create =
        "create --version 1 --device D --unsigned --block k=kernel.img@t -o server/u.bin";
    expectFailure(toolWithoutRoom("20", create, false), 1, "cannot write server/u.bin: File too large");
    EXPECT_THAT(filesIn("server"), IsEmpty());
    writePackage("2.0", "update.bin", support::noise(100000));
    expectFailure(toolWithoutRoom("20", "publish update.bin --server server", false), 1,
                  "cannot write server/LUMO-SIM/update.bin: File too large");
    EXPECT_THAT(filesIn("server"), IsEmpty());
    if (const int nameless = open(_dir.path().c_str(), O_TMPFILE | O_RDWR, 0600); nameless >= 0) {
        close(nameless);
        EXPECT_EQ(toolWithoutRoom("20", create, true).signal, SIGXFSZ);
        EXPECT_THAT(filesIn("server"), IsEmpty());
    }
}

TEST_F(LumoFirmwareTest, InspectRefusesBadPackages) {
    writePackage("2.0");
    expectFailure(tool({"inspect", "update.bin", "--key", "other.pub.pem"}), 1,
                  "update.bin is refused: the signature is not by any of the 1 accepted keys");
    EXPECT_EQ(tool({"inspect", "update.bin", "--key", "other.pub.pem", "--key", "release.pub.pem"}).exitCode,
              0);
    expectFailure(tool({"inspect", "update.bin", "--key", "run.sh"}), 1, "run.sh holds no public key");
    expectFailure(tool({"inspect", "kernel.img"}), 1, "does not begin as a firmware package");
    expectFailure(tool({"inspect", "server"}), 1, "server is not a regular file");

    std::string bytes = readFile(_dir.file("update.bin"));
    bytes.back() = static_cast<char>(bytes.back() ^ 1);
    writeFile(_dir.file("update.bin"), bytes);
    const ProcessResult result = tool({"inspect", "update.bin", "--json"});
    expectFailure(result, 1, "block kernel has the SHA-256");
    const auto json = nlohmann::json::parse(result.out);
    EXPECT_EQ(json["accepted"], false);
    EXPECT_EQ(json["result"], 5);

    writeFile(_dir.file("update.bin"), support::PackageBuilder().block("kernel", "k").build());
    expectFailure(tool({"inspect", "update.bin", "--key", "release.pub.pem"}), 1,
                  "the package is not signed");
    EXPECT_THAT(tool({"inspect", "update.bin"}).out, HasSubstr("Signature  none\n"));
}

TEST_F(LumoFirmwareTest, PublishesForEveryDevice) {
    writePackage("2.0");
    const ProcessResult result = publish({"--key", "release.pub.pem"});
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

    struct stat status {};

    ASSERT_EQ(stat(_dir.file("server/LUMO-SIM/default.json").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0444, 0444U) << "a web server must be able to read it";
    EXPECT_EQ(publish().exitCode, 0) << "publishing again changes nothing";
}

TEST_F(LumoFirmwareTest, PublishNeverGoesBackUnlessForcedTo) {
    writePackage("1.10");
    ASSERT_EQ(publish().exitCode, 0);
    writePackage("1.9", "older.bin");
    const std::vector<std::string> older{"publish", "older.bin", "--server", "server"};
    expectFailure(tool(older), 1, "server/LUMO-SIM/default.json offers version 1.10, and 1.9 is older");

    // One device that would go back keeps the package from all.
    std::filesystem::remove_all(_dir.file("server/LUMO-SIM"));
    expectFailure(tool(older), 1, "server/LUMO-4K/default.json offers version 1.10");
    EXPECT_FALSE(std::filesystem::exists(_dir.file("server/LUMO-SIM")));

    writeFile(_dir.file("server/LUMO-4K/default.json"), "{\"version\": \"1.0\"}");
    expectFailure(tool(older), 1, "server/LUMO-4K/default.json: url is missing");
    EXPECT_EQ(tool({"publish", "older.bin", "--server", "server", "--force"}).exitCode, 0);
    EXPECT_EQ(offeredVersion("LUMO-SIM"), "1.9");
    EXPECT_EQ(offeredVersion("LUMO-4K"), "1.9");
}

TEST_F(LumoFirmwareTest, PublishRefusesToReplaceAnotherPackage) {
    writePackage("2.0");
    ASSERT_EQ(publish().exitCode, 0);
    const std::string old = readFile(_dir.file("server/LUMO-SIM/update.bin"));
    writePackage("2.1", "update.bin", "CONTENT");
    expectFailure(publish(), 1, "server/LUMO-SIM/update.bin is there already, and is another package");
    EXPECT_EQ(readFile(_dir.file("server/LUMO-SIM/update.bin")), old);
    EXPECT_EQ(publish({"--force"}).exitCode, 0);
    EXPECT_EQ(offeredVersion("LUMO-SIM"), "2.1");
    EXPECT_THAT(filesIn("server").size(), 4U);
}

TEST_F(LumoFirmwareTest, PublishRefusesWhatInspectWouldRefuse) {
    writePackage("2.0");
    expectFailure(publish({"--key", "other.pub.pem"}), 1, "the signature is not by any");
    std::string bytes = readFile(_dir.file("update.bin"));
    writeFile(_dir.file("update.bin"), bytes.substr(0, bytes.size() - 1));
    expectFailure(publish(), 1, "update.bin is refused: the package breaks off");
    writeFile(_dir.file("default.json"), bytes);
    expectFailure(tool({"publish", "default.json", "--server", "server"}), 1,
                  "cannot publish \"default.json\"");
    writeFile(_dir.file("a b.bin"), bytes);
    expectFailure(tool({"publish", "a b.bin", "--server", "server"}), 1, "cannot publish \"a b.bin\"");
    expectFailure(tool({"publish", "default.json", "--server", "missing"}), 1,
                  "the server folder missing: No such");
    EXPECT_THAT(filesIn("server"), IsEmpty());
}

} // namespace
