#include <gtest/gtest.h>

#include <climits>

#include "src/common/Utils.h"
#include "tests/src/common/LanguageFixture.h"

namespace {

using UtilsDate = LanguageFixture;

TEST_F(UtilsDate, EnglishDefaultsNeedNoLanguage) {
    const long time = at(2020, 12, 3, 9, 5, 7); // a Thursday
    EXPECT_EQ(Utils::formatDate(0), "01.01.1970");
    EXPECT_EQ(Utils::formatDateTime(time), "03.12.2020 09:05:07");
    EXPECT_EQ(Utils::formatDayTime(time, true), "09:05:07");
    EXPECT_EQ(Utils::formatDayTime(time, false), "09:05");
    EXPECT_EQ(Utils::formatWeekDay(time, true), "Thursday");
    EXPECT_EQ(Utils::formatWeekDay(time, false), "TH");
    EXPECT_EQ(Utils::formatMonthDay(time, true), "03 December");
    EXPECT_EQ(Utils::formatMonthDay(time, false), "03.12");
    EXPECT_EQ(Utils::formatMonth(time, true), "December 2020");
    EXPECT_EQ(Utils::formatMonth(time, false), "December");
    EXPECT_EQ(Utils::formatDateLong(time), "December  3th, 2020");
    EXPECT_EQ(Utils::formatCurrentDate(time), "Thursday, December  3th");
    EXPECT_EQ(Utils::formatEventTime(time, time + 5400), "09:05 - 10:35");
    setZone("XXX-5");
    EXPECT_EQ(Utils::formatDateTimeSlash(time), "2020/12/03/09/05/07");
}

TEST_F(UtilsDate, PatternsComeFromTheLanguage) {
    loadLanguage({{"NUMERIC_TIME", "%H.%M"}, {"NUMERIC_TIME_12H", "%I:%M %p"}, {"FULL_DATE", "%e %h %Y"}});
    const long time = at(2020, 12, 31, 13, 30);
    EXPECT_EQ(Utils::formatDateLong(time), "31 of December 2020");
    EXPECT_EQ(Utils::formatDayTime(time, false), "13.30");
    DateTimeFormat::setMode("12");
    EXPECT_EQ(Utils::formatDayTime(time, false), "01:30 PM");
    EXPECT_EQ(Utils::formatDayTime(time, true), "13:30:00") << "no pattern for it: the default stays";
    EXPECT_EQ(Utils::getTranslatedTimeformat("DATE", "default"), "default");
}

TEST_F(UtilsDate, WeekDayNamesTheDaysAroundNowByTheCalendar) {
    loadLanguage({{"Tomorrow", "Morgen"}});
    const long now = at(2024, 3, 5, 12);
    EXPECT_EQ(Utils::formatWeekDayExtended(at(2024, 3, 5, 0, 0, 0), now), "Today");
    EXPECT_EQ(Utils::formatWeekDayExtended(at(2024, 3, 5, 23, 59, 59), now), "Today");
    EXPECT_EQ(Utils::formatWeekDayExtended(at(2024, 3, 6, 0, 0, 0), now), "Morgen");
    EXPECT_EQ(Utils::formatWeekDayExtended(at(2024, 3, 7, 0, 0, 0), now), "Thursday");
    EXPECT_EQ(Utils::formatWeekDayExtended(at(2024, 3, 4, 23, 59, 59), now), "Yesterday");
    EXPECT_EQ(Utils::formatWeekDayExtended(at(2024, 3, 3, 23, 59, 59), now), "Sunday");
    EXPECT_EQ(Utils::formatWeekDayExtended(at(2024, 1, 1), at(2023, 12, 31)), "Morgen");
    EXPECT_EQ(Utils::formatEventTime(at(2024, 3, 5, 23), at(2024, 3, 6, 1), now), "Today, 23:00 - 01:00");
}

TEST_F(UtilsDate, WeekDaySurvivesDaylightSavingChanges) {
    setZone(berlin);
    const long spring = at(2024, 3, 31);  // 23 hours
    const long autumn = at(2024, 10, 27); // 25 hours
    EXPECT_EQ(at(2024, 4, 1) - spring, 23 * 3600);
    EXPECT_EQ(at(2024, 10, 28) - autumn, 25 * 3600);
    EXPECT_EQ(Utils::formatWeekDayExtended(at(2024, 4, 1), at(2024, 3, 31, 0, 30)), "Tomorrow");
    EXPECT_EQ(Utils::formatWeekDayExtended(at(2024, 4, 2), at(2024, 3, 31, 23, 30)), "Tuesday");
    EXPECT_EQ(Utils::formatWeekDayExtended(at(2024, 3, 31), at(2024, 4, 1, 23, 30)), "Yesterday");
    EXPECT_EQ(Utils::formatWeekDayExtended(at(2024, 10, 28), at(2024, 10, 27, 0, 30)), "Tomorrow");
    EXPECT_EQ(Utils::formatWeekDayExtended(at(2024, 10, 27), at(2024, 10, 28, 0, 30)), "Yesterday");
}

TEST_F(UtilsDate, NearDateSaysNowWhileTheEventRuns) {
    const long start = at(2024, 3, 5, 23, 30);
    EXPECT_EQ(Utils::formatNearDate(start, start, 3600), "Now");
    EXPECT_EQ(Utils::formatNearDate(start, start + 3599, 3600), "Now");
    EXPECT_EQ(Utils::formatNearDate(start, start + 3600, 3600), "Yesterday");
    EXPECT_EQ(Utils::formatNearDate(start, start - 1, 3600), "Today");
    EXPECT_EQ(Utils::formatNearDate(start, start, 0), "Today");
    EXPECT_EQ(Utils::formatNearDate(start, start, -1), "Today");
    EXPECT_EQ(Utils::formatNearDate(0, LONG_MAX / 2, LONG_MAX), "Now");
    EXPECT_EQ(Utils::formatNearDate(start, start - 86400, 3600), "Tomorrow");
    EXPECT_EQ(Utils::formatNearDate(start, at(2024, 3, 3, 23, 59, 59), 3600), "Tuesday, March  5th");
    EXPECT_NE(Utils::formatNearDate(0, LONG_MIN, LONG_MAX), "Now");
}

TEST_F(UtilsDate, NearDateCountsDaysOf86400Seconds) {
    setZone(berlin);
    // Early on the day of 25 hours, 86400 s later it is still the same day.
    EXPECT_EQ(Utils::formatNearDate(at(2024, 10, 28), at(2024, 10, 27, 0, 30), 0), "Monday, October 28th");
    EXPECT_EQ(Utils::formatNearDate(at(2024, 10, 28), at(2024, 10, 27, 1, 0), 0), "Tomorrow");
}

TEST_F(UtilsDate, EventLengthCountsWholeMinutes) {
    struct Case {
        long seconds;
        const char* brief;
        const char* total;
    };

    for (const auto& [seconds, brief, total] : {Case{-3600, "0", "0"},
                                                {0, "0", "0"},
                                                {59, "0", "0"},
                                                {60, "1 min", "1 min"},
                                                {3599, "59 min", "59 min"},
                                                {3600, "1 h 0 min", "1 h 0 min (60 min)"},
                                                {5430, "1 h 30 min", "1 h 30 min (90 min)"},
                                                {100 * 3600, "100 h 0 min", "100 h 0 min (6000 min)"}}) {
        EXPECT_EQ(Utils::formatEventLength(1000, 1000 + seconds, false), brief);
        EXPECT_EQ(Utils::formatEventLength(1000, 1000 + seconds, true), total);
    }
    EXPECT_NE(Utils::formatEventLength(LONG_MIN, LONG_MAX, false), "0");
    EXPECT_EQ(Utils::formatEventLength(LONG_MAX, LONG_MIN, false), "0");
    loadLanguage({{"${1} h ${2} min", "${2} Min. nach ${1} Std."}});
    EXPECT_EQ(Utils::formatEventLength(0, 5400, false), "30 Min. nach 1 Std.");
}

TEST_F(UtilsDate, DurationsNeverRunBackwards) {
    struct Case {
        long seconds;
        const char* minutes;
        const char* time;
        const char* withDays;
    };

    for (const auto& [seconds, minutes, time, withDays] :
         {Case{LONG_MIN, "0 min", "00:00:00", "00:00:00"},
          {-1, "0 min", "00:00:00", "00:00:00"},
          {59, "0 min", "00:00:59", "00:00:59"},
          {3725, "62 min", "01:02:05", "01:02:05"},
          {86399, "1439 min", "23:59:59", "23:59:59"},
          {86400, "1440 min", "24:00:00", "1 days 00:00:00"},
          {10 * 86400 + 100000, "16066 min", "267:46:40", "11 days 03:46:40"}}) {
        EXPECT_EQ(Utils::formatDurationMinutes(seconds), minutes);
        EXPECT_EQ(Utils::formatDurationTime(seconds, false), time);
        EXPECT_EQ(Utils::formatDurationTime(seconds, true), withDays);
    }
}

} // namespace
