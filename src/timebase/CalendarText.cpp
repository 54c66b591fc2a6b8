#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "timebase/CalendarTables.h"
#include "timebase/GpsTime.h"

// The text buffers of FormatGpsTime hold this many characters.
static constexpr size_t kTextSize = 32;
// Most decimals of a formatted second that still fit the buffer.
static constexpr int kMaxDecimals = 12;

// Years as the split calendar gives them (since 1900) become full years:
// the two-digit years below 50 belong to the 2000s.
static int FullYear(int yearsSince1900) {
    if (yearsSince1900 < 50) yearsSince1900 += 100;
    if (yearsSince1900 < 199) yearsSince1900 += 1900;
    return yearsSince1900;
}

void SplitGpsTime(int week, double seconds, int& hour, int& minute, double& second, int& month,
                  int& day, int& year) {
    if (week < kWeekRollover) week = ResolveWeekByClock(week);
    double unixSeconds = week * kSecondsPerWeek + static_cast<double>(kUnixSecondsAtGpsEpoch) + seconds;
    // Keeps the conversion to an integer defined for absurd input.
    if (!(std::fabs(unixSeconds) < 9e18)) unixSeconds = 0.0;
    const double whole = std::trunc(unixSeconds);

    const UnixCalendar* split = SplitUnixSeconds(static_cast<int64_t>(whole));
    hour = split->hour;
    minute = split->minute;
    second = split->second + (unixSeconds - whole);
    month = split->month + 1;
    day = split->dayOfMonth;
    year = FullYear(split->yearsSince1900);
}

void FormatGpsTime(double absoluteSeconds, int decimals, char* timeText, char* dateText) {
    const int week = TruncateToInt(absoluteSeconds / kSecondsPerWeek);
    int hour = 0, minute = 0, month = 0, day = 0, year = 0;
    double second = 0.0;
    SplitGpsTime(week, SecondsOfWeek(absoluteSeconds), hour, minute, second, month, day, year);

    if (timeText != nullptr) {
        if (decimals < 0) decimals = 0;
        if (decimals > kMaxDecimals) decimals = kMaxDecimals;
        // Two digits before the point, the point and the decimals; without
        // decimals there is no point either.
        const int width = decimals > 0 ? decimals + 3 : 2;
        char format[kTextSize];
        snprintf(format, sizeof format, "%%02d:%%02d:%%0%d.%dlf", width, decimals);
        snprintf(timeText, kTextSize, format, hour, minute, second);
    }
    if (dateText != nullptr) snprintf(dateText, kTextSize, "%02d/%02d/%d", month, day, year);
}

void CalendarToGps(int hour, int minute, double second, int month, int day, int year, int& week,
                   double& seconds) {
    // Every fourth year is a leap year; 1900 and 2100 lie outside the years
    // this count serves.
    const long long y = year > 1900 ? year - 1900 : year;
    const int leap = y % 4 == 0 ? 1 : 0;
    long long years = 0, leapDays = 0;
    if (y < 70) {  // a two-digit year of the 2000s
        years = y + 30;
        leapDays = (y + 32) / 4;
    } else {
        years = y - 70;
        leapDays = (y - 68) / 4;
    }
    // A month outside 1..12 is held to the table rather than read past it.
    int monthIndex = month - 1;
    if (monthIndex < 0) monthIndex = 0;
    if (monthIndex > 12) monthIndex = 12;
    // The leap days above already count this year's own.
    const long long days = 365 * years + leapDays + kDaysBeforeMonth[leap][monthIndex] + day - 1 - leap;

    const double wholeSecond = std::fabs(second) < 1e15 ? std::trunc(second) : 0.0;
    const long long total = days * kSecondsPerDay + hour * 3600LL + minute * 60LL +
                            static_cast<long long>(wholeSecond) - kUnixSecondsAtGpsEpoch;
    const long long secondsPerWeek = static_cast<long long>(kSecondsPerWeek);
    week = static_cast<int>(total / secondsPerWeek);
    seconds = static_cast<double>(total % secondsPerWeek) + (second - wholeSecond);
}

// Reads an optionally signed decimal number after blanks, as atoi would, but
// held within a range that later arithmetic cannot overflow. Returns the
// first character after it.
static const char* ReadNumber(const char* text, long& value) {
    constexpr long kLimit = 1000000000L;
    while (std::isspace(static_cast<unsigned char>(*text))) ++text;
    bool negative = false;
    if (*text == '-' || *text == '+') negative = *text++ == '-';
    long n = 0;
    for (; std::isdigit(static_cast<unsigned char>(*text)); ++text)
        if (n < kLimit) n = n * 10 + (*text - '0');
    value = negative ? -n : n;
    return text;
}

// Steps over blanks to the separator; null if it is not there.
static const char* SkipSeparator(const char* text, char separator) {
    while (std::isspace(static_cast<unsigned char>(*text))) ++text;
    return *text == separator ? text + 1 : nullptr;
}

int ParseGpsTime(const char* timeText, const char* dateText, double& absoluteSeconds) {
    constexpr long kMaxHour = 255;  // lax on purpose: hours past a day are let through
    constexpr long kMaxMinute = 60;
    constexpr double kMaxSecond = 60.0;
    if (timeText == nullptr || dateText == nullptr) return 1;

    long month = 0, day = 0, year = 0;
    const char* p = ReadNumber(dateText, month);
    if ((p = SkipSeparator(p, '/')) == nullptr) return 1;
    p = ReadNumber(p, day);
    if ((p = SkipSeparator(p, '/')) == nullptr) return 1;
    ReadNumber(p, year);
    if (year < 50)
        year += 2000;
    else if (year < 1900)
        year += 1900;

    long hour = 0, minute = 0;
    p = ReadNumber(timeText, hour);
    if ((p = SkipSeparator(p, ':')) == nullptr) return 1;
    p = ReadNumber(p, minute);
    if ((p = SkipSeparator(p, ':')) == nullptr) return 1;
    if (hour > kMaxHour) return 1;
    // The minute counts as unsigned: a negative one is as wrong as 61.
    if (static_cast<unsigned long>(minute) > static_cast<unsigned long>(kMaxMinute)) return 1;

    // The second is the run of digits and points (after an optional sign)
    // that opens its field; whatever follows is ignored.
    while (std::isspace(static_cast<unsigned char>(*p))) ++p;
    char field[kTextSize];
    size_t n = 0;
    if (*p == '-' || *p == '+') field[n++] = *p++;
    while (n + 1 < sizeof field && (std::isdigit(static_cast<unsigned char>(*p)) || *p == '.'))
        field[n++] = *p++;
    field[n] = '\0';
    const double second = std::strtod(field, nullptr);
    if (second < 0.0 || second > kMaxSecond) return 1;

    int week = 0;
    double seconds = 0.0;
    CalendarToGps(static_cast<int>(hour), static_cast<int>(minute), second, static_cast<int>(month),
                  static_cast<int>(day), static_cast<int>(year), week, seconds);
    if (week < kWeekRollover) week = ResolveWeekByClock(week);
    absoluteSeconds = week * kSecondsPerWeek + seconds;
    return 0;
}

int DaysSinceLeapYear(int days, int year) {
    // Years since the last leap year, counting every fourth year as one.
    const int sinceLeap = (year % 4 + 4) % 4;
    if (sinceLeap == 0) return days;
    return days + 366 + (sinceLeap - 1) * 365;
}
