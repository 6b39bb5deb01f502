#pragma once

#include <algorithm>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "platform/linux/firmware/FlashDevice.h"

namespace lumo {

// What was asked of a flash.
struct FlashCall {
    FlashError::Operation operation;
    std::uint64_t offset = 0;
};

// The calls that came, in their order, and what goes wrong. The test keeps it, and can look at it when the
// device has been handed away or destroyed.
struct FlashScript {
    std::vector<FlashCall> calls;
    // Asked before each call is passed on, the call being calls.back(); may throw.
    std::function<void(const FlashCall&)> before;

    std::ptrdiff_t count(FlashError::Operation operation) const {
        return std::count_if(calls.begin(), calls.end(),
                             [&](const FlashCall& call) { return call.operation == operation; });
    }
};

// Passes everything on to another device, except for what the script says.
class FaultyFlash : public FlashDevice {
public:
    FaultyFlash(std::unique_ptr<FlashDevice> device, FlashScript& script)
        : _device(std::move(device)), _script(script) {}

    const std::string& name() const override { return _device->name(); }

    std::uint64_t size() const override { return _device->size(); }

    std::uint32_t eraseSize() const override { return _device->eraseSize(); }

    void read(std::uint64_t offset, std::span<std::byte> bytes) override {
        to({FlashError::Operation::Read, offset}).read(offset, bytes);
    }

    void erase(std::uint64_t offset, std::uint64_t length) override {
        to({FlashError::Operation::Erase, offset}).erase(offset, length);
    }

    void write(std::uint64_t offset, std::span<const std::byte> bytes) override {
        to({FlashError::Operation::Write, offset}).write(offset, bytes);
    }

    void sync() override { to({FlashError::Operation::Sync}).sync(); }

    void retire(std::uint64_t wornBlock) override { _device->retire(wornBlock); }

private:
    FlashDevice& to(const FlashCall& call) {
        _script.calls.push_back(call);
        if (_script.before) {
            _script.before(call);
        }
        return *_device;
    }

    const std::unique_ptr<FlashDevice> _device;
    FlashScript& _script;
};

} // namespace lumo
