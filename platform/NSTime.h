#pragma once

#include <cstdint>

// A point or span of the platform's monotonic time, in microseconds. A plain value.
class NSTime {
public:
    NSTime();
    explicit NSTime(std::int64_t microseconds);

    // Time since an arbitrary fixed point; never goes back while the machine is up.
    static NSTime nowRelative();

    std::int64_t toInt64() const;

    NSTime operator-(const NSTime& earlier) const;
    NSTime operator+(const NSTime& span) const;
    bool operator<(const NSTime& other) const;
    bool operator>(const NSTime& other) const;
    bool operator==(const NSTime& other) const;

private:
    std::int64_t _microseconds;
};
