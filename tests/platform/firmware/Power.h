#pragma once

#include <algorithm>
#include <cstdint>
#include <random>

namespace lumo {

// Thrown by simulated flash when the power goes. The code under test stops there; what it still does reaches
// no medium.
struct PowerCut {};

// The power supply of a simulated device, which goes after a set amount of work, and the chance that decides
// what is left then.
class Power {
public:
    // The next so many units (bytes of flash, or operations on files) are done, and then nothing is.
    void cutAfter(std::uint64_t units) {
        _left = units;
        _off = false;
        _random.seed(static_cast<std::uint32_t>(units));
    }

    void restore() {
        _left = UINT64_MAX;
        _off = false;
    }

    std::uint64_t left() const { return _left; }

    bool isOff() const { return _off; }

    // How many of these units are done before the power goes.
    std::uint64_t draw(std::uint64_t units) {
        const std::uint64_t done = std::min(units, _left);
        _off = _off || done < units;
        _left -= done;
        return done;
    }

    // 0 to sides - 1; the same ones after the same cut.
    unsigned dice(unsigned sides) { return static_cast<unsigned>(_random() % sides); }

private:
    std::uint64_t _left = UINT64_MAX;
    bool _off = false;
    std::mt19937 _random;
};

} // namespace lumo
