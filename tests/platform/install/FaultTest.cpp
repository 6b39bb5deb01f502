#include <sys/ioctl.h>

#include <condition_variable>
#include <mutex>
#include <thread>

#include "platform/linux/firmware/InstallLock.h"
#include "tests/platform/install/InstallTest.h"

namespace lumo::tests {

namespace {

// Flash that fails.
class FaultTest : public InstallTest {
protected:
    // The nth call of a kind fails, of those to both flashes. Where a flush fails, the kernel forgets that
    // there was something to write, and goes on showing it.
    void failAt(Operation operation, std::ptrdiff_t nth) {
        for (auto& entry : flashes) {
            Flash& flash = entry.second;
            flash.script.before = [this, &flash, operation, nth](const FlashCall& call) {
                if (call.operation == operation && count(operation) == nth) {
                    flash.disk.dirty.clear();
                    throw FlashError(operation, "the flash broke");
                }
            };
        }
    }

    // What a failing read was for decides.
    Result expectedResult(Operation operation) {
        const bool first = flashes["rootfs"].script.calls.empty();
        const bool readBack = flashes[first ? "kernel" : "rootfs"].script.count(Operation::Sync) > 0;
        if (operation != Operation::Read) {
            return STBFirmwareUpdater::UPDATE_WRITE_FAILED;
        }
        return readBack ? STBFirmwareUpdater::UPDATE_VERIFY_FAILED
               : first  ? STBFirmwareUpdater::UPDATE_FLASH_ERROR
                        : STBFirmwareUpdater::UPDATE_WRITE_FAILED;
    }

    void losePower() {
        for (auto& [name, flash] : flashes) {
            flash.disk.losePower(power);
        }
    }
};

} // namespace

// Before the first erase nothing is changed and nothing is recorded; after it the record says that the
// installation is unfinished. Either way nothing more is written, and the next run mends it.
TEST_F(FaultTest, EveryOperationThatFailsHasItsResult) {
    const std::unique_ptr<Package> package = open(usual());
    int failures = 0;
    for (const Operation operation : {Operation::Read, Operation::Erase, Operation::Write, Operation::Sync}) {
        for (std::ptrdiff_t nth = 1;; ++nth) {
            SCOPED_TRACE(std::to_string(static_cast<int>(operation)) + " " + std::to_string(nth));
            fillWithOld();
            writeInstallRecord(config.stateDir, {State::Complete, "1.0", ""});
            support::writeFile(config.log.file, "");
            failAt(operation, nth);
            const Result result = install(*package);
            if (count(operation) < nth) {
                EXPECT_EQ(result, STBFirmwareUpdater::UPDATE_DONE);
                break;
            }
            ++failures;
            EXPECT_EQ(result, expectedResult(operation));
            const bool touched = result != STBFirmwareUpdater::UPDATE_FLASH_ERROR;
            EXPECT_THAT(log(), HasSubstr(std::string("the flash broke") +
                                         (touched ? "; the flash holds an unfinished installation" : "")));
            EXPECT_EQ(count(operation), nth) << "goes on after a failure";
            EXPECT_EQ(record().state, touched ? State::Begun : State::Complete);
            EXPECT_EQ(record().installedVersion(), touched ? "" : "1.0");
            failAt(operation, 0);
            EXPECT_EQ(install(*package), STBFirmwareUpdater::UPDATE_DONE);
            losePower();
            expectInstalled("2.0");
        }
    }
    EXPECT_GE(failures, 40);
    std::printf("%d failures, nothing lost\n", failures);
}

TEST_F(FaultTest, FindsCellsThatDoNotHoldWhatWasWritten) {
    flashes["rootfs"].script.before = [this](const FlashCall& call) {
        if (call.operation == Operation::Sync) {
            flashes["rootfs"].disk.cached[20000] ^= 4;
        }
    };
    EXPECT_EQ(install(usual()), STBFirmwareUpdater::UPDATE_VERIFY_FAILED);
    EXPECT_THAT(log(), HasSubstr("block rootfs does not read back from rootfs: it differs between byte"));
    EXPECT_EQ(record().state, State::Begun);
}

// Wherever blocks of NAND are bad or go bad, the package is put around them, and the next run reads it there.
TEST_F(FaultTest, BlocksThatGoBadAreReplaced) {
    const std::unique_ptr<Package> package = open(usual());
    for (std::uint64_t place = 0; place < 3 * 3 * 16; ++place) {
        SCOPED_TRACE(place);
        use(Kind::Nand);
        SimulatedChip& chip = flashes["rootfs"].chip;
        const std::uint64_t block = place / 9;
        chip.badBlocks = {(block + 4) % 16};
        (place % 3 == 0 ? chip.badBlocks : chip.wornBlocks).insert(block);
        if (place % 3 == 2) {
            chip.wornBlocks = {block + 1, block + 2}; // in a row
            chip.wornPages = {block * 8 + place % 7};
        }
        fillWithOld();
        const bool moving = place / 3 % 3 == 2; // all is there, but for this block
        if (moving) {
            chip.fill(rootfs);
            chip.blocks[block][0] = static_cast<char>(~chip.contentOf(block)[0]);
        }
        EXPECT_EQ(install(*package, place / 3 % 3 == 1), STBFirmwareUpdater::UPDATE_DONE);
        expectInstalled("2.0");
        EXPECT_TRUE(chip.badBlocks.contains(block) || block >= 7) << "7 blocks and a part are in use";
        EXPECT_LE(chip.badBlocks.size(), 4u);
        const std::ptrdiff_t erases = count(Operation::Erase);
        EXPECT_EQ(install(*package), STBFirmwareUpdater::UPDATE_NOT_NEEDED);
        EXPECT_EQ(count(Operation::Erase), erases);
    }
}

TEST_F(FaultTest, GivesUpWhenThereIsNoRoomForBadBlocks) {
    use(Kind::Nand);
    rootfs = noise(15 * 4096 - 1, 2); // one block to spare
    flashes["rootfs"].chip.wornBlocks = {3};
    flashes["rootfs"].chip.wornPages = {9 * 8};
    EXPECT_EQ(install(usual()), STBFirmwareUpdater::UPDATE_WRITE_FAILED);
    EXPECT_THAT(log(), HasSubstr("rootfs: block 3 is worn out and marked bad"));
    EXPECT_THAT(log(),
                HasSubstr("cannot write 4096 bytes at 32768 of rootfs: Input/output error (block 9), and "
                          "no spare block is left for block rootfs of 61439 bytes; the flash holds an"));
    EXPECT_THAT(flashes["rootfs"].chip.badBlocks, ElementsAre(3));
    EXPECT_EQ(record().state, State::Begun);
}

// Where nothing can be erased any more, it is not the blocks that are bad.
TEST_F(FaultTest, MarksNoBlockBadForAChipThatFailsAltogether) {
    use(Kind::Nand);
    for (const unsigned long request : {MEMERASE, MEMSETBADBLOCK}) {
        flashes["kernel"].chip.wornBlocks = {2};
        flashes["kernel"].chip.failingRequests = {request};
        EXPECT_EQ(install(usual()), STBFirmwareUpdater::UPDATE_WRITE_FAILED);
        EXPECT_THAT(flashes["kernel"].chip.badBlocks, ElementsAre());
    }
    EXPECT_THAT(log(), HasSubstr("no block from there on can be erased, none is marked bad"));
    EXPECT_THAT(log(), HasSubstr("marking block 2 bad: Input/output error"));
    EXPECT_EQ(content("rootfs"), old) << "goes on after a failure";
}

// All start while one is at work.
TEST_F(FaultTest, OnlyOneOfManyInstalls) {
    const std::unique_ptr<Package> package = open(usual());
    std::mutex mutex;
    std::condition_variable changed;
    std::map<Result, int> results;
    flashes["kernel"].script.before = [&](const FlashCall&) {
        std::unique_lock lock(mutex);
        changed.wait(lock, [&] { return results[STBFirmwareUpdater::UPDATE_BUSY] == 3; });
    };
    std::vector<std::thread> runs;
    for (int i = 0; i < 4; ++i) {
        runs.emplace_back([&] {
            const Result result = install(*package, false, nullptr);
            const std::lock_guard lock(mutex);
            ++results[result];
            changed.notify_all();
        });
    }
    for (std::thread& run : runs) {
        run.join();
    }
    EXPECT_EQ(results[STBFirmwareUpdater::UPDATE_DONE], 1);
    EXPECT_THAT(log(), HasSubstr("/update.lock: it is installing"));
    expectInstalled("2.0");
}

} // namespace lumo::tests
