// Real receiver logs beside the project. Each converts; its raw file holds the very epochs that the byte-by-byte scan
// of the log gives; and the ephemerides of its .epp stand in the RINEX 3.04 navigation file that RTKLIB's convbin, an
// independent decoder, makes of the same log, as the same data sets. Epochs, events and records per
// constellation are pinned per log, with the causes wherever the two sides differ.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "Harness.h"
#include "ephemeris/EphemerisFile.h"
#include "ephemeris/EphemerisStore.h"
#include "support/TestPaths.h"
#include "timebase/GpsTime.h"

namespace {

// One record of a RINEX 3 navigation file: the clock epoch as printed (the constellation's own time, UTC for
// GLONASS) and the numbers in their order, three on the first line and four on each next one.
struct Rinex {
    char system;
    int prn, year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
    std::vector<double> values{};
    double operator[](size_t i) const { return i < values.size() ? values[i] : 0.0; }
    double SecondsOfWeek() const {
        int week = 0;
        double seconds = 0.0;
        CalendarToGps(hour, minute, second, month, day, year, week, seconds);
        return seconds;
    }
};

std::vector<Rinex> ReadRinexNav(const std::string& path) {
    auto number = [](std::string line, size_t at) {
        if (line.size() <= at) return 0.0;
        std::replace(line.begin(), line.end(), 'D', 'E');
        return std::strtod(line.substr(at, 19).c_str(), nullptr);
    };
    std::vector<Rinex> records;
    std::ifstream in(path);
    std::string line, more;
    while (std::getline(in, line) && line.find("END OF HEADER") == std::string::npos) {
    }
    while (std::getline(in, line)) {
        if (line.size() < 23 || line[0] == ' ') continue;
        Rinex r{line[0], std::atoi(line.substr(1, 2).c_str())};
        std::sscanf(line.c_str() + 4, "%d %d %d %d %d %d", &r.year, &r.month, &r.day, &r.hour, &r.minute, &r.second);
        for (int j = 0; j < 3; ++j) r.values.push_back(number(line, 23 + 19 * j));
        for (int l = 0; l < (r.system == 'R' || r.system == 'S' ? 3 : 7) && std::getline(in, more); ++l)
            for (int j = 0; j < 4; ++j) r.values.push_back(number(more, 4 + 19 * j));
        records.push_back(r);
    }
    return records;
}

// The GPS Klobuchar coefficients of a RINEX 3 navigation header, alpha0 to beta3; empty when it has none.
std::vector<double> ReadRinexKlobuchar(const std::string& path) {
    std::vector<double> values;
    std::ifstream in(path);
    std::string line;
    while (std::getline(in, line) && line.find("END OF HEADER") == std::string::npos) {
        if (line.rfind("GPSA", 0) != 0 && line.rfind("GPSB", 0) != 0) continue;
        std::replace(line.begin(), line.end(), 'D', 'E');
        for (size_t j = 0; j < 4; ++j) values.push_back(std::strtod(line.substr(5 + 12 * j, 12).c_str(), nullptr));
    }
    return values;
}

union AnyRecord {
    GpsEphemerisRecord gps;
    QzssEphemerisRecord qzss;
    GalEphemerisRecord gal;
    BdsEphemerisRecord bds;
    GloEphemerisRecord glo;
};

constexpr double kLeapSeconds = 18.0;  // every log is from after 1 January 2017
constexpr double kDay = 86400.0, kWeek = 604800.0;

// Whether convbin's record is the same data set as ours: week, toe and IODE (not AODE for BeiDou) in the Kepler
// block that opens the records of four constellations, Galileo weeks counting on from GPS week 1024 in RINEX; a
// GLONASS record dated by tb in UTC there, by tb in Moscow time and its GPS time (with -tauN and tau-c) in ours.
bool Same(char system, const AnyRecord& r, const Rinex& v) {
    if (system != 'R') {
        const KeplerElements& k = r.gps.elements;
        return k.week + (system == 'E' ? 1024 : 0) == std::lround(v[21]) && k.toe == std::lround(v[11]) &&
               (system == 'C' || k.IODE == std::lround(v[3]));
    }
    const double utcOfDay = std::fmod(v.SecondsOfWeek(), kDay);
    const double gps = std::fmod(v.SecondsOfWeek() + kLeapSeconds, kWeek);
    return std::lround(std::fmod(utcOfDay + 10800.0, kDay)) == r.glo.tb &&
           std::fabs(std::fmod(r.glo.gpsSeconds - r.glo.minusTau - r.glo.tauC - gps + kWeek, kWeek)) < 1.0;
}

// Records of one constellation: in convbin's file, in our .epp, and of ours not in convbin's file.
using Counts = std::array<int, 3>;

struct RealLog {
    const char* file;
    int epochs, events;
    Counts gps{}, qzss{}, galileo{}, beidou{}, glonass{};
};

// Epochs: the good measurement frames a census tool finds (it rescans every byte of a damaged frame), less those the
// converter refuses or never sees: a frame is lost when it begins inside a damaged frame whose replay ends at an
// earlier record with a non-zero result, which drops the bytes behind it. Events: TIM-TM2 with the valid-time bit.
// Ephemerides: convbin writes a record whenever the data set changes, also for an unhealthy satellite, and takes
// pieces in any order and across frames. We refuse a GPS set with the top health bit set and take subframe 3 only
// after 1 and 2 of its data set, GLONASS strings 1 to 4 only in order within one frame, Galileo words 1 to 5 and
// BeiDou subframes 1 to 3 of one data set; the GLONASS store also screens out repeats.
const RealLog kLogs[] = {
    {"f9p_1hz_gps_glo_gal_bds_rawx_nosfrbx.ubx", 654, 0},  // all valid, no navigation data
    // 750 RAWX less tow 231393.24, inside a damaged RAWX whose replay stops at the word completing E30. GLONASS frames
    // lose strings on the lossy 4 Hz link; convbin keeps one BeiDou record per satellite and AODE (C23 has AODE 1 at
    // both toe) and none of C27 and C28.
    {"f9p_4hz_gps_glo_gal_bds_nmea_mixed.ubx", 749, 0, {18, 18}, {}, {18, 17}, {1, 5, 4}, {11, 5}},
    {"f9t_1hz_gps_gal_bds_sbas_nosfrbx.ubx", 299, 0},  // all valid (48 measurements at most), no navigation data
    // 582 RAWX less 20 of the cold start in week 0; convbin 2.4.3 writes no Galileo record from its I/NAV pages.
    {"gen9_1hz_gps_gal_coldstart_posllh.ubx", 562, 0, {9, 9}, {}, {0, 18, 18}},
    // 259 RXM-RAW less 10 inside damaged headers whose replay stops at a NAV-POSLLH; AID-EPH is read by neither side.
    {"lea6p_rxmraw_aideph_posllh_2013.ubx", 249, 0},
    {"legacy_1hz_rxmraw_sfrb_2008.ubx", 242, 0, {18, 0}},  // ephemerides in RXM-SFRB (0x02 0x11), which we do not read
    // 9 s of log: no GPS subframe set completes, so no GPS week places the GLONASS records.
    {"m8adr_10hz_gps_glo_gal_sbas_9s.ubx", 69, 0, {}, {}, {}, {}, {3, 0}},
    {"m8p_base_1hz_gps_glo_61min.ubx", 3687, 0, {11, 11}, {}, {}, {}, {25, 25}},
    // 882 RAWX less tow 400759.99 and 402498.991, inside damaged RAWX whose replay stops at the subframe 3 completing
    // G03 and G19. G01 toe 403200: its subframe 3 came between 1 and 2 and never again. R11 15:45: damaged frames cost
    // it a string of each frame until tb changed.
    {"m8p_base_1hz_gps_glo_qzs_badck_gappy.ubx", 880, 0, {16, 15}, {2, 2}, {}, {}, {31, 30}},
    {"m8p_rover_1hz_gps_glo_tm2_glo255.ubx", 2072, 1178, {15, 15}, {}, {}, {}, {18, 18}},
    {"m8p_rover_2hz_gps_glo_tm2.ubx", 3910, 1196, {14, 13}, {}, {}, {}, {21, 21}},  // G04 broadcasts health 63
    // 268 RAWX less the first, in week 0. G18 broadcasts health 63. E03 17:20: the log ends before its word 6. R05 and
    // R21 17:45: the log begins inside their last frame of that tb, so no frame gives strings 1 to 4 in order.
    {"m8t_1hz_gps_glo_gal_sbas_week0.ubx", 267, 0, {13, 12}, {}, {11, 10}, {}, {10, 8}},
};

const struct {
    char letter;
    GnssConstellation constellation;
    Counts RealLog::*counts;
} kSystems[] = {{'G', kGps, &RealLog::gps}, {'J', kQzss, &RealLog::qzss}, {'E', kGalileo, &RealLog::galileo},
                {'C', kBeiDou, &RealLog::beidou}, {'R', kGlonass, &RealLog::glonass}};

void CheckSystem(char system, GnssConstellation constellation, const Counts& counts, const CEphemerisStore& store,
                 const std::vector<Rinex>& rinex) {
    Counts found{};
    for (const Rinex& v : rinex) found[0] += v.system == system;
    for (int prn = 1; prn <= HighestPrn(constellation); ++prn)
        for (const GNSS::IEphemeris* e : store.GetRecords({constellation, prn})) {
            ++found[1];
            AnyRecord r;
            e->GetRecord(&r);
            found[2] += std::none_of(rinex.begin(), rinex.end(), [&](const Rinex& v) {
                return v.system == system && v.prn == prn && Same(system, r, v);
            });
        }
    EXPECT_EQ(found, counts) << system;
}

void PrintTo(const RealLog& log, std::ostream* out) { *out << log.file; }

class RealLogTest : public ::testing::TestWithParam<RealLog> {};

}  // namespace

TEST_P(RealLogTest, ConvertsAsTheByteScanDecodesAndAgreesWithRtklib) {
    SKIP_WITHOUT_SHARED_LOGS();
    const RealLog& log = GetParam();
    const std::string input = (ubxtest::SharedUbxDir() / log.file).string();
    if (!std::filesystem::exists(input)) GTEST_SKIP() << log.file << " is not among the shared logs";
    ubxtest::TempDir dir;
    ConvertParams params = convtest::MakeParams(input, dir.File("out.trv"));
    params.options.runChecks = 0;
    ConvertCallbacks callbacks{UBLOX2TRV_CALLBACKS_SIZE, {}, nullptr, nullptr, {}};
    ASSERT_EQ(ublox2trv::ConvertFile(&params, &callbacks), 0);
    EXPECT_EQ(params.epochsWritten, log.epochs);
    EXPECT_EQ(params.eventsWritten, log.events);
    int records = 0;
    for (const auto& system : kSystems) records += (log.*system.counts)[1];
    EXPECT_EQ(params.ephemeridesWritten, records);
    // The driver scans in blocks; the byte-by-byte scan must give the very epochs of the raw file.
    convtest::ExpectRawFile(dir.File("out.trv"), convtest::DecodeByteByByte(convtest::ReadText(input), params.options));
    if (std::system("command -v convbin >/dev/null 2>&1") != 0)
        GTEST_SKIP() << "convbin (Debian package rtklib) is not installed";
    const std::string command = "convbin -r ubx -v 3.04 -od -os -oi -o '" + dir.File("x.obs") + "' -n '" +
                                dir.File("x.nav") + "' '" + input + "' >/dev/null 2>&1";
    ASSERT_EQ(std::system(command.c_str()), 0);
    const std::vector<Rinex> rinex = ReadRinexNav(dir.File("x.nav"));
    CEphemerisStore store;
    LoadEphemerisFile(store, dir.File("out.epp").c_str(), true);
    for (const auto& system : kSystems)
        CheckSystem(system.letter, system.constellation, log.*system.counts, store, rinex);
    // Our GpsIon holds the coefficients of GPS subframe 4 page 18 that convbin prints to four digits.
    const std::vector<double> klobuchar = ReadRinexKlobuchar(dir.File("x.nav"));
    const IonosphereModelRecord& model = store.Ionosphere();
    ASSERT_EQ(model.flags == kIonosphereModelValid, klobuchar.size() == 8);
    for (size_t n = 0; n < klobuchar.size(); ++n)
        EXPECT_NEAR(n < 4 ? model.alpha[n] : model.beta[n - 4], klobuchar[n], 5e-4 * std::fabs(klobuchar[n])) << n;
}

INSTANTIATE_TEST_SUITE_P(SharedLogs, RealLogTest, ::testing::ValuesIn(kLogs), [](const auto& info) {
    const std::string name = info.param.file;
    return name.substr(0, name.find('.'));
});
