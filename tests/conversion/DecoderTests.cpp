// The record decoders: what each field of RXM-RAW, RXM-RAWX, NAV-POSLLH and
// TIM-TM2 becomes in the epoch, the port and the station record.
#include <cmath>

#include "PortHarness.h"
#include "conversion/HostMessages.h"

using namespace simulation;
using convtest::Lines;
using convtest::PortTest;

namespace {

constexpr uint32_t kRangePhase = kSigPresent | kSigPseudorange | kSigPhaseResolved | kSigDoppler | kSigLockTime |
                                 kSigCn0 | kSigPhaseValue;

RawBlock Raw(uint8_t sv, double cp = 1.1e8, int8_t quality = 7, uint8_t lli = 0) {
    return RawBlock{cp, 2.2e7 + sv, -1234.5f, sv, quality, 44, lli};
}

RawxBlock Rawx(uint8_t gnssId, uint8_t svId, uint8_t sigId = 0, uint8_t trkStat = 7) {
    RawxBlock b;
    b.gnssId = gnssId, b.svId = svId, b.sigId = sigId, b.trkStat = trkStat;
    b.prMes = 2.3e7 + svId;
    b.cpMes = 1.2e8 + svId;
    b.locktime = 1500;
    return b;
}

const CGnssSignal* Signal(const CGnssEpoch& epoch, GnssConstellation c, int prn, GnssSignalId id = 0) {
    const CGnssSatellite* sat = epoch.GetSatellite(SatelliteId(c, prn));
    return sat != nullptr ? sat->GetSignal(id) : nullptr;
}

}  // namespace

TEST_F(PortTest, RawFieldsAndLockTime) {
    DecoderOptions kinematic{1, 0, 0};
    ublox2trv::SetPortOptions(&kinematic, sizeof kinematic);
    ASSERT_EQ(FeedOne(MakeRxmRaw(604798026, 2100, {Raw(2), Raw(3), Raw(4), Raw(6), Raw(12, 0.0), Raw(33)})), 1);
    EXPECT_EQ(epoch.flags, kEpochWeekValid | kEpochKinematic);
    EXPECT_EQ(epoch.rcvTimeMs, 604798050u);
    EXPECT_EQ(epoch.satelliteList.size(), 5u);  // PRN 33 skipped
    const CGnssSignal* s = Signal(epoch, kGps, 2);
    EXPECT_EQ(s->flags, kRangePhase);
    EXPECT_DOUBLE_EQ(s->pseudorange, 2.2e7 + 2);
    EXPECT_DOUBLE_EQ(s->carrierPhase, -1.1e8);  // the suite's sign
    EXPECT_FLOAT_EQ(s->doppler, -1234.5f);
    EXPECT_FLOAT_EQ(s->cn0, 44.0f);
    EXPECT_EQ(Signal(epoch, kGps, 12)->flags, kRangePhase & ~(kSigPhaseResolved | kSigPhaseValue));

    // Lock time grows while held; a slip (lli), low quality or absence
    // restarts it from 0; the week wraps.
    struct Step {
        int32_t towMs;
        int16_t week;
        std::vector<RawBlock> blocks;
        float lock[4];  // PRN 2, 3, 4, 6
    } steps[] = {{604799026, 2100, {Raw(2), Raw(3, 1e8, 7, 1), Raw(4, 1e8, 5)}, {1, 0, 0, -1}},
                 {1026, 2101, {Raw(2), Raw(3), Raw(4), Raw(6)}, {3, 2, 2, 2}}};
    for (const Step& step : steps) {
        epoch.Reset();
        ASSERT_EQ(FeedOne(MakeRxmRaw(step.towMs, step.week, step.blocks)), 1);
        const int prns[] = {2, 3, 4, 6};
        for (int i = 0; i < 4; ++i)
            if (step.lock[i] >= 0) {
                EXPECT_FLOAT_EQ(Signal(epoch, kGps, prns[i])->lockTime, step.lock[i]) << prns[i];
            }
    }
    EXPECT_TRUE(messages().empty());
}

TEST_F(PortTest, RawAndRawxRefusals) {
    std::vector<RawBlock> many;
    for (uint8_t sv = 1; sv <= 17; ++sv) many.push_back(Raw(sv));
    const Bytes refused[] = {MakeRxmRaw(604800001, 2100, {Raw(1)}), MakeRxmRaw(1000, -5, {Raw(1)}),
                             MakeRxmRaw(1000, 2101, many), MakeRxmRawx(604800.0, 2100, {Rawx(0, 1)}),
                             MakeRxmRawx(std::nan(""), 2100, {Rawx(0, 1)}), MakeRxmRawx(18.0, 0, {Rawx(0, 1)})};
    for (const Bytes& frame : refused) EXPECT_EQ(FeedOne(frame), 0);
    const std::vector<std::tuple<int, double, std::string>> expected = {
        {2, 604800.001, "Invalid GPS time in measurement record 0x10"},
        {3, 1.0, "Invalid week number in measurement record 0x10"},
        {2, 1.0, "Invalid number of satellites in measurement record 0x10"},
        {2, 604800.0, "RXM-RAWX: Invalid time of week (604800.000000)"},
        {2, std::nan(""), "RXM-RAWX: Invalid time of week (nan)"},
        {3, 18.0, "RXM-RAWX: Invalid week number"}};
    ASSERT_EQ(messages().size(), expected.size());
    for (size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(messages()[i].text, std::get<2>(expected[i]));
        EXPECT_EQ(messages()[i].level, std::get<0>(expected[i])) << i;
        if (i != 4) {
            EXPECT_DOUBLE_EQ(messages()[i].time, std::get<1>(expected[i])) << i;
        }
    }
    // The week's last instants are taken.
    EXPECT_EQ(FeedOne(MakeRxmRaw(604800000, 2100, {Raw(1)})), 1);
    EXPECT_EQ(FeedOne(MakeRxmRawx(604799.999, 2100, {Rawx(0, 1)})), 1);
}

// The other RAWX fields are checked block by block in the driver's round
// trip; these are the values worth writing out by hand.
TEST_F(PortTest, RawxDeviationsSharedSatellitesAndGlonassChannel) {
    std::vector<RawxBlock> blocks;
    for (uint8_t n = 0; n < 6; ++n) {
        blocks.push_back(Rawx(0, static_cast<uint8_t>(n + 1)));
        blocks.back().prStdev = static_cast<uint8_t>(0xF0 | n);  // low 4 bits only
        blocks.back().cpStdev = static_cast<uint8_t>(0x30 | n);
    }
    RawxBlock glonassLow = Rawx(6, 3, 0), glonassHigh = Rawx(6, 3, 2), l2cm = Rawx(0, 8, 4);
    glonassLow.freqId = 0, glonassHigh.freqId = 13, l2cm.prMes = 1.0;
    for (const RawxBlock& b : {glonassLow, Rawx(0, 8, 0), Rawx(0, 8, 3), l2cm, glonassHigh}) blocks.push_back(b);
    ASSERT_EQ(FeedOne(MakeRxmRawx(345600.026, 2100, blocks)), 1);
    EXPECT_DOUBLE_EQ(Signal(epoch, kGps, 5)->carrierPhase, -(1.2e8 + 5));
    // 2^n * (n * 0.01), not the 0.01 * 2^n of the receiver's description.
    const float deviation[] = {0.0f, 0.02f, 0.08f, 0.24f, 0.64f, 1.6f};
    for (int n = 0; n < 6; ++n) {
        EXPECT_FLOAT_EQ(Signal(epoch, kGps, n + 1)->pseudorangeStdDev, deviation[n]) << n;
        EXPECT_FLOAT_EQ(Signal(epoch, kGps, n + 1)->carrierPhaseStdDev, n * 0.004f) << n;
    }
    // Signals of one satellite share it; the later block on a slot wins.
    const CGnssSatellite* g08 = epoch.GetSatellite(SatelliteId(kGps, 8));
    EXPECT_EQ(g08->CountSignals(), 2);
    EXPECT_DOUBLE_EQ(g08->GetSignal(3)->pseudorange, 1.0);
    EXPECT_EQ(g08->glonassChannel, kNoGlonassChannel);
    // The channel is freqId - 7 as a byte; the last GLONASS block sets it.
    EXPECT_EQ(epoch.GetSatellite(SatelliteId(kGlonass, 3))->CountSignals(), 2);
    EXPECT_EQ(epoch.GetSatellite(SatelliteId(kGlonass, 3))->glonassChannel, 6);
    epoch.Reset();
    FeedOne(MakeRxmRawx(1001.0, 2100, {glonassLow}));
    EXPECT_EQ(epoch.GetSatellite(SatelliteId(kGlonass, 3))->glonassChannel, 249);
}

TEST_F(PortTest, RawxUnknownSignalsWarnTwentyTimesBadSatellitesEveryTime) {
    std::vector<RawxBlock> blocks(15, Rawx(0, 1, 6));  // GPS L5 is not taken
    blocks.push_back(Rawx(1, 131));                      // nor SBAS
    for (int i = 0; i < 10; ++i) blocks.push_back(Rawx(6, 255));
    for (const RawxBlock& b : {Rawx(0, 33), Rawx(2, 37), Rawx(3, 0)}) blocks.push_back(b);
    ASSERT_EQ(FeedOne(MakeRxmRawx(1000.0, 2100, blocks)), 1);
    EXPECT_TRUE(epoch.satelliteList.empty());  // still an epoch
    ASSERT_EQ(FeedOne(MakeRxmRawx(1001.0, 2100, blocks)), 1);
    Lines texts = Texts();
    ASSERT_EQ(texts.size(), 2u * 13 + 20);
    EXPECT_EQ(texts[0], "RXM-RAWX: Unrecognized constellation ID (0) or signal ID (6)");
    EXPECT_EQ(messages()[0].level, 3);
    EXPECT_DOUBLE_EQ(messages()[0].time, 1000.0);
    EXPECT_EQ(texts[15], "RXM-RAWX: Unrecognized constellation ID (1) or signal ID (0)");
    EXPECT_EQ(Lines(texts.begin() + 16, texts.begin() + 26), Lines(10, "RXM-RAWX: GLONASS PRN number not yet known"));
    EXPECT_EQ(Lines(texts.begin() + 26, texts.begin() + 29),
              (Lines{"RXM-RAWX: Invalid GPS PRN (33)", "RXM-RAWX: Invalid GALILEO PRN (37)",
                     "RXM-RAWX: Invalid BEIDOU PRN (0)"}));
    EXPECT_EQ(texts[32], "RXM-RAWX: Unrecognized constellation ID (0) or signal ID (6) [last warning]");
    EXPECT_EQ(texts[33], "RXM-RAWX: GLONASS PRN number not yet known");  // not capped

    Reopen();  // a new conversion warns again
    FeedOne(MakeRxmRawx(1002.0, 2100, {Rawx(2, 1, 3)}));  // nor Galileo E5a
    EXPECT_EQ(Texts(), Lines{"RXM-RAWX: Unrecognized constellation ID (2) or signal ID (3)"});
}

TEST_F(PortTest, PositionReachesTheFollowingEpochs) {
    FeedOne(MakeRxmRawx(999.0, 2100, {Rawx(0, 1)}));
    EXPECT_FALSE(epoch.flags & kEpochPositionValid);
    // A later all-zero record keeps the fix with zero coordinates.
    for (double latitude : {52.1234567, 0.0}) {
        EXPECT_EQ(FeedOne(MakeNavPosllh(1, latitude, -latitude / 10, latitude * 2)), 4);
        epoch.Reset();
        FeedOne(MakeRxmRaw(1001000, 2100, {Raw(1)}));
        EXPECT_TRUE(epoch.flags & kEpochPositionValid);
        EXPECT_NEAR(epoch.position.latitude, latitude, 1e-12);
        EXPECT_NEAR(epoch.position.longitude, -latitude / 10, 6e-8);
        EXPECT_NEAR(epoch.position.height, latitude * 2, 6e-4);
    }
    Reopen();  // a longitude alone is a fix
    FeedOne(MakeNavPosllh(1, 0.0, 1e-7, 5.0));
    EXPECT_EQ(ublox2trv::portArray->positionValid, 1);
}

TEST_F(PortTest, TimeMarkBecomesARisingEdgeRecord) {
    TimeMark m{0x40 | 0x10 | 0x80, 2022, 2023, 217355138, 250, 5};
    ASSERT_EQ(FeedOne(MakeTimTm2(m)), 5);
    EXPECT_EQ(record.kind, kStaMark);
    EXPECT_STREQ(record.name, "1");
    EXPECT_STREQ(record.description, "Rising Edge");
    EXPECT_EQ(record.timeType, kTimeUtc);
    EXPECT_DOUBLE_EQ(record.time, 217355.138 + 250e-9);
    EXPECT_EQ(record.week, 2022);

    m.flags = 0x20 | 0x10;  // no valid time: skipped quietly, leaving no gap
    EXPECT_EQ(FeedOne(MakeTimTm2(m)), -1);
    EXPECT_STREQ(ublox2trv::errorText, "Event mark has invalid time - skipped");
    m.flags = 0x40;  // GPS time base
    ASSERT_EQ(FeedOne(MakeTimTm2(m)), 5);
    EXPECT_EQ(record.timeType, kTimeGps);
    EXPECT_STREQ(record.name, "2");
    EXPECT_TRUE(messages().empty());
}
