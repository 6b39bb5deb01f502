#include "tests/platform/firmware/SimulatedMtd.h"

#include <sys/ioctl.h>

#include <algorithm>
#include <cerrno>

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

std::string SimulatedChip::content() const {
    std::string all;
    for (std::uint64_t number = 0; number < size / eraseSize; ++number) {
        all += badBlocks.contains(number) ? "" : contentOf(number);
    }
    return all;
}

void SimulatedChip::fill(const std::string& bytes) {
    tornPages.clear();
    std::size_t at = 0;
    for (std::uint64_t number = 0; number < size / eraseSize && at < bytes.size(); ++number) {
        if (badBlocks.contains(number)) {
            continue;
        }
        blocks[number] = bytes.substr(at, eraseSize);
        blocks[number].resize(eraseSize, '\xFF');
        at += eraseSize;
        for (std::uint64_t page = 0; isNand() && page < eraseSize / pageSize; ++page) {
            writtenPages.insert(number * (eraseSize / pageSize) + page);
        }
    }
}

SimulatedChip simulatedNand(std::uint64_t blocks, std::uint32_t eraseSize, std::uint32_t pageSize) {
    SimulatedChip chip;
    chip.size = blocks * eraseSize;
    chip.eraseSize = eraseSize;
    chip.pageSize = pageSize;
    return chip;
}

SimulatedChip simulatedNor(std::uint64_t blocks, std::uint32_t eraseSize) {
    SimulatedChip chip = simulatedNand(blocks, eraseSize, 1);
    chip.type = MTD_NORFLASH;
    chip.flags = MTD_CAP_NORFLASH;
    return chip;
}

bool SimulatedMtd::interrupted() {
    return _chip.interrupting && ++_calls % 2 == 1;
}

std::uint64_t SimulatedMtd::draw(std::uint64_t units) const {
    return _chip.power == nullptr ? units : _chip.power->draw(units);
}

void SimulatedMtd::stopWithoutPower() const {
    if (_chip.power != nullptr && _chip.power->isOff()) {
        throw PowerCut();
    }
}

std::string& SimulatedMtd::block(std::uint64_t number) {
    std::string& content = _chip.blocks[number];
    if (content.empty()) {
        content.assign(_chip.eraseSize, '\xFF');
    }
    return content;
}

int SimulatedMtd::ioctl(unsigned long request, void* argument) {
    stopWithoutPower();
    if (interrupted()) {
        return fail(EINTR);
    }
    if (_chip.failingRequests.contains(request)) {
        return fail(EIO);
    }
    switch (request) {
    case MEMGETINFO: {
        const auto size = static_cast<std::uint32_t>(_chip.size);
        *static_cast<mtd_info_user*>(argument) = {_chip.type,     _chip.flags, size, _chip.eraseSize,
                                                  _chip.pageSize, 0,           0};
        return 0;
    }
    case MEMGETBADBLOCK:
    case MEMSETBADBLOCK: {
        if (!_chip.isNand()) {
            return fail(EOPNOTSUPP);
        }
        const auto offset = static_cast<std::uint64_t>(*static_cast<__kernel_loff_t*>(argument));
        if (request == MEMGETBADBLOCK) {
            return _chip.badBlocks.contains(offset / _chip.eraseSize) ? 1 : 0;
        }
        draw(1);
        stopWithoutPower();
        _chip.badBlocks.insert(offset / _chip.eraseSize);
        return 0;
    }
    case ECCGETSTATS:
        *static_cast<mtd_ecc_stats*>(argument) = {0, _chip.eccFailures, 0, 0};
        return 0;
    case MEMERASE: {
        const auto* const info = static_cast<erase_info_user*>(argument);
        return erase(info->start, info->length);
    }
    case MEMERASE64: {
        const auto* const info = static_cast<erase_info_user64*>(argument);
        return erase(info->start, info->length);
    }
    default:
        return fail(ENOTTY);
    }
}

int SimulatedMtd::erase(std::uint64_t start, std::uint64_t length) {
    const std::uint64_t number = start / _chip.eraseSize;
    if (start % _chip.eraseSize != 0 || length != _chip.eraseSize || start + length > _chip.size) {
        return fail(EINVAL);
    }
    if (_chip.badBlocks.contains(number) || _chip.wornBlocks.contains(number)) {
        return fail(EIO);
    }
    const std::uint64_t done = draw(length);
    if (done < length) {
        tearErase(number, static_cast<std::size_t>(done));
    }
    stopWithoutPower();
    _chip.blocks.erase(number);
    for (std::set<std::uint64_t>* const pages : {&_chip.writtenPages, &_chip.tornPages}) {
        pages->erase(pages->lower_bound(start / _chip.pageSize),
                     pages->lower_bound((start + length) / _chip.pageSize));
    }
    return 0;
}

void SimulatedMtd::tearErase(std::uint64_t number, std::size_t done) {
    std::string& content = block(number);
    if (!_chip.isNand()) {
        content.replace(0, done, done, '\xFF');
        std::for_each(content.begin() + static_cast<std::ptrdiff_t>(done), content.end(), [&](char& byte) {
            byte = static_cast<char>(byte | static_cast<char>(_chip.power->dice(256)));
        });
        return;
    }
    for (std::size_t at = 0; at < _chip.eraseSize; at += _chip.pageSize) {
        tearPage(content, at, (number * _chip.eraseSize + at) / _chip.pageSize);
    }
}

// It is as it was, or holds rubbish that the ECC refuses, or (as if there were none) rubbish that it does
// not.
void SimulatedMtd::tearPage(std::string& content, std::size_t at, std::uint64_t page) {
    _chip.writtenPages.insert(page);
    const unsigned outcome = _chip.power->dice(3);
    for (std::size_t i = 0; outcome != 0 && i < _chip.pageSize; ++i) {
        content[at + i] = static_cast<char>(_chip.power->dice(256));
    }
    if (outcome == 1) {
        _chip.tornPages.insert(page);
    }
}

ssize_t SimulatedMtd::pread(void* bytes, std::size_t length, std::uint64_t offset) {
    stopWithoutPower();
    if (interrupted()) {
        return fail(EINTR);
    }
    const auto count = static_cast<std::size_t>(
        std::min<std::uint64_t>({length, _chip.longestTransfer, _chip.size - std::min(_chip.size, offset)}));
    for (std::size_t done = 0; done < count;) {
        const std::string content = _chip.contentOf((offset + done) / _chip.eraseSize);
        const auto at = static_cast<std::size_t>((offset + done) % _chip.eraseSize);
        done += content.copy(static_cast<char*>(bytes) + done, count - done, at);
    }
    for (const std::set<std::uint64_t>* const pages : {&_chip.unreadablePages, &_chip.tornPages}) {
        _chip.eccFailures += static_cast<std::uint32_t>(
            std::distance(pages->lower_bound(offset / _chip.pageSize),
                          pages->lower_bound((offset + count + _chip.pageSize - 1) / _chip.pageSize)));
    }
    return static_cast<ssize_t>(count);
}

ssize_t SimulatedMtd::pwrite(const void* bytes, std::size_t length, std::uint64_t offset) {
    stopWithoutPower();
    if (interrupted()) {
        return fail(EINTR);
    }
    const std::size_t count = std::min(length, _chip.longestTransfer);
    if (offset % _chip.pageSize != 0 || count % _chip.pageSize != 0 || offset + count > _chip.size) {
        return fail(EINVAL);
    }
    const char* const from = static_cast<const char*>(bytes);
    if (!_chip.isNand()) {
        return static_cast<ssize_t>(writeBytes(from, count, offset));
    }
    for (std::size_t done = 0; done < count; done += _chip.pageSize) {
        if (!writePage(from + done, offset + done)) {
            return fail(EIO);
        }
    }
    return static_cast<ssize_t>(count);
}

bool SimulatedMtd::writePage(const char* bytes, std::uint64_t offset) {
    const std::uint64_t number = offset / _chip.eraseSize;
    const std::uint64_t page = offset / _chip.pageSize;
    const auto at = static_cast<std::size_t>(offset % _chip.eraseSize);
    if (_chip.badBlocks.contains(number) || !_chip.writtenPages.insert(page).second) {
        return false;
    }
    std::string& content = block(number);
    if (_chip.wornPages.contains(page)) {
        content.replace(at, _chip.pageSize / 2, bytes, _chip.pageSize / 2);
        return false;
    }
    if (draw(_chip.pageSize) < _chip.pageSize) {
        tearPage(content, at, page);
    }
    stopWithoutPower();
    content.replace(at, _chip.pageSize, bytes, _chip.pageSize);
    return true;
}

std::size_t SimulatedMtd::writeBytes(const char* bytes, std::size_t length, std::uint64_t offset) {
    const auto done = static_cast<std::size_t>(draw(length));
    for (std::size_t i = 0; i < std::min(done + 1, length); ++i) {
        const int half = i < done ? 0 : static_cast<int>(_chip.power->dice(256));
        char& byte = block((offset + i) / _chip.eraseSize)[(offset + i) % _chip.eraseSize];
        byte = static_cast<char>(byte & (bytes[i] | half));
    }
    stopWithoutPower();
    return length;
}

} // namespace lumo
