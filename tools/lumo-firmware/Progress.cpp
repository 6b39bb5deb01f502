#include "tools/lumo-firmware/Progress.h"

#include <algorithm>

namespace lumo {

Progress::Progress(std::ostream* out, std::string what, std::uint64_t total, Clock clock)
    : _out(out), _what(std::move(what)), _total(total), _clock(std::move(clock)), _begin(_clock()) {}

Progress::~Progress() {
    if (_shown >= 0) {
        *_out << std::endl;
    }
}

void Progress::add(std::uint64_t done) {
    _done = std::min(_total, _done + done);
    if (_out == nullptr || _total == 0 || _clock() - _begin < std::chrono::seconds(1)) {
        return;
    }
    // In two steps, for 100 times a total may not fit.
    const auto percent = static_cast<int>(_total < 100 ? _done * 100 / _total : _done / (_total / 100));
    show(std::min(99, percent));
}

void Progress::finish() {
    if (_shown >= 0) {
        show(100);
        *_out << std::endl;
        _shown = -1;
    }
    _out = nullptr;
}

void Progress::show(int percent) {
    if (percent > _shown) {
        *_out << '\r' << _what << ": " << percent << " %" << std::flush;
        _shown = percent;
    }
}

} // namespace lumo
