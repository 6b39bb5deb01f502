#include "tests/platform/firmware/FaultyFlash.h"

#include <algorithm>
#include <utility>

namespace lumo {

using Operation = FlashError::Operation;
using Effect = FlashFault::Effect;

unsigned FlashScript::count(Operation operation) const {
    return static_cast<unsigned>(std::count_if(
        calls.begin(), calls.end(), [&](const FlashCall& call) { return call.operation == operation; }));
}

FaultyFlash::FaultyFlash(std::unique_ptr<FlashDevice> device, std::shared_ptr<FlashScript> script)
    : _device(std::move(device)), _script(std::move(script)) {}

const FlashFault* FaultyFlash::enter(const FlashCall& call) {
    _script->calls.push_back(call);
    if (_script->dead) {
        fail(call);
    }
    for (const FlashFault& fault : _script->faults) {
        if (fault.operation == call.operation && fault.nth == _script->count(call.operation)) {
            _script->dead = fault.forEver;
            return &fault;
        }
    }
    return nullptr;
}

void FaultyFlash::fail(const FlashCall& call) const {
    throw FlashError(call.operation, "injected fault at " + std::to_string(call.offset) + " of " + name());
}

void FaultyFlash::read(std::uint64_t offset, std::span<std::byte> bytes) {
    const FlashCall call{Operation::Read, offset, bytes.size()};
    const FlashFault* const fault = enter(call);
    if (fault == nullptr || fault->effect == Effect::Corrupt) {
        _device->read(offset, bytes);
        if (fault != nullptr && fault->bytes < bytes.size()) {
            bytes[fault->bytes] ^= std::byte{1};
        }
        return;
    }
    if (fault->effect == Effect::Tear) {
        _device->read(offset, bytes.first(std::min(fault->bytes, bytes.size())));
    }
    fail(call);
}

void FaultyFlash::erase(std::uint64_t offset, std::uint64_t length) {
    const FlashCall call{Operation::Erase, offset, length};
    const FlashFault* const fault = enter(call);
    if (fault == nullptr || fault->effect == Effect::Corrupt) {
        _device->erase(offset, length);
        return;
    }
    if (fault->effect == Effect::Tear) {
        // Flash knows no half-erased blocks that stay that way.
        _device->erase(offset, std::min<std::uint64_t>(fault->bytes - fault->bytes % eraseSize(), length));
    }
    fail(call);
}

void FaultyFlash::write(std::uint64_t offset, std::span<const std::byte> bytes) {
    const FlashCall call{Operation::Write, offset, bytes.size()};
    const FlashFault* const fault = enter(call);
    if (fault == nullptr) {
        _device->write(offset, bytes);
        return;
    }
    if (fault->effect == Effect::Corrupt) {
        std::vector<std::byte> wrong(bytes.begin(), bytes.end());
        if (fault->bytes < wrong.size()) {
            wrong[fault->bytes] ^= std::byte{1};
        }
        _device->write(offset, wrong);
        return;
    }
    if (fault->effect == Effect::Tear) {
        _device->write(offset, bytes.first(std::min(fault->bytes, bytes.size())));
    }
    fail(call);
}

void FaultyFlash::sync() {
    const FlashCall call{Operation::Sync};
    if (enter(call) != nullptr) {
        fail(call);
    }
    _device->sync();
}

} // namespace lumo
