#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace lumo {

// Makes a picture smaller while its rows come in, so that the large one is never held: every pixel is the
// mean of those that it covers, weighted by how much of each it covers and by their alpha.
class RowScaler {
public:
    struct Size {
        std::uint32_t width, height; // pixels, at most 32767
    };

    enum class Layout { Coverage, Opaque, Alpha }; // 1 byte, R G B and a fourth one that is 255, R G B A

    // to: not larger than from, at least 1 by 1.
    RowScaler(Size from, Size to, Layout layout);

    // Takes the next row, and calls emit(row) for each row of the small picture that is complete with it.
    template <typename Emit>
    void add(const unsigned char* row, Emit emit) {
        if (_plain) {
            emit(row);
            return;
        }
        sumRow(row);
        // In a measure in which rows that come in are _to.height high, and rows that go out _from.height.
        std::uint64_t rest = _to.height;
        while (rest > 0) {
            const std::uint64_t part = rest < _missing ? rest : _missing;
            addSums(part);
            rest -= part;
            _missing -= part;
            if (_missing == 0) {
                finishRow();
                emit(_out.data());
                _missing = _from.height;
            }
        }
    }

private:
    void sumRow(const unsigned char* row);
    void addPixel(const unsigned char* pixel, std::uint32_t weight, std::uint32_t* sums) const;
    void addSums(std::uint64_t weight);
    void finishRow();

    Size _from;
    Size _to;
    Layout _layout;
    std::size_t _channels;
    bool _plain;
    std::uint64_t _missing;            // of the row that goes out next
    std::vector<std::uint32_t> _row;   // sums of one row: at most 255 * 255 * 32767
    std::vector<std::uint64_t> _total; // sums of the row that goes out next
    std::vector<unsigned char> _out;
};

} // namespace lumo
