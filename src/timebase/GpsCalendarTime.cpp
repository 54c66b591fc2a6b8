#include <cmath>

#include "timebase/CalendarTables.h"
#include "timebase/GpsTime.h"

static constexpr int kFirstValidYear = 1999;

static bool IsValidCalendar(int year, int month, int day, int hour, int minute, double second) {
    return year >= kFirstValidYear && month >= 1 && month <= 12 && day >= 1 && day <= 31 &&
           hour >= 0 && hour <= 23 && minute >= 0 && minute <= 59 && second >= 0.0 && second < 60.0;
}

// Days from 1 January 1970 in the proleptic Gregorian calendar. A day past
// the end of its month simply runs on into the next one.
static long long DaysFromUnixEpoch(long long year, int month, int day) {
    // Counting from March puts the leap day at the end of the counted year.
    if (month <= 2) --year;
    const long long era = (year >= 0 ? year : year - 399) / 400;
    const long long yearOfEra = year - era * 400;
    const int monthFromMarch = month > 2 ? month - 3 : month + 9;
    const long long dayOfYear = (153 * monthFromMarch + 2) / 5 + day - 1;
    const long long dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    // 719468 days lie between 1 March of year 0 and 1 January 1970.
    return era * 146097 + dayOfEra - 719468;
}

void GpsCalendarTime::Set(int newYear, int newMonth, int newDay, int newHour, int newMinute,
                          double newSecond) {
    if (!IsValidCalendar(newYear, newMonth, newDay, newHour, newMinute, newSecond)) {
        time = GpsTime();
        return;
    }
    year = static_cast<int16_t>(newYear);
    month = static_cast<int16_t>(newMonth);
    day = static_cast<int16_t>(newDay);
    hour = static_cast<int16_t>(newHour);
    minute = static_cast<int16_t>(newMinute);
    second = newSecond;

    // Both instants are counted in the same calendar, so any zone offset
    // drops out. Whole seconds and the fraction stay apart until the end so
    // that the fraction loses nothing to the size of the count.
    const double wholeSecond = std::trunc(newSecond);
    const long long elapsed =
        (DaysFromUnixEpoch(newYear, newMonth, newDay) * kSecondsPerDay + newHour * 3600LL +
         newMinute * 60LL + static_cast<long long>(wholeSecond)) -
        kUnixSecondsAtGpsEpoch;
    const long long secondsPerWeek = static_cast<long long>(kSecondsPerWeek);
    int week = static_cast<int>(elapsed / secondsPerWeek);
    double seconds = static_cast<double>(elapsed % secondsPerWeek) + (newSecond - wholeSecond);
    if (seconds >= kSecondsPerWeek) {
        seconds -= kSecondsPerWeek;
        ++week;
    }
    time.week = static_cast<int16_t>(week);
    time.seconds = seconds;
}

bool GpsCalendarTime::SetFromGpsTime(const GpsTime& source) {
    if (source.week < kWeekRollover) return false;
    int h = 0, mi = 0, mo = 0, d = 0, y = 0;
    double s = 0.0;
    SplitGpsTime(source.week, source.seconds, h, mi, s, mo, d, y);
    year = static_cast<int16_t>(y);
    month = static_cast<int16_t>(mo);
    day = static_cast<int16_t>(d);
    hour = static_cast<int16_t>(h);
    minute = static_cast<int16_t>(mi);
    second = s;
    time = source;
    return true;
}

double GpsCalendarTime::GetDayOfYear() const {
    if (time.week < kWeekRollover || !IsValidCalendar(year, month, day, hour, minute, second))
        return -1.0;
    // Gregorian: of the century years only those divisible by 400 (and so
    // by 16) are leap years.
    const bool common = year % 4 != 0 || (year % 100 == 0 && year % 16 != 0);
    const int dayOfYear = kDaysBeforeMonth[common ? 0 : 1][month - 1] + day - 1;
    const double absolute = time.week * kSecondsPerWeek + time.seconds;
    return dayOfYear + std::fmod(absolute, static_cast<double>(kSecondsPerDay)) / kSecondsPerDay;
}
