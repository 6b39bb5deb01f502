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
using ::testing::HasSubstr;
using Operation = FlashError::Operation;

FlashTarget fileTarget(const std::string& path, std::uint64_t size) {
    return {FlashTarget::Kind::File, path, size, 4096};
}

FlashTarget deviceTarget(const std::string& path) {
    return {FlashTarget::Kind::Device, path, 0, 0};
}

TEST(FlashFileTest, IsCreatedForTheOwnerAloneAndKeepsWhatIsThere) {
    const TempDir folder;
    const std::string path = folder.file("state/flash/demo.img");
    EXPECT_EQ(get(*openFlash(fileTarget(path, 10000)), 0, 10000), std::string(10000, '\0'));
    EXPECT_EQ(fs::status(path).permissions(), fs::perms::owner_read | fs::perms::owner_write);
    writeFile(folder.file("short"), "kept");
    EXPECT_EQ(get(*openFlash(fileTarget(folder.file("short"), 8)), 0, 8), std::string("kept\0\0\0\0", 8));
    writeFile(folder.file("long"), "a longer one");
    const auto flash = openFlash(fileTarget(folder.file("long"), 8));
    EXPECT_EQ(flash->size(), 8u);
    put(*flash, 0, "A LONGER");
    flash->sync();
    EXPECT_EQ(readFile(folder.file("long")), "A LONGER one");
}

TEST(FlashFileTest, StaysWithinItsSize) {
    const TempDir folder;
    const auto flash = openFlash(fileTarget(folder.file("f"), 10000));
    flash->erase(8192, 10000 - 8192);
    EXPECT_EQ(failureOf([&] { flash->erase(4096, 100); }).operation, Operation::Erase);
    EXPECT_EQ(failureOf([&] { flash->erase(100, 4096); }).operation, Operation::Erase);
    EXPECT_EQ(failureOf([&] { get(*flash, UINT64_MAX, 2); }).operation, Operation::Read);
    EXPECT_EQ(failureOf([&] { put(*flash, 9999, "ab"); }).text,
              "cannot write 2 bytes at 9999 of " + folder.file("f") + ": beyond its end at 10000");
    EXPECT_EQ(fs::file_size(folder.file("f")), 10000u);
}

TEST(OpenFlashTest, RefusesLinksAndWhatIsNoFlash) {
    const TempDir folder;
    writeFile(folder.file("target"), "untouched");
    fs::create_symlink(folder.file("target"), folder.file("link"));
    fs::create_symlink(folder.file("nowhere"), folder.file("dangling"));
    ASSERT_EQ(::mkfifo(folder.file("pipe").c_str(), 0600), 0);
    const char* const neither = "it is neither an MTD character device nor a block device";

    const struct {
        FlashTarget target;
        const char* cause;
    } cases[] = {
        {fileTarget(folder.file("link"), 100), "it is a symbolic link"},
        {fileTarget(folder.file("dangling"), 100), "it is a symbolic link"},
        {fileTarget(folder.path().string(), 100), "it is not a regular file"},
        {fileTarget(folder.file("pipe"), 100), "it is not a regular file"},
        {fileTarget(folder.file("target/below"), 100), "Not a directory"},
        {deviceTarget(folder.file("none")), "No such file or directory"},
        {deviceTarget(folder.file("target")), neither},
        {deviceTarget("/dev/null"), neither},
    };

    for (const auto& [target, cause] : cases) {
        const Failure failure = failureOf([&, &what = target] { openFlash(what); });
        EXPECT_EQ(failure.operation, Operation::Open);
        EXPECT_EQ(failure.text, "cannot open " + target.path + ": " + cause);
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
    EXPECT_EQ(failure.text, "cannot write 2192 bytes at 6000 of " + folder.file("f") + ": File too large");
}

// A block device over a file, for as long as this lives; no path where the machine lends none.
struct LoopDevice {
    explicit LoopDevice(const std::vector<std::string>& options) {
        std::vector<std::string> command = {"losetup", "--find", "--show"};
        command.insert(command.end(), options.begin(), options.end());
        const support::ProcessResult result =
            support::run({.command = command, .environment = {}, .workingDirectory = {}});
        path = result.exitCode == 0 ? result.out.substr(0, result.out.find('\n')) : "";
    }

    ~LoopDevice() {
        if (!path.empty()) {
            support::run(
                {.command = {"losetup", "--detach", path}, .environment = {}, .workingDirectory = {}});
        }
    }

    LoopDevice(const LoopDevice&) = delete;
    LoopDevice& operator=(const LoopDevice&) = delete;

    std::string path;
};

TEST(FlashBlockTest, ReadsFromTheMediumAfterSyncAndIsAlone) {
    const TempDir folder;
    const std::string disk = folder.file("disk");
    writeFile(disk, std::string(1 << 20, 'd'));
    const LoopDevice device({disk});
    const LoopDevice readOnly({"--read-only", disk});
    if (device.path.empty() || readOnly.path.empty()) {
        GTEST_SKIP() << "needs root and loop devices";
    }
    const auto flash = openFlash(deviceTarget(device.path));
    EXPECT_EQ(flash->size(), 1u << 20);
    EXPECT_EQ(flash->eraseSize(), 131072u);
    const std::string bytes = pattern(131072 + 100);
    put(*flash, 131072, bytes);
    flash->sync();
    EXPECT_EQ(readFile(disk).substr(131072 - 1, bytes.size() + 2), "d" + bytes + "d");
    {
        const int medium = ::open(disk.c_str(), O_WRONLY | O_CLOEXEC);
        ASSERT_EQ(::pwrite(medium, "b", 1, 135000), 1);
        ::close(medium);
    }
    EXPECT_EQ(get(*flash, 135000, 1), "b");
    EXPECT_THAT(failureOf([&] { openFlash(deviceTarget(device.path)); }).text,
                HasSubstr("it is in use (mounted"));
    EXPECT_THAT(failureOf([&] { openFlash(deviceTarget(readOnly.path)); }).text,
                HasSubstr("the device is read-only"));
}

} // namespace
} // namespace lumo
