#pragma once

#include <memory>
#include <vector>

#include "platform/linux/firmware/FlashDevice.h"

namespace lumo {

// What a FaultyFlash does wrong, once.
struct FlashFault {
    enum class Effect {
        Fail, // nothing is done, FlashError is thrown
        Tear, // the first `bytes` bytes are done (of an erase: the whole blocks in them), then FlashError is
              // thrown
        Corrupt, // everything seems to work, but the byte at `bytes` of those read or written is a wrong one
    };

    FlashError::Operation operation; // Read, Erase, Write or Sync
    unsigned nth = 1;                // of all such operations of the script; the first is 1
    Effect effect = Effect::Fail;
    std::size_t bytes = 0;
    bool forEver = false; // everything after it fails, too, as when the power went
};

// What was asked of a FaultyFlash.
struct FlashCall {
    FlashError::Operation operation;
    std::uint64_t offset = 0;
    std::uint64_t length = 0;

    bool operator==(const FlashCall&) const = default;
};

// The faults to come and the calls that came, in their order, of all the devices that share it. The test
// keeps it, and can look at it when the devices have been handed away or destroyed.
struct FlashScript {
    std::vector<FlashFault> faults;
    std::vector<FlashCall> calls;
    bool dead = false; // a fault for ever has struck

    // Number of calls of a kind so far.
    unsigned count(FlashError::Operation operation) const;
};

// Passes everything on to another device, except for what the script says.
class FaultyFlash : public FlashDevice {
public:
    FaultyFlash(std::unique_ptr<FlashDevice> device, std::shared_ptr<FlashScript> script);

    const std::string& name() const override { return _device->name(); }

    std::uint64_t size() const override { return _device->size(); }

    std::uint32_t eraseSize() const override { return _device->eraseSize(); }

    void read(std::uint64_t offset, std::span<std::byte> bytes) override;
    void erase(std::uint64_t offset, std::uint64_t length) override;
    void write(std::uint64_t offset, std::span<const std::byte> bytes) override;
    void sync() override;

private:
    // Notes the call and returns the fault it meets, or null. Throws if nothing works any more.
    const FlashFault* enter(const FlashCall& call);
    [[noreturn]] void fail(const FlashCall& call) const;

    std::unique_ptr<FlashDevice> _device;
    std::shared_ptr<FlashScript> _script;
};

} // namespace lumo
