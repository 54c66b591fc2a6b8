// The BeiDou D1 assembler: subframes 1 to 3 in either input layout decode
// into the quantised record with the accuracy in metres; a set whose SatH1
// flag is set or whose URAI is 15 is refused at decoding. Also our decoding
// of a real log against RTKLIB's convbin.
#include <string>
#include <vector>

#include "NavTestKit.h"
#include "navmsg/BeiDouD1NavigationMessage.h"
#include "simulation/BeiDouEncoders.h"

using namespace navtest;
using simulation::EncodeBdsD1;

namespace {

BdsEphemerisRecord ExtremeRecord(int sign) {
    BdsEphemerisRecord r{};
    r.elements = ExtremeKepler(sign);
    r.tgd2 = sign * 1e12;
    r.urai = sign > 0 ? 14 : 0;
    return r;
}

class BdsLayout : public ::testing::TestWithParam<int> {};

INSTANTIATE_TEST_SUITE_P(Layouts, BdsLayout, ::testing::Values(0, 1));

TEST_P(BdsLayout, RoundTripGivesTheQuantisedRecord) {
    // The first frame's SOW crosses a multiple of 4096, where its two parts
    // meet; the last ends a week.
    const std::pair<BdsEphemerisRecord, uint32_t> cases[] = {
        {BdsSample(), 4090}, {ExtremeRecord(1), 0}, {ExtremeRecord(-1), 604782}};
    for (const auto& [in, sow] : cases) {
        SCOPED_TRACE(sow);
        CBeiDouD1NavigationMessage m(GetParam());
        const auto r = Decoded<BdsEphemerisRecord>(m, Inputs(EncodeBdsD1(in, sow), GetParam()));
        const BdsEphemerisRecord q = simulation::QuantiseBdsD1(in);
        ExpectSameKepler(r.elements, q.elements);
        EXPECT_EQ(std::tie(r.tgd2, r.urai, r.ura, r.satH1, r.prn, r.gpsWeek, r.gpsSeconds),
                  std::tie(q.tgd2, q.urai, q.ura, q.satH1, q.prn, q.gpsWeek, q.gpsSeconds));
    }
}

TEST(BdsDecode, RefusesPoorHealthOnlyAtDecoding) {
    const struct { int satH1, urai; const char* text; } cases[] = {
        {1, 0, "Subframe 1 Sat H1 flag indicates poor satellite health"},
        {0, 15, "Subframe 1 URAI indicates poor satellite health"},
        {0, 14, nullptr}};
    for (const auto& c : cases) {
        BdsEphemerisRecord in = BdsSample();
        in.satH1 = c.satH1;
        in.urai = c.urai;
        CBeiDouD1NavigationMessage m(1);
        for (const simulation::Bytes& piece : Inputs(EncodeBdsD1(in, 600), 1)) m.Store(piece.data());
        ExpectDecoding(m, sizeof(BdsEphemerisRecord), c.text);
    }
}

// Real B1I subframes of the medium-orbit satellites, as the router hands
// them on, decoded by us and by convbin from the same log.
TEST(BdsOracle, RealLogAgreesWithConvbin) {
    SKIP_WITHOUT_SHARED_LOGS();
    if (!HaveConvbin()) GTEST_SKIP() << "convbin (rtklib) is not installed";
    const double none = std::nan("");
    const int compared = CompareRealLogWithConvbin<CBeiDouD1NavigationMessage, BdsEphemerisRecord>(
        "f9p_4hz_gps_glo_gal_bds_nmea_mixed.ubx", 'C',
        [](const SfrbxRecord& r) { return r.gnssId == 3 && r.svId >= 6; },  // 1 to 5 are geostationary: D2
        [&](int, const BdsEphemerisRecord& r) {
            const KeplerElements& e = r.elements;
            return std::vector<double>{e.af0, e.af1,   e.af2,    double(e.IODE), e.Crs,   e.deltaN,     e.M0,
                                       e.Cuc, e.e,     e.Cus,    e.sqrtA,        double(e.toe), e.Cic,  e.Omega0,
                                       e.Cis, e.i0,    e.Crc,    e.omega,        e.OmegaDot, e.IDOT,    none,
                                       double(e.week), none,     none,           double(r.satH1), e.TGD, r.tgd2,
                                       none,  double(e.IODC)};
        });
    EXPECT_GE(compared, 5);
}

}  // namespace
