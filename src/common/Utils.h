#pragma once

#include <cstdint>
#include <string>
#include <vector>

// Helpers without state of their own, but for the instant that getCurrentTZOffset keeps. Any thread, unless
// said otherwise.
namespace Utils {

// Numbers. Reading takes the longest number at the start of the text, blanks before it skipped, and gives 0
// where there is none. An integer that does not fit is cut to the lower 32 bits of what strtol or strtoul
// make of it; a float that does not fit is infinite. Hexadecimal numbers may begin with "0x".
int strToInt(const std::string& text);
float strToFloat(const std::string& text);
std::uint32_t strHexToUint32(const std::string& text);
std::string intToStr(int value);
std::string uint64ToStr(unsigned long long value);
std::string floatToStr(float value);                // six significant digits, "0.1" or "1e+10"
std::string floatToStr(float value, int precision); // this many digits after the point

// Text, byte by byte in the C library's locale.
void toUpper(std::string& text);
void toLower(std::string& text);
std::string strToUpper(const std::string& text);
std::string strToLower(const std::string& text);
void trim(std::string& text); // blanks at both ends
// Appends the parts of text between any of the delimiters' characters to parts; empty parts are left out.
void split(const std::string& text, std::vector<std::string>& parts, const std::string& delimiters);
// Two lower-case hexadecimal digits a byte.
std::string dumpHex(const char* data, unsigned int length);
// From Windows-1251, or a mixture of code page 866 and Windows-1251, to UTF-8. Characters from U+0800 on
// ("…", "€", "№", ...) are left out; bytes without a character become a zero byte.
std::string cp1251ToUTF8(const std::string& text);
std::string cp866ToUTF8(const std::string& text);

// Paths. baseName is what follows the last slash, dirName what POSIX dirname gives.
std::string baseName(const std::string& path);
std::string dirName(const std::string& path);
// Whether name ends with "." and extension, in any case, and has something before them.
bool checkExtension(const std::string& name, const std::string& extension);
// What follows the last "." of the path, slashes included, in lower case: "b/c" for "/a.b/c".
std::string getFileExtension(const std::string& path);

// URLs.
bool isURL(const std::string& text); // has "://" anywhere
// Begins with a protocol: something without a "." before the first "://".
bool hasURLProtocol(const std::string& text);
// The address of a multicast stream ("udp://", "rtp://", also in capitals, an "@" behind it left out) on a
// udpxy relay: "http://relay:4022/udp/239.1.1.1:1234". Every other url, and every url without a proxy, comes
// back unchanged. No slash is added to proxy or taken from it.
std::string convertUdpxyUrl(const std::string& url, const std::string& proxy);

// MD5 as 32 lower-case hexadecimal digits.
std::string calculateMd5(const void* data, unsigned int length);
std::string calculateMd5(const std::string& data);

// Files.
bool isFileExists(const std::string& path); // folders too
// Whether a file can be made, written and deleted in this folder: tries it. Says in the log, at level 4, what
// failed.
bool testDirectoryWritable(const std::string& folder);
// The identifier kept in this file: its first word, at most 4096 bytes, empty when it holds none. Where the
// file cannot be opened a new identifier is made of a random number and the time, kept in it if possible, and
// returned; a read-only caller gets an empty text then.
std::string getIdFromFile(const std::string& path, bool readOnly);

// Sizes in units of 1024, with the unit's word in the user's language: "1024 bytes", "1.00 kBytes". Only
// whole KiB count, so kBytes never have a fraction; a unit is used up to and including 1024 of it.
std::string formatFileSize(unsigned long long bytes);
std::string formatBitRate(unsigned long long bitsPerSecond); // the same with "bit/s"

// Clock. Milliseconds since 1970.
unsigned long long getCurrentTimeMsec();
// False while the clock stands before July 2013: it was never set then.
bool isSystemDateCorrect();
// Whole hours that local time is ahead of UTC, towards zero, at the instant of the first call (in 2035 when
// the clock was not set then): it does not follow daylight-saving changes later on.
int getCurrentTZOffset();

// Dates and times for people, from seconds since 1970, in local time and by the patterns of the user's
// language (see DateTimeFormat). The comments show English without a language file. The translation of key,
// or fallback when there is none.
std::string getTranslatedTimeformat(const char* key, const std::string& fallback);
std::string formatDate(long time);                  // 31.12.2020
std::string formatDateTime(long time);              // 31.12.2020 23:59:58
std::string formatDateTimeSlash(long time);         // 2020/12/31/23/59/58, UTC
std::string formatDayTime(long time, bool seconds); // 23:59:58 or 23:59
std::string formatWeekDay(long time, bool full);    // Thursday or TH
std::string formatMonthDay(long time, bool month);  // 31 December or 31.12
std::string formatMonth(long time, bool year);      // December 2020 or December
std::string formatDateLong(long time);              // December 31th, 2020
std::string formatCurrentDate(long time);           // Thursday, December 31th
std::string formatEventTime(long start, long end);  // 20:15 - 21:45
// The same behind the day of the start, as formatWeekDayExtended names it: "Today, 20:15 - 21:45".
std::string formatEventTime(long start, long end, long now);
// "Today", "Yesterday" or "Tomorrow" by the calendar days of time and now, whatever hours a change of
// daylight-saving time gives them; the name of the day of the week for every other day.
std::string formatWeekDayExtended(long time, long now);
// "Now" for an event of this length in seconds that began at time and is not over (never for a length of 0 or
// less), otherwise "Today", "Tomorrow" or "Yesterday" when time is on the day of now, of 86400 s after it or
// of 86400 s before it, otherwise the date as formatCurrentDate writes it.
std::string formatNearDate(long time, long now, long length);
// How long an event lasts, in whole minutes begun and over: "45 min", from an hour on "1 h 30 min", with
// total "1 h 30 min (90 min)"; "0" below one minute and for an end before the start.
std::string formatEventLength(long start, long end, bool total);
// Seconds as whole minutes: "90 min"; "0 min" below one minute and for a negative duration.
std::string formatDurationMinutes(long duration);
// Seconds as "27:46:40", with days from 24 hours on as "1 days 03:46:40"; "00:00:00" for a negative duration.
std::string formatDurationTime(long duration, bool days);

} // namespace Utils
