#include "ConvbinOracle.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>

#include "conversion/Converter.h"
#include "timebase/GpsTime.h"

namespace convbintest {

namespace {

constexpr size_t kFieldWidth = 19;
constexpr size_t kFirstValueAt = 23;
constexpr size_t kNextLineValueAt = 4;

double RinexNumber(const std::string& line, size_t at) {
    if (line.size() <= at) return 0.0;
    std::string field = line.substr(at, kFieldWidth);
    for (char& c : field)
        if (c == 'D' || c == 'd') c = 'E';
    return std::strtod(field.c_str(), nullptr);
}

// Lines that follow the first one, by constellation (RINEX 3.04).
int FollowingLines(char system) {
    switch (system) {
        case 'R':
        case 'S': return 3;
        default: return 7;
    }
}

}  // namespace

double RinexNavRecord::SecondsOfWeek() const {
    int week = 0;
    double seconds = 0.0;
    CalendarToGps(hour, minute, second, month, day, year, week, seconds);
    return seconds;
}

std::vector<RinexNavRecord> ReadRinexNav(const std::string& path) {
    std::vector<RinexNavRecord> records;
    std::ifstream in(path);
    std::string line;
    while (std::getline(in, line) && line.find("END OF HEADER") == std::string::npos) {
    }
    while (std::getline(in, line)) {
        if (line.size() < kFirstValueAt || line[0] == ' ') continue;
        RinexNavRecord r{};
        r.system = line[0];
        r.prn = std::atoi(line.substr(1, 2).c_str());
        std::sscanf(line.c_str() + 4, "%d %d %d %d %d %d", &r.year, &r.month, &r.day, &r.hour, &r.minute,
                    &r.second);
        for (int j = 0; j < 3; ++j) r.values.push_back(RinexNumber(line, kFirstValueAt + kFieldWidth * j));
        for (int l = 0; l < FollowingLines(r.system); ++l) {
            std::string more;
            if (!std::getline(in, more)) return records;
            for (int j = 0; j < 4; ++j) r.values.push_back(RinexNumber(more, kNextLineValueAt + kFieldWidth * j));
        }
        records.push_back(r);
    }
    return records;
}

bool HaveConvbin() { return std::system("command -v convbin >/dev/null 2>&1") == 0; }

bool RunConvbin(const std::string& input, const std::string& obs, const std::string& nav) {
    const std::string command = "convbin -r ubx -v 3.04 -od -os -o '" + obs + "' -n '" + nav + "' '" + input +
                                "' >/dev/null 2>&1";
    return std::system(command.c_str()) == 0;
}

bool RunOurs(const std::string& input, const std::string& trv) {
    ConvertParams params;
    std::memset(&params, 0, sizeof params);
    params.structSize = UBLOX2TRV_PARAMS_SIZE;
    params.structVersion = UBLOX2TRV_STRUCT_VERSION;
    ublox2trv::SetFactoryDefaults(UBLOX2TRV_OPTIONS_SIZE, &params.options);
    params.options.runChecks = 0;
    std::snprintf(params.inputFile, sizeof params.inputFile, "%s", input.c_str());
    std::snprintf(params.outputFile, sizeof params.outputFile, "%s", trv.c_str());
    ConvertCallbacks callbacks;
    std::memset(&callbacks, 0, sizeof callbacks);
    callbacks.structSize = UBLOX2TRV_CALLBACKS_SIZE;
    return ublox2trv::ConvertFile(&params, &callbacks) == 0;
}

}  // namespace convbintest
