#pragma once

#include <chrono>

#include "platform/linux/firmware/FlashDevice.h"

namespace lumo {

// A destination that takes its time, as real flash does: reading, erasing and writing go at a given speed
// each. For looking at an update of a simulated device.
class FlashPaced : public FlashDevice {
public:
    // bytesPerSecond: more than 0.
    FlashPaced(std::unique_ptr<FlashDevice> flash, std::uint64_t bytesPerSecond);

    const std::string& name() const override { return _flash->name(); }

    std::uint64_t size() const override { return _flash->size(); }

    std::uint32_t eraseSize() const override { return _flash->eraseSize(); }

    void read(std::uint64_t offset, std::span<std::byte> bytes) override;
    void erase(std::uint64_t offset, std::uint64_t length) override;
    void write(std::uint64_t offset, std::span<const std::byte> bytes) override;
    void sync() override;

private:
    void take(std::uint64_t bytes);

    const std::unique_ptr<FlashDevice> _flash;
    const double _bytesPerSecond;
    std::chrono::steady_clock::time_point _free; // when it is ready for the next bytes
};

} // namespace lumo
