// The GPS and QZSS L1 C/A assemblers: subframes 1 to 3 in either input
// layout decode into the quantised Kepler block with the week made full by
// the clock; QZSS adds its health, A-S and fit flags, the corrected mean
// motion and the accuracy in metres. Poor data (alert flag, URA index 15, the
// health summary bit) and a QZSS orbit without a semi-major axis are refused
// at decoding. Also the bit readers, and our decoding of a real log against
// RTKLIB's convbin.
#include <cmath>
#include <cstdint>
#include <vector>

#include "NavTestKit.h"
#include "navmsg/GpsNavigationMessage.h"
#include "navmsg/QzssNavigationMessage.h"
#include "timebase/GpsTime.h"

using namespace navtest;
using simulation::EncodeLnav;
using simulation::LnavExtras;
using simulation::LnavSubframeSet;

namespace {

TEST(NavigationBits, ReadBitsAcrossBytesAndRefusesBadCounts) {
    const uint8_t buffer[6] = {0x8B, 0x12, 0x34, 0x56, 0x78, 0x9A};
    const struct { uint64_t offset; int count; uint32_t value; } cases[] = {
        {0, 8, 0x8B},      {0, 1, 1},           {1, 3, 0},           {4, 8, 0xB1},        {7, 2, 0x2},
        {0, 32, 0x8B123456}, {4, 32, 0xB1234567}, {7, 32, 0x891A2B3C}, {8, 24, 0x123456},   {47, 1, 0},
        {40, 8, 0x9A},     {0, 0, 0xFFFFFFFF},  {0, 33, 0xFFFFFFFF}, {3, -1, 0xFFFFFFFF}};
    for (const auto& c : cases) EXPECT_EQ(ReadBits(buffer, c.offset, c.count), c.value) << c.offset << "/" << c.count;
}

TEST(NavigationBits, TwosComplementAndSignMagnitude) {
    const struct { uint32_t value; int count; int32_t twos, signMagnitude; } cases[] = {
        {0x00, 8, 0, 0},          {0x7F, 8, 127, 127},        {0x80, 8, -128, 0},
        {0x81, 8, -127, -1},      {0xFF, 8, -1, -127},        {0x2000, 14, -8192, 0},
        {0x3FFF, 14, -1, -8191},  {0x200000, 22, -2097152, 0}, {0x80000000u, 32, INT32_MIN, 0},
        {0xFFFFFFFFu, 32, -1, -2147483647}, {0x1FF, 8, -1, -127},  // bits above the field are ignored
        {0x5, 0, 5, 5},           {0x5, 33, 5, 5}};             // a bad count leaves the value
    for (const auto& c : cases) {
        EXPECT_EQ(TwosComplement(c.value, c.count), c.twos) << std::hex << c.value;
        EXPECT_EQ(SignMagnitude(c.value, c.count), c.signMagnitude) << std::hex << c.value;
    }
}

// What the assembler yields: the quantised block, the broadcast week made
// full by the computer's clock.
KeplerElements Expected(const KeplerElements& k) {
    KeplerElements q = simulation::QuantiseLnav(k);
    q.week = ResolveWeekByClock(k.week % 1024);
    return q;
}

class LnavLayout : public ::testing::TestWithParam<int> {};

INSTANTIATE_TEST_SUITE_P(Layouts, LnavLayout, ::testing::Values(0, 1));

TEST_P(LnavLayout, GpsRoundTripGivesTheQuantisedBlock) {
    for (const KeplerElements& k : {SampleKepler(0), SampleKepler(1), ExtremeKepler(1), ExtremeKepler(-1)}) {
        SCOPED_TRACE(k.IODC);
        CGpsNavigationMessage m(GetParam());
        const auto r = Decoded<GpsEphemerisRecord>(m, Inputs(EncodeLnav(k, LnavExtras{}), GetParam()));
        ExpectSameKepler(r.elements, Expected(k));
        EXPECT_EQ(r.prn, 0);  // the router's to fill
    }
}

TEST_P(LnavLayout, QzssAddsHealthFlagsMeanMotionAndAccuracy) {
    QzssEphemerisRecord in{};
    in.elements = SampleKepler();
    in.elements.sqrtA = 6493.3;
    in.health = 0x15;  // lower bits only: still usable
    in.antiSpoof = 1;
    in.fitFlag = 1;
    LnavExtras x;
    x.uraIndex = 3;
    CQzssNavigationMessage m(GetParam());
    const auto r = Decoded<QzssEphemerisRecord>(m, Inputs(EncodeLnav(in, x), GetParam()));
    ExpectSameKepler(r.elements, Expected(in.elements));
    EXPECT_EQ(std::tie(r.prn, r.health, r.antiSpoof, r.fitFlag, r.ura), std::make_tuple(0, 0x15u, 1, 1, 4.0));
    // sqrt(3.986005e14 / a^3) for a = 6493.3^2 m, plus deltaN.
    EXPECT_NEAR(r.meanMotion, 7.29288410635562e-05, 1e-18);
}

TEST(LnavDecode, RefusesPoorDataOnlyAtDecoding) {
    const struct { uint8_t alertMask; int ura, health; const char* text; } cases[] = {
        {1, 0, 0, "Subframe 1 Alert Flag indicates poor satellite data"},
        {2, 0, 0, "Subframe 2 Alert Flag indicates poor satellite data"},
        {4, 0, 0, "Subframe 3 Alert Flag indicates poor satellite data"},
        {0, 15, 0, "Subframe 1 URA Index indicates poor satellite data"},
        {0, 14, 0, nullptr},
        {0, 0, 0x20, "Subframe 1 Satellite Health indicates poor satellite data"},
        {0, 0, 0x1F, nullptr}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text ? c.text : "decodes");
        LnavExtras x;
        x.alertMask = c.alertMask;
        x.uraIndex = c.ura;
        x.health = c.health;
        CGpsNavigationMessage gps(1);
        CQzssNavigationMessage qzss(1);
        for (const simulation::Bytes& piece : Inputs(EncodeLnav(SampleKepler(), x), 1)) {
            gps.Store(piece.data());
            qzss.Store(piece.data());
        }
        ExpectDecoding(gps, sizeof(GpsEphemerisRecord), c.text);
        ExpectDecoding(qzss, sizeof(QzssEphemerisRecord), c.text);
    }
}

TEST(LnavDecode, QzssRefusesASubframeSetWithoutAnOrbit) {
    KeplerElements elements = SampleKepler();
    elements.sqrtA = 0.0;
    const LnavSubframeSet set = EncodeLnav(elements, {});
    CQzssNavigationMessage m(0);
    for (int n = 1; n <= 3; ++n) ASSERT_EQ(m.Store(simulation::ToLayout0(set[n - 1]).data()), n);
    QzssEphemerisRecord r{};
    EXPECT_EQ(m.GetEphemeris(&r), 0) << "its mean motion would be infinite";
    EXPECT_EQ(m.ErrorText(), "Subframe 2 square root of semi-major axis is zero");
    EXPECT_EQ(r.meanMotion, 0.0);
}

// Real L1 C/A subframes, as the router hands them on, decoded by us and by
// convbin from the same log.
TEST(LnavOracle, RealLogAgreesWithConvbin) {
    SKIP_WITHOUT_SHARED_LOGS();
    if (!HaveConvbin()) GTEST_SKIP() << "convbin (rtklib) is not installed";
    const double none = std::nan("");
    const int compared = CompareRealLogWithConvbin<CGpsNavigationMessage, GpsEphemerisRecord>(
        "f9p_4hz_gps_glo_gal_bds_nmea_mixed.ubx", 'G',
        [](const SfrbxRecord& r) { return r.gnssId == 0 && r.sigId == 0 && r.words.size() == 10; },
        [&](int, const GpsEphemerisRecord& r) {
            const KeplerElements& e = r.elements;
            return std::vector<double>{e.af0, e.af1,   e.af2,    double(e.IODE), e.Crs,   e.deltaN,     e.M0,
                                       e.Cuc, e.e,     e.Cus,    e.sqrtA,        double(e.toe), e.Cic,  e.Omega0,
                                       e.Cis, e.i0,    e.Crc,    e.omega,        e.OmegaDot, e.IDOT,    none,
                                       double(e.week), none,     none,           none,  e.TGD,          double(e.IODC)};
        });
    EXPECT_GE(compared, 50);
}

}  // namespace
