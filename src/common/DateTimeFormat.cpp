#include "src/common/DateTimeFormat.h"

#include <mutex>

#include "inc/private/pthread_helper.h"
#include "src/common/Utils.h"
#include "src/system/Translator.h"

// TRANSLATORS: a programme that is on the air at this moment
const char* const DateTimeFormat::TEXT_NOW = tr_noop("Now");
const char* const DateTimeFormat::TEXT_TODAY = tr_noop("Today");
const char* const DateTimeFormat::TEXT_YESTERDAY = tr_noop("Yesterday");
const char* const DateTimeFormat::TEXT_TOMORROW = tr_noop("Tomorrow");
// TRANSLATORS: the day after tomorrow, short
const char* const DateTimeFormat::TEXT_DATOMORROW = tr_noop("D.A.Tomorrow");

// TRANSLATORS: the keys in capitals stand for strftime patterns: give the pattern of the language. %h is the
// month behind a day ("of March"). This one is the day and the month, without a year.
const char* const DateTimeFormat::DATE = tr_noop("DATE");
// TRANSLATORS: a strftime pattern: day of the week, day and month
const char* const DateTimeFormat::DATE_WEEKDAY = tr_noop("DATE_WEEKDAY");
// TRANSLATORS: a strftime pattern: day, month and year, the month as a word
const char* const DateTimeFormat::FULL_DATE = tr_noop("FULL_DATE");
// TRANSLATORS: a strftime pattern: day and month in digits
const char* const DateTimeFormat::NUMERIC_DATE = tr_noop("NUMERIC_DATE");
// TRANSLATORS: a strftime pattern: day, month and year in digits
const char* const DateTimeFormat::NUMERIC_DATE_YEAR = tr_noop("NUMERIC_DATE_YEAR");

namespace {

// What setMode chooses from.
struct ModeKeys {
    const char* mode;
    const char* dateTime;
    const char* timeSeconds;
    const char* time;
};

constexpr ModeKeys keys24 = {
    DateTimeFormat::MODE_24H,
    // TRANSLATORS: a strftime pattern: date and time with seconds, all in digits
    tr_noop("NUMERIC_DATE_TIME"),
    // TRANSLATORS: a strftime pattern: time with seconds
    tr_noop("NUMERIC_TIME_SECS"),
    // TRANSLATORS: a strftime pattern: time in hours and minutes
    tr_noop("NUMERIC_TIME"),
};

constexpr ModeKeys keys12 = {
    DateTimeFormat::MODE_12H,
    // TRANSLATORS: the same on a 12-hour clock, %I for the hour and %p for AM or PM
    tr_noop("NUMERIC_DATE_TIME_12H"),
    // TRANSLATORS: the same on a 12-hour clock, %I for the hour and %p for AM or PM
    tr_noop("NUMERIC_TIME_SECS_12H"),
    // TRANSLATORS: the same on a 12-hour clock, %I for the hour and %p for AM or PM
    tr_noop("NUMERIC_TIME_12H"),
};

constexpr std::size_t bufferSize = 60;

pthread_helper::mutex cacheLock;

// An impossible day or month shows as strftime shows it.
std::string nameAt(const std::vector<std::string>& names, int index) {
    return index >= 0 && static_cast<std::size_t>(index) < names.size()
               ? names[static_cast<std::size_t>(index)]
               : "?";
}

} // namespace

std::atomic<const char*> DateTimeFormat::NUMERIC_DATE_TIME{keys24.dateTime};
std::atomic<const char*> DateTimeFormat::NUMERIC_TIME_SECS{keys24.timeSeconds};
std::atomic<const char*> DateTimeFormat::NUMERIC_TIME{keys24.time};
std::atomic<const char*> DateTimeFormat::_mode{keys24.mode};

struct DateTimeFormat::CachedValues {
    std::vector<std::string> shortWeekDays;
    std::vector<std::string> weekDays;
    std::vector<std::string> shortMonths;
    std::vector<std::string> months;
    std::vector<std::string> monthsOf;
};

std::shared_ptr<const DateTimeFormat::CachedValues> DateTimeFormat::_cachedValues;

void DateTimeFormat::setMode(const std::string& mode) {
    const ModeKeys& keys = mode == MODE_12H ? keys12 : keys24;
    NUMERIC_DATE_TIME = keys.dateTime;
    NUMERIC_TIME_SECS = keys.timeSeconds;
    NUMERIC_TIME = keys.time;
    _mode = keys.mode;
}

std::string DateTimeFormat::getMode() {
    return _mode.load();
}

void DateTimeFormat::flush() {
    const std::lock_guard guard(cacheLock);
    _cachedValues.reset();
}

void DateTimeFormat::parseList(const char* list, std::vector<std::string>& names) {
    std::vector<std::string> english;
    Utils::split(list, english, "|");
    names.clear();
    Utils::split(tr(list), names, "|");
    if (names.size() != english.size()) {
        names = english;
    }
}

void DateTimeFormat::replaceAll(std::string& text, const std::string& from, const std::string& to) {
    text = replaceString(std::move(text), from, to);
}

std::string DateTimeFormat::format(const std::string& pattern, const std::tm* time) {
    const auto names = cachedValues();
    std::string text = pattern;
    replaceAll(text, "%A", nameAt(names->weekDays, time->tm_wday));
    replaceAll(text, "%a", nameAt(names->shortWeekDays, time->tm_wday));
    replaceAll(text, "%B", nameAt(names->months, time->tm_mon));
    replaceAll(text, "%b", nameAt(names->shortMonths, time->tm_mon));
    replaceAll(text, "%h", nameAt(names->monthsOf, time->tm_mon));
    char buffer[bufferSize];
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    // What the buffer holds is only defined as far as the count that comes back, which is 0 when it was too
    // small.
    return {buffer, strftime(buffer, sizeof buffer, text.c_str(), time)};
#pragma GCC diagnostic pop
}

std::string DateTimeFormat::format(const std::string& pattern, long time) {
    const std::time_t seconds = time;
    std::tm local{};
    tzset(); // unlike localtime, localtime_r may not notice a new time zone
    return localtime_r(&seconds, &local) != nullptr ? format(pattern, &local) : std::string();
}

std::string DateTimeFormat::formatUtc(const std::string& pattern, long time) {
    const std::time_t seconds = time;
    std::tm utc{};
    return gmtime_r(&seconds, &utc) != nullptr ? format(pattern, &utc) : std::string();
}

std::shared_ptr<const DateTimeFormat::CachedValues> DateTimeFormat::cachedValues() {
    const std::lock_guard guard(cacheLock);
    if (_cachedValues == nullptr) {
        auto values = std::make_shared<CachedValues>();
        parseList(
            // TRANSLATORS: days of the week in two letters or so, from Sunday on; seven names divided by |
            tr_noop("SU|MO|TU|WE|TH|FR|SA"), values->shortWeekDays);
        parseList(
            // TRANSLATORS: seven names divided by |, as they stand at the start of a line
            tr_noop("Sunday|Monday|Tuesday|Wednesday|Thursday|Friday|Saturday"), values->weekDays);
        parseList(
            // TRANSLATORS: short months, twelve names divided by |
            tr_noop("Jan|Feb|Mar|Apr|May|Jun|Jul|Aug|Sep|Oct|Nov|Dec"), values->shortMonths);
        parseList(
            // TRANSLATORS: twelve names divided by |, as they stand alone or before a year
            tr_noop("January|February|March|April|May|June|July|August|September|October|November|December"),
            values->months);
        parseList(
            // TRANSLATORS: twelve names divided by |, in the case that they take behind a day (%h in
            // patterns)
            tr_noop("of January|of February|of March|of April|of May|of June|"
                    "of July|of August|of September|of October|of November|of December"),
            values->monthsOf);
        _cachedValues = std::move(values);
    }
    return _cachedValues;
}
