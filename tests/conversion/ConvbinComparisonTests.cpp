// The GPS and QZSS ephemerides of each real log against an independent
// decoder: RTKLIB's convbin turns the same log into RINEX 3.04 navigation
// data, and every record of our .epp must stand there with the same
// parameters to the printed precision. Records convbin has and we have not
// are counted by cause, and the counts are pinned per log.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "conversion/Converter.h"
#include "ephemeris/EphemerisFile.h"
#include "ephemeris/EphemerisGPS.h"
#include "ephemeris/EphemerisQZSS.h"
#include "ephemeris/EphemerisStore.h"
#include "support/TestPaths.h"
#include "timebase/GpsTime.h"

namespace {

// One navigation record, as either side gives it.
struct NavRecord {
    char system;   // 'G' or 'J'
    int prn;
    KeplerElements k;
    int health;    // six bits; -1 where the file does not say
};

double RinexNumber(const std::string& line, size_t at) {
    if (line.size() <= at) return 0.0;
    std::string field = line.substr(at, 19);
    for (char& c : field)
        if (c == 'D' || c == 'd') c = 'E';
    return std::strtod(field.c_str(), nullptr);
}

// GPS and QZSS records of a RINEX 3 navigation file: a first line with the
// satellite, the clock epoch and three numbers, then seven lines of four.
std::vector<NavRecord> ReadRinexNav(const std::string& path) {
    std::vector<NavRecord> records;
    std::ifstream in(path);
    std::string line;
    while (std::getline(in, line) && line.find("END OF HEADER") == std::string::npos) {
    }
    while (std::getline(in, line)) {
        if (line.size() < 23 || (line[0] != 'G' && line[0] != 'J') || line[1] == ' ') continue;
        NavRecord r{};
        r.system = line[0];
        r.prn = std::atoi(line.substr(1, 2).c_str());
        int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
        std::sscanf(line.c_str() + 4, "%d %d %d %d %d %d", &year, &month, &day, &hour, &minute, &second);
        double v[31];
        for (int j = 0; j < 3; ++j) v[j] = RinexNumber(line, 23 + 19 * j);
        for (int l = 0; l < 7; ++l) {
            std::string more;
            if (!std::getline(in, more)) return records;
            for (int j = 0; j < 4; ++j) v[3 + 4 * l + j] = RinexNumber(more, 4 + 19 * j);
        }
        KeplerElements& k = r.k;
        int tocWeek = 0;
        double tocSeconds = 0.0;
        CalendarToGps(hour, minute, second, month, day, year, tocWeek, tocSeconds);
        k.toc = static_cast<int>(std::lround(tocSeconds));
        k.af0 = v[0], k.af1 = v[1], k.af2 = v[2];
        k.IODE = static_cast<int>(v[3]), k.Crs = v[4], k.deltaN = v[5], k.M0 = v[6];
        k.Cuc = v[7], k.e = v[8], k.Cus = v[9], k.sqrtA = v[10];
        k.toe = static_cast<int>(v[11]), k.Cic = v[12], k.Omega0 = v[13], k.Cis = v[14];
        k.i0 = v[15], k.Crc = v[16], k.omega = v[17], k.OmegaDot = v[18];
        k.IDOT = v[19], k.week = static_cast<int>(v[21]);
        r.health = static_cast<int>(v[24]);
        k.TGD = v[25], k.IODC = static_cast<int>(v[26]);
        records.push_back(r);
    }
    return records;
}

std::vector<NavRecord> ReadOurs(const std::string& eppPath) {
    std::vector<NavRecord> records;
    CEphemerisStore store;
    LoadEphemerisFile(store, eppPath.c_str(), true);
    for (int prn = 1; prn <= 32; ++prn)
        for (const GNSS::IEphemeris* e : store.GetRecords({kGps, prn}))
            records.push_back({'G', prn, static_cast<const GNSS::CEphemerisGPS*>(e)->Record().elements, -1});
    for (int prn = 1; prn <= 10; ++prn)
        for (const GNSS::IEphemeris* e : store.GetRecords({kQzss, prn})) {
            const QzssEphemerisRecord& q = static_cast<const GNSS::CEphemerisQZSS*>(e)->Record();
            records.push_back({'J', prn, q.elements, static_cast<int>(q.health)});
        }
    return records;
}

bool SameIssue(const NavRecord& a, const NavRecord& b) {
    return a.system == b.system && a.prn == b.prn && a.k.week == b.k.week && a.k.toe == b.k.toe &&
           a.k.IODE == b.k.IODE;
}

// The parameters that differ beyond the printed precision: %.8e on our
// side, %.12E on convbin's.
std::vector<std::string> Differences(const NavRecord& ours, const NavRecord& theirs) {
    std::vector<std::string> out;
    const KeplerElements &a = ours.k, &b = theirs.k;
    auto integer = [&](const char* name, long x, long y) {
        if (x != y) out.push_back(std::string(name) + " " + std::to_string(x) + " vs " + std::to_string(y));
    };
    integer("toc", a.toc, b.toc);
    integer("IODC", a.IODC, b.IODC);
    if (ours.health >= 0) integer("health", ours.health, theirs.health);
    const struct {
        const char* name;
        double x, y;
    } reals[] = {{"af0", a.af0, b.af0},       {"af1", a.af1, b.af1},          {"af2", a.af2, b.af2},
                 {"Crs", a.Crs, b.Crs},       {"deltaN", a.deltaN, b.deltaN}, {"M0", a.M0, b.M0},
                 {"Cuc", a.Cuc, b.Cuc},       {"e", a.e, b.e},                {"Cus", a.Cus, b.Cus},
                 {"sqrtA", a.sqrtA, b.sqrtA}, {"Cic", a.Cic, b.Cic},          {"Omega0", a.Omega0, b.Omega0},
                 {"Cis", a.Cis, b.Cis},       {"i0", a.i0, b.i0},             {"Crc", a.Crc, b.Crc},
                 {"omega", a.omega, b.omega}, {"OmegaDot", a.OmegaDot, b.OmegaDot},
                 {"IDOT", a.IDOT, b.IDOT},    {"TGD", a.TGD, b.TGD}};
    for (const auto& r : reals)
        if (std::fabs(r.x - r.y) > 6e-9 * std::fabs(r.y) + 1e-300) {
            char text[160];
            std::snprintf(text, sizeof text, "%s %.14e vs %.14e", r.name, r.x, r.y);
            out.push_back(text);
        }
    return out;
}

struct LogCounts {
    const char* file;
    int convbin;       // GPS and QZSS records in convbin's navigation file
    int ours;          // in our .epp; every one of them is also in convbin's
    int unhealthy;     // convbin's with the top health bit set: refused by our decoding
    int otherMissing;  // convbin's missing from ours for another cause, told in why
    const char* why;
};

// convbin writes a record whenever the issue of data changes, also for an
// unhealthy satellite, and decodes subframes 1 to 3 in any order of arrival.
// We refuse a set whose top health bit is set and take subframe 3 only
// after 1 and 2 of the same issue.
const LogCounts kLogs[] = {
    {"f9p_1hz_gps_glo_gal_bds_rawx_nosfrbx.ubx", 0, 0, 0, 0, "no navigation data in the log"},
    {"f9p_4hz_gps_glo_gal_bds_nmea_mixed.ubx", 18, 18, 0, 0, "all agree"},
    {"f9t_1hz_gps_gal_bds_sbas_nosfrbx.ubx", 0, 0, 0, 0, "no navigation data in the log"},
    {"gen9_1hz_gps_gal_coldstart_posllh.ubx", 9, 9, 0, 0, "all agree"},
    {"lea6p_rxmraw_aideph_posllh_2013.ubx", 0, 0, 0, 0, "AID-EPH only, which neither side reads as navigation data"},
    {"legacy_1hz_rxmraw_sfrb_2008.ubx", 18, 0, 0, 18,
     "RXM-SFRB (0x02 0x11) of the first generation, which this converter does not read"},
    {"m8adr_10hz_gps_glo_gal_sbas_9s.ubx", 0, 0, 0, 0, "9 s of log: no complete subframe set"},
    {"m8p_base_1hz_gps_glo_61min.ubx", 11, 11, 0, 0, "all agree"},
    {"m8p_base_1hz_gps_glo_qzs_badck_gappy.ubx", 18, 17, 0, 1,
     "G01 toe 403200: its subframe 3 came between 1 and 2 and never again"},
    {"m8p_rover_1hz_gps_glo_tm2_glo255.ubx", 15, 15, 0, 0, "all agree"},
    {"m8p_rover_2hz_gps_glo_tm2.ubx", 14, 13, 1, 0, "G04 broadcasts health 63"},
    {"m8t_1hz_gps_glo_gal_sbas_week0.ubx", 13, 12, 1, 0, "G18 broadcasts health 63"},
};

bool HaveConvbin() { return std::system("command -v convbin >/dev/null 2>&1") == 0; }

// Our conversion of a log, without pre-processing checks.
bool ConvertLog(const std::string& input, const std::string& output) {
    ConvertParams params;
    std::memset(&params, 0, sizeof params);
    params.structSize = UBLOX2TRV_PARAMS_SIZE;
    params.structVersion = UBLOX2TRV_STRUCT_VERSION;
    ublox2trv::SetFactoryDefaults(UBLOX2TRV_OPTIONS_SIZE, &params.options);
    params.options.runChecks = 0;
    std::snprintf(params.inputFile, sizeof params.inputFile, "%s", input.c_str());
    std::snprintf(params.outputFile, sizeof params.outputFile, "%s", output.c_str());
    ConvertCallbacks callbacks;
    std::memset(&callbacks, 0, sizeof callbacks);
    callbacks.structSize = UBLOX2TRV_CALLBACKS_SIZE;
    return ublox2trv::ConvertFile(&params, &callbacks) == 0;
}

class ConvbinComparisonTest : public ::testing::TestWithParam<LogCounts> {};

}  // namespace

TEST_P(ConvbinComparisonTest, GpsAndQzssEphemeridesAgreeWithRtklib) {
    SKIP_WITHOUT_SHARED_LOGS();
    if (!HaveConvbin()) GTEST_SKIP() << "convbin (Debian package rtklib) is not installed";
    const LogCounts& log = GetParam();
    const std::filesystem::path input = ubxtest::SharedUbxDir() / log.file;
    if (!std::filesystem::exists(input)) GTEST_SKIP() << log.file << " is not among the shared logs";

    ubxtest::TempDir dir;
    ASSERT_TRUE(ConvertLog(input.string(), dir.File("ours.trv")));
    const std::string command = "convbin -r ubx -v 3.04 -od -os -o '" + dir.File("x.obs") + "' -n '" +
                                dir.File("x.nav") + "' '" + input.string() + "' >/dev/null 2>&1";
    ASSERT_EQ(std::system(command.c_str()), 0) << command;

    const std::vector<NavRecord> theirs = ReadRinexNav(dir.File("x.nav"));
    const std::vector<NavRecord> ours = ReadOurs(dir.File("ours.epp"));
    EXPECT_EQ(static_cast<int>(theirs.size()), log.convbin);
    EXPECT_EQ(static_cast<int>(ours.size()), log.ours);

    for (const NavRecord& mine : ours) {
        const NavRecord* match = nullptr;
        for (const NavRecord& other : theirs)
            if (SameIssue(mine, other)) match = &other;
        if (match == nullptr) {
            ADD_FAILURE() << mine.system << mine.prn << " toe " << mine.k.week << " " << mine.k.toe
                          << " is not in convbin's file";
            continue;
        }
        for (const std::string& d : Differences(mine, *match))
            ADD_FAILURE() << mine.system << mine.prn << " toe " << mine.k.toe << ": " << d;
    }

    int unhealthy = 0, otherMissing = 0;
    for (const NavRecord& other : theirs) {
        bool found = false;
        for (const NavRecord& mine : ours) found = found || SameIssue(mine, other);
        if (found) continue;
        if (other.health & 0x20)
            ++unhealthy;
        else
            ++otherMissing;
        std::printf("  convbin only: %c%02d toe %d %d IODE %d health %d\n", other.system, other.prn, other.k.week,
                    other.k.toe, other.k.IODE, other.health);
    }
    EXPECT_EQ(unhealthy, log.unhealthy) << log.why;
    EXPECT_EQ(otherMissing, log.otherMissing) << log.why;
}

INSTANTIATE_TEST_SUITE_P(SharedLogs, ConvbinComparisonTest, ::testing::ValuesIn(kLogs),
                         [](const ::testing::TestParamInfo<LogCounts>& info) {
                             const std::string name = info.param.file;
                             return name.substr(0, name.find('.'));
                         });
