#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "rawfile/GnssEpoch.h"

namespace {

CGnssSignal Signal(GnssSignalId id, double pseudorange) {
    CGnssSignal s;
    s.signalId = id;
    s.flags = kSigPresent | kSigPseudorange;
    s.pseudorange = pseudorange;
    return s;
}

CGnssSatellite Satellite(GnssConstellation c, int prn, std::initializer_list<GnssSignalId> signals) {
    CGnssSatellite sat(SatelliteId(c, prn));
    for (GnssSignalId id : signals) sat.SetSignal(Signal(id, 2.0e7 + id));
    return sat;
}

TEST(GnssTypes, SatelliteIdValidityFollowsTheHighestPrn) {
    SatelliteId id;
    EXPECT_FALSE(id.Set(kGps, 0));
    EXPECT_FALSE(id.Set(kGps, 33));
    EXPECT_EQ(id.constellation, kGps);
    EXPECT_EQ(id.prn, 0);
    EXPECT_TRUE(id.Set(kGps, 32));
    EXPECT_TRUE(id.Set(kGlonass, 24));
    EXPECT_FALSE(id.Set(kGlonass, 25));
    EXPECT_TRUE(id.Set(kBeiDou, 63));
    EXPECT_TRUE(id.Set(kQzss, 10));
    EXPECT_FALSE(id.Set(kQzss, 11));
    EXPECT_TRUE(id.Set(kGalileo, 36));
    EXPECT_FALSE(id.Set(kSbas, 1));
    EXPECT_FALSE(id.Set(kSbas, 20));
    EXPECT_FALSE(id.Set(7, 1));
    EXPECT_FALSE(SatelliteId(kGalileo, 37).IsValid());

    char text[32];
    EXPECT_STREQ(SatelliteId(kQzss, 3).ShortText(text), "J03");
    EXPECT_STREQ(SatelliteId(kBeiDou, 45).LongText(text), "BEIDOU PRN45");
    EXPECT_STREQ(ConstellationText(kInvalidConstellation), "INVALID");
    EXPECT_STREQ(ConstellationText(9), "UNKNOWN");
    EXPECT_EQ(ConstellationLetter(9), 'M');

    std::vector<SatelliteId> ids{SatelliteId(kGps, 1)};
    ListSatelliteIds(kQzss, ids, false);
    ASSERT_EQ(ids.size(), 11u);
    EXPECT_EQ(ids[1], SatelliteId(kQzss, 1));
    ListSatelliteIds(kGlonass, ids, true);
    ASSERT_EQ(ids.size(), 24u);
    EXPECT_EQ(ids.back(), SatelliteId(kGlonass, 24));
}

TEST(GnssTypes, SignalsAndTheSettledRoleTable) {
    EXPECT_FALSE(IsValidSignal(6));
    EXPECT_EQ(SignalConstellation(84), kQzss);
    EXPECT_EQ(SignalConstellation(46), kInvalidConstellation);
    EXPECT_EQ(SignalSlot(kQzss, 83), 3);
    EXPECT_EQ(SignalSlot(kGalileo, 83), -1);
    EXPECT_STREQ(SignalText(63), "Altboc ");
    // Roles out of id order, QZSS twice on one signal, and empty cells.
    EXPECT_EQ(SignalForRole(kBeiDou, 1), 45);
    EXPECT_EQ(SignalForRole(kGalileo, 2), 61);
    EXPECT_EQ(SignalForRole(kQzss, 1), 81);
    EXPECT_EQ(SignalForRole(kQzss, 5), 81);
    EXPECT_EQ(SignalForRole(kGps, 3), kNoSignal);
    EXPECT_EQ(SignalForRole(kSbas, 0), kNoSignal);
}

TEST(GnssSatellite, SignalsBelongToTheirConstellationAndNeedFlags) {
    CGnssSatellite glonass(SatelliteId(kGlonass, 3));
    EXPECT_FALSE(glonass.SetSignal(Signal(0, 1.0)));
    EXPECT_TRUE(glonass.SetSignal(Signal(21, 1.0)));
    EXPECT_FALSE(CGnssSatellite(SatelliteId(kGps, 40)).SetSignal(Signal(0, 1.0)));
    CGnssSignal noId = Signal(kNoSignal, 1.0);
    EXPECT_FALSE(glonass.SetSignal(noId));

    CGnssSatellite gps = Satellite(kGps, 7, {0, 3});
    EXPECT_EQ(gps.GetSignalByRole(5)->signalId, 3);
    EXPECT_EQ(gps.GetSignalByRole(3), nullptr);
    EXPECT_EQ(gps.GetSignal(2), nullptr);
    CGnssSignal copy;
    EXPECT_TRUE(gps.CopySignalByRole(0, copy));
    EXPECT_DOUBLE_EQ(copy.pseudorange, 2.0e7);
    EXPECT_FALSE(gps.CopySignal(4, copy));

    // A record with its id but no flags counts as allocated yet absent.
    CGnssSignal cleared = Signal(4, 1.0);
    cleared.flags = 0;
    gps.SetSignal(cleared);
    EXPECT_EQ(gps.GetSignal(4), nullptr);
    EXPECT_EQ(gps.CountSignals(), 3);
    GnssSignalId ids[kMaxSignalSlots];
    ASSERT_EQ(gps.ListSignals(ids), 2);
    EXPECT_EQ(ids[0], 0);
    EXPECT_EQ(ids[1], 3);

    gps.Reset();
    EXPECT_EQ(gps.CountSignals(), 0);
    EXPECT_EQ(gps.glonassChannel, kNoGlonassChannel);
    EXPECT_NE(gps.signals[0], nullptr);
}

TEST(GnssEpoch, SatelliteListIsOrderedByConstellationThenPrn) {
    CGnssEpoch epoch;
    EXPECT_TRUE(epoch.SetSatellite(Satellite(kBeiDou, 10, {40})));
    EXPECT_TRUE(epoch.SetSatellite(Satellite(kGlonass, 3, {20})));
    EXPECT_TRUE(epoch.SetSatellite(Satellite(kGps, 5, {0})));
    EXPECT_TRUE(epoch.SetSatellite(Satellite(kGalileo, 1, {60})));
    EXPECT_TRUE(epoch.SetSatellite(Satellite(kQzss, 2, {80})));
    EXPECT_FALSE(epoch.SetSatellite(CGnssSatellite(SatelliteId(kGps, 33))));
    ASSERT_EQ(epoch.satelliteList.size(), 5u);
    const SatelliteId expected[] = {{kGps, 5}, {kGlonass, 3}, {kBeiDou, 10}, {kQzss, 2}, {kGalileo, 1}};
    for (size_t i = 0; i < 5; ++i) EXPECT_EQ(epoch.satelliteList[i], expected[i]) << i;

    EXPECT_EQ(epoch.CountSatellites(kBeiDou), 1);
    EXPECT_EQ(epoch.GetSignal(SatelliteId(kGlonass, 3), 0)->signalId, 20);
    EXPECT_EQ(epoch.GetSignal(SatelliteId(kGlonass, 4), 0), nullptr);
    CGnssSatellite out;
    EXPECT_TRUE(epoch.SatelliteAt(2, out));
    EXPECT_EQ(out.id, SatelliteId(kBeiDou, 10));
    EXPECT_FALSE(epoch.SatelliteAt(5, out));
    std::vector<SatelliteId> ids;
    EXPECT_FALSE(epoch.ListSatellites(kSbas, ids));
    EXPECT_TRUE(epoch.ListSatellites(kGps, ids));
    EXPECT_EQ(ids.size(), 1u);
}

TEST(GnssEpoch, ResetKeepsAllocationsAndRefillReusesThem) {
    CGnssEpoch epoch;
    epoch.flags = kEpochWeekValid;
    epoch.week = 2200;
    epoch.SetSatellite(Satellite(kGps, 5, {0, 2}));
    const CGnssSatellite* satellite = epoch.satellites[kGps][5].get();
    const CGnssSignal* l2 = satellite->signals[2].get();

    epoch.Reset();
    EXPECT_TRUE(epoch.satelliteList.empty());
    EXPECT_FALSE(epoch.HasSatellite(SatelliteId(kGps, 5)));
    EXPECT_EQ(epoch.week, 0);
    EXPECT_EQ(epoch.flags, 0u);
    ASSERT_EQ(epoch.satellites[kGps][5].get(), satellite);
    EXPECT_EQ(satellite->signals[2]->signalId, kNoSignal);

    epoch.SetSatellite(Satellite(kGps, 5, {2}));
    EXPECT_EQ(epoch.satellites[kGps][5].get(), satellite);
    EXPECT_EQ(epoch.GetSatellite(SatelliteId(kGps, 5))->signals[2].get(), l2);
    EXPECT_EQ(epoch.GetSatellite(SatelliteId(kGps, 5))->GetSignal(0), nullptr);
}

TEST(GnssEpoch, AssignmentIsDeepAndClearsWhatTheSourceLacks) {
    CGnssEpoch source;
    source.flags = kEpochClockValid;
    source.clockOffset = 12.5;
    source.rawRcvTime = 345600.25;
    source.SetSatellite(Satellite(kGalileo, 11, {60, 62}));

    CGnssEpoch target;
    target.SetSatellite(Satellite(kGps, 9, {0}));
    target.SetSatellite(Satellite(kGalileo, 11, {61}));
    const CGnssSatellite* kept = target.satellites[kGalileo][11].get();
    const CGnssSatellite* gps = target.satellites[kGps][9].get();

    target = source;
    EXPECT_EQ(target.satellites[kGalileo][11].get(), kept);
    EXPECT_EQ(target.satellites[kGps][9].get(), gps);
    EXPECT_FALSE(target.HasSatellite(SatelliteId(kGps, 9)));
    ASSERT_EQ(target.satelliteList.size(), 1u);
    const CGnssSatellite* e11 = target.GetSatellite(SatelliteId(kGalileo, 11));
    EXPECT_NE(e11->GetSignal(62), nullptr);
    EXPECT_EQ(e11->GetSignal(61), nullptr);
    EXPECT_DOUBLE_EQ(target.clockOffset, 12.5);

    // Changing the copy leaves the source alone.
    target.GetSatellite(SatelliteId(kGalileo, 11))->GetSignal(60)->pseudorange = 1.0;
    EXPECT_DOUBLE_EQ(source.GetSatellite(SatelliteId(kGalileo, 11))->GetSignal(60)->pseudorange, 2.0e7 + 60);

    // A satellite copied from an epoch in which it has no signals has none.
    CGnssEpoch empty;
    empty.SetSatellite(CGnssSatellite(SatelliteId(kGalileo, 11)));
    target = empty;
    CGnssSatellite copy;
    EXPECT_TRUE(target.CopySatellite(SatelliteId(kGalileo, 11), copy));
    EXPECT_EQ(copy.CountSignals(), 0);

    CGnssEpoch constructed(source);
    EXPECT_EQ(constructed.satelliteList, source.satelliteList);
}

TEST(GnssEpoch, TimesAndPositions) {
    CGnssEpoch epoch;
    epoch.week = 2000;
    epoch.rawRcvTime = 100.0004;
    epoch.rcvTimeMs = 100000;
    EXPECT_DOUBLE_EQ(epoch.TimeOfWeekSeconds(true), 2000 * 604800.0 + 100.0004);
    EXPECT_DOUBLE_EQ(epoch.TimeOfWeekSeconds(false), 2000 * 604800.0 + 100.0);

    char text[64] = "";
    EXPECT_FALSE(IsUsablePosition(GeodeticPosition{0.0, 0.0, 0.0}, text));
    EXPECT_STREQ(text, " == (0., 0. 0.)");
    EXPECT_FALSE(IsUsablePosition(GeodeticPosition{0.0, 0.0, 0.0}));
    EXPECT_TRUE(IsUsablePosition(GeodeticPosition{0.0, 0.0, 1.0}));
    EXPECT_FALSE(IsUsablePosition(GeodeticPosition{45.0, 7.0, -1000.0}));
    EXPECT_TRUE(IsUsablePosition(GeodeticPosition{45.0, 7.0, -999.0}));
    EXPECT_FALSE(IsUsablePosition(GeodeticPosition{45.0, 7.0, 5000000.0}));

    double east = 0.0, north = 0.0;
    HorizontalDifference(GeodeticPosition{60.0, 10.0, 0.0}, GeodeticPosition{60.001, 10.002, 0.0}, east, north);
    EXPECT_NEAR(north, 111.31949, 1e-4);
    EXPECT_NEAR(east, 0.002 * kMetresPerDegree * 0.5, 1e-6);
}

}  // namespace
