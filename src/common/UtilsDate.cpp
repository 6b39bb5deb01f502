#include <ctime>
#include <limits>

#include "src/common/DateTimeFormat.h"
#include "src/common/Utils.h"
#include "src/system/Translator.h"

namespace {

constexpr long day = 86400;

std::string formatBy(const char* key, const char* fallback, long time) {
    return DateTimeFormat::format(Utils::getTranslatedTimeformat(key, fallback), time);
}

// Days since 1970 of a local date.
long long calendarDay(long time) {
    const std::time_t seconds = time;
    std::tm local{};
    tzset();
    if (localtime_r(&seconds, &local) == nullptr) {
        return time / day;
    }
    std::tm midnight{};
    midnight.tm_year = local.tm_year;
    midnight.tm_mon = local.tm_mon;
    midnight.tm_mday = local.tm_mday;
    return static_cast<long long>(timegm(&midnight)) / day;
}

// The sum, or the nearest long.
long later(long time, long seconds) {
    long sum = 0;
    if (__builtin_add_overflow(time, seconds, &sum)) {
        return seconds > 0 ? std::numeric_limits<long>::max() : std::numeric_limits<long>::min();
    }
    return sum;
}

// Seconds from start to end, 0 when end is not later. Fits for any two longs.
unsigned long secondsBetween(long start, long end) {
    return end > start ? static_cast<unsigned long>(end) - static_cast<unsigned long>(start) : 0;
}

TRITEM number(unsigned long value) {
    return {static_cast<long long>(value)};
}

std::string twoDigits(unsigned long value) {
    std::string text = std::to_string(value);
    if (value < 10) {
        text.insert(text.begin(), '0');
    }
    return text;
}

} // namespace

std::string Utils::getTranslatedTimeformat(const char* key, const std::string& fallback) {
    const std::string pattern = tr(key);
    return pattern != key ? pattern : fallback;
}

std::string Utils::formatDate(long time) {
    return formatBy(DateTimeFormat::NUMERIC_DATE_YEAR, "%d.%m.%Y", time);
}

std::string Utils::formatDateTime(long time) {
    return formatBy(DateTimeFormat::NUMERIC_DATE_TIME, "%d.%m.%Y %H:%M:%S", time);
}

std::string Utils::formatDateTimeSlash(long time) {
    return DateTimeFormat::formatUtc("%Y/%m/%d/%H/%M/%S", time);
}

std::string Utils::formatDayTime(long time, bool seconds) {
    return seconds ? formatBy(DateTimeFormat::NUMERIC_TIME_SECS, "%H:%M:%S", time)
                   : formatBy(DateTimeFormat::NUMERIC_TIME, DateTimeFormat::TIME_FORMAT_24H, time);
}

std::string Utils::formatWeekDay(long time, bool full) {
    return DateTimeFormat::format(full ? "%A" : "%a", time);
}

std::string Utils::formatMonthDay(long time, bool month) {
    return month ? DateTimeFormat::format("%d %B", time)
                 : formatBy(DateTimeFormat::NUMERIC_DATE, "%d.%m", time);
}

std::string Utils::formatMonth(long time, bool year) {
    return DateTimeFormat::format(year ? "%B %Y" : "%B", time);
}

std::string Utils::formatDateLong(long time) {
    return formatBy(DateTimeFormat::FULL_DATE, "%B %eth, %Y", time);
}

std::string Utils::formatCurrentDate(long time) {
    return formatBy(DateTimeFormat::DATE_WEEKDAY, "%A, %B %eth", time);
}

std::string Utils::formatEventTime(long start, long end) {
    return formatDayTime(start, false) + " - " + formatDayTime(end, false);
}

std::string Utils::formatEventTime(long start, long end, long now) {
    return formatWeekDayExtended(start, now) + ", " + formatEventTime(start, end);
}

std::string Utils::formatWeekDayExtended(long time, long now) {
    switch (calendarDay(time) - calendarDay(now)) {
    case 0:
        return tr(DateTimeFormat::TEXT_TODAY);
    case -1:
        return tr(DateTimeFormat::TEXT_YESTERDAY);
    case 1:
        return tr(DateTimeFormat::TEXT_TOMORROW);
    default:
        return formatWeekDay(time, true);
    }
}

std::string Utils::formatNearDate(long time, long now, long length) {
    if (time <= now && length > 0 && secondsBetween(time, now) < static_cast<unsigned long>(length)) {
        return tr(DateTimeFormat::TEXT_NOW);
    }
    const long long date = calendarDay(time);
    if (date == calendarDay(now)) {
        return tr(DateTimeFormat::TEXT_TODAY);
    }
    if (date == calendarDay(later(now, day))) {
        return tr(DateTimeFormat::TEXT_TOMORROW);
    }
    if (date == calendarDay(later(now, -day))) {
        return tr(DateTimeFormat::TEXT_YESTERDAY);
    }
    return formatCurrentDate(time);
}

std::string Utils::formatEventLength(long start, long end, bool total) {
    const unsigned long minutes = secondsBetween(start, end) / 60;
    if (minutes == 0) {
        return "0";
    }
    const unsigned long hours = minutes / 60;
    if (hours == 0) {
        return tr("${1} min", TRLIST(number(minutes)));
    }
    return total ? tr("${1} h ${2} min (${3} min)",
                      TRLIST(number(hours), number(minutes % 60), number(minutes)))
                 : tr("${1} h ${2} min", TRLIST(number(hours), number(minutes % 60)));
}

std::string Utils::formatDurationMinutes(long duration) {
    return tr("${1} min", TRLIST(number(secondsBetween(0, duration) / 60)));
}

std::string Utils::formatDurationTime(long duration, bool days) {
    const unsigned long seconds = secondsBetween(0, duration);
    const unsigned long wholeDays = days ? seconds / day : 0;
    const unsigned long hours = seconds / 3600 - wholeDays * 24;
    const std::string time =
        twoDigits(hours) + ":" + twoDigits(seconds / 60 % 60) + ":" + twoDigits(seconds % 60);
    // TRANSLATORS: behind a number, before a time: "2 days 03:46:40"
    return wholeDays == 0 ? time : std::to_string(wholeDays) + " " + tr("days") + " " + time;
}
