// Validity words, time bands, ordering and the Galileo clock choice and merge.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>

#include "SampleRecords.h"
#include "ephemeris/EphemerisBDS.h"
#include "ephemeris/EphemerisGAL.h"
#include "ephemeris/EphemerisGLO.h"
#include "ephemeris/EphemerisGPS.h"
#include "ephemeris/EphemerisQZSS.h"

namespace {

TEST(EphemerisRules, ValidityWords) {
    struct Case {
        const char* name;
        std::function<bool(char*)> check;
        const char* words;
    };
    auto gps = [](std::function<void(GpsEphemerisRecord&)> edit) {
        GpsEphemerisRecord r = sample::Gps();
        edit(r);
        return [r](char* m) { return GNSS::CEphemerisGPS(r).IsValid(m); };
    };
    auto qzs = [](std::function<void(QzssEphemerisRecord&)> edit) {
        QzssEphemerisRecord r = sample::QzssQuasiZenith();
        edit(r);
        return [r](char* m) { return GNSS::CEphemerisQZSS(r).IsValid(m); };
    };
    auto gal = [](std::function<void(GalEphemerisRecord&)> edit) {
        GalEphemerisRecord r = sample::Galileo();
        edit(r);
        return [r](char* m) { return GNSS::CEphemerisGAL(r).IsValid(m); };
    };
    auto bds = [](std::function<void(BdsEphemerisRecord&)> edit) {
        BdsEphemerisRecord r = sample::BeiDouMeo();
        edit(r);
        return [r](char* m) { return GNSS::CEphemerisBDS(r).IsValid(m); };
    };
    auto glo = [](std::function<void(GloEphemerisRecord&)> edit) {
        GloEphemerisRecord r = sample::Glonass();
        r.gpsWeek = 2300;
        edit(r);
        return [r](char* m) { return GNSS::CEphemerisGLO(r).IsValid(m); };
    };
    const Case cases[] = {
        {"GPS ok", gps([](auto&) {}), nullptr},
        {"GPS prn", gps([](auto& r) { r.prn = 0; }), "Error: Invalid GPS PRN number: 0"},
        {"GPS rootA low", gps([](auto& r) { r.elements.sqrtA = 4499.9; }),
         "Error: Invalid ephemeris data PRN 5 (ROOTA = 4499.9)"},
        {"GPS rootA edge", gps([](auto& r) { r.elements.sqrtA = 6000.0; }), nullptr},
        {"QZSS ok", qzs([](auto&) {}), nullptr},
        {"QZSS prn", qzs([](auto& r) { r.prn = 11; }), "Error: Invalid QZSS PRN number: 11"},
        {"QZSS week", qzs([](auto& r) { r.elements.week = 1000; }), "Error: Invalid QZSS week number: 1000"},
        {"QZSS rootA", qzs([](auto& r) { r.elements.sqrtA = 7000.5; }),
         "Error: Invalid ephemeris data PRN 2 (ROOTA = 7000.5)"},
        {"Galileo ok", gal([](auto&) {}), nullptr},
        {"Galileo prn", gal([](auto& r) { r.prn = 37; }), "Error: Invalid EGS PRN number: 37"},
        {"Galileo no part", gal([](auto& r) { r.iNavValid = r.fNavValid = false; }),
         "Error: both F/NAV and I/NAV parameters are not valid"},
        {"Galileo week", gal([](auto& r) { r.elements.week = -1; }), "Error: Invalid EGS week number: -1"},
        {"Galileo rootA", gal([](auto& r) { r.elements.sqrtA = 6493.0; }),
         "Error: Invalid ephemeris data PRN 11 (ROOTA = 6493.0)"},
        {"BeiDou ok", bds([](auto&) {}), nullptr},
        {"BeiDou satH1", bds([](auto& r) { r.satH1 = 1; }), "untouched"},
        {"BeiDou urai", bds([](auto& r) { r.urai = 15; }), "untouched"},
        {"BeiDou prn", bds([](auto& r) { r.prn = 64; }), "untouched"},
        {"BeiDou rootA from a decoder", bds([](auto& r) { r.elements.sqrtA = 8000.0; }), nullptr},
        {"GLONASS ok", glo([](auto&) {}), nullptr},
        {"GLONASS prn", glo([](auto& r) { r.prn = 25; }), "Error: Invalid GLONASS PRN number: 25"},
        {"GLONASS week", glo([](auto& r) { r.gpsWeek = 1023; }), "untouched"},
        {"GLONASS position", glo([](auto& r) { r.position[2] = 0.0; r.position[1] = 0.0; }),
         "Error: Invalid GLONASS PRN09 position: X = 7003.0 Y = 0.0 Z = 0.0 km"},
    };
    for (const Case& c : cases) {
        char message[kEphemerisMessageSize] = "untouched";
        EXPECT_EQ(c.check(message), c.words == nullptr) << c.name;
        EXPECT_STREQ(message, c.words ? c.words : "untouched") << c.name;
        EXPECT_EQ(c.check(nullptr), c.words == nullptr) << c.name;
    }
}

TEST(EphemerisRules, DerivedTimes) {
    BdsEphemerisRecord b = sample::BeiDouMeo();
    b.elements.toe = 604790;
    GNSS::CEphemerisBDS bds(b);
    EXPECT_EQ(bds.Record().gpsWeek, 2301);
    EXPECT_DOUBLE_EQ(bds.Record().gpsSeconds, 4.0);
    GNSS::CEphemerisGAL gal(sample::Galileo());
    EXPECT_EQ(gal.Record().gpsWeek, 2300);
    EXPECT_DOUBLE_EQ(gal.Record().gpsSeconds, 345000.0);
    GpsEphemerisRecord g = sample::Gps();
    g.elements.week = 2300 % 1024;
    EXPECT_EQ(GNSS::CEphemerisGPS(g).Record().elements.week % 1024, 2300 % 1024);
    EXPECT_GE(GNSS::CEphemerisGPS(g).Record().elements.week, 2048);
}

TEST(EphemerisRules, CurrentAndUsableBands) {
    const GNSS::CEphemerisGPS gps(sample::Gps());     // interval 7200
    const GNSS::CEphemerisQZSS qzs(sample::QzssQuasiZenith());   // interval 900
    const GpsTime toe(2300, 345600.0);
    struct {
        const GNSS::IEphemeris* e;
        GpsTime reference;
        double dt;
        bool current, usable;
    } const cases[] = {
        {&gps, toe, 399.0, true, true},       {&gps, toe, 400.0, false, true},
        {&gps, toe, -7599.0, true, true},     {&gps, toe, -7600.0, false, true},
        {&gps, toe, 14399.0, false, true},    {&gps, toe, 14400.0, false, false},
        {&gps, toe, -17999.0, false, true},   {&gps, toe, -18000.0, false, false},
        {&qzs, GpsTime(2300, 349200.0), 3549.0, true, true},
        {&qzs, GpsTime(2300, 349200.0), 3550.0, false, true},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.e->IsCurrent(c.reference + c.dt), c.current) << c.dt;
        EXPECT_EQ(c.e->IsUsable(c.reference + c.dt), c.usable) << c.dt;
        EXPECT_DOUBLE_EQ(c.e->TimeSinceReference(c.reference + c.dt), c.dt);
    }
    EXPECT_DOUBLE_EQ(gps.MidIntervalDistance(toe + 100.0), 3700.0);
    GNSS::CEphemerisGLO glo;
    EXPECT_DOUBLE_EQ(glo.MidIntervalDistance(toe), 604800.0);
}

TEST(EphemerisRules, EpochsAndOrder) {
    GpsEphemerisRecord a = sample::Gps(), b = sample::Gps();
    b.elements.toe += 7200;
    GNSS::CEphemerisGPS ea(a), eb(b);
    EXPECT_TRUE(ea.IsEarlier(eb));
    EXPECT_FALSE(eb.IsEarlier(ea));
    EXPECT_FALSE(ea.IsSameEpoch(eb));
    EXPECT_TRUE(ea.IsSameEpoch(GNSS::CEphemerisGPS(a)));
    EXPECT_TRUE(ea.IsEqual(GNSS::CEphemerisGPS(a)));
    EXPECT_FALSE(ea.IsSameIssue(GNSS::CEphemerisGPS(a)));

    BdsEphemerisRecord c = sample::BeiDouMeo();
    GNSS::CEphemerisBDS ec(c);
    c.elements.toe += 1;   // 1 s apart: no longer the same epoch
    GNSS::CEphemerisBDS ed(c);
    EXPECT_FALSE(ec.IsSameEpoch(ed));
    EXPECT_TRUE(ec.IsEarlier(ed));
    EXPECT_FALSE(ec.IsEqual(ed));

    // Copies keep their own elements.
    GNSS::CEphemerisGPS copy(ea);
    copy = eb;
    EXPECT_EQ(copy.GetToc(), b.elements.toc);
    EXPECT_EQ(ea.GetToc(), a.elements.toc);
}

TEST(EphemerisRules, IdentityRecordAndClear) {
    SatelliteId id;
    EXPECT_TRUE(GNSS::CEphemerisBDS(sample::BeiDouMeo()).GetSatelliteId(id));
    EXPECT_EQ(id, SatelliteId(kBeiDou, 23));
    EXPECT_TRUE(GNSS::CEphemerisGAL(sample::Galileo()).GetSatelliteId(id));
    EXPECT_EQ(id, SatelliteId(kGalileo, 11));
    EXPECT_FALSE(GNSS::CEphemerisGPS().GetSatelliteId(id));

    GNSS::CEphemerisBDS bds(sample::BeiDouMeo());
    bds.SetSatelliteType(3);
    BdsEphemerisRecord out{};
    EXPECT_TRUE(bds.GetRecord(&out));
    EXPECT_EQ(out.prn, 23);
    EXPECT_DOUBLE_EQ(bds.GetGroupDelay(), 8.2e-09);
    bds.Clear();
    EXPECT_EQ(bds.GetSatelliteType(), 0);
    EXPECT_FALSE(bds.GetRecord(&out));
    EXPECT_EQ(out.prn, 0);
}

TEST(EphemerisRules, GalileoClockChoice) {
    GalEphemerisRecord r = sample::Galileo();
    r.elements.toc = 340000;
    struct {
        bool fNav, iNav;
        int toc;
        double af0;
    } const cases[] = {
        {true, true, 345000, 4.56812e-04},
        {true, false, 340000, 4.56789e-04},
        {false, true, 345000, 4.56812e-04},
        {false, false, 0, 0.0},
    };
    for (const auto& c : cases) {
        r.fNavValid = c.fNav;
        r.iNavValid = c.iNav;
        GNSS::CEphemerisGAL gal(r);
        EXPECT_EQ(gal.GetToc(), c.toc);
        EXPECT_DOUBLE_EQ(gal.GetAf0(), c.af0);
    }
}

TEST(EphemerisRules, GalileoMerge) {
    GalEphemerisRecord inav = sample::Galileo(), fnav = sample::Galileo();
    inav.fNavValid = false;
    inav.elements.af0 = inav.elements.af1 = 0.0;
    inav.elements.toc = 0;
    inav.sisa = 50;
    fnav.iNavValid = false;
    fnav.sisa = 107;

    GNSS::CEphemerisGAL merged(inav);
    EXPECT_TRUE(merged.Merge(GNSS::CEphemerisGAL(fnav)));
    EXPECT_TRUE(merged.Record().fNavValid);
    EXPECT_DOUBLE_EQ(merged.Record().elements.af0, fnav.elements.af0);
    EXPECT_EQ(merged.Record().elements.toc, fnav.elements.toc);
    EXPECT_EQ(merged.Record().sisa, 107);
    // Nothing left to take.
    EXPECT_FALSE(merged.Merge(GNSS::CEphemerisGAL(fnav)));

    // Another epoch is not merged.
    GalEphemerisRecord later = fnav;
    later.elements.toe += 600;
    GNSS::CEphemerisGAL other(inav);
    EXPECT_FALSE(other.Merge(GNSS::CEphemerisGAL(later)));
    EXPECT_FALSE(other.Record().fNavValid);

    // The I/NAV part of a bad record fails the whole merge after F/NAV went in.
    GalEphemerisRecord empty = sample::Galileo();
    empty.fNavValid = empty.iNavValid = false;
    GalEphemerisRecord both = sample::Galileo();
    both.elements.sqrtA = 7000.0;   // invalid
    GNSS::CEphemerisGAL target(empty);
    EXPECT_FALSE(target.Merge(GNSS::CEphemerisGAL(both)));
}

}  // namespace
