#include "platform/linux/firmware/FlashPlain.h"

#include <unistd.h>

#include <utility>

#include "platform/linux/firmware/FlashIo.h"

namespace lumo {

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
}

void FlashPlain::sync() {
    if (::fsync(_fd.get()) != 0) {
        throw flashError(FlashError::Operation::Sync, _name, errorText(errno));
    }
}

} // namespace lumo
