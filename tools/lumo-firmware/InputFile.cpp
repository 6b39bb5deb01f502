#include "tools/lumo-firmware/InputFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

#include "platform/linux/device/Files.h"
#include "tools/lumo-firmware/ToolError.h"

namespace lumo {

namespace {

constexpr std::size_t pieceSize = 256 << 10;

struct stat statusOf(int fd, const std::string& path) {
    struct stat status {};

    if (fstat(fd, &status) != 0) {
        throw ToolError("cannot query " + path + ": " + std::strerror(errno));
    }
    return status;
}

} // namespace

InputFile::InputFile(const std::string& path)
    // Not to wait for the other end of a pipe before finding out that it is one.
    : _path(path), _fd(openFile(path, O_RDONLY | O_NONBLOCK | O_NOCTTY)) {
    if (!_fd) {
        throw ToolError("cannot open " + path + ": " + std::strerror(errno));
    }
    const struct stat status = statusOf(_fd.get(), path);
    if (!S_ISREG(status.st_mode)) {
        throw ToolError(path + " is not a regular file");
    }
    _size = static_cast<std::uint64_t>(status.st_size);
    _modified = status.st_mtim;
    posix_fadvise(_fd.get(), 0, 0, POSIX_FADV_SEQUENTIAL);
}

// Fills the piece, unless the file is over.
std::size_t InputFile::readAt(std::uint64_t position, std::span<std::byte> piece) const {
    std::size_t filled = 0;
    while (filled < piece.size()) {
        const ssize_t count = pread(_fd.get(), piece.data() + filled, piece.size() - filled,
                                    static_cast<off_t>(position + filled));
        if (count == 0) {
            break;
        }
        if (count > 0) {
            filled += static_cast<std::size_t>(count);
        } else if (errno != EINTR) {
            throw ToolError("cannot read " + _path + " at byte " + std::to_string(position + filled) + ": " +
                            std::strerror(errno));
        }
    }
    return filled;
}

void InputFile::read(const std::function<bool(std::span<const std::byte>)>& reader) const {
    std::vector<std::byte> piece(pieceSize);
    std::uint64_t position = 0;
    while (const std::size_t count = readAt(position, piece)) {
        position += count;
        if (position > _size) {
            failChanged();
        }
        if (!reader(std::span(piece).first(count))) {
            return;
        }
    }
    const struct stat now = statusOf(_fd.get(), _path);
    if (position != _size || static_cast<std::uint64_t>(now.st_size) != _size ||
        now.st_mtim.tv_sec != _modified.tv_sec || now.st_mtim.tv_nsec != _modified.tv_nsec) {
        failChanged();
    }
}

void InputFile::failChanged() const {
    throw ToolError(_path + " changed while it was read (it had " + std::to_string(_size) + " bytes)");
}

} // namespace lumo
