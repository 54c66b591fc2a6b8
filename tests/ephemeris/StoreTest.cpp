// The ephemeris store: what it keeps or drops and with which words, the record it picks for a time and the
// satellite state from it (light time, blending, GLONASS frame turn). Its .epp file reads back and writes again byte
// for byte; headers, the two other records, record order, the writer's time filter and the words of failures.
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <sstream>
#include <string_view>

#include "Samples.h"
#include "ephemeris/EphemerisFile.h"
#include "ephemeris/EphemerisGAL.h"
#include "ephemeris/EphemerisGPS.h"
#include "support/TestPaths.h"

namespace {

using GNSS::CEphemerisGLO;
using GNSS::IEphemeris;
using sample::GlonassAt;
using namespace ephtest;

constexpr double kC = 299792458.0;
constexpr double kTypicalRange = 22484434.35;   // taken when no estimate is given

class StoreTest : public ::testing::Test {
protected:
    void SetUp() override { Reports().clear(); }
    void Hold(const GloEphemerisRecord& r) { ASSERT_EQ(store.Insert(kGlonass, r.prn, new CEphemerisGLO(r)), 0); }
    CEphemerisStore store{Record};
};

double Distance(const double a[3], const double b[3]) { return std::hypot(a[0] - b[0], a[1] - b[1], a[2] - b[2]); }

TEST_F(StoreTest, KeepsRepeatsOnceRefusesBadRecordsAndClears) {
    GpsEphemerisRecord oldWeek = sample::Gps(), badRoot = sample::Gps();
    QzssEphemerisRecord qzs11 = sample::QzssQuasiZenith(); BdsEphemerisRecord unhealthy = sample::BeiDouMeo();
    GalEphemerisRecord gal37 = sample::Galileo(), inav = sample::Galileo();
    oldWeek.elements.week = 252, badRoot.elements.sqrtA = 6493.0, qzs11.prn = 11, unhealthy.satH1 = 1, gal37.prn = 37;
    EXPECT_FALSE(store.AddGps(sample::Gps(33)) || store.AddGps(oldWeek) || store.AddGps(badRoot));
    EXPECT_FALSE(store.AddQzss(qzs11) || store.AddBeiDou(unhealthy) || store.AddGalileo(gal37));
    EXPECT_FALSE(store.HasRecords({kGps, 5}) || store.HasRecords({kBeiDou, 23}));
    EXPECT_TRUE(store.AddGps(sample::Gps()) && store.AddGps(sample::Gps(5, 352800)));
    EXPECT_TRUE(store.AddGps(sample::Gps(5, 345600, 78)));   // the same toe uploaded again: a repeat
    EXPECT_TRUE(store.AddQzss(sample::QzssQuasiZenith()) && store.AddQzss(sample::QzssQuasiZenith()));
    EXPECT_TRUE(store.AddBeiDou(sample::BeiDouMeo()) && store.AddGalileo(sample::Galileo()));
    EXPECT_TRUE(store.GetRecords({kGps, 5}).size() == 2 && store.GetRecords({kQzss, 2}).size() == 1);
    // A Galileo repeat completes the held record with the other navigation message.
    inav.fNavValid = false, inav.sisa = 42, inav.prn = 12; GalEphemerisRecord fnav = inav;
    fnav.iNavValid = false, fnav.fNavValid = true;
    ASSERT_TRUE(store.AddGalileo(fnav) && store.AddGalileo(inav));
    ASSERT_EQ(store.GetRecords({kGalileo, 12}).size(), 1u);
    const auto& r = static_cast<const GNSS::CEphemerisGAL*>(store.GetRecords({kGalileo, 12})[0])->Record();
    EXPECT_TRUE(r.fNavValid && r.iNavValid && r.iNavAf0 == inav.iNavAf0 && r.sisa == 42);
    EXPECT_TRUE(Reports().empty());
    // Clearing the records keeps the ionosphere model only when asked.
    store.SetIonosphere({kIonosphereModelValid, {1e-8, 0, 0, 0}, {90000, 0, 0, 0}});
    store.ClearRecords(false);
    EXPECT_TRUE(store.Ionosphere().flags == kIonosphereModelValid && !store.HasRecords({kGps, 5}));
    store.ClearRecords(true); EXPECT_EQ(store.Ionosphere().flags, 0);
}

TEST_F(StoreTest, GlonassTakesItsWeekFromTheGpsEphemeridesAndItsTauC) {
    // Before any GPS record there is no time to look up GPS - UTC for, so no GLONASS record is kept; a tau-c
    // without a day number is not entered either.
    GloEphemerisRecord r = sample::Glonass(); r.tauC = 2e-8, r.NT = 0;
    EXPECT_FALSE(store.AddGlonass(r) || store.HasRecords({kGlonass, 9}));
    EXPECT_EQ(Reports(), Texts{"3 Input GPS time not valid, UTC offset has not been altered"});
    EXPECT_TRUE(store.GlonassOffsets().empty());
    // tb 46800 is 13:00 Moscow time: 10:00:18 GPS on the day of the GPS toe.
    r.NT = 300;
    ASSERT_TRUE(store.AddGps(sample::Gps()) && store.AddGlonass(r));
    GpsTime reference;
    ASSERT_TRUE(store.GetRecords({kGlonass, 9}).at(0)->GetReferenceTime(reference));
    EXPECT_EQ(reference.week, 2300);
    EXPECT_NEAR(reference.seconds, 345600.0 + 36018.0 + r.minusTau + 2e-8, 1e-9);
    EXPECT_TRUE(store.GetGlonassChannel({kGlonass, 9}) == -2 && store.GetGlonassChannel({kGlonass, 8}) == -8);
    // The tau-c of a day is overwritten by a new value, but a repeated value is entered again.
    ASSERT_EQ(store.GlonassOffsets().size(), 1u);
    store.AddGlonassTimeOffset(3e-8, 300);
    store.AddGlonassTimeOffset(4e-8, 301);
    EXPECT_TRUE(store.GlonassOffsets().size() == 2 && store.GlonassOffsets()[0].tauC == 3e-8);
    store.AddGlonassTimeOffset(3e-8, 300); EXPECT_EQ(store.GlonassOffsets().size(), 3u);
    store.Clear(); EXPECT_TRUE(store.GlonassOffsets().empty());
}

TEST_F(StoreTest, GlonassScreeningDropsRepeatsAndBadPairs) {
    const std::string rejected = "2 Rejected R09 ephemeris records with ";
    const std::string samePlace = rejected + "same position but different tb (46800 and 47700)";
    // A new record moved in x, with its tb and day number (the held one has 46800 and 1), received later than the
    // held one (beyond its own tb difference): AddGlonass, the records held afterwards and the reports.
    const struct { double dxKm; int tb, nt; double later; bool result; size_t held; Texts reports; } cases[] = {
        {0.0, 46800, 1, 0.0, true, 1, {}},      // the same record: a repeat
        {0.05, 46800, 1, 0.0, false, 1, {}},    // the same tb 50 m apart: dropped quietly
        {0.2, 46800, 1, 0.0, false, 0, {rejected + "different position but same tb (46800)"}},
        {0.0, 47700, 1, 0.0, false, 0, {samePlace}},
        {0.0, 1000, 1, 0.0, false, 1, {"3 Rejected R09 ephemeris with tb = 1000"}},
        // Not comparable with the held record (another day number, another tb and place, received 18 hours
        // apart): kept, as the record carries its GPS time already. The new record is received 900 s later.
        {0.0, 46800, 2, 0.0, true, 1, {}},
        {500.0, 47700, 1, 0.0, true, 2, {}},
        {0.0, 47700, 1, 63900.0, true, 2, {}},
        {0.0, 47700, 1, 63899.0, false, 0, {samePlace}},
    };
    for (const auto& c : cases) {
        CEphemerisStore s(Record);
        ASSERT_TRUE(s.AddGps(sample::Gps()));   // the GPS time that resolves GLONASS times
        ASSERT_EQ(s.Insert(kGlonass, 9, new CEphemerisGLO(GlonassAt(381618.0))), 0);
        Reports().clear();
        GloEphemerisRecord r = GlonassAt(381618.0 + (c.tb - 46800), c.tb);
        r.position[0] += c.dxKm, r.NT = c.nt, r.receptionTime += c.later;
        EXPECT_EQ(s.AddGlonass(r), c.result) << c.dxKm << " " << c.tb << " " << c.nt << " " << c.later;
        EXPECT_EQ(s.GetRecords({kGlonass, 9}).size(), c.held) << c.dxKm << " " << c.tb;
        EXPECT_EQ(Reports(), c.reports);
    }
    // After reading, two records of different tb less than 1 km apart are reported once.
    GloEphemerisRecord r = GlonassAt(347400.0, 48600); r.position[1] += 0.5;
    Hold(GlonassAt(345600.0, 46800)); Hold(r); Reports().clear();
    EXPECT_TRUE(store.ScreenGlonassDuplicates() && store.GlonassDuplicate());
    EXPECT_EQ(Reports(), Texts{"3 GLONASS prn 9: two records with tb as 46800 and 48600 but same satellite position"});
}

// GPS records are current from two hours before toe up to toe, GLONASS records from 2100 to 300 s either side of
// their reference. References and times are seconds of week 2300.
TEST(SelectRecord, PicksTheRecordForTheTime) {
    const struct { bool glonass; std::vector<double> refs; int start; double t; bool result; int cursor; } cases[] = {
        {false, {}, 0, 345600.0, false, 0},
        // A time after the nearest toe goes on to the next record when that one is current.
        {false, {338400, 345600, 352800}, 0, 345000.0, true, 1},
        {false, {338400, 345600, 352800}, 0, 346000.0, true, 2},
        {false, {338400, 345600, 352800}, 2, 338000.0, true, 0},   // walks back
        {false, {338400, 345600}, 7, 338000.0, true, 0},           // a cursor outside restarts
        {false, {338400, 345600}, 1, 342000.0, true, 1},           // a tie ends on the earlier; the later is current
        {false, {338400, 352800}, 0, 345000.0, true, 1},           // neither current: the nearer middle wins
        {false, {338400, 345600}, 0, 370000.0, false, 1},          // too far
        {false, {338400, 345600}, 0, 350000.0, true, 1},           // the last record is usable after its toe
        // GLONASS: within 300 s of its reference a record hands over to the next one, current there.
        {true, {345600, 347400}, 0, 345700.0, true, 1},
        {true, {345600}, 0, 345700.0, true, 0},
        {true, {345600, 349200}, 1, 347400.0, true, 0},   // a tie ends on the earlier one
    };
    for (const auto& c : cases) {
        std::vector<IEphemeris*> list;
        for (double reference : c.refs)
            list.push_back(c.glonass ? static_cast<IEphemeris*>(new CEphemerisGLO(GlonassAt(reference)))
                                     : new GNSS::CEphemerisGPS(sample::Gps(5, static_cast<int>(reference))));
        int32_t cursor = c.start;
        EXPECT_EQ(CEphemerisStore::SelectRecord(list, cursor, GpsTime(2300, c.t)), c.result) << c.t;
        EXPECT_EQ(cursor, c.cursor) << c.t;
        for (IEphemeris* e : list) delete e;
    }
}

// Uploads two hours apart with slightly different orbits, so that a blend shows itself in the position.
void AddUploads(CEphemerisStore& store, int count) {
    for (int i = 0; i < count; ++i) {
        GpsEphemerisRecord r = sample::Gps(5, 338400 + 7200 * i, 70 + i);
        r.elements.M0 += 0.001 * i; ASSERT_TRUE(store.AddGps(r));
    }
}

// The state of one record alone at the transmission time of a range; returns the clock in metres.
double Alone(const IEphemeris& e, const GpsTime& t, double range, double p[3], double v[3]) {
    const double clock = e.ComputeClockBias(t);
    EXPECT_TRUE(e.ComputePositionVelocity(t - (range / kC + clock), range, p, v));
    return clock * kC;
}

// Without a receiver position one step is made at the estimated range (below the lowest orbit: the typical
// one). The last record of a satellite never serves as neighbour, and there is none before the first. A satellite
// without records is reported once.
TEST_F(StoreTest, StateOfOneRecordAtTheLightTime) {
    const struct { int uploads; double seconds, estimate, range; int chosen; } cases[] = {
        {1, 338400.0 - 600.0, 0.0, kTypicalRange, 0},        {1, 338400.0 - 600.0, 21e6, 21e6, 0},
        {2, 338400.0 - 3000.0, 13871862.0, kTypicalRange, 0}, {2, 338400.0 + 200.0, 13871863.0, 13871863.0, 0},
        {3, 345600.0 + 200.0, 0.0, kTypicalRange, 1}};
    double p[3], v[3], clockMetres = 1.0, ep[3], ev[3];
    for (const auto& c : cases) {
        CEphemerisStore s(Record); AddUploads(s, c.uploads);
        const GpsTime t(2300, c.seconds);
        ASSERT_TRUE(s.ComputeSatelliteState({kGps, 5}, t, nullptr, c.estimate, p, v, clockMetres));
        EXPECT_DOUBLE_EQ(clockMetres, Alone(*s.GetRecords({kGps, 5})[c.chosen], t, c.range, ep, ev));
        for (int k = 0; k < 3; ++k) EXPECT_TRUE(p[k] == ep[k] && v[k] == ev[k]) << c.seconds << " " << k;
    }
    char words[kEphemerisMessageSize] = "";
    EXPECT_FALSE(store.ComputeSatelliteState({kGps, 5}, {2300, 345600.0}, nullptr, 0.0, p, v, clockMetres, words));
    EXPECT_EQ(clockMetres, 0.0); EXPECT_STREQ(words, "GPS PRN05 has no broadcast ephemeris data");
    EXPECT_FALSE(store.ComputeSatelliteState({kGps, 5}, {2300, 345601.0}, nullptr, 0.0, p, v, clockMetres));
    EXPECT_EQ(Reports(), Texts{"2 GPS PRN05 has no broadcast ephemeris data"});
    EXPECT_FALSE(store.ComputeSatelliteState({kGps, 0}, {2300, 345600.0}, nullptr, 0.0, p, v, clockMetres));
    // With a receiver position the light time is iterated: the position is the one for its own distance, to a
    // few mm. A receiver nearer the centre than 6350 km, or on the X axis, is no position: no loop.
    ASSERT_TRUE(store.AddGps(sample::Gps())); const GpsTime t(2300, 345000.0);
    const double receivers[][3] = {{4039000.0, 0.0, 4919474.9}, {1000.0, 1000.0, 1000.0}, {7000000.0, 0.0, 0.0}};
    for (const auto& receiver : receivers) {
        ASSERT_TRUE(store.ComputeSatelliteState({kGps, 5}, t, receiver, 0.0, p, v, clockMetres));
        const bool real = receiver[2] > 1e6;
        Alone(*store.GetRecords({kGps, 5})[0], t, real ? Distance(p, receiver) : kTypicalRange, ep, ev);
        EXPECT_TRUE(real ? Distance(p, ep) < 0.01 : p[0] == ep[0]) << receiver[0];
    }
}

TEST_F(StoreTest, BlendsWithTheNeighbourBehindAndTurnsGlonassOverTheLightTime) {
    AddUploads(store, 3);
    // 3000 s after the first toe the second record is current; the time lies 4200 s before its toe, so its
    // neighbour is the first record, 3000 s away, weighted 1 / (1 + (3000 / 4200)^10).
    GpsTime t(2300, 338400.0 + 3000.0);
    double p[3], v[3], clockMetres, p0[3], v0[3], p1[3], v1[3];
    ASSERT_TRUE(store.ComputeSatelliteState({kGps, 5}, t, nullptr, 0.0, p, v, clockMetres));
    Alone(*store.GetRecords({kGps, 5})[1], t, kTypicalRange, p0, v0);
    Alone(*store.GetRecords({kGps, 5})[0], t, kTypicalRange, p1, v1);
    auto fraction = [](const double x[3], const double a[3], const double b[3]) {
        double along = 0.0, length = 0.0;
        for (int k = 0; k < 3; ++k) along += (x[k] - a[k]) * (b[k] - a[k]), length += (b[k] - a[k]) * (b[k] - a[k]);
        return along / length;
    };
    EXPECT_NEAR(fraction(p, p0, p1), 0.966597, 1e-6); EXPECT_NEAR(fraction(v, v0, v1), 0.966597, 1e-6);
    // A GLONASS position is turned with the Earth over the light time; its velocity is not.
    Hold(GlonassAt(345600.0));
    t = GpsTime(2300, 345600.0 + 1200.0);
    ASSERT_TRUE(store.ComputeSatelliteState({kGlonass, 9}, t, nullptr, 0.0, p, v, clockMetres));
    const CEphemerisGLO e(GlonassAt(345600.0));
    const double tau = kTypicalRange / kC, clock = e.ComputeClockBias(t), theta = tau * 7.2921151467e-05;
    ASSERT_TRUE(e.ComputePositionVelocity(t - (tau + clock + e.GetClockRateTerm(t)), kTypicalRange, p0, v0));
    EXPECT_NEAR(p[0], p0[0] * std::cos(theta) + p0[1] * std::sin(theta), 1e-6);
    EXPECT_NEAR(p[1], p0[1] * std::cos(theta) - p0[0] * std::sin(theta), 1e-6);
    EXPECT_TRUE(p[2] == p0[2] && v[0] == v0[0] && clockMetres == clock * kC);
}

std::string ReadAll(const std::string& path) { std::stringstream s; s << std::ifstream(path).rdbuf(); return s.str(); }

const std::string kGpsRecord = "GpsEph { Prn: 5\n\tE31: 2300 345600 -1.1e-08\n\tE32: 77 345600 -1.2e-04 -3.4e-12 0\n"
                               "\tE33: 77 5153.65 0.0102\n\tE34: 0.81 -2.01 -8.1e-09\n\tE35: 0.96 2.1e-10 4.5e-09 1.2\n"
                               "\tE36: -1.2e-06 230.5 1.1e-07\n\tE37: 7.5e-06 -22.3 -5.2e-08\n}\n";

class EppFileTest : public StoreTest {
protected:
    // Writes the text as a file and loads it into the store.
    bool Load(const std::string& text, char* errorText = nullptr) {
        std::ofstream(path, std::ios::binary) << text;
        return LoadEphemerisFile(store, path.c_str(), true, errorText);
    }
    // One of everything, GPS records out of time order, the time offsets in the reader's order (GAUT, GPUT, ...),
    // saved. tb 10800 is 03:00 Moscow time, 00:00:18 GPS time with 18 leap seconds: on Thursday of week 2300
    // (8 February 2024) that is 345618 s into the week. The writer finds a record's day from its reference time
    // less the leap seconds and three hours, 21:00 on 7 February: day 38 of the four-year interval.
    void Fill() {
        store.SetIonosphere({kIonosphereModelValid,
                             {1.1175870895e-08, 7.4505805969e-09, -5.9604644775e-08, -5.9604644775e-08},
                             {90112.0, 0.0, -196608.0, -65536.0}});
        const TimeOffsetRecord gaut{"GAUT", 2300, 345600, 1.8626451492e-09, 8.881784197e-16, "GAL", 0};
        ASSERT_TRUE(store.AddTimeOffset(gaut) && !store.AddTimeOffset(gaut));   // the first of a name stands
        ASSERT_TRUE(store.AddTimeOffset({"GPUT", 2300, 405504, -9.3132257462e-10, -2.664535259e-15, "GPS", 0}));
        for (const auto& r : {sample::Gps(12, 352800), sample::Gps(5, 352800), sample::Gps(5, 345600)})
            ASSERT_TRUE(store.AddGps(r));
        ASSERT_TRUE(store.AddQzss(sample::QzssQuasiZenith()));
        ASSERT_TRUE(store.AddBeiDou(sample::BeiDouMeo()) && store.AddGalileo(sample::Galileo()));
        GloEphemerisRecord glonass = GlonassAt(345618.0, 10800);
        glonass.tk = 9900, glonass.receptionTime -= 30.0, glonass.tauC = 2.5e-8, glonass.NT = 300;
        ASSERT_EQ(store.Insert(kGlonass, 9, new CEphemerisGLO(glonass)), CEphemerisStore::kInserted);
        ASSERT_EQ(SaveEphemerisFile(store, dir.File("a.trv").c_str(), false, "UBLOX2TRV", "U-Blox"), 7);
    }
    ubxtest::TempDir dir; const std::string path = dir.File("a.epp");
};

TEST_F(EppFileTest, WriteReadWriteIsStableByteForByte) {
    Fill(); CEphemerisStore second(Record);
    ASSERT_TRUE(LoadEphemerisFile(second, dir.File("a.trv").c_str(), true));   // a .trv name means its .epp
    ASSERT_EQ(SaveEphemerisFile(second, dir.File("b.epp").c_str(), false, "UBLOX2TRV", "U-Blox"), 7);
    const std::string text = ReadAll(path); EXPECT_EQ(text, ReadAll(dir.File("b.epp")));
    Texts order; std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);)
        if (line.find(" {") != line.npos) order.push_back(line.substr(0, line.find(' ')));
    EXPECT_EQ(order, (Texts{"GpsIon", "STcorr", "GpsEph", "GpsEph", "GpsEph", "BdsEph", "QzsEph", "GalEph", "GloEph"}));
    EXPECT_EQ(text.substr(0, text.find("\tE31")),
              "$EPHV3B Ver9.00.2207 UBLOX2TRV U-Blox\nGpsIon {\n\tCfa: 1.117587089500e-08 7.450580596900e-09 "
              "-5.960464477500e-08 -5.960464477500e-08\n\tCfb: 9.011200000000e+04 0.000000000000e+00 "
              "-1.966080000000e+05 -6.553600000000e+04\n}\nSTcorr {\n\tGAUT: 1.8626451492e-09 8.881784197e-16 345600 "
              "2300 GAL 0\n\tGPUT: -9.3132257462e-10 -2.664535259e-15 405504 2300 GPS 0\n}\nGpsEph { Prn: 5\n");
    // The reference times span the Galileo toe to the last GPS toe, two hours more each side; all but the six
    // satellites held of the five constellations are missing.
    GpsTimeRange range;
    EXPECT_FALSE(store.GetTimeRange(range)); ASSERT_TRUE(second.GetTimeRange(range));
    EXPECT_TRUE(range.first.week == 2300 && range.first.seconds == 345000.0 - 7200.0);
    EXPECT_TRUE(range.last.week == 2300 && range.last.seconds == 352800.0 + 7200.0);
    EXPECT_EQ(second.Missing().size(), static_cast<size_t>(32 + 24 + 63 + 10 + 36 - 6));
    EXPECT_TRUE(second.IsSeen(kGps) && second.IsSeen(kGlonass) && !store.IsSeen(kGps));
    const auto& gps5 = second.GetRecords({kGps, 5});   // read back in time order
    EXPECT_TRUE(gps5.size() == 2 && gps5[0]->GetToc() == 345600 && gps5[1]->GetToc() == 352800);
    // The file's range without a store: GPS, BeiDou (345614) and GLONASS records only, widened when asked.
    char message[kEphemerisMessageSize] = "";
    ASSERT_TRUE(GetFileTimeRange(dir.File("a.trv").c_str(), range, message, false));
    EXPECT_TRUE(range.first.seconds == 345600.0 && range.last.seconds == 352800.0);
    ASSERT_TRUE(GetFileTimeRange(path.c_str(), range, message, true));
    EXPECT_TRUE(range.first.seconds == 345600.0 - 7200.0 && range.last.seconds == 352800.0 + 7200.0);
    EXPECT_FALSE(GetFileTimeRange(dir.File("absent.epp").c_str(), range, message, true));
    EXPECT_EQ(std::string(message), "Failed to open " + dir.File("absent.epp"));
}

// Reference times in the store: GPS 345600 345600 352800 (PRN 5, 5, 12), BeiDou 345614, QZSS 349200, Galileo
// 345000, GLONASS 345618. A proper range keeps those within it, with a millisecond to spare. Each GLONASS record
// gets the tau-c of its Moscow day, or none.
TEST_F(EppFileTest, TimeFilterAndGlonassTauCOfTheWriter) {
    Fill();
    const struct { GpsTimeRange range; int written; } cases[] = {
        {{{2300, 345000.0}, {2300, 349200.0}}, 5}, {{{2300, 345000.0005}, {2300, 345599.9995}}, 2},
        {{{2300, 345000.0011}, {2300, 345599.9995}}, 1}, {{{0, 0.0}, {2300, 345600.0}}, 7},
        {{{2300, 352800.0}, {2300, 345000.0}}, 7}};
    for (const auto& c : cases)
        EXPECT_EQ(SaveEphemerisFile(store, dir.File("f.epp").c_str(), false, nullptr, nullptr, &c.range), c.written);
    store.AddGlonassTimeOffset(2.5e-8, 300);   // only another day's offset: the record is left without one
    ASSERT_EQ(SaveEphemerisFile(store, path.c_str(), false, nullptr, nullptr), 7);
    std::string text = ReadAll(path);
    EXPECT_EQ(text.substr(0, text.find('\n')), "$EPHV3B Ver9.00.2207");
    EXPECT_NE(text.find("\tAsh: 0 0.000000000000000e+00 -2 9\n"), text.npos) << text;
    store.AddGlonassTimeOffset(-1.0 / (1 << 27), 38);
    ASSERT_EQ(SaveEphemerisFile(store, path.c_str(), false, nullptr, nullptr), 7);
    EXPECT_NE(ReadAll(path).find("\tAsh: 38 -7.450580596923828e-09 -2 9\n"), std::string::npos) << ReadAll(path);
}

TEST_F(EppFileTest, AcceptsTheThreeMagicsAndRefusesThe870Layout) {
    const std::string older = "GpsEph { Prn: 5\n El1: 1276 0 -1.1e-08 77 345600\n El2: 0 -3.4e-12 -1.2e-04\n"
                              " El3: 77 -22.3 4.5e-09 1.23\n El4: -1.2e-06 0.0102 7.5e-06 5153.655\n"
                              " El5: 345600 1.1e-07 -2.01 -5.2e-08\n El6: 0.9616 230.5 0.81 -8.1e-09 2.1e-10\n}\n";
    const std::string reading = "3 \nReading broadcast ephemeris data %s", invalid = "3 Invalid ephemeris file '%s'";
    // The header (null: no file at all) and the last report: the level, a blank and the words (%s: the file name).
    const struct { const char* header; std::string words; } cases[] = {
        {"$EPHV3B Ver9.00.2207 UBLOX2TRV U-Blox", reading},
        {"$EPHV3B Ver8.70.1", reading},
        {"$EPHVER3 Ver8.70.1", "2 8.70 has modified its eph file format, please recreate '%s'"},
        {"$EPHREC", reading},
        {"$EPHV2 Ver1", invalid},
        {"", invalid},
        {nullptr, "3 Failed to open ephemeris file '%s'"},
    };
    for (const auto& c : cases) {
        std::remove(path.c_str()); store.ClearRecords(true);
        char errorText[kEphemerisMessageSize] = "", words[600]; const bool read = c.words == reading;
        const std::string body = std::string_view(c.header ? c.header : "").starts_with("$EPHREC") ? older : kGpsRecord;
        const std::string text = c.header && *c.header ? c.header + ("\n" + body) : "";
        EXPECT_EQ(c.header ? Load(text, errorText) : LoadEphemerisFile(store, path.c_str(), true, errorText), read);
        std::snprintf(words, sizeof words, c.words.c_str(), path.c_str());
        EXPECT_EQ(Reports().back(), words); EXPECT_STREQ(errorText, words + 2);
        EXPECT_EQ(store.HasRecords({kGps, 5}), read);
    }
}

TEST_F(EppFileTest, OtherRecordsKeepTheFirstGoodOneAndBrokenOnesAreReported) {
    ASSERT_TRUE(Load("$EPHV3B Ver9.00.2207\nSTcorr {\n\tGPUT: -9.3e-10 -2.6e-15 405504 2300 GPS 0\n"
                     "\tGAUT: 1.8e-09 8.8e-16 345600 2300 GAL\n"             // five values: dropped alone
                     "\tGLGP: 1.0e-09 0.0e+00 345600 2300 GLO 0\n}\n"
                     "STcorr {\n\tGPUT: 5.0e-10 0.0e+00 1 2301 XXX 0\n}\n"   // GPUT held already
                     "GpsIon {\n\tCfa: 1e-8 2e-8 3e-8 4e-8\n\tCfb: 1e5 2e5 3e5 4e5\n}\n"
                     "GpsIon {\n\tCfa: 9e-8 9e-8 9e-8 9e-8\n\tCfb: 9e5 9e5 9e5 9e5\n}\nGpsAlm {\n\tX: 1\n}\n" +
                     kGpsRecord));
    ASSERT_EQ(store.TimeOffsets().size(), 2u);
    EXPECT_TRUE(std::string(store.TimeOffsets()[0].name) == "GPUT" && store.TimeOffsets()[0].a0 == -9.3e-10);
    EXPECT_STREQ(store.TimeOffsets()[1].name, "GLGP"); EXPECT_EQ(store.Ionosphere().flags, kIonosphereModelValid);
    EXPECT_TRUE(store.Ionosphere().alpha[0] == 1e-8 && store.Ionosphere().beta[3] == 4e5);
    Reports().clear();
    EXPECT_FALSE(Load("$EPHV3B Ver9.00.2207\nGpsEph { Prn: 40\n\tE31: 2300 345600 -1.1e-08\n}\n"
                      "GloEph { Prn: 9 0\n\tTkb: 45000 46800\n}\n"));
    // No GPS record, so no time to look up GPS - UTC for.
    EXPECT_EQ(Reports(), (Texts{"3 \nReading broadcast ephemeris data " + path,
                                "2 Warning: Invalid GPS PRN 40--Ephemeris record ignored",
                                "3 Input GPS time not valid, UTC offset has not been altered",
                                "2 No valid record found in the ephemeris file"}));
    TextRecord text; IonosphereModelRecord model{};
    char message[kEphemerisMessageSize] = "";
    ASSERT_TRUE(ephtest::Parse(kGpsRecord, text)); EXPECT_FALSE(ReadIonosphereRecord(text, model, message));
    EXPECT_STREQ(message, "Not a valid record for ionospheric model");
}

TEST_F(EppFileTest, AppendAddsRecordsWithoutHeader) {
    ASSERT_TRUE(store.AddGps(sample::Gps()));
    std::ofstream(dir.File("append.txt")) << "$EPHV3B Ver9.00.2207\n";
    ASSERT_EQ(SaveEphemerisFile(store, dir.File("append.txt").c_str(), true, "X", "Y"), 1);
    EXPECT_EQ(ReadAll(dir.File("append.txt")).rfind("$EPHV3B Ver9.00.2207\nGpsEph { Prn: 5\n", 0), 0u);
    for (bool append : {false, true})
        EXPECT_EQ(SaveEphemerisFile(store, dir.File("no/such/folder/x.epp").c_str(), append, nullptr, nullptr), 0);
}

TEST_F(EppFileTest, GalileoFilterKeepsOneNavigationMessage) {
    GalEphemerisRecord fnavOnly = sample::Galileo(); fnavOnly.iNavValid = false, fnavOnly.prn = 12;
    ASSERT_TRUE(store.AddGalileo(sample::Galileo()) && store.AddGalileo(fnavOnly));
    ASSERT_EQ(SaveEphemerisFile(store, path.c_str(), false, nullptr, nullptr), 2);
    for (int filter : {0, 1, 2}) {
        CEphemerisStore s(Record); s.SetGalileoFilter(filter);
        LoadEphemerisFile(s, path.c_str(), true);
        EXPECT_EQ(s.HasRecords({kGalileo, 12}), filter != 2); ASSERT_TRUE(s.HasRecords({kGalileo, 11}));
        const auto& r = static_cast<const GNSS::CEphemerisGAL*>(s.GetRecords({kGalileo, 11})[0])->Record();
        EXPECT_TRUE(r.iNavValid == (filter != 1) && r.fNavValid == (filter != 2)) << filter;
    }
}

}  // namespace
