#include <gtest/gtest.h>

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

TEST(GnssTypes, SatelliteIdValidityAtTheEdgesOfEachRange) {
    const struct {
        GnssConstellation constellation;
        int prn;
        bool valid;
    } cases[] = {{kGps, 0, false},     {kGps, 1, true},      {kGps, 32, true},     {kGps, 33, false},
                 {kGlonass, 24, true}, {kGlonass, 25, false}, {kBeiDou, 63, true},  {kQzss, 10, true},
                 {kQzss, 11, false},   {kGalileo, 36, true}, {kGalileo, 37, false}, {kSbas, 1, false},
                 {kSbas, 20, false},   {7, 1, false},        {-1, 1, false}};
    for (const auto& c : cases) {
        SatelliteId id;
        EXPECT_EQ(id.Set(c.constellation, c.prn), c.valid) << c.constellation << " " << c.prn;
        EXPECT_EQ(id.constellation, c.constellation);
        EXPECT_EQ(id.prn, c.valid ? c.prn : 0);  // an invalid id stores PRN 0
        EXPECT_EQ(SatelliteId(c.constellation, c.prn).IsValid(), c.valid);
    }
    EXPECT_EQ(SignalSlot(kGalileo, 83), -1);  // a slot only for a signal of that constellation
}

TEST(GnssSatellite, SignalsBelongToTheirConstellationAndNeedFlags) {
    CGnssSatellite glonass(SatelliteId(kGlonass, 3));
    EXPECT_FALSE(glonass.SetSignal(Signal(0, 1.0)));
    EXPECT_TRUE(glonass.SetSignal(Signal(21, 1.0)));
    EXPECT_FALSE(glonass.SetSignal(Signal(kNoSignal, 1.0)));
    EXPECT_FALSE(CGnssSatellite(SatelliteId(kGps, 40)).SetSignal(Signal(0, 1.0)));

    CGnssSatellite gps = Satellite(kGps, 7, {0, 3});
    EXPECT_EQ(gps.GetSignalByRole(5)->signalId, 3);
    EXPECT_EQ(gps.GetSignalByRole(3), nullptr);

    // A record with its id but no flags counts as allocated yet absent.
    CGnssSignal cleared = Signal(4, 1.0);
    cleared.flags = 0;
    gps.SetSignal(cleared);
    EXPECT_EQ(gps.GetSignal(4), nullptr);
    EXPECT_EQ(gps.CountSignals(), 3);
    GnssSignalId ids[kMaxSignalSlots];
    ASSERT_EQ(gps.ListSignals(ids), 2);
    EXPECT_TRUE(ids[0] == 0 && ids[1] == 3);

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
    const std::vector<SatelliteId> expected{{kGps, 5}, {kGlonass, 3}, {kBeiDou, 10}, {kQzss, 2}, {kGalileo, 1}};
    EXPECT_EQ(epoch.satelliteList, expected);
    EXPECT_EQ(epoch.GetSignal(SatelliteId(kGlonass, 4), 0), nullptr);
    CGnssSatellite out;
    EXPECT_TRUE(epoch.SatelliteAt(2, out) && out.id == SatelliteId(kBeiDou, 10));
    EXPECT_FALSE(epoch.SatelliteAt(5, out));
}

TEST(GnssEpoch, ResetAndAssignmentReuseRecordsButCopyDeeply) {
    CGnssEpoch epoch;
    epoch.flags = kEpochWeekValid;
    epoch.week = 2200;
    epoch.SetSatellite(Satellite(kGps, 5, {0, 2}));
    const CGnssSatellite* satellite = epoch.satellites[kGps][5].get();
    const CGnssSignal* l2 = satellite->signals[2].get();
    epoch.Reset();
    EXPECT_TRUE(epoch.satelliteList.empty() && epoch.week == 0 && epoch.flags == 0u);
    EXPECT_FALSE(epoch.HasSatellite(SatelliteId(kGps, 5)));
    ASSERT_EQ(epoch.satellites[kGps][5].get(), satellite);
    epoch.SetSatellite(Satellite(kGps, 5, {2}));
    EXPECT_EQ(epoch.GetSatellite(SatelliteId(kGps, 5))->signals[2].get(), l2);
    EXPECT_EQ(epoch.GetSatellite(SatelliteId(kGps, 5))->GetSignal(0), nullptr);

    // Assignment keeps the target's records and clears what the source lacks.
    CGnssEpoch source;
    source.clockOffset = 12.5;
    source.SetSatellite(Satellite(kGalileo, 11, {60, 62}));
    CGnssEpoch target;
    target.SetSatellite(Satellite(kGps, 9, {0}));
    target.SetSatellite(Satellite(kGalileo, 11, {61}));
    const CGnssSatellite* kept = target.satellites[kGalileo][11].get();
    target = source;
    EXPECT_EQ(target.satellites[kGalileo][11].get(), kept);
    EXPECT_FALSE(target.HasSatellite(SatelliteId(kGps, 9)));
    EXPECT_EQ(target.satelliteList, source.satelliteList);
    CGnssSatellite* e11 = target.GetSatellite(SatelliteId(kGalileo, 11));
    EXPECT_TRUE(e11->GetSignal(62) != nullptr && e11->GetSignal(61) == nullptr);
    EXPECT_EQ(target.clockOffset, 12.5);
    e11->GetSignal(60)->pseudorange = 1.0;  // the source is left alone
    EXPECT_EQ(source.GetSatellite(SatelliteId(kGalileo, 11))->GetSignal(60)->pseudorange, 2.0e7 + 60);

    // A satellite copied from an epoch in which it has no signals has none.
    CGnssEpoch empty;
    empty.SetSatellite(CGnssSatellite(SatelliteId(kGalileo, 11)));
    target = empty;
    CGnssSatellite copy;
    EXPECT_TRUE(target.CopySatellite(SatelliteId(kGalileo, 11), copy));
    EXPECT_EQ(copy.CountSignals(), 0);
    EXPECT_EQ(CGnssEpoch(source).satelliteList, source.satelliteList);
}

TEST(GnssEpoch, Positions) {
    char text[64] = "";
    EXPECT_FALSE(IsUsablePosition(GeodeticPosition{0.0, 0.0, 0.0}, text));
    EXPECT_STREQ(text, " == (0., 0. 0.)");
    const std::pair<GeodeticPosition, bool> positions[] = {
        {{0.0, 0.0, 0.0}, false},      {{0.0, 0.0, 1.0}, true},        {{45.0, 7.0, -1000.0}, false},
        {{45.0, 7.0, -999.0}, true},   {{45.0, 7.0, 5000000.0}, false}, {{45.0, 7.0, 4999999.0}, true}};
    for (const auto& [p, usable] : positions) EXPECT_EQ(IsUsablePosition(p), usable) << p.height;

    double east = 0.0, north = 0.0;
    HorizontalDifference(GeodeticPosition{60.0, 10.0, 0.0}, GeodeticPosition{60.001, 10.002, 0.0}, east, north);
    EXPECT_NEAR(north, 111.31949, 1e-4);
    EXPECT_NEAR(east, 0.002 * kMetresPerDegree * 0.5, 1e-6);
}

}  // namespace
