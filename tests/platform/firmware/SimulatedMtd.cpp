#include "tests/platform/firmware/SimulatedMtd.h"

#include <sys/ioctl.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace lumo {

namespace {

int fail(int error) {
    errno = error;
    return -1;
}

} // namespace

std::string SimulatedChip::contentOf(std::uint64_t block) const {
    const auto found = blocks.find(block);
    return found == blocks.end() ? std::string(eraseSize, '\xFF') : found->second;
}

bool SimulatedMtd::interrupted() {
    return _chip.interrupting && ++_calls % 2 == 1;
}

std::string& SimulatedMtd::block(std::uint64_t offset) {
    const std::uint64_t number = offset / _chip.eraseSize;
    return _chip.blocks.emplace(number, std::string(_chip.eraseSize, '\xFF')).first->second;
}

int SimulatedMtd::ioctl(unsigned long request, void* argument) {
    if (interrupted()) {
        return fail(EINTR);
    }
    if (_chip.failingRequests.contains(request)) {
        return fail(EIO);
    }
    if (request == MEMGETINFO) {
        *static_cast<mtd_info_user*>(argument) = {_chip.type,
                                                  _chip.flags,
                                                  static_cast<std::uint32_t>(_chip.size),
                                                  _chip.eraseSize,
                                                  _chip.pageSize,
                                                  0,
                                                  0};
        return 0;
    }
    if (request == MEMGETBADBLOCK) {
        if (!isNand()) {
            return fail(EOPNOTSUPP);
        }
        const auto offset = static_cast<std::uint64_t>(*static_cast<__kernel_loff_t*>(argument));
        return _chip.badBlocks.contains(offset / _chip.eraseSize) ? 1 : 0;
    }
    if (request == ECCGETSTATS) {
        *static_cast<mtd_ecc_stats*>(argument) = {0, _chip.eccFailures, 0, 0};
        return 0;
    }
    if (request == MEMERASE) {
        _chip.eraseRequests.push_back(request);
        const auto* const info = static_cast<erase_info_user*>(argument);
        return erase(info->start, info->length);
    }
    if (request == MEMERASE64) {
        _chip.eraseRequests.push_back(request);
        const auto* const info = static_cast<erase_info_user64*>(argument);
        return erase(info->start, info->length);
    }
    return fail(ENOTTY);
}

int SimulatedMtd::erase(std::uint64_t start, std::uint64_t length) {
    if (start % _chip.eraseSize != 0 || length % _chip.eraseSize != 0 || start + length > _chip.size) {
        return fail(EINVAL);
    }
    for (std::uint64_t offset = start; offset < start + length; offset += _chip.eraseSize) {
        const std::uint64_t number = offset / _chip.eraseSize;
        if (_chip.badBlocks.contains(number) || _chip.unerasableBlocks.contains(number)) {
            return fail(EIO);
        }
        _chip.blocks.erase(number);
        _chip.writtenPages.erase(_chip.writtenPages.lower_bound(offset / _chip.pageSize),
                                 _chip.writtenPages.lower_bound((offset + _chip.eraseSize) / _chip.pageSize));
    }
    return 0;
}

ssize_t SimulatedMtd::pread(void* bytes, std::size_t length, std::uint64_t offset) {
    if (interrupted()) {
        return fail(EINTR);
    }
    if (offset >= _chip.size) {
        return 0;
    }
    const std::size_t count = static_cast<std::size_t>(
        std::min<std::uint64_t>({length, _chip.longestTransfer, _chip.size - offset}));
    char* const out = static_cast<char*>(bytes);
    for (std::size_t i = 0; i < count; ++i) {
        const auto found = _chip.blocks.find((offset + i) / _chip.eraseSize);
        out[i] = found == _chip.blocks.end() ? '\xFF' : found->second[(offset + i) % _chip.eraseSize];
    }
    for (const std::uint64_t page : _chip.unreadablePages) {
        if (page * _chip.pageSize < offset + count && (page + 1) * _chip.pageSize > offset) {
            ++_chip.eccFailures;
        }
    }
    return static_cast<ssize_t>(count);
}

ssize_t SimulatedMtd::pwrite(const void* bytes, std::size_t length, std::uint64_t offset) {
    if (interrupted()) {
        return fail(EINTR);
    }
    const std::size_t count = std::min(length, _chip.longestTransfer);
    if (offset % _chip.pageSize != 0 || count % _chip.pageSize != 0 || offset + count > _chip.size) {
        return fail(EINVAL);
    }
    for (std::size_t done = 0; done < count; done += _chip.pageSize) {
        if (!writePage(static_cast<const char*>(bytes) + done, offset + done)) {
            return fail(EIO);
        }
    }
    return static_cast<ssize_t>(count);
}

bool SimulatedMtd::writePage(const char* bytes, std::uint64_t offset) {
    if (_chip.badBlocks.contains(offset / _chip.eraseSize)) {
        return false;
    }
    if (isNand() && !_chip.writtenPages.insert(offset / _chip.pageSize).second) {
        return false;
    }
    std::string& content = block(offset);
    for (std::size_t i = 0; i < _chip.pageSize; ++i) {
        char& byte = content[offset % _chip.eraseSize + i];
        byte = (_chip.flags & MTD_NO_ERASE) != 0 ? bytes[i] : static_cast<char>(byte & bytes[i]);
    }
    return true;
}

} // namespace lumo
