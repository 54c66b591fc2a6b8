#pragma once
// RTKLIB's convbin as an independent decoder of the same logs: runs both
// converters on a log and reads convbin's RINEX 3 navigation file.
#include <string>
#include <vector>

namespace convbintest {

// One record of a RINEX 3 navigation file: the satellite, the clock epoch
// as printed (the constellation's own time, UTC for GLONASS) and the
// numbers in their order: three on the first line, four on each next one.
struct RinexNavRecord {
    char system;
    int prn;
    int year, month, day, hour, minute, second;
    std::vector<double> values;

    double operator[](size_t index) const { return index < values.size() ? values[index] : 0.0; }
    // Seconds into the week of the printed epoch, weeks starting on Sunday.
    double SecondsOfWeek() const;
};

// Every record of the file, of every constellation.
std::vector<RinexNavRecord> ReadRinexNav(const std::string& path);

bool HaveConvbin();
// convbin -r ubx -v 3.04 into obs and nav; false if it failed.
bool RunConvbin(const std::string& input, const std::string& obs, const std::string& nav);
// This converter through ConvertFile, without pre-processing checks.
bool RunOurs(const std::string& input, const std::string& trv);

}  // namespace convbintest
