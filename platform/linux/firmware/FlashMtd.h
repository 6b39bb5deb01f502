#pragma once

#include <memory>
#include <vector>

#include "platform/linux/firmware/FlashDevice.h"
#include "platform/linux/firmware/FlashMtdIo.h"

namespace lumo {

// Raw flash (NOR, NAND, RAM) behind an MTD character device.
//
// On NAND the blocks that are marked bad are left out, and one that fails its erase or a page's programming
// can be marked with retire(). Reads whose errors the ECC could not correct fail: the driver hands out such
// bytes as if they were good, and only counts them.
class FlashMtd : public FlashDevice {
public:
    // Asks for the geometry and the bad blocks. Refuses read-only and absent devices. Throws FlashError.
    FlashMtd(std::string name, std::unique_ptr<MtdIo> io);

    const std::string& name() const override { return _name; }

    std::uint64_t size() const override { return _size; }

    std::uint32_t eraseSize() const override { return _eraseSize; }

    void read(std::uint64_t offset, std::span<std::byte> bytes) override;
    void erase(std::uint64_t offset, std::uint64_t length) override;
    // Writes whole pages: offset must be the start of one.
    void write(std::uint64_t offset, std::span<const std::byte> bytes) override;

    // Nothing to do: MTD writes are on the medium when they return, and reads come from there.
    void sync() override {}

    // NAND only. Another block has to take an erase first: where none does, it is not the block that failed
    // but the chip or the way to it, and marking would ruin good flash.
    void retire(std::uint64_t wornBlock) override;

private:
    using Operation = FlashError::Operation;

    // A run of bytes that lies in one piece on the medium; on NAND in one block, so that a failure has a
    // place.
    struct Extent {
        std::uint64_t physical;
        std::size_t length;
    };

    void readGeometry();
    void findGoodBlocks(std::uint64_t physicalSize);
    std::uint64_t physicalOf(std::uint64_t offset) const;
    Extent extentAt(std::uint64_t offset, std::uint64_t length) const;
    // Errors so far that the ECC could not correct.
    std::uint32_t uncorrectable() const;
    void readExtent(const Extent& extent, std::uint64_t offset, std::byte* bytes);
    void writeExtent(const Extent& extent, std::uint64_t offset, const std::byte* bytes);
    void writePages(std::uint64_t physical, std::uint64_t offset, std::span<const std::byte> pages);
    // The request's result.
    int eraseBlock(std::uint64_t physical);
    void markBad(std::uint32_t block);
    // The error for what errno says of an erase or write; EIO is a worn block.
    FlashError failureAt(Operation operation, std::uint64_t offset, std::uint64_t length) const;

    const std::string _name;
    const std::unique_ptr<MtdIo> _io;
    std::uint64_t _size = 0;
    // Constant after construction.
    std::uint32_t _eraseSize = 0;
    std::uint32_t _pageSize = 0;
    bool _nand = false;
    bool _needsErase = true;
    // Numbers on the medium; empty where no block can be bad. Only retire() changes it.
    std::vector<std::uint32_t> _goodBlocks;
};

} // namespace lumo
