#include "platform/linux/graphics/RowScaler.h"

#include <algorithm>

namespace lumo {

RowScaler::RowScaler(Size from, Size to, Layout layout)
    : _from(from),
      _to(to),
      _layout(layout),
      _channels(layout == Layout::Coverage ? 1 : 4),
      _plain(from.width == to.width && from.height == to.height),
      _missing(from.height) {
    if (!_plain) {
        _row.resize(_to.width * _channels);
        _total.resize(_to.width * _channels);
        _out.resize(_to.width * _channels);
    }
}

void RowScaler::sumRow(const unsigned char* row) {
    std::fill(_row.begin(), _row.end(), 0);
    std::uint32_t* sums = _row.data();
    // As in add(), but across.
    std::uint32_t missing = _from.width;
    for (std::uint32_t x = 0; x < _from.width; ++x, row += _channels) {
        std::uint32_t rest = _to.width;
        while (rest > 0) {
            const std::uint32_t part = std::min(rest, missing);
            addPixel(row, part, sums);
            rest -= part;
            missing -= part;
            if (missing == 0) {
                sums += _channels;
                missing = _from.width;
            }
        }
    }
}

void RowScaler::addPixel(const unsigned char* pixel, std::uint32_t weight, std::uint32_t* sums) const {
    switch (_layout) {
    case Layout::Coverage:
        sums[0] += pixel[0] * weight;
        break;
    case Layout::Alpha:
        sums[3] += pixel[3] * weight;
        weight *= pixel[3];
        [[fallthrough]];
    case Layout::Opaque:
        sums[0] += pixel[0] * weight;
        sums[1] += pixel[1] * weight;
        sums[2] += pixel[2] * weight;
    }
}

void RowScaler::addSums(std::uint64_t weight) {
    std::transform(_row.begin(), _row.end(), _total.begin(), _total.begin(),
                   [weight](std::uint32_t sum, std::uint64_t total) { return total + sum * weight; });
}

void RowScaler::finishRow() {
    const std::uint64_t whole = std::uint64_t{_from.width} * _from.height;
    const auto mean = [](std::uint64_t total, std::uint64_t weight) {
        return static_cast<unsigned char>(weight == 0 ? 0 : (total + weight / 2) / weight);
    };
    for (std::size_t i = 0; i < _total.size(); i += _channels) {
        const std::uint64_t weight = _layout == Layout::Alpha ? _total[i + 3] : whole;
        std::transform(&_total[i], &_total[i] + std::min<std::size_t>(_channels, 3), &_out[i],
                       [&](std::uint64_t total) { return mean(total, weight); });
        if (_layout != Layout::Coverage) {
            _out[i + 3] = _layout == Layout::Alpha ? mean(_total[i + 3], whole) : 255;
        }
    }
    std::fill(_total.begin(), _total.end(), 0);
}

} // namespace lumo
