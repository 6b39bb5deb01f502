#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

// Takes the bytes of a fuzzer apart, from the front; what is missing at the end is zero or empty.
class Input {
public:
    Input(const std::uint8_t* data, std::size_t size) : _bytes(reinterpret_cast<const char*>(data), size) {}

    std::uint8_t byte() {
        const std::string one = text(1);
        return one.empty() ? 0 : static_cast<std::uint8_t>(one[0]);
    }

    std::uint16_t word() { return static_cast<std::uint16_t>(byte() | byte() << 8); }

    std::string text(std::size_t length) {
        const std::string result(_bytes.substr(0, length));
        _bytes.remove_prefix(result.size());
        return result;
    }

    // Up to the delimiter, which goes with it.
    std::string textUntil(char delimiter) {
        std::string result = text(std::min(_bytes.find(delimiter), _bytes.size()));
        text(1);
        return result;
    }

    std::string rest() { return text(_bytes.size()); }

private:
    std::string_view _bytes;
};

// What must hold for any bytes.
inline void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}
