#include "platform/linux/firmware/FlashMtdIo.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>

#include "platform/linux/device/Files.h"
#include "platform/linux/firmware/FlashIo.h"

namespace lumo {

namespace {

class KernelMtdIo : public MtdIo {
public:
    explicit KernelMtdIo(UniqueFd fd) : _fd(std::move(fd)) {}

    int ioctl(unsigned long request, void* argument) override {
        return ::ioctl(_fd.get(), request, argument);
    }

    ssize_t pread(void* bytes, std::size_t length, std::uint64_t offset) override {
        return ::pread(_fd.get(), bytes, length, static_cast<off_t>(offset));
    }

    ssize_t pwrite(const void* bytes, std::size_t length, std::uint64_t offset) override {
        return ::pwrite(_fd.get(), bytes, length, static_cast<off_t>(offset));
    }

    std::int64_t size() override { return ::lseek(_fd.get(), 0, SEEK_END); }

private:
    UniqueFd _fd;
};

} // namespace

std::unique_ptr<MtdIo> openMtd(const std::string& path) {
    UniqueFd fd = openFile(path, O_RDWR);
    if (!fd) {
        throw flashError(FlashError::Operation::Open, path, errorText(errno));
    }
    return std::make_unique<KernelMtdIo>(std::move(fd));
}

} // namespace lumo
