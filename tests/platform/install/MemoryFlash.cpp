#include "tests/platform/install/MemoryFlash.h"

#include <algorithm>
#include <cstring>

namespace lumo::tests {

namespace {

class MemoryFlash : public FlashDevice {
public:
    MemoryFlash(std::string name, FlashState& state) : _name(std::move(name)), _state(state) {}

    const std::string& name() const override { return _name; }

    std::uint64_t size() const override { return _state.bytes.size(); }

    std::uint32_t eraseSize() const override { return _state.eraseSize; }

    void read(std::uint64_t offset, std::span<std::byte> bytes) override {
        begin({'r', offset, bytes.size()});
        std::memcpy(bytes.data(), _state.bytes.data() + offset, bytes.size());
    }

    void erase(std::uint64_t offset, std::uint64_t length) override {
        const FlashCall call = begin({'e', offset, length});
        std::fill_n(_state.bytes.begin() + static_cast<std::ptrdiff_t>(offset), length, '\xff');
        end(call);
    }

    void write(std::uint64_t offset, std::span<const std::byte> bytes) override {
        const FlashCall call = begin({'w', offset, bytes.size()});
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            char& cell = _state.bytes[static_cast<std::size_t>(offset) + i];
            cell = static_cast<char>(cell & std::to_integer<int>(bytes[i]));
        }
        end(call);
    }

    void sync() override { end(begin({'s', 0, 0})); }

private:
    FlashCall begin(const FlashCall& call) {
        if (call.offset + call.length > _state.bytes.size()) {
            throw std::logic_error("outside " + _name);
        }
        _state.calls.push_back(call);
        if (_state.before) {
            _state.before(_state, call);
        }
        return call;
    }

    void end(const FlashCall& call) {
        if (_state.after) {
            _state.after(_state, call);
        }
    }

    std::string _name;
    FlashState& _state;
};

} // namespace

std::size_t FlashState::count(char operation) const {
    return static_cast<std::size_t>(
        std::count_if(calls.begin(), calls.end(),
                      [operation](const FlashCall& call) { return call.operation == operation; }));
}

std::unique_ptr<FlashDevice> MemoryFlashes::open(const FlashTarget& target) {
    return std::make_unique<MemoryFlash>(target.path, _states[target.path]);
}

} // namespace lumo::tests
