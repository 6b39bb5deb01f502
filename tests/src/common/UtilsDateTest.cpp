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
    for (const auto& [time, name] : {std::pair{at(2024, 3, 3, 23, 59, 59), "Sunday"},
                                     {at(2024, 3, 4, 23, 59, 59), "Yesterday"},
                                     {at(2024, 3, 5), "Today"},
                                     {at(2024, 3, 5, 23, 59, 59), "Today"},
                                     {at(2024, 3, 6), "Morgen"},
                                     {at(2024, 3, 7), "Thursday"}}) {
        EXPECT_EQ(Utils::formatWeekDayExtended(time, now), name);
    }
    EXPECT_EQ(Utils::formatWeekDayExtended(at(2024, 1, 1), at(2023, 12, 31)), "Morgen");
    EXPECT_EQ(Utils::formatEventTime(at(2024, 3, 5, 23), at(2024, 3, 6, 1), now), "Today, 23:00 - 01:00");
    setZone(berlin); // 31 March had 23 hours, 27 October 25
    EXPECT_EQ(Utils::formatWeekDayExtended(at(2024, 4, 1), at(2024, 3, 31, 0, 30)), "Morgen");
    EXPECT_EQ(Utils::formatWeekDayExtended(at(2024, 4, 2), at(2024, 3, 31, 23, 30)), "Tuesday");
    EXPECT_EQ(Utils::formatWeekDayExtended(at(2024, 10, 27), at(2024, 10, 28, 0, 30)), "Yesterday");
    // 86400 s after half past midnight it is still the same day.
    EXPECT_EQ(Utils::formatNearDate(at(2024, 10, 28), at(2024, 10, 27, 0, 30), 0), "Monday, October 28th");
    EXPECT_EQ(Utils::formatNearDate(at(2024, 10, 28), at(2024, 10, 27, 1, 0), 0), "Morgen");
}

TEST_F(UtilsDate, NearDateSaysNowWhileTheEventRuns) {
    const long start = at(2024, 3, 5, 23, 30);
    EXPECT_EQ(Utils::formatNearDate(start, start, 3600), "Now");
    EXPECT_EQ(Utils::formatNearDate(start, start + 3599, 3600), "Now");
    EXPECT_EQ(Utils::formatNearDate(start, start + 3600, 3600), "Yesterday");
    EXPECT_EQ(Utils::formatNearDate(start, start - 1, 3600), "Today");
    EXPECT_EQ(Utils::formatNearDate(start, start, 0), "Today");
    EXPECT_EQ(Utils::formatNearDate(start, start - 86400, 3600), "Tomorrow");
    EXPECT_EQ(Utils::formatNearDate(start, at(2024, 3, 3, 23, 59, 59), 3600), "Tuesday, March  5th");
    EXPECT_NE(Utils::formatNearDate(0, LONG_MIN, LONG_MAX), "Now");
}

TEST_F(UtilsDate, EventLengthCountsWholeMinutes) {
    for (const auto& [seconds, brief, total] : {std::tuple{-3600L, "0", "0"},
                                                {59, "0", "0"},
                                                {60, "1 min", "1 min"},
                                                {3599, "59 min", "59 min"},
                                                {3600, "1 h 0 min", "1 h 0 min (60 min)"},
                                                {5430, "1 h 30 min", "1 h 30 min (90 min)"},
                                                {100 * 3600, "100 h 0 min", "100 h 0 min (6000 min)"}}) {
        EXPECT_EQ(Utils::formatEventLength(1000, 1000 + seconds, false), brief);
        EXPECT_EQ(Utils::formatEventLength(1000, 1000 + seconds, true), total);
    }
    EXPECT_EQ(Utils::formatEventLength(LONG_MAX, LONG_MIN, false), "0");
    loadLanguage({{"${1} h ${2} min", "${2} Min. nach ${1} Std."}});
    EXPECT_EQ(Utils::formatEventLength(0, 5400, false), "30 Min. nach 1 Std.");
}

TEST_F(UtilsDate, DurationsNeverRunBackwards) {
    for (const auto& [seconds, minutes, time, withDays] :
         {std::tuple{LONG_MIN, "0 min", "00:00:00", "00:00:00"},
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
