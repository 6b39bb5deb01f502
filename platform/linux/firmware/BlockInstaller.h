#pragma once

#include <cstdint>
#include <functional>
#include <stdexcept>
#include <vector>

#include "platform/STBFirmwareUpdater.h"
#include "platform/linux/firmware/FlashDevice.h"
#include "platform/linux/firmware/Package.h"

namespace lumo {

// What was written does not read back. The text names the block, the device and the place.
class VerifyError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Brings one block of a package into its flash: compares erase block by erase block, then erases, writes and
// reads back those that differ. Memory stays at a few windows however large the block is. Throws FlashError,
// FirmwareError (the package cannot be read) and VerifyError. Main thread.
class BlockInstaller {
public:
    using Operation = STBFirmwareUpdater::CurrentOperation;
    // percent from 0 to 100; 100 once an operation.
    using Progress = std::function<void(Operation operation, double percent)>;

    // index: the block's place in the manifest. The flash is at least as large as the block.
    BlockInstaller(const Package& package, std::size_t index, FlashDevice& flash, Progress progress);

    // Makes sure that the bytes to be written are still those that were checked when the package was opened,
    // when they were hashed: nobody wrote to the file since. Throws FirmwareError.
    void checkUnchanged();
    // What compare() makes of flash that cannot be read: a failure, or, where an earlier installation was cut
    // short and may have left a half-written page behind, content that differs.
    enum class Unreadable { Fails, Differs };
    // Finds the erase blocks that differ from the package.
    void compare(Unreadable unreadable = Unreadable::Fails);
    // Takes all erase blocks as different.
    void takeAll();

    bool differs() const { return !_ranges.empty(); }

    // Erases and writes what differs, and returns when it is on the medium and was read back from there.
    // Blocks that turn out to be worn are retired as long as the flash has room for the package's block; what
    // then lies elsewhere is compared and rewritten, too.
    void rewrite();

private:
    struct Range {
        std::uint64_t begin; // multiple of the erase size
        std::uint64_t end;   // likewise, or the end of the block
    };

    // Told each stretch that was looked at, and whether flash and package are equal there.
    using Verdict = std::function<void(std::uint64_t begin, std::uint64_t end, bool equal)>;

    using Advance = std::function<void(std::uint64_t bytes)>;

    void erase();
    void write();
    // Rethrows what cannot be helped by it.
    void retire(const FlashError& error);

    void refuseChanges() const;
    std::uint64_t eraseBlockEnd(std::uint64_t offset) const;
    bool flashEquals(std::uint64_t offset, std::span<const std::byte> bytes, Unreadable unreadable);
    bool beginsEqual(std::uint64_t offset, Unreadable unreadable);
    void compareRange(const Range& range, Unreadable unreadable, const Verdict& verdict);
    void writeRange(const Range& range, const Advance& advance);
    void readBack(const Advance& advance);
    void markDifferent(std::uint64_t begin, std::uint64_t end);
    std::uint64_t bytesToRewrite() const;

    const Package& _package;
    const std::size_t _index;
    const ManifestBlock& _block;
    FlashDevice& _flash;
    const Progress _progress;
    std::vector<Range> _ranges; // what differs, ascending, apart from each other
    std::vector<std::byte> _buffer;
};

} // namespace lumo
