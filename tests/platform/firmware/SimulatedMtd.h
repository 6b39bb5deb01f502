#pragma once

#include <mtd/mtd-user.h>

#include <map>
#include <set>
#include <string>
#include <vector>

#include "platform/linux/firmware/FlashMtdIo.h"

namespace lumo {

// A flash chip in memory. It insists on what real ones insist on: NAND takes whole pages that have been
// erased since they were last written, and no access to bad blocks; NOR clears bits only.
struct SimulatedChip {
    std::uint8_t type = MTD_NANDFLASH;
    std::uint32_t flags = MTD_CAP_NANDFLASH;
    std::uint64_t size = 0;
    std::uint32_t eraseSize = 0;
    std::uint32_t pageSize = 1;

    std::set<std::uint64_t> badBlocks;        // numbers
    std::set<std::uint64_t> unreadablePages;  // numbers; reading one counts an ECC failure and gives rubbish
    std::set<std::uint64_t> unerasableBlocks; // numbers
    std::set<unsigned long> failingRequests;  // they fail with EIO
    std::size_t longestTransfer = SIZE_MAX;   // reads and writes are cut to this
    bool interrupting = false;                // every other call fails with EINTR

    // The content of erase blocks that were ever written, by number.
    std::map<std::uint64_t, std::string> blocks;
    std::set<std::uint64_t> writtenPages;     // numbers, since they were erased
    std::vector<unsigned long> eraseRequests; // MEMERASE or MEMERASE64
    std::uint32_t eccFailures = 0;

    std::string contentOf(std::uint64_t block) const;
};

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

    bool isNand() const { return _chip.type == MTD_NANDFLASH || _chip.type == MTD_MLCNANDFLASH; }

    int erase(std::uint64_t start, std::uint64_t length);
    bool writePage(const char* bytes, std::uint64_t offset);
    std::string& block(std::uint64_t offset);

    SimulatedChip& _chip;
    unsigned _calls = 0;
};

} // namespace lumo
