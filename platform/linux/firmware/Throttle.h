#pragma once

#include <chrono>

namespace lumo {

// Lets progress through at most every 1 % or every 100 ms, whichever comes first, only where it grows, and
// keeps 100 % for whoever knows that the work is done. One thread.
class Throttle {
public:
    // The percentage to report now, from 0 to just under 100; negative when nothing is to be reported.
    double step(double percent) {
        const auto now = std::chrono::steady_clock::now();
        const bool first = _last < 0;
        percent = percent < largest ? percent : largest;
        if (!first &&
            (percent <= _last || (percent < _last + 1 && now - _when < std::chrono::milliseconds(100)))) {
            return -1;
        }
        _last = percent;
        _when = now;
        return _last;
    }

private:
    static constexpr double largest = 99.9;
    double _last = -1;
    std::chrono::steady_clock::time_point _when;
};

} // namespace lumo
