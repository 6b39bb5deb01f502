#include "platform/linux/firmware/FlashDevice.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <functional>

#include "platform/linux/firmware/FlashMtd.h"
#include "tests/platform/firmware/SimulatedMtd.h"
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

constexpr std::uint32_t block = 4096;

// Bytes that differ from page to page.
std::string pattern(std::size_t length) {
    std::string bytes(length, '\0');
    for (std::size_t i = 0; i < length; ++i) {
        bytes[i] = static_cast<char>(i * 31 + i / 512);
    }
    return bytes;
}

std::string get(FlashDevice& flash, std::uint64_t offset, std::uint64_t length) {
    std::string bytes(static_cast<std::size_t>(length), '\0');
    flash.read(offset, std::as_writable_bytes(std::span(bytes)));
    return bytes;
}

void put(FlashDevice& flash, std::uint64_t offset, const std::string& bytes) {
    flash.write(offset, std::as_bytes(std::span(bytes)));
}

FlashError failureOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const FlashError& error) {
        return error;
    }
    ADD_FAILURE() << "nothing failed";
    return {Operation::Open, ""};
}

SimulatedChip nand(std::uint64_t blocks) {
    return simulatedNand(blocks, block, 512);
}

FlashMtd opened(SimulatedChip& chip) {
    return {"/dev/mtd9", std::make_unique<SimulatedMtd>(chip)};
}

FlashTarget fileTarget(const std::string& path, std::uint64_t size) {
    return {FlashTarget::Kind::File, path, size, 4096};
}

FlashTarget deviceTarget(const std::string& path) {
    return {FlashTarget::Kind::Device, path, 0, 0};
}

} // namespace

TEST(FlashMtdTest, LeavesBadBlocksOutAndFillsTheLastPageUp) {
    SimulatedChip chip = nand(8);
    chip.badBlocks = {0, 3, 4, 7};
    FlashMtd flash = opened(chip);
    ASSERT_EQ(flash.size(), 4 * block);
    const std::string bytes = pattern(3 * block + 700);
    flash.erase(0, flash.size());
    put(flash, 0, bytes);
    EXPECT_EQ(get(flash, block - 100, block), bytes.substr(block - 100, block)) << "across a bad block";
    EXPECT_EQ(chip.content(), bytes + std::string(block - 700, '\xFF'));
    EXPECT_EQ(chip.writtenPages.size(), 3 * block / 512 + 2) << "a page beyond the data was written";
    EXPECT_EQ(failureOf([&] { get(flash, flash.size() - 1, 2); }).operation(), Operation::Read);
    EXPECT_EQ(failureOf([&] { put(flash, 100, "x"); }).operation(), Operation::Write) << "inside a page";
}

TEST(FlashMtdTest, CompletesShortAndInterruptedTransfers) {
    for (SimulatedChip chip : {nand(4), simulatedNor(4, block)}) {
        chip.longestTransfer = 512;
        chip.interrupting = true;
        FlashMtd flash = opened(chip);
        const std::string bytes = pattern(2 * block + 300);
        flash.erase(block, 3 * block);
        put(flash, block, bytes);
        EXPECT_EQ(get(flash, block, bytes.size()), bytes);
    }
}

TEST(FlashMtdTest, NeverHandsOutWhatTheEccCouldNotCorrect) {
    SimulatedChip chip = nand(4);
    chip.badBlocks = {1};
    chip.unreadablePages = {2 * block / 512 + 3};
    chip.eccFailures = 7; // of reads before ours
    FlashMtd flash = opened(chip);
    EXPECT_EQ(get(flash, 0, block).size(), block);
    EXPECT_THAT(failureOf([&] { get(flash, 0, 3 * block); }).what(),
                HasSubstr("cannot read 4096 bytes at 4096 of /dev/mtd9: 1 errors that the ECC"));
}

TEST(FlashMtdTest, ReachesBeyondFourGibibytes) {
    SimulatedChip chip = nand(0);
    chip.eraseSize = 1 << 20;
    chip.size = (std::uint64_t(4) << 30) + 2 * chip.eraseSize;
    FlashMtd flash = opened(chip);
    ASSERT_EQ(flash.size(), chip.size);
    const std::uint64_t place = chip.size - 2 * chip.eraseSize;
    chip.fill("below");
    flash.erase(place - chip.eraseSize, 3 * chip.eraseSize);
    put(flash, place, "beyond");
    EXPECT_EQ(get(flash, place, 6), "beyond");
    EXPECT_EQ(chip.contentOf(0).substr(0, 5), "below");
    EXPECT_EQ(chip.contentOf(4096).substr(0, 6), "beyond");
}

TEST(FlashMtdTest, RefusesWhatCannotBeWrittenOrAsked) {
    const std::pair<std::function<void(SimulatedChip&)>, const char*> cases[] = {
        {[](SimulatedChip& chip) { chip.flags = 0; }, "read-only"},
        {[](SimulatedChip& chip) { chip.type = MTD_ABSENT; }, "no chip"},
        {[](SimulatedChip& chip) { chip.eraseSize = 0; }, "geometry"},
        {[](SimulatedChip& chip) { chip.pageSize = 600; }, "pages of 600"},
        {[](SimulatedChip& chip) { chip.failingRequests = {MEMGETINFO}; }, "error"},
        {[](SimulatedChip& chip) { chip.failingRequests = {MEMGETBADBLOCK}; }, "whether block 0 is bad"},
    };
    for (const auto& [change, text] : cases) {
        SimulatedChip chip = nand(2);
        change(chip);
        EXPECT_THAT(failureOf([&] { opened(chip); }).what(), HasSubstr(text));
    }
}

TEST(FlashFileTest, IsCreatedForTheOwnerAloneKeepsWhatIsThereAndStaysWithinItsSize) {
    const TempDir folder;
    const std::string path = folder.file("state/flash/demo.img");
    const auto flash = openFlash(fileTarget(path, 10000));
    EXPECT_EQ(get(*flash, 0, 10000), std::string(10000, '\0'));
    EXPECT_EQ(fs::status(path).permissions(), fs::perms::owner_read | fs::perms::owner_write);
    flash->erase(8192, 10000 - 8192);
    EXPECT_EQ(failureOf([&] { flash->erase(4096, 100); }).operation(), Operation::Erase);
    EXPECT_EQ(failureOf([&] { get(*flash, UINT64_MAX, 2); }).operation(), Operation::Read);
    EXPECT_EQ(failureOf([&] { put(*flash, 9999, "ab"); }).what(),
              "cannot write 2 bytes at 9999 of " + path + ": beyond its end at 10000");
    EXPECT_EQ(fs::file_size(path), 10000u);

    writeFile(folder.file("short"), "kept");
    EXPECT_EQ(get(*openFlash(fileTarget(folder.file("short"), 8)), 0, 8), std::string("kept\0\0\0\0", 8));
    writeFile(folder.file("long"), "a longer one");
    put(*openFlash(fileTarget(folder.file("long"), 8)), 0, "A LONGER");
    EXPECT_EQ(readFile(folder.file("long")), "A LONGER one");
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
    const FlashError failure = failureOf([&] { put(*flash, 4096, std::string(4096, 'x')); });
    ::setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, handler);
    EXPECT_EQ(failure.what(), "cannot write 2192 bytes at 6000 of " + folder.file("f") + ": File too large");
}

TEST(OpenFlashTest, RefusesLinksAndWhatIsNoFlash) {
    const TempDir folder;
    writeFile(folder.file("target"), "untouched");
    fs::create_symlink(folder.file("target"), folder.file("link"));
    fs::create_symlink(folder.file("nowhere"), folder.file("dangling"));
    ASSERT_EQ(::mkfifo(folder.file("pipe").c_str(), 0600), 0);
    const char* const neither = "it is neither an MTD character device nor a block device";
    const std::pair<FlashTarget, const char*> cases[] = {
        {fileTarget(folder.file("link"), 100), "it is a symbolic link"},
        {fileTarget(folder.file("dangling"), 100), "it is a symbolic link"},
        {fileTarget(folder.path().string(), 100), "it is not a regular file"},
        {fileTarget(folder.file("pipe"), 100), "it is not a regular file"},
        {deviceTarget(folder.file("none")), "No such file or directory"},
        {deviceTarget(folder.file("target")), neither},
        {deviceTarget("/dev/null"), neither},
    };
    for (const auto& [target, cause] : cases) {
        EXPECT_EQ(failureOf([&, &what = target] { openFlash(what); }).what(),
                  "cannot open " + target.path + ": " + cause);
    }
    EXPECT_EQ(readFile(folder.file("target")), "untouched");
    EXPECT_FALSE(fs::exists(folder.file("nowhere")));
}

// A block device over a file, for as long as this lives; no path where the machine lends none.
struct LoopDevice {
    explicit LoopDevice(const std::string& disk, const std::string& option = "--find") {
        const support::ProcessResult result =
            support::run({{"losetup", "--find", "--show", option, disk}, {}, {}});
        path = result.exitCode == 0 ? result.out.substr(0, result.out.find('\n')) : "";
    }

    ~LoopDevice() {
        if (!path.empty()) {
            support::run({{"losetup", "--detach", path}, {}, {}});
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
    const LoopDevice device(disk);
    const LoopDevice readOnly(disk, "--read-only");
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
    EXPECT_THAT(failureOf([&] { openFlash(deviceTarget(device.path)); }).what(),
                HasSubstr("it is in use (mounted"));
    EXPECT_THAT(failureOf([&] { openFlash(deviceTarget(readOnly.path)); }).what(),
                HasSubstr("the device is read-only"));
}

} // namespace lumo
