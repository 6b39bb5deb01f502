#pragma once

#include <unistd.h>

#include <utility>

namespace lumo {

// Owns a file descriptor and closes it. Move-only; empty when it holds -1.
class UniqueFd {
public:
    UniqueFd() = default;

    explicit UniqueFd(int fd) : _fd(fd) {}

    UniqueFd(UniqueFd&& other) noexcept : _fd(std::exchange(other._fd, -1)) {}

    UniqueFd& operator=(UniqueFd&& other) noexcept {
        reset(std::exchange(other._fd, -1));
        return *this;
    }

    UniqueFd(const UniqueFd&) = delete;
    UniqueFd& operator=(const UniqueFd&) = delete;

    ~UniqueFd() { reset(); }

    int get() const { return _fd; }

    explicit operator bool() const { return _fd >= 0; }

    int release() { return std::exchange(_fd, -1); }

    // Closes what is held and takes over fd.
    void reset(int fd = -1) {
        const int old = std::exchange(_fd, fd);
        if (old >= 0) {
            ::close(old);
        }
    }

private:
    int _fd = -1;
};

} // namespace lumo
