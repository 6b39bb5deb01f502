#pragma once

#include <chrono>

namespace lumo {

// Lets progress through at most every 1 % or every 10 ms, whichever comes first, only where it grows, and
// keeps 100 % for whoever knows that the work is done. Screens thin it out further; one that redraws at the
// first report after 300 ms is late by no more than 10. One thread.
class Throttle {
public:
    // The percentage to report now, from 0 to just under 100; negative when nothing is to be reported.
    double step(double percent) {
        const auto now = std::chrono::steady_clock::now();
        const bool first = _last < 0;
        percent = percent < largest ? percent : largest;
        if (!first && (percent <= _last || (percent < _last + 1 && now - _when < interval))) {
            return -1;
        }
        _last = percent;
        _when = now;
        return _last;
    }

private:
    static constexpr double largest = 99.9;
    static constexpr std::chrono::milliseconds interval{10};
    double _last = -1;
    std::chrono::steady_clock::time_point _when;
};

} // namespace lumo
