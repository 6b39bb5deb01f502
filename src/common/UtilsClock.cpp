#include <sys/time.h>

#include <ctime>

#include "src/common/Utils.h"

namespace {

constexpr std::time_t oldestCorrectDate = 1372654800; // 2013-07-01 05:00:00 UTC
constexpr std::time_t oldestZoneDate = 1387880123;    // 2013-12-24 10:15:23 UTC
constexpr std::time_t winterDay = 2051222401;         // 2035-01-01 00:00:01 UTC

std::time_t zoneDate() {
    const std::time_t now = std::time(nullptr);
    return now < oldestZoneDate ? winterDay : now;
}

} // namespace

unsigned long long Utils::getCurrentTimeMsec() {
    timeval now{};
    gettimeofday(&now, nullptr);
    return static_cast<unsigned long long>(now.tv_sec) * 1000 +
           static_cast<unsigned long long>(now.tv_usec) / 1000;
}

bool Utils::isSystemDateCorrect() {
    return std::time(nullptr) >= oldestCorrectDate;
}

int Utils::getCurrentTZOffset() {
    static const std::time_t kept = zoneDate();
    std::tm local{};
    tzset();
    localtime_r(&kept, &local);
    return static_cast<int>(local.tm_gmtoff / 3600);
}
