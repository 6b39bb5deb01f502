#pragma once

#include <atomic>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

// Writes dates and times by strftime patterns, with the names of days and months in the user's language: %A
// and %a (short) for the day of the week, %B and %b (short) for the month, %h for the month as it stands
// behind a day ("of March"). All other directives are strftime's. Process-wide; any thread.
class DateTimeFormat {
public:
    DateTimeFormat() = delete;

    static constexpr const char* MODE_24H = "24";
    static constexpr const char* MODE_12H = "12";
    static constexpr const char* MODE_12H_PROFILE_US = "us";

    static constexpr const char* TIME_FORMAT_24H = "%H:%M";
    static constexpr const char* TIME_FORMAT_12H = "%I:%M%p";

    // Phrases, to be translated.
    static const char* const TEXT_NOW;
    static const char* const TEXT_TODAY;
    static const char* const TEXT_YESTERDAY;
    static const char* const TEXT_TOMORROW;
    static const char* const TEXT_DATOMORROW; // the day after tomorrow

    // Phrases whose translation is the pattern of the user's language. The first three depend on the mode.
    static std::atomic<const char*> NUMERIC_DATE_TIME;
    static std::atomic<const char*> NUMERIC_TIME_SECS;
    static std::atomic<const char*> NUMERIC_TIME;
    static const char* const DATE;
    static const char* const DATE_WEEKDAY;
    static const char* const FULL_DATE;
    static const char* const NUMERIC_DATE;
    static const char* const NUMERIC_DATE_YEAR;

    // MODE_12H selects the 12-hour patterns, everything else (MODE_12H_PROFILE_US too) the 24-hour ones.
    static void setMode(const std::string& mode);
    static std::string getMode(); // MODE_12H or MODE_24H

    // Drops the names, which are kept from the first use on; the next use takes them from the language loaded
    // then.
    static void flush();

    // The translation of list, English names divided by "|", as names. All English when the translation has
    // another number of them. names is replaced.
    static void parseList(const char* list, std::vector<std::string>& names);

    // Replaces every from in text by to; inserted text is not searched again.
    static void replaceAll(std::string& text, const std::string& from, const std::string& to);

    // The time, in seconds since 1970 as local time or UTC, by this pattern; names are put in wherever their
    // directives stand, behind "%%" too. Empty where the result takes more than 59 bytes or the year does not
    // fit an int.
    static std::string format(const std::string& pattern, const std::tm* time);
    static std::string format(const std::string& pattern, long time);
    static std::string formatUtc(const std::string& pattern, long time);

private:
    struct CachedValues;

    static std::shared_ptr<const CachedValues> cachedValues();

    static std::shared_ptr<const CachedValues> _cachedValues;
    static std::atomic<const char*> _mode;
};
