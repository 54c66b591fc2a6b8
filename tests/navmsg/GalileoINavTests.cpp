// The Galileo I/NAV assembler of E1-B: word types 1 to 6, as bare words or
// as the page pairs of RXM-SFRBX (whose CRC, tail, reserved and SAR bits are
// left behind), decode into the quantised record, the satellite named by
// word 4. Also our decoding of a real log against RTKLIB's convbin.
#include <string>
#include <vector>

#include "NavTestKit.h"
#include "navmsg/GalileoINavNavigationMessage.h"
#include "simulation/GalileoEncoders.h"

using namespace navtest;
using simulation::GalINavWord;

namespace {

GalEphemerisRecord ExtremeRecord(int sign) {
    const double big = sign * 1e12;
    GalEphemerisRecord r{};
    r.elements = ExtremeKepler(sign);
    r.prn = sign > 0 ? 63 : 0;
    r.sisa = sign > 0 ? 255 : 0;
    r.iNavToc = r.elements.toe;
    r.iNavAf0 = r.iNavAf1 = r.iNavAf2 = r.bgdE1E5a = r.bgdE1E5b = big;
    r.e5bHealth = r.e1bHealth = sign > 0 ? 3 : 0;
    r.e5bDataValidity = r.e1bDataValidity = sign > 0;
    return r;
}

class GalLayout : public ::testing::TestWithParam<int> {};

INSTANTIATE_TEST_SUITE_P(Layouts, GalLayout, ::testing::Values(0, 1));

TEST_P(GalLayout, RoundTripGivesTheQuantisedRecord) {
    const GalEphemerisRecord records[] = {GalSample(), ExtremeRecord(1), ExtremeRecord(-1)};
    // Reserved, SAR and padding bits set, so that a copy that strays out of
    // the data shows.
    const simulation::GalPagePairOptions busy = {0xDEADBEEF, 0x2AAAAA, 3, 0x5C, 0xFF, false};
    for (uint32_t i = 0; i < std::size(records); ++i) {
        SCOPED_TRACE(i);
        std::vector<simulation::Bytes> pieces;
        // Ionospheric, UTC and spare fields empty or full of a pattern.
        for (const GalINavWord& w : simulation::EncodeGalINav(records[i], {345620, i == 0 ? 0 : 0x12345u + i}))
            pieces.push_back(GetParam() == 0 ? simulation::ToGalLayout0(w) : simulation::ToGalLayout1(w, busy));
        CGalileoINavE1bNavigationMessage m(GetParam());
        const auto r = Decoded<GalEphemerisRecord>(m, pieces);
        const GalEphemerisRecord q = simulation::QuantiseGalINav(records[i]);
        ExpectSameKepler(r.elements, q.elements);
        EXPECT_EQ(std::tie(r.prn, r.fNavValid, r.bgdE1E5a, r.e5aHealth, r.e5aDataValidity, r.iNavValid, r.iNavToc),
                  std::tie(q.prn, q.fNavValid, q.bgdE1E5a, q.e5aHealth, q.e5aDataValidity, q.iNavValid, q.iNavToc));
        EXPECT_EQ(std::tie(r.iNavAf0, r.iNavAf1, r.iNavAf2, r.bgdE1E5b, r.e1bHealth, r.e5bHealth, r.e1bDataValidity,
                           r.e5bDataValidity, r.sisa, r.gpsWeek, r.gpsSeconds),
                  std::tie(q.iNavAf0, q.iNavAf1, q.iNavAf2, q.bgdE1E5b, q.e1bHealth, q.e5bHealth, q.e1bDataValidity,
                           q.e5bDataValidity, q.sisa, q.gpsWeek, q.gpsSeconds));
    }
}

// Real E1-B page pairs of the nine-word records that RTKLIB reads, as the
// router hands them on, decoded by us and by convbin from the same log.
TEST(GalOracle, RealLogAgreesWithConvbin) {
    SKIP_WITHOUT_SHARED_LOGS();
    if (!HaveConvbin()) GTEST_SKIP() << "convbin (rtklib) is not installed";
    const double none = std::nan("");
    const int compared = CompareRealLogWithConvbin<CGalileoINavE1bNavigationMessage, GalEphemerisRecord>(
        "f9p_4hz_gps_glo_gal_bds_nmea_mixed.ubx", 'E',
        [](const SfrbxRecord& r) { return r.gnssId == 2 && r.sigId == 1 && r.words.size() >= 8; },
        [&](int svId, const GalEphemerisRecord& r) {
            EXPECT_EQ(r.prn, svId);
            const KeplerElements& e = r.elements;
            const int health = (r.e5bHealth << 7) | (r.e5bDataValidity << 6) | (r.e1bHealth << 1) | r.e1bDataValidity;
            return std::vector<double>{r.iNavAf0, r.iNavAf1, r.iNavAf2, double(e.IODE), e.Crs,  e.deltaN,      e.M0,
                                       e.Cuc,     e.e,       e.Cus,     e.sqrtA,        double(e.toe), e.Cic,  e.Omega0,
                                       e.Cis,     e.i0,      e.Crc,     e.omega,        e.OmegaDot, e.IDOT,    none,
                                       double(e.week + 1024), none, none, double(health), r.bgdE1E5a, r.bgdE1E5b};
        });
    EXPECT_GE(compared, 20);
}

}  // namespace
