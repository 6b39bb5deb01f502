#include "platform/linux/firmware/BlockInstaller.h"

#include <algorithm>
#include <chrono>
#include <cstring>

#include "platform/linux/device/Log.h"
#include "platform/linux/firmware/FirmwareError.h"
#include "platform/linux/firmware/ReadAhead.h"
#include "platform/linux/firmware/Throttle.h"

#define LUMO_LOG_FILE "platform/linux/firmware/BlockInstaller"

namespace lumo {

namespace {

// What is compared of an erase block before it is read as a whole: other firmware differs early.
constexpr std::uint64_t probeSize = 4096;
// What is written or compared between two reports of progress.
constexpr std::size_t largestSlice = 128 * 1024;
constexpr std::size_t smallestSlice = 16 * 1024; // whole pages of every NAND

using Operation = BlockInstaller::Operation;

// Reports one operation's progress over so many bytes.
class Meter {
public:
    Meter(const BlockInstaller::Progress& progress, Operation operation, std::uint64_t total)
        : _progress(progress), _operation(operation), _total(total) {
        at(0);
    }

    void at(std::uint64_t done) {
        const double share = _total == 0 ? 0 : static_cast<double>(done) / static_cast<double>(_total);
        const double percent = _throttle.step(100 * share);
        if (percent >= 0) {
            _progress(_operation, percent);
        }
    }

    void add(std::uint64_t bytes) { at(_done += bytes); }

    void finish() { _progress(_operation, 100); }

private:
    const BlockInstaller::Progress& _progress;
    Operation _operation;
    std::uint64_t _total;
    std::uint64_t _done = 0;
    Throttle _throttle;
};

// How much to do between two reports: on slow flash less, so that reports still come every few milliseconds.
class Slice {
public:
    std::size_t size() const { return _size; }

    template <typename Action>
    void time(const Action& action) {
        using std::chrono::steady_clock;
        const auto begin = steady_clock::now();
        action();
        const auto spent = steady_clock::now() - begin;
        if (spent > std::chrono::milliseconds(20) && _size > smallestSlice) {
            _size /= 2;
        } else if (spent < std::chrono::milliseconds(5) && _size < largestSlice) {
            _size *= 2;
        }
    }

private:
    std::size_t _size = largestSlice;
};

} // namespace

BlockInstaller::BlockInstaller(const Package& package, std::size_t index, FlashDevice& flash,
                               Progress progress)
    : _package(package),
      _index(index),
      _block(package.manifest().blocks[index]),
      _flash(flash),
      _progress(std::move(progress)) {}

std::uint64_t BlockInstaller::eraseBlockEnd(std::uint64_t offset) const {
    const std::uint64_t size = _flash.eraseSize();
    return std::min<std::uint64_t>((offset / size + 1) * size, _block.size);
}

void BlockInstaller::refuseChanges() const {
    if (!_package.isUnchanged(_index)) {
        throw FirmwareError(OpenResult::Damaged, _package.url() + " was changed after it was checked");
    }
}

void BlockInstaller::checkUnchanged() {
    Meter meter(_progress, STBFirmwareUpdater::OPERATION_CHECKSUM, _block.size);
    refuseChanges();
    meter.finish();
}

void BlockInstaller::markDifferent(std::uint64_t begin, std::uint64_t end) {
    if (!_ranges.empty() && _ranges.back().end == begin) {
        _ranges.back().end = end;
    } else {
        _ranges.push_back({begin, end});
    }
}

void BlockInstaller::takeAll() {
    _ranges.clear();
    if (_block.size > 0) {
        markDifferent(0, _block.size);
    }
}

bool BlockInstaller::flashEquals(std::uint64_t offset, std::span<const std::byte> bytes,
                                 Unreadable unreadable) {
    _buffer.resize(largestSlice);
    const std::span<std::byte> theirs = std::span(_buffer).first(bytes.size());
    try {
        _flash.read(offset, theirs);
    } catch (const FlashError& error) {
        if (unreadable == Unreadable::Fails) {
            throw;
        }
        LUMO_LOG(LogNotice, "%s: taken as different", error.what());
        return false;
    }
    return std::memcmp(theirs.data(), bytes.data(), bytes.size()) == 0;
}

bool BlockInstaller::beginsEqual(std::uint64_t offset, Unreadable unreadable) {
    std::byte ours[probeSize];
    const auto size = static_cast<std::size_t>(std::min(probeSize, eraseBlockEnd(offset) - offset));
    _package.readBlock(_index, offset, std::span(ours, size));
    return flashEquals(offset, std::span(ours, size), unreadable);
}

// The package is read ahead on another thread, so that only reading the flash and comparing take time here.
void BlockInstaller::compareRange(const Range& range, Unreadable unreadable, const Verdict& verdict) {
    ReadAhead reader([this](std::uint64_t offset,
                            std::span<std::byte> bytes) { _package.readBlock(_index, offset, bytes); },
                     range.begin, range.end);
    std::uint64_t offset = range.begin;
    Slice slice;
    for (auto window = reader.next(); !window.empty(); window = reader.next()) {
        while (!window.empty()) {
            const auto size = static_cast<std::size_t>(
                std::min<std::uint64_t>({window.size(), slice.size(), eraseBlockEnd(offset) - offset}));
            bool equal = false;
            slice.time([&] { equal = flashEquals(offset, window.first(size), unreadable); });
            verdict(offset, offset + size, equal);
            offset += size;
            window = window.subspan(size);
        }
    }
}

void BlockInstaller::compare(Unreadable unreadable) {
    const std::uint64_t eraseSize = _flash.eraseSize();
    const std::uint64_t probes = (_block.size + eraseSize - 1) / eraseSize;
    Meter meter(_progress, STBFirmwareUpdater::OPERATION_COMPARE, _block.size + probes * probeSize);
    std::vector<Range> alike; // what begins equal, and has to be looked at as a whole
    std::vector<Range> different;
    for (std::uint64_t offset = 0; offset < _block.size; offset = eraseBlockEnd(offset)) {
        std::vector<Range>& list = beginsEqual(offset, unreadable) ? alike : different;
        if (!list.empty() && list.back().end == offset) {
            list.back().end = eraseBlockEnd(offset);
        } else {
            list.push_back({offset, eraseBlockEnd(offset)});
        }
        meter.add(probeSize);
    }
    for (const Range& range : different) {
        meter.add(range.end - range.begin);
    }
    for (const Range& range : alike) {
        compareRange(range, unreadable, [&](std::uint64_t begin, std::uint64_t end, bool equal) {
            const std::uint64_t blockBegin = begin / eraseSize * eraseSize;
            if (!equal && (different.empty() || different.back().begin != blockBegin)) {
                different.push_back({blockBegin, eraseBlockEnd(begin)});
            }
            meter.add(end - begin);
        });
    }
    std::sort(different.begin(), different.end(),
              [](const Range& a, const Range& b) { return a.begin < b.begin; });
    _ranges.clear();
    for (const Range& range : different) {
        markDifferent(range.begin, range.end);
    }
    refuseChanges();
    meter.finish();
}

std::uint64_t BlockInstaller::bytesToRewrite() const {
    std::uint64_t bytes = 0;
    for (const Range& range : _ranges) {
        bytes += range.end - range.begin;
    }
    return bytes;
}

void BlockInstaller::rewrite() {
    for (;;) {
        try {
            erase();
            write();
            return;
        } catch (const FlashError& error) {
            retire(error);
        }
        // Half-written pages included.
        compare(Unreadable::Differs);
    }
}

void BlockInstaller::retire(const FlashError& error) {
    if (!error.wornBlock()) {
        throw error;
    }
    LUMO_LOG(LogWarning, "%s", error.what());
    const std::uint64_t left = _flash.size() - std::min<std::uint64_t>(_flash.size(), _flash.eraseSize());
    if (left >= _block.size) {
        _flash.retire(*error.wornBlock());
    }
    if (left < _block.size || _flash.size() < _block.size) {
        throw FlashError(error.operation(), std::string(error.what()) +
                                                ", and no spare block is left for block " + _block.name +
                                                " of " + std::to_string(_block.size) + " bytes");
    }
}

void BlockInstaller::erase() {
    Meter meter(_progress, STBFirmwareUpdater::OPERATION_ERASE, bytesToRewrite());
    const std::uint64_t eraseSize = _flash.eraseSize();
    for (const Range& range : _ranges) {
        for (std::uint64_t offset = range.begin; offset < range.end; offset += eraseSize) {
            _flash.erase(offset, std::min<std::uint64_t>(eraseSize, _flash.size() - offset));
            meter.add(std::min(eraseSize, range.end - offset));
        }
    }
    meter.finish();
}

// Writing and reading back are one operation for whoever watches: the first half of it is writing.
void BlockInstaller::write() {
    Meter meter(_progress, STBFirmwareUpdater::OPERATION_WRITE, 2 * bytesToRewrite());
    const auto advance = [&meter](std::uint64_t bytes) { meter.add(bytes); };
    for (const Range& range : _ranges) {
        writeRange(range, advance);
    }
    _flash.sync();
    readBack(advance);
    refuseChanges();
    meter.finish();
}

void BlockInstaller::writeRange(const Range& range, const Advance& advance) {
    ReadAhead reader([this](std::uint64_t offset,
                            std::span<std::byte> bytes) { _package.readBlock(_index, offset, bytes); },
                     range.begin, range.end);
    std::uint64_t offset = range.begin;
    Slice slice;
    for (auto window = reader.next(); !window.empty(); window = reader.next()) {
        while (!window.empty()) {
            const auto bytes = window.first(std::min(window.size(), slice.size()));
            slice.time([&] { _flash.write(offset, bytes); });
            offset += bytes.size();
            window = window.subspan(bytes.size());
            advance(bytes.size());
        }
    }
}

void BlockInstaller::readBack(const Advance& advance) {
    try {
        for (const Range& range : _ranges) {
            compareRange(range, Unreadable::Fails, [&](std::uint64_t begin, std::uint64_t end, bool equal) {
                if (!equal) {
                    throw VerifyError("block " + _block.name + " does not read back from " + _flash.name() +
                                      ": it differs between byte " + std::to_string(begin) + " and " +
                                      std::to_string(end));
                }
                advance(end - begin);
            });
        }
    } catch (const FlashError& error) {
        throw VerifyError(std::string("what was written cannot be read back: ") + error.what());
    }
}

} // namespace lumo
