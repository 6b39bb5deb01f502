#include "platform/linux/firmware/FlashPaced.h"

#include <algorithm>
#include <thread>

namespace lumo {

FlashPaced::FlashPaced(std::unique_ptr<FlashDevice> flash, std::uint64_t bytesPerSecond)
    : _flash(std::move(flash)), _bytesPerSecond(static_cast<double>(bytesPerSecond)) {}

void FlashPaced::take(std::uint64_t bytes) {
    using std::chrono::steady_clock;
    // So much may be made good of what its user was late.
    constexpr std::chrono::milliseconds slack(100);
    const std::chrono::duration<double> span(static_cast<double>(bytes) / _bytesPerSecond);
    _free = std::max(_free, steady_clock::now() - slack) +
            std::chrono::duration_cast<steady_clock::duration>(span);
    std::this_thread::sleep_until(_free);
}

void FlashPaced::read(std::uint64_t offset, std::span<std::byte> bytes) {
    take(bytes.size());
    _flash->read(offset, bytes);
}

void FlashPaced::erase(std::uint64_t offset, std::uint64_t length) {
    take(length);
    _flash->erase(offset, length);
}

void FlashPaced::write(std::uint64_t offset, std::span<const std::byte> bytes) {
    take(bytes.size());
    _flash->write(offset, bytes);
}

void FlashPaced::sync() {
    _flash->sync();
}

} // namespace lumo
