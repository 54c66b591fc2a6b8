// Real receiver logs beside the project: each converts, its raw file gives
// back every epoch, and the counts match what the converter's rules accept.
#include <ostream>

#include "EpochCompare.h"
#include "conversion/PortArray.h"
#include "support/TestPaths.h"

namespace {

struct RealLog {
    const char* file;
    int epochs;  // epochs the converter's rules accept
    int events;  // TIM-TM2 with the valid-time bit
    const char* why;
};

// Good measurement frames by the census tool (which rescans every byte of a
// damaged frame), less those the converter refuses or never sees. A frame
// is lost to the replay rule when a false header swallows it and the
// replay of that header ends at an earlier record with a non-zero result.
// An independent model of the scanner rules gives the same numbers.
const RealLog kLogs[] = {
    {"f9p_1hz_gps_glo_gal_bds_rawx_nosfrbx.ubx", 654, 0, "654 RAWX, all valid"},
    // The RAWX of tow 231393.24 (byte 7478166) begins inside a damaged RAWX
    // (byte 7477044, length 1296). Its replay meets the Galileo word that
    // completes an E30 ephemeris (byte 7477428); the result 2 ends the
    // replay and the copied bytes behind it, the good frame's start among
    // them, are dropped.
    {"f9p_4hz_gps_glo_gal_bds_nmea_mixed.ubx", 749, 0,
     "750 RAWX less 1 swallowed by a damaged RAWX whose replay stops at a completed Galileo ephemeris"},
    {"f9t_1hz_gps_gal_bds_sbas_nosfrbx.ubx", 299, 0, "299 RAWX, all valid (48 measurements at most)"},
    {"gen9_1hz_gps_gal_coldstart_posllh.ubx", 562, 0, "582 RAWX less 20 of the cold start in week 0"},
    {"lea6p_rxmraw_aideph_posllh_2013.ubx", 249, 0,
     "259 RXM-RAW less 10 swallowed by damaged RXM-RAW headers whose replay stops at a NAV-POSLLH"},
    {"legacy_1hz_rxmraw_sfrb_2008.ubx", 242, 0, "242 RXM-RAW, all valid (11 satellites at most)"},
    {"m8adr_10hz_gps_glo_gal_sbas_9s.ubx", 69, 0, "69 RAWX, all valid"},
    {"m8p_base_1hz_gps_glo_61min.ubx", 3687, 0, "3687 RAWX, all valid"},
    // Two RAWX frames (tow 400759.99 at byte 1350204, 402498.991 at byte
    // 2692337) each begin inside a damaged RAWX whose length runs over
    // them. Its replay meets an RXM-SFRBX subframe 3 that completes a GPS
    // ephemeris (G03 at byte 1349796, G19 at 2692249), whose result 2 ends
    // the replay, and the copied bytes behind it, with the good frame's
    // start, are dropped. While navigation records gave 0, the replay ran
    // to its end and left the scanner inside the good frame.
    {"m8p_base_1hz_gps_glo_qzs_badck_gappy.ubx", 880, 0,
     "882 RAWX less 2 swallowed by damaged RAWX headers whose replay stops at a completed GPS ephemeris"},
    {"m8p_rover_1hz_gps_glo_tm2_glo255.ubx", 2072, 1178, "2072 RAWX; all 1178 TIM-TM2 carry the valid-time bit"},
    {"m8p_rover_2hz_gps_glo_tm2.ubx", 3910, 1196, "3910 RAWX; all 1196 TIM-TM2 carry the valid-time bit"},
    {"m8t_1hz_gps_glo_gal_sbas_week0.ubx", 267, 0, "268 RAWX less the first, in week 0"},
};

void PrintTo(const RealLog& log, std::ostream* out) { *out << log.file; }

class RealLogTest : public ::testing::TestWithParam<RealLog> {};

}  // namespace

TEST_P(RealLogTest, ConvertsAndGivesBackEveryEpoch) {
    SKIP_WITHOUT_SHARED_LOGS();
    const RealLog& log = GetParam();
    const std::string input = (ubxtest::SharedUbxDir() / log.file).string();
    ubxtest::TempDir dir;
    ConvertParams params = convtest::MakeParams(input, dir.File("out.trv"));
    params.options.runChecks = 0;
    ConvertCallbacks callbacks{UBLOX2TRV_CALLBACKS_SIZE, {}, nullptr, nullptr, {}};
    ASSERT_EQ(ublox2trv::ConvertFile(&params, &callbacks), 0);
    EXPECT_EQ(params.epochsWritten, log.epochs) << log.why;
    EXPECT_EQ(params.eventsWritten, log.events);
    std::istringstream station(convtest::ReadText(dir.File("out.sta")));
    int marks = 0;
    for (std::string line; std::getline(station, line);) marks += line == "Mrk {";
    EXPECT_EQ(marks, params.eventsWritten);

    // The driver scans in blocks; the byte-by-byte scan of the same log must
    // give the very epochs the raw file holds.
    const std::string bytes = convtest::ReadText(input);
    std::vector<CGnssEpoch> decoded;
    CGnssEpoch epoch;
    StationRecord record;
    ASSERT_EQ(ublox2trv::OpenPort([](int, double, const char*) {}, &epoch), 0);
    ublox2trv::SetPortOptions(&params.options, UBLOX2TRV_OPTIONS_SIZE);
    for (char byte : bytes) {
        if (ublox2trv::DecodeByte(static_cast<uint8_t>(byte), &record) != ublox2trv::kDecodeEpoch) continue;
        decoded.push_back(epoch);
        epoch.Reset();
    }
    ublox2trv::ClosePort();
    convtest::ExpectRawFile(dir.File("out.trv"), decoded);
}

INSTANTIATE_TEST_SUITE_P(SharedLogs, RealLogTest, ::testing::ValuesIn(kLogs),
                         [](const ::testing::TestParamInfo<RealLog>& info) {
                             const std::string name = info.param.file;
                             return name.substr(0, name.find('.'));
                         });
