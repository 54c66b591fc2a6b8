// The GPS and QZSS ephemerides of each real log against an independent
// decoder: RTKLIB's convbin turns the same log into RINEX 3.04 navigation
// data, and every record of our .epp must stand there with the same
// parameters to the printed precision. Records convbin has and we have not
// are counted by cause, and the counts are pinned per log.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "ConvbinOracle.h"
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

// GPS and QZSS records of convbin's navigation file.
std::vector<NavRecord> ReadRinexNav(const std::string& path) {
    std::vector<NavRecord> records;
    for (const convbintest::RinexNavRecord& v : convbintest::ReadRinexNav(path)) {
        if (v.system != 'G' && v.system != 'J') continue;
        NavRecord r{};
        r.system = v.system;
        r.prn = v.prn;
        KeplerElements& k = r.k;
        k.toc = static_cast<int>(std::lround(v.SecondsOfWeek()));
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

class ConvbinComparisonTest : public ::testing::TestWithParam<LogCounts> {};

}  // namespace

TEST_P(ConvbinComparisonTest, GpsAndQzssEphemeridesAgreeWithRtklib) {
    SKIP_WITHOUT_SHARED_LOGS();
    if (!convbintest::HaveConvbin()) GTEST_SKIP() << "convbin (Debian package rtklib) is not installed";
    const LogCounts& log = GetParam();
    const std::filesystem::path input = ubxtest::SharedUbxDir() / log.file;
    if (!std::filesystem::exists(input)) GTEST_SKIP() << log.file << " is not among the shared logs";

    ubxtest::TempDir dir;
    ASSERT_TRUE(convbintest::RunOurs(input.string(), dir.File("ours.trv")));
    ASSERT_TRUE(convbintest::RunConvbin(input.string(), dir.File("x.obs"), dir.File("x.nav")));

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
