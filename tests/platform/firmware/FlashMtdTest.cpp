#include "platform/linux/firmware/FlashMtd.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>

#include <functional>

#include "tests/platform/firmware/FlashTesting.h"
#include "tests/platform/firmware/SimulatedMtd.h"

namespace lumo {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using Operation = FlashError::Operation;

constexpr std::uint32_t block = 4096;

SimulatedChip nand(std::uint64_t blocks) {
    return simulatedNand(blocks, block, 512);
}

FlashMtd opened(SimulatedChip& chip) {
    return {"/dev/mtd9", std::make_unique<SimulatedMtd>(chip)};
}

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
    EXPECT_EQ(failureOf([&] { get(flash, flash.size() - 1, 2); }).operation, Operation::Read);
    EXPECT_EQ(failureOf([&] { put(flash, 100, "x"); }).operation, Operation::Write) << "inside a page";
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
    const Failure failure = failureOf([&] { get(flash, 0, 3 * block); });
    EXPECT_EQ(failure.operation, Operation::Read);
    EXPECT_THAT(failure.text,
                HasSubstr("cannot read 4096 bytes at 4096 of /dev/mtd9: 1 errors that the ECC"));
}

TEST(FlashMtdTest, SetsWornBlocksAside) {
    SimulatedChip chip = nand(6);
    chip.badBlocks = {0};
    chip.wornBlocks = {2, 3};
    chip.wornPages = {5 * block / 512 + 1};
    FlashMtd flash = opened(chip);
    const Failure erase = failureOf([&] { flash.erase(0, 5 * block); });
    EXPECT_EQ(erase.text, "cannot erase 4096 bytes at 4096 of /dev/mtd9: Input/output error (block 2)");
    ASSERT_EQ(erase.wornBlock, block);
    flash.retire(*erase.wornBlock); // and the next, which does not work either
    EXPECT_THAT(chip.badBlocks, ElementsAre(0, 2, 3));
    EXPECT_EQ(flash.size(), 3 * block);
    flash.erase(0, 3 * block);
    const Failure write = failureOf([&] { put(flash, 0, pattern(3 * block)); });
    EXPECT_THAT(write.text,
                HasSubstr("cannot write 4096 bytes at 8192 of /dev/mtd9: Input/output error (block 5)"));
    EXPECT_EQ(write.wornBlock, 2 * block);
    EXPECT_EQ(chip.content().substr(0, 2 * block), pattern(2 * block));

    SimulatedChip other = simulatedNor(2, block);
    other.wornBlocks = {0};
    FlashMtd nor = opened(other);
    EXPECT_EQ(failureOf([&] { nor.erase(0, block); }).wornBlock, std::nullopt);
}

TEST(FlashMtdTest, ReachesBeyondFourGibibytes) {
    SimulatedChip chip = nand(0);
    chip.eraseSize = 1 << 20;
    chip.size = (std::uint64_t(4) << 30) + 2 * chip.eraseSize;
    FlashMtd flash = opened(chip);
    ASSERT_EQ(flash.size(), chip.size);
    const std::uint64_t place = chip.size - 2 * chip.eraseSize;
    flash.erase(place - chip.eraseSize, 3 * chip.eraseSize);
    put(flash, place, "beyond");
    EXPECT_EQ(get(flash, place, 6), "beyond");
    EXPECT_EQ(chip.contentOf(4096).substr(0, 6), "beyond");
    EXPECT_EQ(chip.eraseRequests.back(), static_cast<unsigned long>(MEMERASE64));
}

TEST(FlashMtdTest, WritesRamWithoutErasing) {
    SimulatedChip chip = simulatedNor(2, block);
    chip.type = MTD_RAM;
    chip.flags = MTD_CAP_RAM;
    FlashMtd flash = opened(chip);
    put(flash, 0, pattern(2 * block));
    flash.erase(0, 2 * block);
    put(flash, 0, std::string(2 * block, 'r'));
    EXPECT_EQ(get(flash, 0, 2 * block), std::string(2 * block, 'r'));
    EXPECT_TRUE(chip.eraseRequests.empty());
}

TEST(FlashMtdTest, RefusesWhatCannotBeWrittenOrAsked) {
    const struct {
        std::function<void(SimulatedChip&)> change;
        Operation operation;
        const char* text;
    } cases[] = {
        {[](SimulatedChip& chip) { chip.flags = 0; }, Operation::Open, "read-only"},
        {[](SimulatedChip& chip) { chip.type = MTD_ABSENT; }, Operation::Open, "no chip"},
        {[](SimulatedChip& chip) { chip.eraseSize = 0; }, Operation::Query, "geometry"},
        {[](SimulatedChip& chip) { chip.pageSize = 600; }, Operation::Query, "pages of 600"},
        {[](SimulatedChip& chip) { chip.failingRequests = {MEMGETINFO}; }, Operation::Query, "error"},
        {[](SimulatedChip& chip) { chip.failingRequests = {MEMGETBADBLOCK}; }, Operation::Query,
         "whether block 0 is bad"},
    };

    for (const auto& [change, operation, text] : cases) {
        SimulatedChip chip = nand(2);
        change(chip);
        const Failure failure = failureOf([&] { opened(chip); });
        EXPECT_EQ(failure.operation, operation) << text;
        EXPECT_THAT(failure.text, AllOf(HasSubstr("/dev/mtd9"), HasSubstr(text)));
    }
}

} // namespace
} // namespace lumo
