#pragma once
// Small ANTEX texts for the antenna tests: a header and satellite blocks
// whose lines a test can spoil one at a time.
#include <cstdio>
#include <fstream>
#include <string>

#include "timebase/GpsTime.h"

namespace antextest {

// data in the columns before 60, then the label.
inline std::string Line(std::string data, const std::string& label) {
    data.resize(60, ' ');
    return data + label + "\n";
}

inline std::string Header() {
    return Line("     1.4            M", "ANTEX VERSION / SYST") + Line("A", "PCV TYPE / REFANT") +
           Line("", "END OF HEADER");
}

// A grid row: its head in 8 columns, then three values in millimetres.
inline std::string Row(const char* head, double a, double b, double c) {
    char text[64];
    std::snprintf(text, sizeof text, "%8s%8.2f%8.2f%8.2f\n", head, a, b, c);
    return text;
}

inline std::string Frequency(const std::string& code, const std::string& rows = Row("NOAZI", 1, 2, 3)) {
    return Line("   " + code, "START OF FREQUENCY") + Line("      1.00     -2.00   1500.00", "NORTH / EAST / UP") +
           rows + Line("   " + code, "END OF FREQUENCY");
}

struct SatelliteBlock {
    std::string type = "BLOCK IIF", code = "G01", svn = "G063", cospar = "2010-022A";
    std::string dazi = "     0.0", zenith = "     0.0   2.0   1.0", count = "     2";   // three grid columns
    std::string validFrom = "  2010     5    28     0     0    0.0000000", validUntil;
    std::string extra;   // more head lines
    std::string frequencies = Frequency("G01") + Frequency("G02");

    std::string Text() const {
        char typeData[64];
        std::snprintf(typeData, sizeof typeData, "%-20s%-20s%-10s%-10s", type.c_str(), code.c_str(), svn.c_str(),
                      cospar.c_str());
        std::string text = Line("", "START OF ANTENNA") + Line(typeData, "TYPE / SERIAL NO") +
                           Line(std::string(45, ' ') + "0    01-JAN-26", "METH / BY / # / DATE") + Line(dazi, "DAZI") +
                           Line(zenith, "ZEN1 / ZEN2 / DZEN") + Line(count, "# OF FREQUENCIES");
        if (!validFrom.empty()) text += Line(validFrom, "VALID FROM");
        if (!validUntil.empty()) text += Line(validUntil, "VALID UNTIL");
        return text + extra + frequencies + Line("", "END OF ANTENNA");
    }
};

inline std::string Write(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
    return path;
}

inline GpsTime At(int year, int month, int day, int hour = 0) {
    int week = 0;
    double seconds = 0.0;
    CalendarToGps(hour, 0, 0.0, month, day, year, week, seconds);
    return GpsTime(week, seconds);
}

inline GpsTimeRange Days(int year, int month, int day, int days = 1) {
    const GpsTime first = At(year, month, day);
    return GpsTimeRange{first, first + days * 86400.0};
}

}  // namespace antextest
