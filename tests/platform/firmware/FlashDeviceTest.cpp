#include "platform/linux/firmware/FlashDevice.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>

#include "tests/platform/firmware/FlashTesting.h"
#include "tests/support/Subprocess.h"
#include "tests/support/TempDir.h"

namespace lumo {
namespace {

namespace fs = std::filesystem;
using support::readFile;
using support::TempDir;
using support::writeFile;
using ::testing::AllOf;
using ::testing::HasSubstr;
using Operation = FlashError::Operation;

FlashTarget fileTarget(const std::string& path, std::uint64_t size) {
    return {FlashTarget::Kind::File, path, size, 4096};
}

FlashTarget deviceTarget(const std::string& path) {
    return {FlashTarget::Kind::Device, path, 0, 0};
}

TEST(FlashFileTest, IsCreatedWithItsFoldersForTheOwnerAlone) {
    const TempDir folder;
    const std::string path = folder.file("state/flash/demo.img");
    const auto flash = openFlash(fileTarget(path, 10000));
    EXPECT_EQ(flash->name(), path);
    EXPECT_EQ(flash->size(), 10000u);
    EXPECT_EQ(flash->eraseSize(), 4096u);
    EXPECT_EQ(fs::file_size(path), 10000u);
    EXPECT_EQ(fs::status(path).permissions(), fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_EQ(get(*flash, 0, 10000), std::string(10000, '\0'));
}

TEST(FlashFileTest, KeepsWhatIsThere) {
    const TempDir folder;
    writeFile(folder.file("short"), "kept");
    writeFile(folder.file("long"), "a longer one");
    EXPECT_EQ(get(*openFlash(fileTarget(folder.file("short"), 8)), 0, 8), std::string("kept\0\0\0\0", 8));
    const auto flash = openFlash(fileTarget(folder.file("long"), 8));
    EXPECT_EQ(flash->size(), 8u);
    put(*flash, 0, "A LONGER");
    flash->sync();
    EXPECT_EQ(readFile(folder.file("long")), "A LONGER one");
}

TEST(FlashFileTest, HoldsWhatWasWrittenPieceByPiece) {
    const TempDir folder;
    const std::string text = readFile("/proc/self/exe").substr(0, 5 << 20);
    for (const std::uint64_t speed : {0, 1 << 30}) {
        FlashTarget target = fileTarget(folder.file("f"), text.size());
        target.speed = speed;
        const auto flash = openFlash(target);
        flash->erase(0, text.size());
        for (std::size_t i = 0; i < text.size(); i += 100000) {
            put(*flash, i, text.substr(i, 100000));
        }
        flash->sync();
        EXPECT_TRUE(get(*flash, 0, text.size()) == text);
        EXPECT_TRUE(readFile(folder.file("f")) == text);
        fs::remove(folder.file("f"));
    }
}

TEST(FlashFileTest, StaysWithinItsSize) {
    const TempDir folder;
    const auto flash = openFlash(fileTarget(folder.file("f"), 10000));
    flash->erase(0, 10000);
    flash->erase(8192, 10000 - 8192);
    EXPECT_EQ(failureOf([&] { flash->erase(4096, 100); }).operation, Operation::Erase);
    EXPECT_EQ(failureOf([&] { flash->erase(100, 4096); }).operation, Operation::Erase);
    EXPECT_EQ(failureOf([&] { get(*flash, 10000, 1); }).operation, Operation::Read);
    EXPECT_EQ(failureOf([&] { get(*flash, UINT64_MAX, 2); }).operation, Operation::Read);
    const Failure failure = failureOf([&] { put(*flash, 9999, "ab"); });
    EXPECT_EQ(failure.operation, Operation::Write);
    EXPECT_EQ(failure.text,
              "cannot write 2 bytes at 9999 of " + folder.file("f") + ": beyond its end at 10000");
    EXPECT_EQ(fs::file_size(folder.file("f")), 10000u);
}

TEST(FlashFileTest, RefusesLinksAndWhatIsNoRegularFile) {
    const TempDir folder;
    writeFile(folder.file("target"), "untouched");
    fs::create_symlink(folder.file("target"), folder.file("link"));
    fs::create_symlink(folder.file("nowhere"), folder.file("dangling"));
    fs::create_directory(folder.file("folder"));
    ASSERT_EQ(::mkfifo(folder.file("pipe").c_str(), 0600), 0);

    const struct {
        const char* name;
        const char* cause;
    } cases[] = {
        {"link", "it is a symbolic link"},      {"dangling", "it is a symbolic link"},
        {"folder", "it is not a regular file"}, {"pipe", "it is not a regular file"},
        {"target/below", "Not a directory"},
    };

    for (const auto& [name, cause] : cases) {
        const FlashTarget target = fileTarget(folder.file(name), 100);
        const Failure failure = failureOf([&] { openFlash(target); });
        EXPECT_EQ(failure.operation, Operation::Open) << name;
        EXPECT_EQ(failure.text, "cannot open " + target.path + ": " + cause) << name;
    }
    EXPECT_EQ(readFile(folder.file("target")), "untouched");
    EXPECT_FALSE(fs::exists(folder.file("nowhere")));
}

TEST(FlashFileTest, ReportsTheFailuresOfTheFileSystem) {
    const TempDir folder;
    const auto flash = openFlash(fileTarget(folder.file("f"), 65536));
    // The limit stops writes beyond it in the middle, as a full disk does.
    const rlimit low{6000, RLIM_INFINITY};
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &low), 0);
    const Failure failure = failureOf([&] { put(*flash, 4096, std::string(4096, 'x')); });
    ::setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, handler);
    EXPECT_EQ(failure.operation, Operation::Write);
    EXPECT_EQ(failure.text, "cannot write 2192 bytes at 6000 of " + folder.file("f") + ": File too large");
    EXPECT_EQ(failureOf([&] { openFlash(fileTarget("/proc/lumo", 10)); }).operation, Operation::Open);
}

TEST(OpenFlashTest, RefusesDevicesOfOtherKinds) {
    const TempDir folder;
    writeFile(folder.file("file"), "x");
    const std::string none = folder.file("none");
    EXPECT_THAT(failureOf([&] { openFlash(deviceTarget(none)); }).text,
                HasSubstr("No such file or directory"));
    for (const std::string& path : {std::string("/dev/null"), folder.file("file")}) {
        const Failure failure = failureOf([&] { openFlash(deviceTarget(path)); });
        EXPECT_EQ(failure.operation, Operation::Open);
        EXPECT_EQ(failure.text,
                  "cannot open " + path + ": it is neither an MTD character device nor a block device");
    }
}

// A block device over a file, for as long as this lives. Needs the rights of root.
class LoopDevice {
public:
    explicit LoopDevice(const std::string& file, bool readOnly = false) {
        std::vector<std::string> command = {"losetup", "--find", "--show", file};
        if (readOnly) {
            command.insert(command.begin() + 1, "--read-only");
        }
        const support::ProcessResult result =
            support::run({.command = command, .environment = {}, .workingDirectory = {}});
        _problem = result.exitCode == 0 ? "" : "no loop device: " + result.err;
        _path = result.out.substr(0, result.out.find('\n'));
    }

    ~LoopDevice() {
        if (_problem.empty()) {
            support::run(
                {.command = {"losetup", "--detach", _path}, .environment = {}, .workingDirectory = {}});
        }
    }

    LoopDevice(const LoopDevice&) = delete;
    LoopDevice& operator=(const LoopDevice&) = delete;

    const std::string& path() const { return _path; }

    // Why there is none; empty if there is.
    const std::string& problem() const { return _problem; }

private:
    std::string _path;
    std::string _problem;
};

TEST(FlashBlockTest, ReadsFromTheMediumAfterSyncAndIsAlone) {
    if (::geteuid() != 0 || ::access("/dev/loop-control", R_OK | W_OK) != 0) {
        GTEST_SKIP() << "needs root and /dev/loop-control";
    }
    const TempDir folder;
    const std::string disk = folder.file("disk");
    writeFile(disk, std::string(1 << 20, 'd'));
    const LoopDevice device(disk);
    const LoopDevice readOnly(disk, true);
    if (!device.problem().empty() || !readOnly.problem().empty()) {
        GTEST_SKIP() << device.problem() << readOnly.problem();
    }
    const auto flash = openFlash(deviceTarget(device.path()));
    EXPECT_EQ(flash->size(), 1u << 20);
    EXPECT_EQ(flash->eraseSize(), 131072u);
    const std::string bytes = pattern(131072 + 100);
    flash->erase(131072, 2 * 131072);
    put(*flash, 131072, bytes);
    flash->sync();
    const std::string rest((1 << 20) - 131072 - bytes.size(), 'd');
    EXPECT_EQ(readFile(disk), std::string(131072, 'd') + bytes + rest);
    {
        const int medium = ::open(disk.c_str(), O_WRONLY | O_CLOEXEC);
        ASSERT_EQ(::pwrite(medium, "b", 1, 135000), 1);
        ::close(medium);
    }
    EXPECT_EQ(get(*flash, 135000, 1), "b");
    EXPECT_THAT(failureOf([&] { openFlash(deviceTarget(device.path())); }).text,
                AllOf(HasSubstr(device.path()), HasSubstr("it is in use (mounted")));
    EXPECT_THAT(failureOf([&] { openFlash(deviceTarget(readOnly.path())); }).text,
                HasSubstr("the device is read-only"));
}

} // namespace
} // namespace lumo
