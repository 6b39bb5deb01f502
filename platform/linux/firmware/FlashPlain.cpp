#include "platform/linux/firmware/FlashPlain.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "platform/linux/firmware/FlashIo.h"

namespace lumo {

namespace {

// Written back at a time, while as much again is written.
constexpr std::uint64_t writebackSize = 1 << 20;

} // namespace

FlashPlain::FlashPlain(std::string name, UniqueFd&& fd, std::uint64_t size, std::uint32_t eraseSize)
    : _name(std::move(name)),
      _fd(std::move(fd)),
      _size(size),
      _eraseSize(eraseSize == 0 ? defaultEraseSize : eraseSize) {}

void FlashPlain::read(std::uint64_t offset, std::span<std::byte> bytes) {
    checkRange(FlashError::Operation::Read, *this, offset, bytes.size());
    transferAll(FlashError::Operation::Read, _name, offset, bytes.size(), [&](std::size_t done) {
        return ::pread(_fd.get(), bytes.data() + done, bytes.size() - done,
                       static_cast<off_t>(offset + done));
    });
}

void FlashPlain::erase(std::uint64_t offset, std::uint64_t length) {
    checkEraseRange(*this, offset, length);
}

void FlashPlain::write(std::uint64_t offset, std::span<const std::byte> bytes) {
    checkRange(FlashError::Operation::Write, *this, offset, bytes.size());
    transferAll(FlashError::Operation::Write, _name, offset, bytes.size(), [&](std::size_t done) {
        return ::pwrite(_fd.get(), bytes.data() + done, bytes.size() - done,
                        static_cast<off_t>(offset + done));
    });
    if (_written.end != offset) {
        _written = {offset, offset};
    }
    _written.end = offset + bytes.size();
    if (_written.end - _written.begin >= writebackSize) {
        flushWritten();
    }
}

// Left to itself, the kernel would take hundreds of MiB into its memory at once and write them out in sync().
void FlashPlain::flushWritten() {
    const auto range = [this](const Run& run, unsigned flags) {
        if (::sync_file_range(_fd.get(), static_cast<off_t>(run.begin),
                              static_cast<off_t>(run.end - run.begin), flags) != 0 &&
            errno != ENOSYS && errno != EINVAL && errno != ESPIPE) {
            throw flashError(FlashError::Operation::Write, _name, run.begin, run.end - run.begin,
                             errorText(errno));
        }
    };
    range(_written, SYNC_FILE_RANGE_WRITE);
    if (_onTheWay.end > _onTheWay.begin) {
        range(_onTheWay, SYNC_FILE_RANGE_WAIT_BEFORE | SYNC_FILE_RANGE_WRITE | SYNC_FILE_RANGE_WAIT_AFTER);
    }
    _onTheWay = _written;
    _written.begin = _written.end;
}

void FlashPlain::sync() {
    _onTheWay = _written = {};
    if (::fsync(_fd.get()) != 0) {
        throw flashError(FlashError::Operation::Sync, _name, errorText(errno));
    }
    // Advice: it has no failure that would matter.
    ::posix_fadvise(_fd.get(), 0, 0, POSIX_FADV_DONTNEED);
}

} // namespace lumo
