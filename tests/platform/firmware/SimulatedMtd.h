#pragma once

#include <mtd/mtd-user.h>

#include <map>
#include <set>
#include <string>

#include "platform/linux/firmware/FlashMtdIo.h"
#include "tests/platform/firmware/Power.h"

namespace lumo {

// A flash chip in memory. It insists on what real ones insist on: NAND takes whole pages that have been
// erased since they were last written, and no access to bad blocks; NOR clears bits only. When its power
// goes, the page or the bytes just being written and the block just being erased are left half done.
struct SimulatedChip {
    std::uint8_t type = MTD_NANDFLASH;
    std::uint32_t flags = MTD_CAP_NANDFLASH;
    std::uint64_t size = 0;
    std::uint32_t eraseSize = 0;
    std::uint32_t pageSize = 1;

    // All by number.
    std::set<std::uint64_t> badBlocks;
    std::set<std::uint64_t> wornBlocks;      // cannot be erased
    std::set<std::uint64_t> wornPages;       // cannot be programmed
    std::set<std::uint64_t> unreadablePages; // reading one counts an ECC failure
    std::set<unsigned long> failingRequests; // they fail with EIO
    std::size_t longestTransfer = SIZE_MAX;  // reads and writes are cut to this
    bool interrupting = false;               // every other call fails with EINTR
    Power* power = nullptr;                  // null: it never goes

    // The content of erase blocks that were ever written, by number.
    std::map<std::uint64_t, std::string> blocks;
    std::set<std::uint64_t> writtenPages; // since they were erased
    std::set<std::uint64_t> tornPages;    // unreadable until they are erased
    std::uint32_t eccFailures = 0;

    bool isNand() const { return type == MTD_NANDFLASH || type == MTD_MLCNANDFLASH; }

    std::string contentOf(std::uint64_t block) const;
    // What the blocks that are not bad hold, one after the other.
    std::string content() const;
    // Makes it the content, as if it had been programmed long ago.
    void fill(const std::string& bytes);
};

SimulatedChip simulatedNand(std::uint64_t blocks, std::uint32_t eraseSize, std::uint32_t pageSize);
SimulatedChip simulatedNor(std::uint64_t blocks, std::uint32_t eraseSize);

// The chip as an opened device. The chip must outlive it.
class SimulatedMtd : public MtdIo {
public:
    explicit SimulatedMtd(SimulatedChip& chip) : _chip(chip) {}

    int ioctl(unsigned long request, void* argument) override;
    ssize_t pread(void* bytes, std::size_t length, std::uint64_t offset) override;
    ssize_t pwrite(const void* bytes, std::size_t length, std::uint64_t offset) override;

    std::int64_t size() override { return static_cast<std::int64_t>(_chip.size); }

private:
    bool interrupted();
    int erase(std::uint64_t start, std::uint64_t length);
    bool writePage(const char* bytes, std::uint64_t offset);
    std::size_t writeBytes(const char* bytes, std::size_t length, std::uint64_t offset);
    void tearErase(std::uint64_t number, std::size_t done);
    void tearPage(std::string& content, std::size_t at, std::uint64_t page);
    std::uint64_t draw(std::uint64_t units) const;
    void stopWithoutPower() const;
    std::string& block(std::uint64_t number);

    SimulatedChip& _chip;
    unsigned _calls = 0;
};

} // namespace lumo
