#include "timebase/UtcOffset.h"

#include <cstdio>
#include <stdexcept>
#include <string>

#include "settings/ProductSettings.h"
#include "settings/XmlDocument.h"

namespace {

const char kNotValid[] = "Input GPS time not valid, UTC offset has not been altered";
const char kBeforeWeek1024[] = "Input GPS time is from before week 1024, UTC offset has not been altered";
const char kNoFile[] = "Could not open manufact.utc file, UTC offset has not been altered";
const char kUnknown[] = "Unknown error occurred, UTC offset has not been altered";
const char kNoEndDate[] = "End date of UTC offset could not be found, UTC offset has not been altered";
const char kBackupFailed[] = "Backup UTC offset code failed as well";
const char kInvalidNumber[] = "invalid stoi argument";
const char kNumberOutOfRange[] = "stoi argument out of range";

// A decimal integer as std::stoi reads it; an empty text is 0.
int ReadInteger(const std::string& text) { return text.empty() ? 0 : std::stoi(text); }

int DayOfWeek(double seconds) { return TruncateToInt(seconds / kSecondsPerDay); }

// Seconds from b to a, with weeks and seconds as they stand.
double SecondsBetween(int weekA, double secondsA, int weekB, double secondsB) {
    return (secondsA - secondsB) + static_cast<double>(weekA - weekB) * kSecondsPerWeek;
}

// The first date from which each offset holds. The last row only closes the
// table. The repeated 13 and the -1 of the first row belong to it as the
// installations have always had it.
struct BackupRow {
    int year, month, day, offset;
};
constexpr BackupRow kBackupRows[] = {
    {1980, 2, 1, -1},  {1991, 1, 1, 7},   {1992, 7, 1, 8},   {1993, 7, 1, 9},   {1994, 7, 1, 10},
    {1996, 1, 1, 11},  {1997, 7, 1, 12},  {1999, 1, 1, 13},  {2000, 1, 1, 13},  {2001, 1, 1, 13},
    {2005, 1, 1, 13},  {2006, 1, 1, 14},  {2009, 1, 1, 15},  {2012, 7, 1, 16},  {2015, 7, 1, 17},
    {2017, 1, 1, 18},  {2030, 1, 1, 18},
};
constexpr int kBackupRowCount = static_cast<int>(sizeof kBackupRows / sizeof kBackupRows[0]);

void RowTime(const BackupRow& row, int& week, double& seconds) {
    CalendarToGps(0, 0, 0.0, row.month, row.day, row.year, week, seconds);
    if (row.year >= 1999 && week < 900) week += kWeekRollover;
}

enum class Lookup { Found, NoFile, Unknown, NoEndDate };

// Searches the offset elements of manufact.utc, which come in date order;
// the first one that ends after the time, or is open-ended, holds. Throws
// the number conversion's exceptions on a text that is not a number.
Lookup ReadOffsetFile(const GpsTime& time, int& value) {
    CXmlDocument document;
    {
        const CProductSettings settings;
        if (!document.Load(JoinPath(settings.GetManufactDir(), "manufact.utc"))) return Lookup::NoFile;
    }
    const CXmlNodeList elements = document.GetElementsByName("offset");
    const int count = elements.Count();
    if (count == 0) return Lookup::Unknown;
    for (int i = 0; i < count; ++i) {
        const CXmlAttributes attributes = elements.Item(i).GetAttributes();
        if (attributes.IsNull()) return Lookup::NoEndDate;
        const CXmlNode endYear = attributes.GetNamedItem("endyear");
        const CXmlNode endMonth = attributes.GetNamedItem("endmonth");
        const CXmlNode endDay = attributes.GetNamedItem("endday");
        if (endYear.IsNull() || endMonth.IsNull() || endDay.IsNull()) return Lookup::NoEndDate;
        const int year = ReadInteger(endYear.GetText());
        const int month = ReadInteger(endMonth.GetText());
        const int day = ReadInteger(endDay.GetText());

        bool holds = year == 0 && month == 0 && day == 0;
        if (!holds) {
            int endWeek = 0;
            double endSeconds = 0.0;
            CalendarToGps(0, 0, 0.0, month, day, year, endWeek, endSeconds);
            holds = SecondsBetween(endWeek, endSeconds, time.week, time.seconds) > 0.0;
        }
        if (holds) {
            const CXmlNode offsetValue = attributes.GetNamedItem("value");
            // An element without its value cannot answer; the table can.
            if (offsetValue.IsNull()) return Lookup::Unknown;
            value = ReadInteger(offsetValue.GetText());
            return Lookup::Found;
        }
    }
    return Lookup::Unknown;
}

}  // namespace

void CUtcOffset::SetError(const char* text) { snprintf(errorText, sizeof errorText, "%s", text); }

void CUtcOffset::Remember(int value, const GpsTime& time) {
    offset = value;
    dayOfWeek = DayOfWeek(time.seconds);
    week = time.week;
    valid = 1;
}

bool CUtcOffset::GetUtcOffset(const GpsTime& time, int& result) {
    if (time.week < kWeekRollover) {
        SetError(kNotValid);
        valid = 0;
        return false;
    }
    // Only a positive offset is trusted from the cache.
    if (valid && week == time.week && dayOfWeek == DayOfWeek(time.seconds) && offset > 0) {
        result = offset;
        return true;
    }
    int firstWeek = 0;
    double firstSeconds = 0.0;
    CalendarToGps(0, 0, 0.0, 8, 22, 1999, firstWeek, firstSeconds);
    if (SecondsBetween(time.week, time.seconds, firstWeek, firstSeconds) < 0.0) {
        SetError(kBeforeWeek1024);
        valid = 0;
        return false;
    }

    int value = 0;
    Lookup lookup = Lookup::Unknown;
    try {
        lookup = ReadOffsetFile(time, value);
    } catch (const std::out_of_range&) {
        SetError(kNumberOutOfRange);
        valid = 0;
        return false;
    } catch (const std::invalid_argument&) {
        SetError(kInvalidNumber);
        valid = 0;
        return false;
    } catch (...) {
        lookup = Lookup::Unknown;
    }

    switch (lookup) {
        case Lookup::Found:
            Remember(value, time);
            result = value;
            return true;
        case Lookup::NoFile:
            SetError(kNoFile);
            valid = 0;
            break;
        case Lookup::NoEndDate:
            SetError(kNoEndDate);
            break;
        case Lookup::Unknown:
            SetError(kUnknown);
            break;
    }
    return GetBackupUtcOffset(time.seconds, time.week, result);
}

bool CUtcOffset::GetBackupUtcOffset(double seconds, int timeWeek, int& result) {
    for (int i = 0; i + 1 < kBackupRowCount; ++i) {
        int fromWeek = 0, toWeek = 0;
        double fromSeconds = 0.0, toSeconds = 0.0;
        RowTime(kBackupRows[i], fromWeek, fromSeconds);
        RowTime(kBackupRows[i + 1], toWeek, toSeconds);
        if (SecondsBetween(timeWeek, seconds, fromWeek, fromSeconds) >= 0.0 &&
            SecondsBetween(timeWeek, seconds, toWeek, toSeconds) < 0.0) {
            const GpsTime normalised(timeWeek, seconds);
            Remember(kBackupRows[i].offset, normalised);
            result = kBackupRows[i].offset;
            return true;
        }
    }
    SetError(kBackupFailed);
    valid = 0;
    return false;
}
