#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <ctime>

#include "src/common/DateTimeFormat.h"
#include "src/common/Utils.h"
#include "src/system/Translator.h"
#include "tests/support/TempDir.h"

namespace {

// Starts each case without a language, in UTC and in 24-hour mode.
class DateTest : public testing::Test {
protected:
    void SetUp() override {
        setZone("UTC0");
        DateTimeFormat::setMode("24");
        loadLanguage("");
    }

    static void setZone(const char* zone) {
        setenv("TZ", zone, 1);
        tzset();
    }

    void loadLanguage(const std::string& text) {
        support::writeFile(_folder.file("x.txt"), text);
        ASSERT_TRUE(Translator::getInstance()->loadFile(_folder.file("x.txt"), "x"));
        DateTimeFormat::flush();
    }

    // Seconds since 1970 of a date and time in the present zone.
    static long at(int year, int month, int day, int hour = 0, int minute = 0, int second = 0) {
        std::tm time{};
        time.tm_year = year - 1900;
        time.tm_mon = month - 1;
        time.tm_mday = day;
        time.tm_hour = hour;
        time.tm_min = minute;
        time.tm_sec = second;
        time.tm_isdst = -1;
        return static_cast<long>(std::mktime(&time));
    }

    support::TempDir _folder;
};

TEST_F(DateTest, PutsNamesIntoPatternsAndLeavesTheRestToStrftime) {
    const long time = at(2024, 3, 5, 13, 7, 9);
    EXPECT_EQ(DateTimeFormat::format("%A %a %B %b %h", time), "Tuesday TU March Mar of March");
    EXPECT_EQ(DateTimeFormat::format("%e|%I%p %%d", time), " 5|01PM %d");
    EXPECT_EQ(DateTimeFormat::format("%%a", time), "13:07:09U") << "%TU, once the name is in";
    EXPECT_EQ(DateTimeFormat::format(std::string(59, 'x'), time), std::string(59, 'x'));
    EXPECT_EQ(DateTimeFormat::format(std::string(60, 'x'), time), "");
    std::tm impossible{};
    impossible.tm_wday = 7;
    impossible.tm_mon = -1;
    EXPECT_EQ(DateTimeFormat::format("%A%a%B%b%h", &impossible), "?????");
    if (sizeof(long) > 4) {
        EXPECT_EQ(DateTimeFormat::format("%Y", LONG_MAX), "");
        EXPECT_EQ(DateTimeFormat::formatUtc("%Y", LONG_MIN), "");
    }
}

TEST_F(DateTest, NamesFollowTheLanguageFromFlushOn) {
    const long sunday = at(2024, 12, 29);
    EXPECT_EQ(DateTimeFormat::format("%A %h", sunday), "Sunday of December");
    loadLanguage("SU|MO|TU|WE|TH|FR|SA\n%b|%A|%Y|mi|do|fr|sa\n\n"
                 "Sunday|Monday|Tuesday|Wednesday|Thursday|Friday|Saturday\n1|2|3|4|5|6\n\n"
                 "Jan|Feb|Mar|Apr|May|Jun|Jul|Aug|Sep|Oct|Nov|Dec\n|1|2|3|4|5|6|7|8|9|10|11||12\n");
    EXPECT_EQ(DateTimeFormat::format("%A", sunday), "Sunday") << "six names are no week";
    EXPECT_EQ(DateTimeFormat::format("%b", sunday), "12") << "empty names do not count";
    EXPECT_EQ(DateTimeFormat::format("%a", sunday), "12") << "a name may hold a directive";
    EXPECT_EQ(DateTimeFormat::format("%a", sunday + 86400), "Monday") << "but not one that was replaced";
    support::writeFile(_folder.file("y.txt"), "");
    ASSERT_TRUE(Translator::getInstance()->loadFile(_folder.file("y.txt"), "y"));
    EXPECT_EQ(DateTimeFormat::format("%a", sunday), "12");
    DateTimeFormat::flush();
    EXPECT_EQ(DateTimeFormat::format("%a", sunday), "SU");
}

TEST_F(DateTest, PatternsComeFromTheLanguageAndTheMode) {
    const long time = at(2020, 12, 3, 13, 5, 7); // a Thursday
    EXPECT_EQ(Utils::formatDate(0), "01.01.1970");
    EXPECT_EQ(Utils::formatDateTime(time), "03.12.2020 13:05:07");
    EXPECT_EQ(Utils::formatDayTime(time, false), "13:05");
    EXPECT_EQ(Utils::formatWeekDay(time, true) + Utils::formatWeekDay(time, false), "ThursdayTH");
    EXPECT_EQ(Utils::formatMonthDay(time, true) + Utils::formatMonthDay(time, false), "03 December03.12");
    EXPECT_EQ(Utils::formatMonth(time, true) + Utils::formatMonth(time, false), "December 2020December");
    EXPECT_EQ(Utils::formatDateLong(time), "December  3th, 2020");
    loadLanguage("NUMERIC_TIME\n%H.%M\n\nNUMERIC_TIME_12H\n%I:%M %p\n\nFULL_DATE\n%e %h %Y\n");
    EXPECT_EQ(Utils::formatDateLong(time), " 3 of December 2020");
    for (const auto& [mode, shown] :
         {std::pair{"12", "01:05 PM"}, {"us", "13.05"}, {"12", "01:05 PM"}, {"12 ", "13.05"}}) {
        DateTimeFormat::setMode(mode);
        EXPECT_EQ(DateTimeFormat::getMode(), shown[2] == ':' ? "12" : "24");
        EXPECT_EQ(Utils::formatDayTime(time, false), shown);
        EXPECT_EQ(Utils::formatDayTime(time, true), "13:05:07") << "no pattern for it: the default stays";
    }
    setZone("XXX-5");
    EXPECT_EQ(Utils::formatDateTimeSlash(time), "2020/12/03/13/05/07");
}

TEST_F(DateTest, NamesTheDaysAroundNowByTheCalendar) {
    loadLanguage("Tomorrow\nMorgen\n");
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
    setZone("CET-1CEST,M3.5.0,M10.5.0/3"); // 31 March had 23 hours, 27 October 25
    EXPECT_EQ(Utils::formatWeekDayExtended(at(2024, 4, 1), at(2024, 3, 31, 0, 30)), "Morgen");
    EXPECT_EQ(Utils::formatWeekDayExtended(at(2024, 4, 2), at(2024, 3, 31, 23, 30)), "Tuesday");
    EXPECT_EQ(Utils::formatWeekDayExtended(at(2024, 10, 27), at(2024, 10, 28, 0, 30)), "Yesterday");
    // 86400 s after half past midnight it is still the same day.
    EXPECT_EQ(Utils::formatNearDate(at(2024, 10, 28), at(2024, 10, 27, 0, 30), 0), "Monday, October 28th");
    EXPECT_EQ(Utils::formatNearDate(at(2024, 10, 28), at(2024, 10, 27, 1, 0), 0), "Morgen");
}

TEST_F(DateTest, NearDateSaysNowWhileTheEventRuns) {
    const long start = at(2024, 3, 5, 23, 30);
    EXPECT_EQ(Utils::formatNearDate(start, start, 3600), "Now");
    EXPECT_EQ(Utils::formatNearDate(start, start + 3599, 3600), "Now");
    EXPECT_EQ(Utils::formatNearDate(start, start + 3600, 3600), "Yesterday");
    EXPECT_EQ(Utils::formatNearDate(start, start - 1, 3600), "Today");
    EXPECT_EQ(Utils::formatNearDate(start, start, 0), "Today");
    EXPECT_NE(Utils::formatNearDate(0, LONG_MIN, LONG_MAX), "Now");
}

TEST_F(DateTest, LengthsCountWholeMinutesAndNeverRunBackwards) {
    for (const auto& [seconds, brief, total] : {std::tuple{-3600L, "0", "0"},
                                                {59, "0", "0"},
                                                {60, "1 min", "1 min"},
                                                {3599, "59 min", "59 min"},
                                                {3600, "1 h 0 min", "1 h 0 min (60 min)"},
                                                {100 * 3600, "100 h 0 min", "100 h 0 min (6000 min)"}}) {
        EXPECT_EQ(Utils::formatEventLength(1000, 1000 + seconds, false), brief);
        EXPECT_EQ(Utils::formatEventLength(1000, 1000 + seconds, true), total);
    }
    EXPECT_EQ(Utils::formatEventLength(LONG_MAX, LONG_MIN, false), "0");
    for (const auto& [seconds, minutes, time, withDays] :
         {std::tuple{LONG_MIN, "0 min", "00:00:00", "00:00:00"},
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
