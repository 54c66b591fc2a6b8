// Every real log converted and checked as a conversion does it: the report
// of each is pinned row by row, and no epoch is lost to the side files.
#include <string>
#include <vector>

#include "preprocess/CheckFixture.h"

namespace {

struct CheckedLog {
    const char* file;
    // The rows that do not read "PASS", as "row:status", in order.
    std::vector<std::string> notPassing;
    const char* constellations;   // row 11 lists them
    const char* signals;          // row 12 lists them
    uint32_t dynamicsClass;
    double slowMean;              // m/s, of the pairs between 0.2 and 10 m/s
    const char* motionFlags;      // detail of row 16
};

// u-blox logs carry no receiver clock, so every epoch on a whole second has
// its position and clock solved (row 8) wherever an ephemeris exists; a log
// without one fails row 3 and gets no positions, so its motion stays
// unknown (no height qualifies: class 0) and its epochs are flagged
// kinematic. Row 17 is never filled.
constexpr const char* kNoEphemeris =
    "3:FAIL | No ephemeris data available during decoding - required for some preprocessing functions";
constexpr const char* kSpareRow = "17:Not Tested | No Test Performed";
constexpr const char* kUnchanged = "S/K flag was not changed for any epochs";
constexpr const char* kMadeKinematic = "All epochs changed from static to kinematic";
std::string Recomputed(int epochs) {
    return "8:Position/Clock recomputed! | " + std::to_string(epochs) + " positions or clockshifts recomputed";
}

const CheckedLog kLogs[] = {
    // No navigation data at all.
    {"f9p_1hz_gps_glo_gal_bds_rawx_nosfrbx.ubx", {kNoEphemeris, kSpareRow}, "GPS GLONASS BeiDou Galileo ",
     "GPS: L1 L2C GLONASS: L1 L2 BeiDou: B1I Galileo: E1 E5b ", 0, 0.0, kMadeKinematic},
    // The overloaded 4 Hz link drops GLONASS L2 far more often than L1: its
    // good share against GLONASS L1 falls below 80 %. Its solved positions
    // move 0.622 m/s on the mean of the slow pairs, nets below 5 m: class 6.
    {"f9p_4hz_gps_glo_gal_bds_nmea_mixed.ubx",
     {Recomputed(749), "13:FAIL | Problematic tracking detected on GLONASS: L2 ", kSpareRow},
     "GPS GLONASS BeiDou Galileo ", "GPS: L1 L2C GLONASS: L1 L2 BeiDou: B1I Galileo: E1 E5b ", 6, 0.622, kUnchanged},
    // No navigation data at all.
    {"f9t_1hz_gps_gal_bds_sbas_nosfrbx.ubx", {kNoEphemeris, kSpareRow}, "GPS BeiDou Galileo ",
     "GPS: L1 L2C BeiDou: B1I Galileo: E1 ", 0, 0.0, kMadeKinematic},
    // The week-0 epochs of the cold start never reach the file; the rest
    // have their weeks. Slow 0.349 m/s, heading held over 5 pairs (not more
    // than 5), nets below 1 m: class 6.
    {"gen9_1hz_gps_gal_coldstart_posllh.ubx", {Recomputed(562), kSpareRow}, "GPS Galileo ", "GPS: L1 Galileo: E1 ",
     6, 0.349, kUnchanged},
    // AID-EPH is no ephemeris the converter reads; the receiver's own
    // positions still show it standing.
    {"lea6p_rxmraw_aideph_posllh_2013.ubx", {kNoEphemeris, kSpareRow}, "GPS ", "GPS: L1 ", 6, 0.0, kUnchanged},
    // RXM-SFRB subframes are not decoded: no ephemeris, no positions.
    {"legacy_1hz_rxmraw_sfrb_2008.ubx", {kNoEphemeris, kSpareRow}, "GPS ", "GPS: L1 ", 0, 0.0, kMadeKinematic},
    // Nine seconds of 10 Hz data: most GPS L1 and Galileo E1 locks are
    // younger than a second, so their good shares stay at or below 50 %.
    // One epoch without a position against no good pair: class 0.
    {"m8adr_10hz_gps_glo_gal_sbas_9s.ubx",
     {kNoEphemeris, "13:FAIL | Problematic tracking detected on GPS: L1 GALILEO: E1 ", kSpareRow},
     "GPS GLONASS Galileo ", "GPS: L1 GLONASS: L1 Galileo: E1 ", 0, 0.0, kMadeKinematic},
    // The static base: its slow mean of 0.979 m/s is the noise of single
    // positions, the heading holds over 2 pairs only and the nets are 12.4 m
    // east and 2.5 m north (decided at 6 satellites, 4 s of lock): class 6,
    // and every epoch stays static.
    {"m8p_base_1hz_gps_glo_61min.ubx", {Recomputed(3687), kSpareRow}, "GPS GLONASS ", "GPS: L1 GLONASS: L1 ", 6,
     0.979, kUnchanged},
    // QZSS L1CA always counts as a tracking problem, and the problem list
    // has no QZSS group: row 13 fails with nothing after its words. Slow
    // 0.971 m/s: class 6.
    {"m8p_base_1hz_gps_glo_qzs_badck_gappy.ubx",
     {Recomputed(880), "13:FAIL | Problematic tracking detected on ", kSpareRow}, "GPS GLONASS QZSS ",
     "GPS: L1 GLONASS: L1 QZSS: L1CA ", 6, 0.971, kUnchanged},
    // The rovers move slowly: no pair above 10 m/s, slow means of 1.471 m/s
    // (heights 80.7 to 121.6 m, climb run 3, 147 poor epochs per thousand
    // samples) and 1.261 m/s (heights 58.8 to 81.7 m, nets 165.5 m east and
    // 80.5 m north), both between 1.1 and 2.0: class 7, and every epoch
    // becomes kinematic.
    {"m8p_rover_1hz_gps_glo_tm2_glo255.ubx", {Recomputed(2072), kSpareRow}, "GPS GLONASS ", "GPS: L1 GLONASS: L1 ",
     7, 1.471, kMadeKinematic},
    {"m8p_rover_2hz_gps_glo_tm2.ubx", {Recomputed(3910), kSpareRow}, "GPS GLONASS ", "GPS: L1 GLONASS: L1 ", 7,
     1.261, kMadeKinematic},
    // The first epoch, in week 0 with the clock reset, is not written; the
    // rest is a quiet static log (slow 1.063 m/s, just within 1.1).
    {"m8t_1hz_gps_glo_gal_sbas_week0.ubx", {Recomputed(267), kSpareRow}, "GPS GLONASS Galileo ",
     "GPS: L1 GLONASS: L1 Galileo: E1 ", 6, 1.063, kUnchanged},
};

struct Reports {
    std::vector<std::string> files;
    std::vector<std::vector<std::string>> rows;
};

void Keep(void* context, const CTrvPreprocessor& run) {
    auto* reports = static_cast<Reports*>(context);
    reports->files.push_back(run.RunFileName());
    std::vector<std::string> rows;
    for (int row = 0; row < kReportRows; ++row)
        rows.push_back(std::string(run.ResultStatus(row)) + " | " + run.ResultDetail(row));
    reports->rows.push_back(rows);
}

class RealLogCheckTest : public ::testing::TestWithParam<CheckedLog> {};

TEST_P(RealLogCheckTest, ReportIsPinnedAndNoEpochIsLost) {
    SKIP_WITHOUT_SHARED_LOGS();
    const CheckedLog& log = GetParam();
    ubxtest::TempDir dir;
    const std::string trv = dir.File("log.trv");
    ConvertParams params = convtest::MakeParams((ubxtest::SharedUbxDir() / log.file).string(), trv);
    params.options.runChecks = 0;
    ConvertCallbacks callbacks{};
    callbacks.structSize = sizeof callbacks;
    ASSERT_EQ(ublox2trv::ConvertFile(&params, &callbacks), 0);   // for its count of epochs written

    // The checks exactly as the conversion runs them with its default motion.
    Reports reports;
    struct : CTrvPreprocessor {
        using CTrvPreprocessor::lastDynamics;
    } checks;
    checks.SetObserver({Keep, &reports});
    checks.Open(trv.c_str(), kTrvReadWrite, false);
    checks.Run(true, true, true);
    checks.Close(false);

    size_t epochs = 0;
    int own = -1;
    for (size_t k = 0; k < reports.files.size(); ++k) {
        epochs += checktest::ReadEpochs(reports.files[k]).size();
        if (reports.files[k] == trv) own = int(k);
    }
    ASSERT_GE(own, 0);
    EXPECT_EQ(epochs, size_t(params.epochsWritten));
    const std::vector<std::string>& rows = reports.rows[size_t(own)];
    std::vector<std::string> notPassing;
    for (int row = 0; row < kReportRows; ++row)
        if (rows[size_t(row)].rfind("PASS", 0) != 0) notPassing.push_back(std::to_string(row) + ":" + rows[size_t(row)]);
    EXPECT_EQ(notPassing, log.notPassing);
    EXPECT_EQ(rows[11], std::string("PASS | Constellations detected: ") + log.constellations);
    EXPECT_EQ(rows[12], std::string("PASS | GNSS signals detected: ") + log.signals);
    EXPECT_EQ(rows[16], std::string("PASS | ") + log.motionFlags);
    EXPECT_EQ(+checktest::HeaderResults(trv).dynamicsClass, log.dynamicsClass);
    const DynamicsFigures& f = checks.lastDynamics;
    EXPECT_EQ(f.fastMean, 0.0);   // no log holds a fast pair
    EXPECT_NEAR(f.slowMean, log.slowMean, 0.0005);

}

INSTANTIATE_TEST_SUITE_P(SharedLogs, RealLogCheckTest, ::testing::ValuesIn(kLogs), [](const auto& info) {
    const std::string name = info.param.file;
    return name.substr(0, name.find('.'));
});

}  // namespace
