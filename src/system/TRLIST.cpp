#include "src/system/TRLIST.h"

TRITEM::TRITEM(const char* text) : _text(text) {}

TRITEM::TRITEM(long long value) : _text(std::to_string(value)) {}

TRLIST::TRLIST(const TRITEM& item1) : _count(1), _items(new TRITEM[]{item1}) {}

TRLIST::TRLIST(const TRITEM& item1, const TRITEM& item2) : _count(2), _items(new TRITEM[]{item1, item2}) {}

TRLIST::TRLIST(const TRITEM& item1, const TRITEM& item2, const TRITEM& item3)
    : _count(3), _items(new TRITEM[]{item1, item2, item3}) {}

TRLIST::TRLIST(const TRITEM& item1, const TRITEM& item2, const TRITEM& item3, const TRITEM& item4)
    : _count(4), _items(new TRITEM[]{item1, item2, item3, item4}) {}

TRLIST::TRLIST(const TRITEM& item1, const TRITEM& item2, const TRITEM& item3, const TRITEM& item4,
               const TRITEM& item5)
    : _count(5), _items(new TRITEM[]{item1, item2, item3, item4, item5}) {}

const TRITEM* TRLIST::getItem(std::uint32_t index) const {
    const std::uint32_t position = index - 1; // 0 becomes the largest position, which no list has
    return position < _count ? &_items[position] : nullptr;
}
