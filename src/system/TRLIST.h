#pragma once

#include <cstdint>
#include <memory>
#include <string>

// One value that a phrase takes in: a text, or a number written in decimal.
class TRITEM {
public:
    TRITEM() = default;
    TRITEM(const char* text); // a copy; text must not be null
    // Callers write 3LL: a plain 0 could also be a null text, and does not compile.
    TRITEM(long long value);

    const std::string& str() const { return _text; }

private:
    std::string _text;
};

// One to five values for the placeholders ${1} to ${5} of a phrase, in this order.
class TRLIST {
public:
    TRLIST(const TRITEM& item1);
    TRLIST(const TRITEM& item1, const TRITEM& item2);
    TRLIST(const TRITEM& item1, const TRITEM& item2, const TRITEM& item3);
    TRLIST(const TRITEM& item1, const TRITEM& item2, const TRITEM& item3, const TRITEM& item4);
    TRLIST(const TRITEM& item1, const TRITEM& item2, const TRITEM& item3, const TRITEM& item4,
           const TRITEM& item5);
    TRLIST(const TRLIST&) = delete;
    TRLIST& operator=(const TRLIST&) = delete;

    // The item with this number, counted from 1; null when there is none. Belongs to the list.
    const TRITEM* getItem(std::uint32_t index) const;

private:
    std::uint32_t _count;
    std::unique_ptr<TRITEM[]> _items;
};
