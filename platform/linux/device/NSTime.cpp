#include "platform/NSTime.h"

#include <time.h>

NSTime::NSTime() : _microseconds(0) {}

NSTime::NSTime(std::int64_t microseconds) : _microseconds(microseconds) {}

NSTime NSTime::nowRelative() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return NSTime(static_cast<std::int64_t>(now.tv_sec) * 1000000 + now.tv_nsec / 1000);
}

std::int64_t NSTime::toInt64() const {
    return _microseconds;
}

NSTime NSTime::operator-(const NSTime& earlier) const {
    return NSTime(_microseconds - earlier._microseconds);
}

NSTime NSTime::operator+(const NSTime& span) const {
    return NSTime(_microseconds + span._microseconds);
}

bool NSTime::operator<(const NSTime& other) const {
    return _microseconds < other._microseconds;
}

bool NSTime::operator>(const NSTime& other) const {
    return _microseconds > other._microseconds;
}

bool NSTime::operator==(const NSTime& other) const {
    return _microseconds == other._microseconds;
}
