#pragma once
#include <cmath>
#include <cstdint>

// Seconds in a GPS week, in a day, and the roll-over of a broadcast week.
inline constexpr double kSecondsPerWeek = 604800.0;
inline constexpr int kSecondsPerDay = 86400;
inline constexpr int kDaysUnixToGpsEpoch = 3657;  // 1 Jan 1970 .. 6 Jan 1980
inline constexpr int kMjdOfGpsEpoch = 44244;
inline constexpr int kWeekRollover = 1024;        // below: a 10-bit broadcast week

// A GPS time: week and seconds of week. A week below 1024 is a broadcast
// week that still has to be made full, or no valid time at all.
struct GpsTime {
    int16_t week = 0;
    double seconds = 0.0;

    GpsTime() = default;
    GpsTime(int week, double seconds) { Set(week, seconds); }

    // Assigns and normalises by one step; true if the week is then full.
    bool Set(int week, double seconds);
    bool IsAtLeast(int week) const { return this->week >= week; }

    GpsTime operator+(double s) const;
    GpsTime operator-(double s) const;
    GpsTime& operator+=(double s);
    GpsTime& operator-=(double s);

    bool operator<(const GpsTime& b) const;
    bool operator>(const GpsTime& b) const;
    bool operator<=(const GpsTime& b) const;
    bool operator>=(const GpsTime& b) const;

    // this - other, in seconds, without normalising.
    double Difference(const GpsTime& other) const;
    double Difference(int week, double seconds) const;
    // other - this.
    double DifferenceFrom(const GpsTime& other) const;
    double DifferenceFrom(int week, double seconds) const;
    double AbsDifference(const GpsTime& other) const;
    double AbsDifference(int week, double seconds) const;

    // True if (week, seconds) lies strictly after this time.
    bool IsEarlierThan(int week, double seconds) const;
    void GetMjd(int& day, double& fraction) const;

private:
    void Normalise();
};

struct GpsTimeRange {
    GpsTime first;
    GpsTime last;

    void Set(int firstWeek, double firstSeconds, int lastWeek, double lastSeconds);
    void Extend(int week, double seconds);
    void GetMiddle(GpsTime& result) const;
};

struct GpsCalendarTime {
    int16_t year = 0, month = 0, day = 0, hour = 0, minute = 0;
    double second = 0.0;
    GpsTime time;

    void Set(int year, int month, int day, int hour, int minute, double second);
    bool SetFromGpsTime(const GpsTime& time);
    double GetDayOfYear() const;
};

// Broken-down calendar time as SplitUnixSeconds returns it (struct tm style:
// month from 0, years since 1900).
struct UnixCalendar {
    int second, minute, hour, dayOfMonth, month, yearsSince1900;
};

double AbsoluteSeconds(double seconds, int week);
double SecondsOfWeek(double absoluteSeconds);
double WrapTimeDifference(double a, double b);
int ResolveWeekByClock(int week);
// The whole part of value as an int, held to the int range, and 0 for NaN.
// Times from damaged files and hostile logs reach integer conversions, where
// a plain cast of a value out of range is undefined.
int TruncateToInt(double value);
int ResolveWeekNear(int week, int reference);
int ResolveWeekByTimes(int week, double secondsA, double secondsB);
const UnixCalendar* SplitUnixSeconds(int64_t seconds);
// Either text pointer may be null; the buffers need 32 characters.
void FormatGpsTime(double absoluteSeconds, int decimals, char* timeText, char* dateText);
void SplitGpsTime(int week, double seconds, int& hour, int& minute, double& second,
                  int& month, int& day, int& year);
void CalendarToGps(int hour, int minute, double second, int month, int day, int year,
                   int& week, double& seconds);
// 0 on success, 1 on bad text.
int ParseGpsTime(const char* timeText, const char* dateText, double& absoluteSeconds);
int DaysSinceLeapYear(int days, int year);

// ---------------------------------------------------------------------------
// GpsTime operations sit on the inner loops of positioning, so they are
// defined here where every caller can inline them; none of them calls out.

// Comparison tolerances of <= and >=. They are not alike on purpose: callers
// rely on <= accepting a little more slack than >=.
inline constexpr double kLessEqualTolerance = 2e-5;
inline constexpr double kGreaterEqualTolerance = -1e-5;

// One step only: a value out by more than a week stays out, and exactly one
// week of seconds is left as it is.
inline void GpsTime::Normalise() {
    if (seconds < 0.0) {
        seconds += kSecondsPerWeek;
        --week;
    }
    if (seconds > kSecondsPerWeek) {
        seconds -= kSecondsPerWeek;
        ++week;
    }
}

inline bool GpsTime::Set(int newWeek, double newSeconds) {
    week = static_cast<int16_t>(newWeek);
    seconds = newSeconds;
    Normalise();
    return week >= kWeekRollover;
}

inline GpsTime& GpsTime::operator+=(double s) {
    seconds += s;
    Normalise();
    return *this;
}

inline GpsTime& GpsTime::operator-=(double s) {
    seconds -= s;
    Normalise();
    return *this;
}

inline GpsTime GpsTime::operator+(double s) const {
    GpsTime result = *this;
    result += s;
    return result;
}

inline GpsTime GpsTime::operator-(double s) const {
    GpsTime result = *this;
    result -= s;
    return result;
}

inline bool GpsTime::operator<(const GpsTime& b) const {
    if (week != b.week) return week < b.week;
    return seconds < b.seconds;
}

inline bool GpsTime::operator>(const GpsTime& b) const {
    if (week != b.week) return week > b.week;
    return seconds > b.seconds;
}

inline bool GpsTime::operator<=(const GpsTime& b) const {
    if (week != b.week) return week < b.week;
    return seconds - b.seconds <= kLessEqualTolerance;
}

inline bool GpsTime::operator>=(const GpsTime& b) const {
    if (week != b.week) return week > b.week;
    return seconds - b.seconds >= kGreaterEqualTolerance;
}

inline double GpsTime::Difference(int otherWeek, double otherSeconds) const {
    return seconds - otherSeconds + (week - otherWeek) * kSecondsPerWeek;
}

inline double GpsTime::Difference(const GpsTime& other) const {
    return Difference(other.week, other.seconds);
}

inline double GpsTime::DifferenceFrom(int otherWeek, double otherSeconds) const {
    return -Difference(otherWeek, otherSeconds);
}

inline double GpsTime::DifferenceFrom(const GpsTime& other) const {
    return -Difference(other.week, other.seconds);
}

inline double GpsTime::AbsDifference(int otherWeek, double otherSeconds) const {
    return std::fabs(Difference(otherWeek, otherSeconds));
}

inline double GpsTime::AbsDifference(const GpsTime& other) const {
    return std::fabs(Difference(other.week, other.seconds));
}

inline bool GpsTime::IsEarlierThan(int otherWeek, double otherSeconds) const {
    return DifferenceFrom(otherWeek, otherSeconds) > 0.0;
}
