#include "src/system/LanguageFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace {

class Descriptor {
public:
    // Does not wait for a writer should the path be a pipe.
    explicit Descriptor(const std::string& path)
        : _number(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {}

    ~Descriptor() {
        if (_number >= 0) {
            close(_number);
        }
    }

    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int number() const { return _number; }

private:
    int _number;
};

bool readFully(int descriptor, std::string& bytes) {
    for (std::size_t have = 0; have < bytes.size();) {
        const ssize_t count = read(descriptor, bytes.data() + have, bytes.size() - have);
        if (count > 0) {
            have += static_cast<std::size_t>(count);
        } else if (count == 0 || errno != EINTR) {
            return false;
        }
    }
    return true;
}

} // namespace

LanguageFile::Result LanguageFile::read(const std::string& path, std::string& bytes) {
    struct stat status {};

    if (stat(path.c_str(), &status) != 0) {
        return Result::NotThere;
    }
    const Descriptor file(path);
    if (file.number() < 0) {
        return Result::CannotOpen;
    }
    if (fstat(file.number(), &status) != 0 || !S_ISREG(status.st_mode) ||
        static_cast<std::uint64_t>(status.st_size) > maxBytes) {
        return Result::CannotRead;
    }
    bytes.resize(static_cast<std::size_t>(status.st_size));
    return readFully(file.number(), bytes) ? Result::Read : Result::CannotRead;
}

bool LanguageFile::canBeOpened(const std::string& path) {
    return Descriptor(path).number() >= 0;
}
