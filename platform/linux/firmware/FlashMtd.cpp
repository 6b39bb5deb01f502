#include "platform/linux/firmware/FlashMtd.h"

#include <mtd/mtd-user.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <limits>
#include <utility>

#include "platform/linux/device/Log.h"
#include "platform/linux/firmware/FlashIo.h"

#define LUMO_LOG_FILE "platform/linux/firmware/FlashMtd"

namespace lumo {

namespace {

// Repeats a request that a signal interrupts.
int request(MtdIo& io, unsigned long code, void* argument) {
    int result = -1;
    do {
        result = io.ioctl(code, argument);
    } while (result < 0 && errno == EINTR);
    return result;
}

} // namespace

FlashMtd::FlashMtd(std::string name, std::unique_ptr<MtdIo> io) : _name(std::move(name)), _io(std::move(io)) {
    readGeometry();
}

void FlashMtd::readGeometry() {
    mtd_info_user info{};
    if (request(*_io, MEMGETINFO, &info) < 0) {
        throw flashError(Operation::Query, _name, errorText(errno));
    }
    if (info.type == MTD_ABSENT || info.type == MTD_ROM || (info.flags & MTD_WRITEABLE) == 0) {
        throw flashError(Operation::Open, _name,
                         info.type == MTD_ABSENT ? "there is no chip" : "the device is read-only");
    }
    const std::int64_t physicalSize = _io->size();
    if (physicalSize < 0) {
        throw flashError(Operation::Query, _name, errorText(errno));
    }
    _nand = info.type == MTD_NANDFLASH || info.type == MTD_MLCNANDFLASH;
    _needsErase = (info.flags & MTD_NO_ERASE) == 0;
    _eraseSize = info.erasesize != 0 || _needsErase ? info.erasesize : defaultEraseSize;
    _pageSize = std::max<std::uint32_t>(info.writesize, 1);
    if (_eraseSize == 0 || _eraseSize % _pageSize != 0) {
        throw flashError(Operation::Query, _name,
                         "impossible geometry: erase blocks of " + std::to_string(_eraseSize) +
                             " bytes, pages of " + std::to_string(_pageSize));
    }
    // Writers cut a block into slices of that many bytes; a page must not lie across two of them.
    if (defaultEraseSize % _pageSize != 0) {
        throw flashError(Operation::Query, _name,
                         "pages of " + std::to_string(_pageSize) + " bytes, whose size is no power of two");
    }
    _size = static_cast<std::uint64_t>(physicalSize);
    if (_needsErase) {
        _size -= _size % _eraseSize; // what cannot be erased cannot be used
    }
    if (_nand) {
        findGoodBlocks(_size);
    }
}

void FlashMtd::findGoodBlocks(std::uint64_t physicalSize) {
    const std::uint64_t count = physicalSize / _eraseSize;
    if (count > std::numeric_limits<std::uint32_t>::max()) {
        throw flashError(Operation::Query, _name,
                         "impossible geometry: " + std::to_string(count) + " blocks");
    }
    for (std::uint64_t block = 0; block < count; ++block) {
        auto place = static_cast<__kernel_loff_t>(block * _eraseSize);
        const int bad = request(*_io, MEMGETBADBLOCK, &place);
        if (bad < 0) {
            throw flashError(Operation::Query, _name,
                             "asking whether block " + std::to_string(block) +
                                 " is bad: " + errorText(errno));
        }
        if (bad == 0) {
            _goodBlocks.push_back(static_cast<std::uint32_t>(block));
        }
    }
    _size = std::uint64_t(_goodBlocks.size()) * _eraseSize;
    if (_goodBlocks.size() != count) {
        LUMO_LOG(LogInfo, "%s: %llu of %llu blocks are bad and left out", _name.c_str(),
                 static_cast<unsigned long long>(count - _goodBlocks.size()),
                 static_cast<unsigned long long>(count));
    }
}

std::uint64_t FlashMtd::physicalOf(std::uint64_t offset) const {
    if (!_nand) {
        return offset;
    }
    return std::uint64_t(_goodBlocks[static_cast<std::size_t>(offset / _eraseSize)]) * _eraseSize +
           offset % _eraseSize;
}

FlashMtd::Extent FlashMtd::extentAt(std::uint64_t offset, std::uint64_t length) const {
    const std::uint64_t physical = physicalOf(offset);
    const std::uint64_t reach = _nand ? std::min(length, _eraseSize - offset % _eraseSize) : length;
    return {physical, static_cast<std::size_t>(reach)};
}

std::uint32_t FlashMtd::uncorrectable() const {
    mtd_ecc_stats stats{};
    if (request(*_io, ECCGETSTATS, &stats) < 0) {
        throw flashError(Operation::Query, _name, "asking for its ECC statistics: " + errorText(errno));
    }
    return stats.failed;
}

void FlashMtd::read(std::uint64_t offset, std::span<std::byte> bytes) {
    checkRange(Operation::Read, *this, offset, bytes.size());
    for (std::size_t done = 0; done < bytes.size();) {
        const Extent extent = extentAt(offset + done, bytes.size() - done);
        readExtent(extent, offset + done, bytes.data() + done);
        done += extent.length;
    }
}

void FlashMtd::readExtent(const Extent& extent, std::uint64_t offset, std::byte* bytes) {
    const std::uint32_t before = _nand ? uncorrectable() : 0;
    transferAll(Operation::Read, _name, offset, extent.length, [&](std::size_t done) {
        return _io->pread(bytes + done, extent.length - done, extent.physical + done);
    });
    const std::uint32_t failed = _nand ? uncorrectable() - before : 0;
    if (failed != 0) {
        throw flashError(Operation::Read, _name, offset, extent.length,
                         std::to_string(failed) + " errors that the ECC could not correct");
    }
}

void FlashMtd::erase(std::uint64_t offset, std::uint64_t length) {
    checkEraseRange(*this, offset, length);
    if (!_needsErase) {
        return;
    }
    for (std::uint64_t done = 0; done < length; done += _eraseSize) {
        if (eraseBlock(physicalOf(offset + done)) < 0) {
            throw failureAt(Operation::Erase, offset + done, _eraseSize);
        }
    }
}

int FlashMtd::eraseBlock(std::uint64_t physical) {
    if (physical + _eraseSize <= std::numeric_limits<std::uint32_t>::max()) {
        erase_info_user info{static_cast<std::uint32_t>(physical), _eraseSize};
        return request(*_io, MEMERASE, &info);
    }
    erase_info_user64 info{physical, _eraseSize};
    return request(*_io, MEMERASE64, &info);
}

FlashError FlashMtd::failureAt(Operation operation, std::uint64_t offset, std::uint64_t length) const {
    const int error = errno;
    const std::uint64_t block = physicalOf(offset) / _eraseSize;
    const FlashError plain = flashError(operation, _name, offset, length,
                                        errorText(error) + " (block " + std::to_string(block) + ")");
    return _nand && error == EIO ? FlashError(operation, plain.what(), offset - offset % _eraseSize) : plain;
}

void FlashMtd::markBad(std::uint32_t block) {
    auto place = static_cast<__kernel_loff_t>(std::uint64_t(block) * _eraseSize);
    if (request(*_io, MEMSETBADBLOCK, &place) < 0) {
        throw flashError(Operation::Write, _name,
                         "marking block " + std::to_string(block) + " bad: " + errorText(errno));
    }
    LUMO_LOG(LogWarning, "%s: block %u is worn out and marked bad; the next good one takes its place",
             _name.c_str(), block);
}

void FlashMtd::retire(std::uint64_t wornBlock) {
    checkRange(Operation::Erase, *this, wornBlock, _eraseSize);
    const auto worn = static_cast<std::size_t>(wornBlock / _eraseSize);
    std::size_t next = worn + 1;
    while (next < _goodBlocks.size() && eraseBlock(std::uint64_t(_goodBlocks[next]) * _eraseSize) < 0) {
        ++next;
    }
    if (!_nand || next >= _goodBlocks.size()) {
        throw flashError(Operation::Erase, _name, wornBlock, _eraseSize,
                         "no block from there on can be erased, none is marked bad");
    }
    for (std::size_t i = worn; i < next; ++i) {
        markBad(_goodBlocks[worn]);
        _goodBlocks.erase(_goodBlocks.begin() + static_cast<std::ptrdiff_t>(worn));
        _size -= _eraseSize;
    }
}

void FlashMtd::write(std::uint64_t offset, std::span<const std::byte> bytes) {
    checkRange(Operation::Write, *this, offset, bytes.size());
    if (offset % _pageSize != 0) {
        throw flashError(Operation::Write, _name, offset, bytes.size(),
                         "not at the start of a page of " + std::to_string(_pageSize) + " bytes");
    }
    for (std::size_t done = 0; done < bytes.size();) {
        const Extent extent = extentAt(offset + done, bytes.size() - done);
        writeExtent(extent, offset + done, bytes.data() + done);
        done += extent.length;
    }
}

void FlashMtd::writeExtent(const Extent& extent, std::uint64_t offset, const std::byte* bytes) {
    const std::size_t rest = extent.length % _pageSize;
    const std::size_t whole = extent.length - rest;
    writePages(extent.physical, offset, {bytes, whole});
    if (rest != 0) {
        std::vector<std::byte> page(_pageSize, std::byte{0xFF});
        std::copy_n(bytes + whole, rest, page.begin());
        writePages(extent.physical + whole, offset + whole, page);
    }
}

void FlashMtd::writePages(std::uint64_t physical, std::uint64_t offset, std::span<const std::byte> pages) {
    transferAll(Operation::Write, _name, offset, pages.size(), [&](std::size_t done) {
        const ssize_t count = _io->pwrite(pages.data() + done, pages.size() - done, physical + done);
        if (count < 0 && errno == EIO) {
            throw failureAt(Operation::Write, offset + done, pages.size() - done);
        }
        return count;
    });
}

} // namespace lumo
