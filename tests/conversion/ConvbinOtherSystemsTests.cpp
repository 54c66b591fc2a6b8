// The Galileo, BeiDou and GLONASS ephemerides of each real log against
// RTKLIB's convbin decoding the same log into RINEX 3.04. Every record of
// our .epp must stand in convbin's file with the same parameters to the
// printed precision, once each side's conventions are put together:
// Galileo weeks count on from GPS week 1024 in RINEX, BeiDou times stay in
// BeiDou time on both sides, and a GLONASS record is dated in UTC in RINEX
// but by tb (Moscow time) and its resolved GPS time in ours. Records convbin
// has and we have not are counted, and the counts are pinned per log.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "ConvbinOracle.h"
#include "ephemeris/EphemerisBDS.h"
#include "ephemeris/EphemerisFile.h"
#include "ephemeris/EphemerisGAL.h"
#include "ephemeris/EphemerisGLO.h"
#include "ephemeris/EphemerisStore.h"
#include "support/TestPaths.h"

namespace {

using convbintest::RinexNavRecord;
using Differences = std::vector<std::string>;

constexpr int kGalileoWeekOffset = 1024;
// Every log here is from after the leap second of 1 January 2017.
constexpr double kLeapSeconds = 18.0;
constexpr double kMoscowOffset = 10800.0;
constexpr double kDay = 86400.0;
constexpr double kWeek = 604800.0;

// Reals agree to the precision of the shorter of the two printouts: ours
// has nine significant digits for the smallest fields, convbin's twelve.
// Single-precision fields (GLONASS tau and gamma) get their own limit.
void Compare(Differences& out, const char* name, double ours, double theirs, double relative = 6e-9,
             double absolute = 1e-300) {
    if (std::fabs(ours - theirs) <= relative * std::fabs(theirs) + absolute) return;
    char text[160];
    std::snprintf(text, sizeof text, "%s %.14e vs %.14e", name, ours, theirs);
    out.push_back(text);
}

void CompareInteger(Differences& out, const char* name, long ours, double theirs) {
    if (ours == std::lround(theirs)) return;
    out.push_back(std::string(name) + " " + std::to_string(ours) + " vs " + std::to_string(std::lround(theirs)));
}

// The Kepler block in the common RINEX order of GPS, Galileo and BeiDou:
// the orbit's size, shape and phase, then its orientation and corrections
// (Galileo's word 1, and words 2 to 4).
void CompareOrbitPhase(Differences& out, const KeplerElements& k, const RinexNavRecord& v) {
    Compare(out, "M0", k.M0, v[6]);
    Compare(out, "e", k.e, v[8]);
    Compare(out, "sqrtA", k.sqrtA, v[10]);
}

void CompareOrbitOrientation(Differences& out, const KeplerElements& k, const RinexNavRecord& v) {
    Compare(out, "Crs", k.Crs, v[4]);
    Compare(out, "deltaN", k.deltaN, v[5]);
    Compare(out, "Cuc", k.Cuc, v[7]);
    Compare(out, "Cus", k.Cus, v[9]);
    Compare(out, "Cic", k.Cic, v[12]);
    Compare(out, "Omega0", k.Omega0, v[13]);
    Compare(out, "Cis", k.Cis, v[14]);
    Compare(out, "i0", k.i0, v[15]);
    Compare(out, "Crc", k.Crc, v[16]);
    Compare(out, "omega", k.omega, v[17]);
    Compare(out, "OmegaDot", k.OmegaDot, v[18]);
    Compare(out, "IDOT", k.IDOT, v[19]);
}

void CompareKepler(Differences& out, const KeplerElements& k, const RinexNavRecord& v) {
    CompareOrbitPhase(out, k, v);
    CompareOrbitOrientation(out, k, v);
}

// ---------------------------------------------------------------------------
// One constellation's rules: which of convbin's records is ours, and what
// must agree.

struct SystemRules {
    char letter;
    GnssConstellation constellation;
    std::function<bool(const GNSS::IEphemeris&, const RinexNavRecord&)> same;
    std::function<Differences(const GNSS::IEphemeris&, const RinexNavRecord&)> differences;
    // The fields that may come from an earlier issue of data (null: none).
    std::function<Differences(const GNSS::IEphemeris&, const RinexNavRecord&)> carried;
};

const GalEphemerisRecord& Gal(const GNSS::IEphemeris& e) {
    return static_cast<const GNSS::CEphemerisGAL&>(e).Record();
}
const BdsEphemerisRecord& Bds(const GNSS::IEphemeris& e) {
    return static_cast<const GNSS::CEphemerisBDS&>(e).Record();
}
const GloEphemerisRecord& Glo(const GNSS::IEphemeris& e) {
    return static_cast<const GNSS::CEphemerisGLO&>(e).Record();
}

// Words 2 to 5 of I/NAV: orbit, clock and group delays.
Differences GalileoWordsTwoToFive(const GNSS::IEphemeris& e, const RinexNavRecord& v) {
    const GalEphemerisRecord& r = Gal(e);
    Differences out;
    CompareInteger(out, "toc", r.iNavToc, v.SecondsOfWeek());
    Compare(out, "af0", r.iNavAf0, v[0]);
    Compare(out, "af1", r.iNavAf1, v[1]);
    Compare(out, "af2", r.iNavAf2, v[2]);
    CompareOrbitOrientation(out, r.elements, v);
    Compare(out, "BGD E1/E5a", r.bgdE1E5a, v[25]);
    Compare(out, "BGD E1/E5b", r.bgdE1E5b, v[26]);
    return out;
}

// I/NAV from E1-B: the clock is the I/NAV one, both group delays come from
// word 5. A word 1 of a new issue that comes while words 2 to 5 of the old
// one wait for word 6 completes the set with them: such a record carries
// the new word 1 and the old rest.
const SystemRules kGalileoRules = {
    'E', kGalileo,
    [](const GNSS::IEphemeris& e, const RinexNavRecord& v) {
        const KeplerElements& k = Gal(e).elements;
        return k.week + kGalileoWeekOffset == std::lround(v[21]) && k.toe == std::lround(v[11]) &&
               k.IODE == std::lround(v[3]);
    },
    [](const GNSS::IEphemeris& e, const RinexNavRecord& v) {
        const GalEphemerisRecord& r = Gal(e);
        Differences out = GalileoWordsTwoToFive(e, v);
        if (!r.iNavValid) out.push_back("not an I/NAV record");
        CompareOrbitPhase(out, r.elements, v);
        return out;
    },
    GalileoWordsTwoToFive};

const SystemRules kBeiDouRules = {
    'C', kBeiDou,
    [](const GNSS::IEphemeris& e, const RinexNavRecord& v) {
        const KeplerElements& k = Bds(e).elements;
        return k.week == std::lround(v[21]) && k.toe == std::lround(v[11]);
    },
    [](const GNSS::IEphemeris& e, const RinexNavRecord& v) {
        const BdsEphemerisRecord& r = Bds(e);
        Differences out;
        CompareInteger(out, "toc", r.elements.toc, v.SecondsOfWeek());
        Compare(out, "af0", r.elements.af0, v[0]);
        Compare(out, "af1", r.elements.af1, v[1]);
        Compare(out, "af2", r.elements.af2, v[2]);
        CompareInteger(out, "AODE", r.elements.IODE, v[3]);
        CompareKepler(out, r.elements, v);
        CompareInteger(out, "SatH1", r.satH1, v[24]);
        Compare(out, "TGD1", r.elements.TGD, v[25]);
        Compare(out, "TGD2", r.tgd2, v[26]);
        CompareInteger(out, "AODC", r.elements.IODC, v[28]);
        return out;
    },
    nullptr};

// convbin dates a record by tb in UTC; ours keeps tb in Moscow time and its
// GPS time, which holds -tauN and tau-c as well.
const SystemRules kGlonassRules = {
    'R', kGlonass,
    [](const GNSS::IEphemeris& e, const RinexNavRecord& v) {
        const GloEphemerisRecord& r = Glo(e);
        const double utcOfDay = std::fmod(v.SecondsOfWeek(), kDay);
        if (std::lround(std::fmod(utcOfDay + kMoscowOffset, kDay)) != r.tb) return false;
        const double gps = std::fmod(v.SecondsOfWeek() + kLeapSeconds, kWeek);
        return std::fabs(std::fmod(r.gpsSeconds - r.minusTau - r.tauC - gps + kWeek, kWeek)) < 1.0;
    },
    [](const GNSS::IEphemeris& e, const RinexNavRecord& v) {
        const GloEphemerisRecord& r = Glo(e);
        Differences out;
        constexpr double kSingle = 1e-7;
        Compare(out, "-tauN", r.minusTau, v[0], kSingle);
        Compare(out, "gamma", r.gamma, v[1], kSingle, 1e-20);
        const char* axes[] = {"x", "y", "z"};
        for (int a = 0; a < 3; ++a) {
            const std::string axis = axes[a];
            Compare(out, ("position " + axis).c_str(), r.position[a], v[3 + 4 * a]);
            Compare(out, ("velocity " + axis).c_str(), r.velocity[a], v[4 + 4 * a]);
            Compare(out, ("acceleration " + axis).c_str(), r.acceleration[a], v[5 + 4 * a]);
        }
        CompareInteger(out, "channel", r.channel, v[10]);
        CompareInteger(out, "age", r.En, v[14]);
        return out;
    },
    nullptr};

struct SystemCounts {
    int convbin;        // records of the constellation in convbin's file
    int ours;           // in our .epp
    int oursOnly = 0;   // of ours, not in convbin's file
    int mixed = 0;      // of ours, with fields of an earlier issue of data
};

struct LogCase {
    const char* file;
    SystemCounts galileo, beidou, glonass;
    const char* why;    // why convbin has records we have not
};

// convbin decodes whatever pieces arrive, in any order and across frame
// boundaries. We take GLONASS strings 1 to 4 only in order within one frame
// (a dropped string loses the frame), Galileo words 1 to 5 of one issue of
// data, and BeiDou subframes 1 to 3 of one issue; the GLONASS store also
// screens out repeats.
const LogCase kLogs[] = {
    {"f9p_1hz_gps_glo_gal_bds_rawx_nosfrbx.ubx", {0, 0}, {0, 0}, {0, 0}, "no navigation data in the log"},
    // convbin keeps one BeiDou record per satellite and AODE (C23 has AODE 1
    // at both toe) and none of C27 and C28.
    {"f9p_4hz_gps_glo_gal_bds_nmea_mixed.ubx", {18, 17, 0, 2}, {1, 5, 4}, {11, 5},
     "lossy 4 Hz link: GLONASS frames lose strings, one Galileo issue loses a word"},
    {"f9t_1hz_gps_gal_bds_sbas_nosfrbx.ubx", {0, 0}, {0, 0}, {0, 0}, "no navigation data in the log"},
    {"gen9_1hz_gps_gal_coldstart_posllh.ubx", {0, 18, 18}, {0, 0}, {0, 0},
     "convbin 2.4.3 writes no Galileo record from this receiver's I/NAV pages"},
    {"lea6p_rxmraw_aideph_posllh_2013.ubx", {0, 0}, {0, 0}, {0, 0}, "GPS only"},
    {"legacy_1hz_rxmraw_sfrb_2008.ubx", {0, 0}, {0, 0}, {0, 0}, "GPS only"},
    {"m8adr_10hz_gps_glo_gal_sbas_9s.ubx", {0, 0}, {0, 0}, {3, 0},
     "9 s of log: no GPS ephemeris completes, so no GPS week places the GLONASS records"},
    {"m8p_base_1hz_gps_glo_61min.ubx", {0, 0}, {0, 0}, {25, 25}, "all agree"},
    {"m8p_base_1hz_gps_glo_qzs_badck_gappy.ubx", {0, 0}, {0, 0}, {31, 30},
     "R11 15:45: damaged frames cost it a string of each frame until tb changed"},
    {"m8p_rover_1hz_gps_glo_tm2_glo255.ubx", {0, 0}, {0, 0}, {18, 18}, "all agree"},
    {"m8p_rover_2hz_gps_glo_tm2.ubx", {0, 0}, {0, 0}, {21, 21}, "all agree"},
    {"m8t_1hz_gps_glo_gal_sbas_week0.ubx", {11, 10}, {0, 0}, {10, 8},
     "E03 17:20: the log ends before its word 6; R05 and R21 17:45: the log begins inside their last frame "
     "with that tb, so no frame gives strings 1 to 4 in order"},
};

std::string Name(const ::testing::TestParamInfo<LogCase>& info) {
    const std::string name = info.param.file;
    return name.substr(0, name.find('.'));
}

class ConvbinOtherSystemsTest : public ::testing::TestWithParam<LogCase> {};

void CheckSystem(const SystemRules& rules, const SystemCounts& counts, const CEphemerisStore& store,
                 const std::vector<RinexNavRecord>& rinex, const char* why) {
    std::vector<const RinexNavRecord*> theirs;
    for (const RinexNavRecord& v : rinex)
        if (v.system == rules.letter) theirs.push_back(&v);
    std::vector<bool> matched(theirs.size(), false);
    int ours = 0, oursOnly = 0, mixed = 0;
    for (int prn = 1; prn <= HighestPrn(rules.constellation); ++prn)
        for (const GNSS::IEphemeris* e : store.GetRecords({rules.constellation, prn})) {
            ++ours;
            const RinexNavRecord* match = nullptr;
            for (size_t i = 0; i < theirs.size(); ++i)
                if (theirs[i]->prn == prn && rules.same(*e, *theirs[i])) {
                    match = theirs[i];
                    matched[i] = true;
                }
            if (match == nullptr) {
                ++oursOnly;
                GpsTime reference;
                e->GetReferenceTime(reference);
                std::printf("  ours only: %c%02d GPS week %d %.0f\n", rules.letter, prn, reference.week,
                            reference.seconds);
                continue;
            }
            const Differences differences = rules.differences(*e, *match);
            if (differences.empty()) continue;
            bool carried = false;
            for (const RinexNavRecord* earlier : theirs)
                carried = carried || (rules.carried && earlier->prn == prn && rules.carried(*e, *earlier).empty());
            if (carried) {
                ++mixed;
                std::printf("  mixed issue: %c%02d %02d:%02d\n", rules.letter, prn, match->hour, match->minute);
                continue;
            }
            for (const std::string& d : differences)
                ADD_FAILURE() << rules.letter << prn << " " << match->hour << ":" << match->minute << ": " << d;
        }
    for (size_t i = 0; i < theirs.size(); ++i)
        if (!matched[i])
            std::printf("  convbin only: %c%02d %04d-%02d-%02d %02d:%02d:%02d\n", rules.letter, theirs[i]->prn,
                        theirs[i]->year, theirs[i]->month, theirs[i]->day, theirs[i]->hour, theirs[i]->minute,
                        theirs[i]->second);
    EXPECT_EQ(static_cast<int>(theirs.size()), counts.convbin) << rules.letter << ": " << why;
    EXPECT_EQ(ours, counts.ours) << rules.letter << ": " << why;
    EXPECT_EQ(oursOnly, counts.oursOnly) << rules.letter << ": " << why;
    EXPECT_EQ(mixed, counts.mixed) << rules.letter << ": " << why;
}

}  // namespace

TEST_P(ConvbinOtherSystemsTest, EphemeridesAgreeWithRtklib) {
    SKIP_WITHOUT_SHARED_LOGS();
    if (!convbintest::HaveConvbin()) GTEST_SKIP() << "convbin (Debian package rtklib) is not installed";
    const LogCase& log = GetParam();
    const std::filesystem::path input = ubxtest::SharedUbxDir() / log.file;
    if (!std::filesystem::exists(input)) GTEST_SKIP() << log.file << " is not among the shared logs";

    ubxtest::TempDir dir;
    ASSERT_TRUE(convbintest::RunOurs(input.string(), dir.File("ours.trv")));
    ASSERT_TRUE(convbintest::RunConvbin(input.string(), dir.File("x.obs"), dir.File("x.nav")));
    const std::vector<RinexNavRecord> rinex = convbintest::ReadRinexNav(dir.File("x.nav"));
    CEphemerisStore store;
    LoadEphemerisFile(store, dir.File("ours.epp").c_str(), true);

    CheckSystem(kGalileoRules, log.galileo, store, rinex, log.why);
    CheckSystem(kBeiDouRules, log.beidou, store, rinex, log.why);
    CheckSystem(kGlonassRules, log.glonass, store, rinex, log.why);
}

INSTANTIATE_TEST_SUITE_P(SharedLogs, ConvbinOtherSystemsTest, ::testing::ValuesIn(kLogs), Name);
