// The ephemeris store: what it keeps, what it drops and with which words,
// how it picks the record for a time, and the satellite state it computes
// from it (light time, blending of neighbours, GLONASS frame turn).
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "SampleRecords.h"
#include "StoreReports.h"
#include "ephemeris/EphemerisGAL.h"
#include "ephemeris/EphemerisGLO.h"
#include "ephemeris/EphemerisGPS.h"
#include "ephemeris/EphemerisStore.h"

using GNSS::CEphemerisGLO;
using GNSS::CEphemerisGPS;
using GNSS::IEphemeris;

namespace {

constexpr double kC = 299792458.0;

using storetest::Record;
using storetest::Report;
using storetest::Reports;

class StoreTest : public ::testing::Test {
protected:
    void SetUp() override { Reports().clear(); }
    CEphemerisStore store{Record};
};

GpsEphemerisRecord GpsAt(int prn, int toe, int iode = 77) {
    GpsEphemerisRecord r = sample::Gps();
    r.prn = prn;
    r.elements.toe = r.elements.toc = toe;
    r.elements.IODE = r.elements.IODC = iode;
    return r;
}

// A GLONASS record with its GPS time already set, as the file reader
// yields it; the store resolves none itself in this build.
GloEphemerisRecord GlonassAt(double gpsSeconds, int tb = 46800) {
    GloEphemerisRecord r = sample::Glonass();
    r.tb = tb;
    r.gpsWeek = 2300;
    r.gpsSeconds = gpsSeconds;
    r.hasReceptionTime = true;
    r.receptionTime = 2300 * 604800.0 + gpsSeconds;
    return r;
}

void HoldGlonass(CEphemerisStore& store, const GloEphemerisRecord& r) {
    auto* e = new CEphemerisGLO(r);
    ASSERT_EQ(store.Insert(kGlonass, r.prn, e), CEphemerisStore::kInserted);
}

double Distance(const double a[3], const double b[3]) {
    return std::sqrt((a[0] - b[0]) * (a[0] - b[0]) + (a[1] - b[1]) * (a[1] - b[1]) + (a[2] - b[2]) * (a[2] - b[2]));
}

}  // namespace

// ---------------------------------------------------------------------------
// Adding records

struct AddCase {
    const char* name;
    std::function<bool(CEphemerisStore&)> add;
    bool result;
    SatelliteId satellite;
    size_t held;
};

class StoreAddTest : public StoreTest, public ::testing::WithParamInterface<AddCase> {};

TEST_P(StoreAddTest, KeepsRepeatsOnceAndRefusesBadRecords) {
    const AddCase& c = GetParam();
    EXPECT_EQ(c.add(store), c.result);
    EXPECT_EQ(store.GetRecords(c.satellite).size(), c.held);
    EXPECT_TRUE(Reports().empty());
}

INSTANTIATE_TEST_SUITE_P(
    Cases, StoreAddTest,
    ::testing::Values(
        AddCase{"GpsKept", [](CEphemerisStore& s) { return s.AddGps(GpsAt(5, 345600)); }, true, {kGps, 5}, 1},
        AddCase{"GpsSameToeLaterUploadIsRepeat",
                [](CEphemerisStore& s) { return s.AddGps(GpsAt(5, 345600)) && s.AddGps(GpsAt(5, 345600, 78)); },
                true, {kGps, 5}, 1},
        AddCase{"GpsNewToeAppended",
                [](CEphemerisStore& s) { return s.AddGps(GpsAt(5, 345600)) && s.AddGps(GpsAt(5, 352800)); }, true,
                {kGps, 5}, 2},
        AddCase{"GpsPrn33Refused", [](CEphemerisStore& s) { return s.AddGps(GpsAt(33, 345600)); }, false,
                {kGps, 5}, 0},
        AddCase{"GpsBroadcastWeekRefused",
                [](CEphemerisStore& s) {
                    GpsEphemerisRecord r = GpsAt(5, 345600);
                    r.elements.week = 252;
                    return s.AddGps(r);
                },
                false, {kGps, 5}, 0},
        AddCase{"GpsBadRootARefused",
                [](CEphemerisStore& s) {
                    GpsEphemerisRecord r = GpsAt(5, 345600);
                    r.elements.sqrtA = 6493.0;
                    return s.AddGps(r);
                },
                false, {kGps, 5}, 0},
        AddCase{"QzssKeptOnce",
                [](CEphemerisStore& s) {
                    return s.AddQzss(sample::QzssQuasiZenith()) && s.AddQzss(sample::QzssQuasiZenith());
                },
                true, {kQzss, 2}, 1},
        AddCase{"QzssPrn11Refused",
                [](CEphemerisStore& s) {
                    QzssEphemerisRecord r = sample::QzssQuasiZenith();
                    r.prn = 11;
                    return s.AddQzss(r);
                },
                false, {kQzss, 2}, 0},
        AddCase{"BeiDouKept", [](CEphemerisStore& s) { return s.AddBeiDou(sample::BeiDouMeo()); }, true,
                {kBeiDou, 23}, 1},
        AddCase{"BeiDouUnhealthyRefused",
                [](CEphemerisStore& s) {
                    BdsEphemerisRecord r = sample::BeiDouMeo();
                    r.satH1 = 1;
                    return s.AddBeiDou(r);
                },
                false, {kBeiDou, 23}, 0},
        AddCase{"GalileoKept", [](CEphemerisStore& s) { return s.AddGalileo(sample::Galileo()); }, true,
                {kGalileo, 11}, 1},
        AddCase{"GalileoPrn37Refused",
                [](CEphemerisStore& s) {
                    GalEphemerisRecord r = sample::Galileo();
                    r.prn = 37;
                    return s.AddGalileo(r);
                },
                false, {kGalileo, 11}, 0}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(StoreTest, GalileoRepeatCompletesTheHeldRecord) {
    GalEphemerisRecord fnav = sample::Galileo(), inav = sample::Galileo();
    fnav.iNavValid = false;
    inav.fNavValid = false;
    inav.sisa = 42;
    ASSERT_TRUE(store.AddGalileo(fnav));
    ASSERT_TRUE(store.AddGalileo(inav));
    const auto& held = store.GetRecords({kGalileo, 11});
    ASSERT_EQ(held.size(), 1u);
    const GalEphemerisRecord& r = static_cast<const GNSS::CEphemerisGAL*>(held[0])->Record();
    EXPECT_TRUE(r.fNavValid);
    EXPECT_TRUE(r.iNavValid);
    EXPECT_EQ(r.iNavAf0, inav.iNavAf0);
    EXPECT_EQ(r.sisa, 42);
}

TEST_F(StoreTest, GlonassTakesItsWeekFromTheGpsEphemerides) {
    // The decoders' GLONASS records carry no GPS week. Before any GPS
    // record there is no time to look up GPS - UTC for, so none is kept.
    GloEphemerisRecord r = sample::Glonass();
    r.gpsWeek = 0;
    r.gpsSeconds = 0.0;
    EXPECT_FALSE(store.AddGlonass(r));
    EXPECT_FALSE(store.HasRecords({kGlonass, 9}));
    ASSERT_EQ(Reports().size(), 1u);
    EXPECT_EQ(Reports()[0].level, 3);
    EXPECT_EQ(Reports()[0].text, "Input GPS time not valid, UTC offset has not been altered");

    // tb 46800 is 13:00 Moscow time: 10:00:18 GPS on the day of the GPS toe.
    ASSERT_TRUE(store.AddGps(GpsAt(5, 345600)));
    ASSERT_TRUE(store.AddGlonass(r));
    GpsTime reference;
    ASSERT_TRUE(store.GetRecords({kGlonass, 9}).at(0)->GetReferenceTime(reference));
    EXPECT_EQ(reference.week, 2300);
    EXPECT_NEAR(reference.seconds, 345600.0 + 36018.0 + r.minusTau, 1e-6);
}

// ---------------------------------------------------------------------------
// GLONASS screening against the records held

struct ScreenCase {
    const char* name;
    double dxKm;        // offset of the new record's x
    int tb;             // of the new record (the held one has 46800)
    int nt;             // of the new record (the held one has 1)
    double receivedLater;
    bool result;
    size_t held;        // records of the satellite afterwards
    int level;          // of the one report, 0 for none
    const char* text;
};

class GlonassScreenTest : public StoreTest, public ::testing::WithParamInterface<ScreenCase> {};

TEST_P(GlonassScreenTest, DropsRepeatsAndBadPairs) {
    const ScreenCase& c = GetParam();
    ASSERT_TRUE(store.AddGps(GpsAt(5, 345600)));   // the GPS time that resolves GLONASS times
    // tb 46800, 13:00 Moscow time, is 10:00:18 GPS time on the day of the GPS toe.
    HoldGlonass(store, GlonassAt(381618.0));
    GloEphemerisRecord r = GlonassAt(381618.0 + (c.tb - 46800), c.tb);
    r.position[0] += c.dxKm;
    r.NT = c.nt;
    r.receptionTime += c.receivedLater;
    EXPECT_EQ(store.AddGlonass(r), c.result);
    EXPECT_EQ(store.GetRecords({kGlonass, 9}).size(), c.held);
    if (c.level == 0) {
        EXPECT_TRUE(Reports().empty());
    } else {
        ASSERT_EQ(Reports().size(), 1u);
        EXPECT_EQ(Reports()[0].level, c.level);
        EXPECT_EQ(Reports()[0].text, c.text);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Cases, GlonassScreenTest,
    ::testing::Values(
        ScreenCase{"SameRecordIsRepeat", 0.0, 46800, 1, 0.0, true, 1, 0, ""},
        ScreenCase{"SameTb50mApartDroppedQuietly", 0.05, 46800, 1, 0.0, false, 1, 0, ""},
        ScreenCase{"SameTb200mApartBothLost", 0.2, 46800, 1, 0.0, false, 0, 2,
                   "Rejected R09 ephemeris records with different position but same tb (46800)"},
        ScreenCase{"SamePlaceOtherTbBothLost", 0.0, 47700, 1, 0.0, false, 0, 2,
                   "Rejected R09 ephemeris records with same position but different tb (46800 and 47700)"},
        ScreenCase{"TbOffGridRefused", 0.0, 1000, 1, 0.0, false, 1, 3, "Rejected R09 ephemeris with tb = 1000"},
        // Not comparable with the held record: screened through, and kept
        // here because the test record carries its GPS time already.
        ScreenCase{"OtherDayNumberKept", 0.0, 46800, 2, 0.0, true, 1, 0, ""},
        ScreenCase{"OtherTbElsewhereKept", 500.0, 47700, 1, 0.0, true, 2, 0, ""},
        ScreenCase{"Received18HoursLaterNotCompared", 0.2, 47700, 1, 64800.0, true, 2, 0, ""}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(StoreTest, GlonassTimeOffsetsOverwriteTheirDayOnlyWhenChanged) {
    store.AddGlonassTimeOffset(1e-8, 100);
    store.AddGlonassTimeOffset(2e-8, 100);   // same day, new value: overwritten
    store.AddGlonassTimeOffset(3e-8, 101);
    ASSERT_EQ(store.GlonassOffsets().size(), 2u);
    EXPECT_EQ(store.GlonassOffsets()[0].tauC, 2e-8);
    store.AddGlonassTimeOffset(2e-8, 100);   // same day, same value: a second entry
    EXPECT_EQ(store.GlonassOffsets().size(), 3u);
    store.Clear();
    EXPECT_TRUE(store.GlonassOffsets().empty());
}

TEST_F(StoreTest, GlonassChannelOfFirstRecordOrMinusEight) {
    EXPECT_EQ(store.GetGlonassChannel({kGlonass, 9}), -8);
    HoldGlonass(store, GlonassAt(345600.0));
    EXPECT_EQ(store.GetGlonassChannel({kGlonass, 9}), -2);
    ASSERT_TRUE(store.AddGps(GpsAt(9, 345600)));
    EXPECT_EQ(store.GetGlonassChannel({kGps, 9}), -8);
}

TEST_F(StoreTest, DuplicateScreeningAfterReadingReportsOnce) {
    HoldGlonass(store, GlonassAt(345600.0, 46800));
    GloEphemerisRecord r = GlonassAt(347400.0, 48600);
    r.position[1] += 0.5;   // less than 1 km from the first
    HoldGlonass(store, r);
    EXPECT_TRUE(store.ScreenGlonassDuplicates());
    EXPECT_TRUE(store.GlonassDuplicate());
    ASSERT_EQ(Reports().size(), 1u);
    EXPECT_EQ(Reports()[0].level, 3);
    EXPECT_EQ(Reports()[0].text, "GLONASS prn 9: two records with tb as 46800 and 48600 but same satellite position");
}

TEST_F(StoreTest, TimeRangeCoversFirstAndLastWithTwoHoursMargin) {
    GpsTimeRange range;
    EXPECT_FALSE(store.GetTimeRange(range));
    ASSERT_TRUE(store.AddGps(GpsAt(5, 345600)));
    ASSERT_TRUE(store.AddGps(GpsAt(5, 352800)));
    ASSERT_TRUE(store.AddGps(GpsAt(7, 338400)));
    store.ComputeTimeRange();
    ASSERT_TRUE(store.GetTimeRange(range));
    EXPECT_EQ(range.first.week, 2300);
    EXPECT_DOUBLE_EQ(range.first.seconds, 338400.0 - 7200.0);
    EXPECT_DOUBLE_EQ(range.last.seconds, 352800.0 + 7200.0);
    EXPECT_TRUE(store.IsSeen(kGps));
    EXPECT_FALSE(store.IsSeen(kGalileo));
    // Every other satellite of the five constellations is missing.
    EXPECT_EQ(store.Missing().size(), static_cast<size_t>(32 + 24 + 63 + 10 + 36 - 2));
}

// ---------------------------------------------------------------------------
// Selection of the record for a time

namespace {

void Free(std::vector<IEphemeris*>& list) {
    for (IEphemeris* e : list) delete e;
}

}  // namespace

struct SelectCase {
    const char* name;
    bool glonass;
    std::vector<double> references;   // seconds of week 2300
    int startCursor;
    double time;
    bool result;
    int cursor;
};

class SelectRecordTest : public ::testing::TestWithParam<SelectCase> {};

TEST_P(SelectRecordTest, PicksTheRecordForTheTime) {
    const SelectCase& c = GetParam();
    std::vector<IEphemeris*> list;
    for (double reference : c.references) {
        if (c.glonass)
            list.push_back(new CEphemerisGLO(GlonassAt(reference)));
        else
            list.push_back(new CEphemerisGPS(GpsAt(5, static_cast<int>(reference))));
    }
    int32_t cursor = c.startCursor;
    EXPECT_EQ(CEphemerisStore::SelectRecord(list, cursor, GpsTime(2300, c.time)), c.result);
    EXPECT_EQ(cursor, c.cursor);
    Free(list);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, SelectRecordTest,
    ::testing::Values(
        SelectCase{"EmptyList", false, {}, 0, 345600.0, false, 0},
        // GPS records are current from two hours before toe up to toe
        // (update interval 7200 s): a time after the nearest toe goes on to
        // the next record when that one is current.
        SelectCase{"NearestToeCurrent", false, {338400, 345600, 352800}, 0, 345000.0, true, 1},
        SelectCase{"AfterToeNextCurrent", false, {338400, 345600, 352800}, 0, 346000.0, true, 2},
        SelectCase{"CursorOutsideRestarts", false, {338400, 345600}, 7, 338000.0, true, 0},
        // Exactly between two toes the walk ends on the earlier record; the
        // later one is current for that time and is taken.
        SelectCase{"TieEndsOnEarlierThenNextCurrent", false, {338400, 345600}, 1, 342000.0, true, 1},
        // Neither current: the one whose interval middle is nearer wins,
        // although the other's toe is nearer.
        SelectCase{"NeitherCurrentNearerMiddleWins", false, {338400, 352800}, 0, 345000.0, true, 1},
        SelectCase{"TooFarIsNotUsable", false, {338400, 345600}, 0, 370000.0, false, 1},
        SelectCase{"LastRecordUsableAfterToe", false, {338400, 345600}, 0, 350000.0, true, 1},
        // GLONASS: no record is current within 300 s of its own reference.
        // The next one is, 1500 s before its reference.
        SelectCase{"GlonassHoleHandsOverToNext", true, {345600, 347400}, 0, 345700.0, true, 1},
        SelectCase{"GlonassHoleAloneStillUsable", true, {345600}, 0, 345700.0, true, 0},
        SelectCase{"GlonassInBandCurrent", true, {345600, 347400}, 0, 346400.0, true, 0},
        SelectCase{"GlonassTieEndsOnEarlier", true, {345600, 349200}, 1, 347400.0, true, 0},
        SelectCase{"GlonassBeyondAnHourNotUsable", true, {345600}, 0, 349300.0, false, 0}),
    [](const auto& info) { return std::string(info.param.name); });

// ---------------------------------------------------------------------------
// Satellite state

TEST_F(StoreTest, MissingSatelliteIsReportedOnce) {
    double p[3], v[3], clock = 1.0;
    EXPECT_FALSE(store.ComputeSatelliteState({kGps, 5}, GpsTime(2300, 345600.0), nullptr, 0.0, p, v, clock));
    EXPECT_EQ(clock, 0.0);
    EXPECT_FALSE(store.ComputeSatelliteState({kGps, 5}, GpsTime(2300, 345601.0), nullptr, 0.0, p, v, clock));
    ASSERT_EQ(Reports().size(), 1u);
    EXPECT_EQ(Reports()[0].level, 2);
    EXPECT_EQ(Reports()[0].text, "GPS PRN05 has no broadcast ephemeris data");
    EXPECT_FALSE(store.ComputeSatelliteState({kGps, 0}, GpsTime(2300, 345600.0), nullptr, 0.0, p, v, clock));
}

TEST_F(StoreTest, WithoutReceiverOneStepAtTheEstimatedRange) {
    ASSERT_TRUE(store.AddGps(GpsAt(5, 345600)));
    const GpsTime t(2300, 345000.0);
    const double origin[3] = {0.0, 0.0, 0.0};
    for (double estimate : {0.0, 21000000.0}) {
        SCOPED_TRACE(estimate);
        double p[3], v[3], clockMetres;
        ASSERT_TRUE(store.ComputeSatelliteState({kGps, 5}, t, origin, estimate, p, v, clockMetres));
        const CEphemerisGPS e(GpsAt(5, 345600));
        // An estimate below the lowest orbit is no estimate.
        const double range = estimate < 13871863.0 ? 22484434.35 : estimate;
        const double clock = e.ComputeClockBias(t);
        double ep[3], ev[3];
        ASSERT_TRUE(e.ComputePositionVelocity(t - (range / kC + clock), range, ep, ev));
        for (int k = 0; k < 3; ++k) {
            EXPECT_DOUBLE_EQ(p[k], ep[k]);
            EXPECT_DOUBLE_EQ(v[k], ev[k]);
        }
        EXPECT_DOUBLE_EQ(clockMetres, clock * kC);
    }
}

TEST_F(StoreTest, WithReceiverIteratesToTheLightTime) {
    ASSERT_TRUE(store.AddGps(GpsAt(5, 345600)));
    const GpsTime t(2300, 345000.0);
    const double receiver[3] = {4027894.0, 307045.6, 4919474.9};
    double p[3], v[3], clockMetres;
    ASSERT_TRUE(store.ComputeSatelliteState({kGps, 5}, t, receiver, 0.0, p, v, clockMetres));
    const CEphemerisGPS e(GpsAt(5, 345600));
    const double clock = e.ComputeClockBias(t);
    // The position for the light time of its own distance, to a few mm;
    // the loop stops after four rounds or at 1e-10 s of change.
    double ep[3], ev[3];
    double tau = Distance(p, receiver) / kC;
    ASSERT_TRUE(e.ComputePositionVelocity(t - (tau + clock), tau * kC, ep, ev));
    EXPECT_LT(Distance(p, ep), 0.01);
    // A receiver nearer the centre than 6350 km is no position: no loop.
    const double inside[3] = {1000.0, 1000.0, 1000.0};
    double q[3];
    ASSERT_TRUE(store.ComputeSatelliteState({kGps, 5}, t, inside, 0.0, q, v, clockMetres));
    ASSERT_TRUE(e.ComputePositionVelocity(t - (22484434.35 / kC + clock), 22484434.35, ep, ev));
    EXPECT_DOUBLE_EQ(q[0], ep[0]);
}

namespace {

// Uploads two hours apart with slightly different orbits, so that a blend
// shows itself in the position.
void AddUploads(CEphemerisStore& store, int count) {
    for (int i = 0; i < count; ++i) {
        GpsEphemerisRecord r = GpsAt(5, 338400 + 7200 * i, 70 + i);
        r.elements.M0 += 0.001 * i;
        ASSERT_TRUE(store.AddGps(r));
    }
}

// The state of one record alone, as one step without a receiver makes it.
void Unblended(const IEphemeris& e, const GpsTime& t, double p[3], double v[3]) {
    const GpsTime tx = t - (22484434.35 / kC + e.ComputeClockBias(t));
    ASSERT_TRUE(e.ComputePositionVelocity(tx, 22484434.35, p, v));
}

}  // namespace

TEST_F(StoreTest, BlendsWithTheNeighbourBehind) {
    AddUploads(store, 3);
    const auto& list = store.GetRecords({kGps, 5});
    // 3000 s after the first toe the second record is current; the time
    // lies before its toe, so its neighbour is the first record.
    const GpsTime t(2300, 338400.0 + 3000.0);
    double p[3], v[3], clockMetres;
    ASSERT_TRUE(store.ComputeSatelliteState({kGps, 5}, t, nullptr, 0.0, p, v, clockMetres));

    const IEphemeris& chosen = *list[1];
    const IEphemeris& neighbour = *list[0];
    const GpsTime tx = t - (22484434.35 / kC + chosen.ComputeClockBias(t));
    double p0[3], v0[3], p1[3], v1[3];
    ASSERT_TRUE(chosen.ComputePositionVelocity(tx, 22484434.35, p0, v0));
    ASSERT_TRUE(neighbour.ComputePositionVelocity(tx, 22484434.35, p1, v1));
    const double d0 = chosen.TimeSinceReference(tx), d1 = neighbour.TimeSinceReference(tx);
    const double w = 1.0 / (1.0 + std::pow(std::fabs(d1 / d0), 10.0));
    ASSERT_GT(w, 0.01);
    ASSERT_GT(Distance(p0, p1), 1000.0);
    for (int k = 0; k < 3; ++k) {
        EXPECT_NEAR(p[k], (1 - w) * p0[k] + w * p1[k], 1e-6);
        EXPECT_NEAR(v[k], (1 - w) * v0[k] + w * v1[k], 1e-9);
    }
}

struct NoBlendCase {
    const char* name;
    int uploads;
    double seconds;
    int chosen;
};

class NoBlendTest : public StoreTest, public ::testing::WithParamInterface<NoBlendCase> {};

// The last record of a satellite never serves as neighbour, and there is
// none before the first.
TEST_P(NoBlendTest, UsesTheChosenRecordAlone) {
    const NoBlendCase& c = GetParam();
    AddUploads(store, c.uploads);
    const GpsTime t(2300, c.seconds);
    double p[3], v[3], clockMetres, ep[3], ev[3];
    ASSERT_TRUE(store.ComputeSatelliteState({kGps, 5}, t, nullptr, 0.0, p, v, clockMetres));
    Unblended(*store.GetRecords({kGps, 5})[c.chosen], t, ep, ev);
    for (int k = 0; k < 3; ++k) {
        EXPECT_DOUBLE_EQ(p[k], ep[k]);
        EXPECT_DOUBLE_EQ(v[k], ev[k]);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Cases, NoBlendTest,
    ::testing::Values(NoBlendCase{"FirstBeforeToeHasNoneBehind", 2, 338400.0 - 3000.0, 0},
                      NoBlendCase{"FirstAfterToeWouldTakeTheLast", 2, 338400.0 + 200.0, 0},
                      NoBlendCase{"MiddleAfterToeWouldTakeTheLast", 3, 345600.0 + 200.0, 1}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(StoreTest, GlonassPositionTurnsWithTheEarthOverTheLightTime) {
    HoldGlonass(store, GlonassAt(345600.0));
    const GpsTime t(2300, 345600.0 + 1200.0);
    double p[3], v[3], clockMetres;
    ASSERT_TRUE(store.ComputeSatelliteState({kGlonass, 9}, t, nullptr, 0.0, p, v, clockMetres));
    const CEphemerisGLO e(GlonassAt(345600.0));
    const double tau = 22484434.35 / kC;
    const double clock = e.ComputeClockBias(t);
    double ep[3], ev[3];
    ASSERT_TRUE(e.ComputePositionVelocity(t - (tau + clock + e.GetClockRateTerm(t)), 22484434.35, ep, ev));
    const double theta = tau * 7.2921151467e-05;
    EXPECT_NEAR(p[0], ep[0] * std::cos(theta) + ep[1] * std::sin(theta), 1e-6);
    EXPECT_NEAR(p[1], ep[1] * std::cos(theta) - ep[0] * std::sin(theta), 1e-6);
    EXPECT_DOUBLE_EQ(p[2], ep[2]);
    EXPECT_DOUBLE_EQ(v[0], ev[0]);   // velocity is not turned
    EXPECT_DOUBLE_EQ(clockMetres, clock * kC);
}

TEST_F(StoreTest, ClearRecordsKeepsIonosphereOnlyWhenAsked) {
    IonosphereModelRecord model{kIonosphereModelValid, {1e-8, 0, 0, 0}, {90000, 0, 0, 0}};
    store.SetIonosphere(model);
    TimeOffsetRecord offset{};
    std::snprintf(offset.name, sizeof offset.name, "GPUT");
    ASSERT_TRUE(store.AddTimeOffset(offset));
    EXPECT_FALSE(store.AddTimeOffset(offset));   // the first of a name stands
    ASSERT_TRUE(store.AddGps(GpsAt(5, 345600)));
    store.ClearRecords(false);
    EXPECT_EQ(store.Ionosphere().flags, kIonosphereModelValid);
    EXPECT_TRUE(store.TimeOffsets().empty());
    EXPECT_FALSE(store.HasRecords({kGps, 5}));
    EXPECT_TRUE(store.GlonassTimePending());
    store.ClearRecords(true);
    EXPECT_EQ(store.Ionosphere().flags, 0);
}
