#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/linux/firmware/FlashDevice.h"

namespace lumo::tests {

// One operation on a flash, as it was asked for.
struct FlashCall {
    char operation; // r, e, w, s
    std::uint64_t offset;
    std::uint64_t length;
};

// What a test sees and decides of one flash: its bytes, what was done to them, and what goes wrong.
struct FlashState {
    std::string bytes;
    std::uint32_t eraseSize = 4096;
    std::vector<FlashCall> calls;
    // Asked before each call but reads of the comparison need not care; may throw, or end the process.
    std::function<void(FlashState&, const FlashCall&)> before;
    // Changes what was just written, as failing cells do.
    std::function<void(FlashState&, const FlashCall&)> after;

    std::size_t count(char operation) const;
};

// Flashes in memory, by the path that the configuration gives them. NOR-like: writing can only clear bits, so
// a missing erase shows in the content.
class MemoryFlashes {
public:
    FlashState& operator[](const std::string& path) { return _states[path]; }

    std::unique_ptr<FlashDevice> open(const FlashTarget& target);

private:
    std::map<std::string, FlashState> _states;
};

} // namespace lumo::tests
