// One broadcast ephemeris of each class. Keplerian orbits follow IS-GPS-200 Table 20-IV (BeiDou ICD for GEO) with
// five fixed Kepler passes, GLONASS integrates the ICD equations of motion for at most an hour, both checked against
// the ICD written out here; validity words, bands, order, Galileo clocks, GLONASS time from tb.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <memory>

#include "Samples.h"
#include "ephemeris/EphemerisBDS.h"
#include "ephemeris/EphemerisGAL.h"
#include "ephemeris/EphemerisGPS.h"
#include "ephemeris/EphemerisQZSS.h"
#include "ephemeris/GlonassOrbit.h"

namespace {

using namespace GNSS;
constexpr double kC = 299792458.0;

struct Constants { double mu, omegaE; };
constexpr Constants kGpsConstants{3.986005e14, 7.2921151467e-5}, kGalileoConstants{3.986004418e14, 7.2921151467e-5},
    kBeiDouConstants{3.986004418e14, 7.2921150e-5};

// Kepler's equation by Newton to convergence, or by a fixed number of passes.
double EccentricAnomaly(double M, double e, int passes) {
    double E = M;
    for (int i = 0; i < passes; ++i) E = M + e * std::sin(E);
    for (int i = 0; i < 50 && passes == 0; ++i) E -= (E - e * std::sin(E) - M) / (1.0 - e * std::cos(E));
    return E;
}

// IS-GPS-200 Table 20-IV at tk from toe, then turned about Z by omegaE * range / c. geo applies the BeiDou ICD
// GEO transformation instead, R_Z(omegaE tk) R_X(-5 deg) of the inertial node; there the flight-time turn goes
// into the node, before the tilt.
void IcdPosition(const KeplerElements& k, const Constants& c, double tk, double range, bool geo, int passes,
                 double out[3]) {
    const double A = k.sqrtA * k.sqrtA, n = std::sqrt(c.mu / (A * A * A)) + k.deltaN;
    const double E = EccentricAnomaly(k.M0 + n * tk, k.e, passes);
    const double v = std::atan2(std::sqrt(1.0 - k.e * k.e) * std::sin(E), std::cos(E) - k.e);
    const double phi = v + k.omega, s2 = std::sin(2 * phi), c2 = std::cos(2 * phi);
    const double u = phi + k.Cus * s2 + k.Cuc * c2, r = A * (1.0 - k.e * std::cos(E)) + k.Crs * s2 + k.Crc * c2;
    const double i = k.i0 + k.Cis * s2 + k.Cic * c2 + k.IDOT * tk;
    const double xp = r * std::cos(u), yp = r * std::sin(u), turn = c.omegaE * range / kC;
    const double node = k.Omega0 + (geo ? k.OmegaDot : k.OmegaDot - c.omegaE) * tk - c.omegaE * k.toe -
                        (geo ? turn : 0.0);
    const double X = xp * std::cos(node) - yp * std::cos(i) * std::sin(node);
    const double Y = xp * std::sin(node) + yp * std::cos(i) * std::cos(node), Z = yp * std::sin(i);
    if (geo) {
        const double f = -5.0 * M_PI / 180.0, a = c.omegaE * tk;
        const double y1 = std::cos(f) * Y + std::sin(f) * Z, z1 = -std::sin(f) * Y + std::cos(f) * Z;
        out[0] = std::cos(a) * X + std::sin(a) * y1, out[1] = -std::sin(a) * X + std::cos(a) * y1, out[2] = z1;
        return;
    }
    out[0] = X * std::cos(turn) + Y * std::sin(turn), out[1] = -X * std::sin(turn) + Y * std::cos(turn), out[2] = Z;
}

double Distance(const double a[3], const double b[3]) { return std::hypot(a[0] - b[0], a[1] - b[1], a[2] - b[2]); }

// The elements carry the clock to select, the group delay is taken off the ICD clock, passes are Kepler's (0: Newton).
struct OrbitCase { const char* name; std::shared_ptr<IEphemeris> ephemeris; KeplerElements k; Constants constants;
                   GpsTime toe; double groupDelay; bool geo; int passes; };

TEST(KeplerOrbit, PositionsVelocitiesAndClocksAgreeWithIcdAlgorithm) {
    const GalEphemerisRecord gal = sample::Galileo(); const QzssEphemerisRecord qzo = sample::QzssQuasiZenith();
    const BdsEphemerisRecord meo = sample::BeiDouMeo(), geo = sample::BeiDouGeo();
    KeplerElements galINav = gal.elements;   // both clocks present: the I/NAV one is taken
    galINav.toc = gal.iNavToc, galINav.af0 = gal.iNavAf0, galINav.af1 = gal.iNavAf1, galINav.af2 = gal.iNavAf2;
    auto marked = std::make_shared<CEphemerisBDS>(geo); marked->SetSatelliteType(3);
    // At e = 0.075 five fixed passes leave metres: the quasi-zenith orbit is the algorithm with five passes.
    const OrbitCase cases[] = {
        {"GPS", std::make_shared<CEphemerisGPS>(sample::Gps()), sample::GpsElements(), kGpsConstants,
         {2300, 345600.0}, 0.0, false, 0},
        {"QZO", std::make_shared<CEphemerisQZSS>(qzo), qzo.elements, kGpsConstants, {2300, 349200.0}, 0.0, false, 5},
        {"GAL", std::make_shared<CEphemerisGAL>(gal), galINav, kGalileoConstants, {2300, 345000.0}, 0.0, false, 0},
        {"MEO", std::make_shared<CEphemerisBDS>(meo), meo.elements, kBeiDouConstants, {2300, 345614.0},
         meo.elements.TGD, false, 0},
        {"GEO", marked, geo.elements, kBeiDouConstants, {2300, 345614.0}, geo.elements.TGD, true, 0}};
    for (const OrbitCase& c : cases) {
        const KeplerElements& k = c.k;
        for (double tk : {-7200.0, -900.0, 0.0, 1234.5, 7199.0}) {
            SCOPED_TRACE(testing::Message() << c.name << " tk " << tk);
            double p[3], v[3], expected[3], plus[3], minus[3], unused[3];
            for (double range : {0.0, 25800000.0}) {
                ASSERT_TRUE(c.ephemeris->ComputePositionVelocity(c.toe + tk, range, p, v));
                IcdPosition(k, c.constants, tk, range, c.geo, c.passes, expected);
                EXPECT_LT(Distance(p, expected), 1e-3) << range;
            }
            // The velocity is the central difference over one second (the unconverged passes add their own).
            ASSERT_TRUE(c.ephemeris->ComputePositionVelocity(c.toe + (tk + 0.5), 25800000.0, plus, unused));
            ASSERT_TRUE(c.ephemeris->ComputePositionVelocity(c.toe + (tk - 0.5), 25800000.0, minus, unused));
            for (int i = 0; i < 3 && c.passes == 0; ++i) EXPECT_NEAR(v[i], plus[i] - minus[i], 1e-4) << i;
            // IS-GPS-200 20.3.3.3.3.1, evaluated 0.075 s before the time asked.
            const double t = tk - 0.075, dtc = k.toe + t - k.toc, mu = c.constants.mu, A = k.sqrtA * k.sqrtA;
            const double E = EccentricAnomaly(k.M0 + (std::sqrt(mu / A) / A + k.deltaN) * t, k.e, c.passes);
            const double clock = k.af0 + k.af1 * dtc + k.af2 * dtc * dtc - c.groupDelay -
                                 2.0 * std::sqrt(mu) / (kC * kC) * k.e * k.sqrtA * std::sin(E);
            EXPECT_NEAR(c.ephemeris->ComputeClockBias(c.toe + tk), clock, 1e-12);
        }
    }
    double v[3];
    EXPECT_FALSE(CEphemerisGPS(sample::Gps()).ComputePositionVelocity({2300, 345600.0}, 0.0, nullptr, v));
}

// GLONASS ICD A.3.1.2, PZ-90 constants, km and s: the state is r[0..2], v[3..5].
void IcdDerivative(const double s[6], const double a[3], double d[6]) {
    constexpr double mu = 398600.44, ae = 6378.136, J2 = 1082625.7e-9, we = 7.292115e-5;
    const double r = std::sqrt(s[0] * s[0] + s[1] * s[1] + s[2] * s[2]), muBar = mu / (r * r), rho = ae / r;
    const double x = s[0] / r, y = s[1] / r, z = s[2] / r, j = 1.5 * J2 * muBar * rho * rho;
    for (int i = 0; i < 3; ++i) d[i] = s[i + 3];
    d[3] = -muBar * x - j * x * (1 - 5 * z * z) + we * we * s[0] + 2 * we * s[4] + a[0];
    d[4] = -muBar * y - j * y * (1 - 5 * z * z) + we * we * s[1] - 2 * we * s[3] + a[1];
    d[5] = -muBar * z - j * z * (3 - 5 * z * z) + a[2];
}

// Fixed 0.25 s RK4, well below the error of interest; metres and m/s.
void FineIntegration(const GloEphemerisRecord& rec, double dt, double out[6]) {
    double s[6], k[4][6], tmp[6];
    for (int c = 0; c < 3; ++c) s[c] = rec.position[c], s[c + 3] = rec.velocity[c];
    const int n = static_cast<int>(std::ceil(std::fabs(dt) / 0.25));
    const double h = dt / n;
    for (int step = 0; step < n; ++step) {
        for (int stage = 0; stage < 4; ++stage) {
            for (int c = 0; c < 6; ++c) tmp[c] = s[c] + (stage == 0 ? 0.0 : (stage == 3 ? h : h / 2) * k[stage - 1][c]);
            IcdDerivative(tmp, rec.acceleration, k[stage]);
        }
        for (int c = 0; c < 6; ++c) s[c] += h / 6 * (k[0][c] + 2 * k[1][c] + 2 * k[2][c] + k[3][c]);
    }
    for (int c = 0; c < 6; ++c) out[c] = s[c] * 1000.0;
}

TEST(GlonassOrbit, AgreesWithIndependentIntegrationWithinAnHour) {
    GloEphemerisRecord r = sample::GlonassAt(381618.0); r.tauC = 3.0e-8;
    const CEphemerisGLO glo(r); const GpsTime reference(2300, 381618.0);
    double p[3], v[3], expected[6];
    for (double dt : {-3600.0, -900.0, -600.5, -10.0, 60.0, 899.0, 3600.0}) {
        ASSERT_TRUE(glo.ComputePositionVelocity(reference + dt, 2.0e7, p, v)) << dt;
        FineIntegration(glo.Record(), dt, expected);
        EXPECT_TRUE(Distance(p, expected) < 1.0 && Distance(v, expected + 3) < 1e-3) << dt;
    }
    EXPECT_FALSE(glo.ComputePositionVelocity(reference + 3600.5, 0.0, p, v));
    EXPECT_FALSE(glo.ComputePositionVelocity(reference - 3600.5, 0.0, p, v));
    EXPECT_FALSE(glo.ComputePositionVelocity(reference, 0.0, p, nullptr));
    ASSERT_TRUE(glo.ComputePositionVelocity(reference, 0.0, p, v));   // the broadcast state itself, in metres
    EXPECT_TRUE(p[0] == 7003.00878906 * 1000.0 && v[2] == 1.35251522064 * 1000.0);
    const int steps[][2] = {{10, 1}, {-10, 1}, {119, 1}, {240, 2}, {359, 2}, {-900, 7}, {3600, 30}, {-3600, 30}};
    for (const auto& s : steps) EXPECT_EQ(GlonassStepCount(s[0]), s[1]) << s[0];
    // The clock: -tauN + tauC + gamma times the age.
    const double gamma = static_cast<double>(9.094947e-13f), tau = static_cast<double>(-4.1779130697e-05f);
    EXPECT_DOUBLE_EQ(glo.GetClockRateTerm(reference + 600.0), gamma * -600.0);
    EXPECT_NEAR(glo.ComputeClockBias(reference + 600.0), tau + 3.0e-8 + gamma * 600.0, 1e-18);
}

TEST(GlonassOrbit, AStateAskedForAgainWithinAMillisecondIsCarriedNotIntegrated) {
    const GloEphemerisRecord r = sample::GlonassAt(381618.0);
    const CEphemerisGLO carried(r);
    const GpsTime reference(2300, 381618.0);
    double p[3], v[3], fresh[3], freshV[3];
    // 599.9995 s then near it: carried from the first; 600.5 s is
    // integrated again, and so is 599.9999 after 600.0004, across the
    // change from four to five steps.
    for (double dt : {599.9995, 600.0004, 599.9999, 600.5, 600.5009, 480.0004, 479.9996}) {
        ASSERT_TRUE(carried.ComputePositionVelocity(reference + dt, 2.0e7, p, v)) << dt;
        ASSERT_TRUE(CEphemerisGLO(r).ComputePositionVelocity(reference + dt, 2.0e7, fresh, freshV)) << dt;
        EXPECT_LT(Distance(p, fresh), 1e-6) << dt;
        EXPECT_LT(Distance(v, freshV), 1e-9) << dt;
    }
    // The carried state is refused where the integration would be.
    ASSERT_TRUE(carried.ComputePositionVelocity(reference + 3599.9995, 0.0, p, v));
    EXPECT_FALSE(carried.ComputePositionVelocity(reference + 3600.0004, 0.0, p, v));
}

// IsValid of an edited copy of a sample record.
template <typename E, typename R, typename F>
std::function<bool(char*)> Valid(R r, F edit) { edit(r); return [r](char* m) { return E(r).IsValid(m); }; }

TEST(EphemerisRules, ValidityWords) {
    const auto gps = sample::Gps(); const auto qzs = sample::QzssQuasiZenith();
    const auto gal = sample::Galileo(); const auto bds = sample::BeiDouMeo();
    const auto glo = sample::GlonassAt(381618.0);
    // The words of IsValid: none for a valid record, "untouched" for an invalid one without words.
    const struct { std::function<bool(char*)> check; const char* words; } cases[] = {
        {Valid<CEphemerisGPS>(gps, [](auto& r) { r.prn = 0; }), "Error: Invalid GPS PRN number: 0"},
        {Valid<CEphemerisGPS>(gps, [](auto& r) { r.elements.sqrtA = 4499.9; }),
         "Error: Invalid ephemeris data PRN 5 (ROOTA = 4499.9)"},
        {Valid<CEphemerisGPS>(gps, [](auto& r) { r.elements.sqrtA = 6000.0; }), nullptr},
        {Valid<CEphemerisQZSS>(qzs, [](auto& r) { r.prn = 11; }), "Error: Invalid QZSS PRN number: 11"},
        {Valid<CEphemerisQZSS>(qzs, [](auto& r) { r.elements.week = 1000; }), "Error: Invalid QZSS week number: 1000"},
        {Valid<CEphemerisQZSS>(qzs, [](auto& r) { r.elements.sqrtA = 7000.5; }),
         "Error: Invalid ephemeris data PRN 2 (ROOTA = 7000.5)"},
        {Valid<CEphemerisGAL>(gal, [](auto& r) { r.prn = 37; }), "Error: Invalid EGS PRN number: 37"},
        {Valid<CEphemerisGAL>(gal, [](auto& r) { r.iNavValid = r.fNavValid = false; }),
         "Error: both F/NAV and I/NAV parameters are not valid"},
        {Valid<CEphemerisGAL>(gal, [](auto& r) { r.elements.week = -1; }), "Error: Invalid EGS week number: -1"},
        {Valid<CEphemerisGAL>(gal, [](auto& r) { r.elements.sqrtA = 6493.0; }),
         "Error: Invalid ephemeris data PRN 11 (ROOTA = 6493.0)"},
        {Valid<CEphemerisBDS>(bds, [](auto& r) { r.satH1 = 1; }), "untouched"},
        {Valid<CEphemerisBDS>(bds, [](auto& r) { r.urai = 15; }), "untouched"},
        {Valid<CEphemerisBDS>(bds, [](auto& r) { r.prn = 64; }), "untouched"},
        {Valid<CEphemerisBDS>(bds, [](auto& r) { r.elements.sqrtA = 8000.0; }), nullptr},   // decoders know better
        {Valid<CEphemerisGLO>(glo, [](auto& r) { r.prn = 25; }), "Error: Invalid GLONASS PRN number: 25"},
        {Valid<CEphemerisGLO>(glo, [](auto& r) { r.gpsWeek = 1023; }), "untouched"},
        {Valid<CEphemerisGLO>(glo, [](auto& r) { r.position[2] = r.position[1] = 0.0; }),
         "Error: Invalid GLONASS PRN09 position: X = 7003.0 Y = 0.0 Z = 0.0 km"},
    };
    for (const auto& c : cases) {
        char message[kEphemerisMessageSize] = "untouched"; EXPECT_EQ(c.check(message), c.words == nullptr) << c.words;
        EXPECT_STREQ(message, c.words ? c.words : "untouched");
        EXPECT_EQ(c.check(nullptr), c.words == nullptr) << c.words;
    }
}

TEST(EphemerisRules, CurrentAndUsableBands) {
    const CEphemerisGPS gps(sample::Gps());                 // interval 7200
    const CEphemerisQZSS qzs(sample::QzssQuasiZenith());    // interval 900
    const CEphemerisGLO glo(sample::GlonassAt(345600.0));   // bands 1200 s either side, none at the reference
    const GpsTime toe(2300, 345600.0), qzsToe(2300, 349200.0);
    const struct { const IEphemeris* e; GpsTime reference; double dt; bool current, usable; } cases[] = {
        {&gps, toe, 399.0, true, true},      {&gps, toe, 400.0, false, true},     {&gps, toe, -7599.0, true, true},
        {&gps, toe, -7600.0, false, true},   {&gps, toe, 14399.0, false, true},   {&gps, toe, 14400.0, false, false},
        {&gps, toe, -17999.0, false, true},  {&gps, toe, -18000.0, false, false}, {&qzs, qzsToe, 3549.0, true, true},
        {&qzs, qzsToe, 3550.0, false, true}, {&glo, toe, 0.0, false, true},       {&glo, toe, 299.0, false, true},
        {&glo, toe, 301.0, true, true},      {&glo, toe, -301.0, true, true},     {&glo, toe, 2099.0, true, true},
        {&glo, toe, 2100.0, false, true},    {&glo, toe, -2100.0, false, true},   {&glo, toe, 3599.0, false, true},
        {&glo, toe, 3600.0, false, false},   {&glo, toe, -3600.0, false, false},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.e->IsCurrent(c.reference + c.dt), c.current) << c.dt;
        EXPECT_EQ(c.e->IsUsable(c.reference + c.dt), c.usable) << c.dt;
        EXPECT_DOUBLE_EQ(c.e->TimeSinceReference(c.reference + c.dt), c.dt);
    }
    EXPECT_DOUBLE_EQ(gps.MidIntervalDistance(toe + 100.0), 3700.0);
    EXPECT_DOUBLE_EQ(CEphemerisGLO().MidIntervalDistance(toe), 604800.0);
}

TEST(EphemerisRules, OrderEpochAndCopies) {
    GpsEphemerisRecord a = sample::Gps(), b = sample::Gps(5, 345600 + 7200);
    CEphemerisGPS ea(a), eb(b); EXPECT_TRUE(ea.IsEarlier(eb) && !eb.IsEarlier(ea));
    EXPECT_FALSE(ea.IsSameEpoch(eb) || ea.IsEqual(eb) || ea.IsSameIssue(CEphemerisGPS(a)));
    EXPECT_TRUE(ea.IsSameEpoch(CEphemerisGPS(a)) && ea.IsEqual(CEphemerisGPS(a)));
    b.elements.week = 2299;   // an earlier week comes first whatever its toe
    EXPECT_TRUE(CEphemerisGPS(b).IsEarlier(ea));
    b.elements.week = 2300 % 1024;   // a 10-bit week is widened
    const int widened = CEphemerisGPS(b).Record().elements.week;
    EXPECT_TRUE(widened % 1024 == 2300 % 1024 && widened >= 2048) << widened;
    BdsEphemerisRecord c = sample::BeiDouMeo(); CEphemerisBDS ec(c);
    c.elements.toe += 1;   // 1 s apart: no longer the same epoch
    EXPECT_FALSE(ec.IsSameEpoch(CEphemerisBDS(c)) || ec.IsEqual(CEphemerisBDS(c)));
    EXPECT_TRUE(ec.IsEarlier(CEphemerisBDS(c)));
    GloEphemerisRecord g = sample::GlonassAt(1000.0), h = sample::GlonassAt(1900.0, 46800 + 900);
    CEphemerisGLO eg(g), eh(h);
    EXPECT_TRUE(eg.IsEarlier(eh) && !eh.IsEarlier(eg) && eg.IsSameIssue(CEphemerisGLO(g)));
    EXPECT_FALSE(eg.IsEqual(eh) || eg.IsSameIssue(eh));
    g.NT = 2;   // the same tb of another day
    EXPECT_FALSE(eg.IsSameIssue(CEphemerisGLO(g)));
    CEphemerisGPS copy(ea);   // copies keep their own elements
    copy = eb;
    EXPECT_TRUE(copy.GetToc() == 352800 && ea.GetToc() == 345600);
}

TEST(EphemerisRules, GalileoClockPrefersINavAndMergeCompletesARecord) {
    GalEphemerisRecord r = sample::Galileo();
    r.elements.toc = 340000, r.iNavAf1 = 2.5e-12, r.iNavAf2 = 1e-18, r.elements.af2 = 3e-18;
    const struct { bool fNav, iNav; int toc; double af0, af1, af2; } cases[] = {
        {true, true, 345000, 4.56812e-04, 2.5e-12, 1e-18}, {true, false, 340000, 4.56789e-04, 1.2e-12, 3e-18},
        {false, true, 345000, 4.56812e-04, 2.5e-12, 1e-18}, {false, false, 0, 0.0, 0.0, 0.0}};
    for (const auto& c : cases) {
        r.fNavValid = c.fNav, r.iNavValid = c.iNav; const CEphemerisGAL gal(r);
        EXPECT_TRUE(gal.GetToc() == c.toc && gal.GetAf0() == c.af0 && gal.GetAf1() == c.af1 && gal.GetAf2() == c.af2)
            << c.fNav << c.iNav;
    }
    // A merge takes the missing part of the same epoch, once.
    GalEphemerisRecord inav = sample::Galileo(), fnav = sample::Galileo();
    inav.fNavValid = false, inav.elements.af0 = inav.elements.af1 = 0.0, inav.elements.toc = 0, inav.sisa = 50;
    fnav.iNavValid = false, fnav.sisa = 107; CEphemerisGAL merged(inav);
    EXPECT_TRUE(merged.Merge(CEphemerisGAL(fnav))); const GalEphemerisRecord& m = merged.Record();
    EXPECT_TRUE(m.fNavValid && m.elements.af0 == fnav.elements.af0 && m.elements.toc == 345000 && m.sisa == 107);
    EXPECT_FALSE(merged.Merge(CEphemerisGAL(fnav)));
    GalEphemerisRecord later = fnav;   // another epoch is not merged
    later.elements.toe += 600; CEphemerisGAL apart(inav);
    EXPECT_FALSE(apart.Merge(CEphemerisGAL(later)) || apart.Record().fNavValid);
    // The I/NAV part of a bad record fails the whole merge after the F/NAV part went in.
    GalEphemerisRecord empty = sample::Galileo(), both = sample::Galileo();
    empty.fNavValid = empty.iNavValid = false, both.elements.sqrtA = 7000.0;
    CEphemerisGAL target(empty); EXPECT_FALSE(target.Merge(CEphemerisGAL(both)));
}

// The day is the one that puts the record nearest the reference, or its reception time; tb is Moscow time, so the
// GPS second of day is tb - 10800 + leap seconds - tauN + tauC.
TEST(GlonassTime, ResolvesGpsTimeFromTb) {
    const struct { GpsTime reference; int tb, week, day; } cases[] = {
        {GpsTime(2300, 4 * 86400.0 + 30000.0), 46800, 2300, 4},   // same day
        {GpsTime(2300, 600.0), 46800, 2300, 0},                   // Sunday morning
        {GpsTime(2300, 604000.0), 46800, 2301, 0},                // next morning is next week
        {GpsTime(2301, 50.0), 85500, 2300, 6},                    // last evening was last week
        {GpsTime(2300, 2 * 86400.0 + 100.0), 3600, 2300, 1},      // 00:00 UTC of Monday-Tuesday
    };
    const double tau = static_cast<double>(sample::Glonass().minusTau);
    char message[kEphemerisMessageSize] = "";
    for (const auto& c : cases) {
        GloEphemerisRecord rec = sample::Glonass(); rec.tb = c.tb, rec.tauC = 1e-6;
        CEphemerisGLO glo(rec);
        ASSERT_TRUE(glo.ResolveGpsTime(c.reference, 18.0, message)) << message;
        const double secondOfDay = c.tb - 10800.0 + 18.0 + tau + 1e-6 + (c.tb < 10782 ? 86400.0 : 0.0);
        EXPECT_EQ(glo.Record().gpsWeek, c.week) << c.reference.seconds;
        EXPECT_NEAR(glo.Record().gpsSeconds, c.day * 86400.0 + secondOfDay, 1e-9) << c.reference.seconds;
        EXPECT_STREQ(message, "");
    }
    GloEphemerisRecord r = sample::Glonass();
    EXPECT_FALSE(CEphemerisGLO(r).ResolveGpsTime(GpsTime(0, 0.0), 18.0, message));
    EXPECT_STREQ(message, "Waring: Need GPS toe to setup GLONASS record GPS time");
    r.hasReceptionTime = true, r.receptionTime = 2300 * 604800.0 + 4 * 86400.0 + 36000.0, r.Bn = 1;
    CEphemerisGLO unhealthy(r);
    ASSERT_TRUE(unhealthy.ResolveGpsTime(GpsTime(2300, 0.0), 18.0, message));
    EXPECT_STREQ(message, "Warning: GLONASS PRN 9 had BAD HEALTH flagged.");
    EXPECT_NEAR(unhealthy.Record().gpsSeconds, 4 * 86400.0 + 36018.0 + tau, 1e-6);
    // The GPS records of a file run from Saturday night into Sunday; a record of Saturday 23:30 GPS belongs to
    // the first week, one of Sunday 00:30 to the second.
    GpsTimeRange range; range.Set(2300, 604000.0, 2301, 3000.0);
    for (int tb : {9000, 12600}) {   // 02:30 or 03:30 Moscow time
        r = sample::Glonass(); r.tb = tb;
        CEphemerisGLO glo(r);
        ASSERT_TRUE(glo.ResolveGpsTimeInRange(range, 18.0, nullptr));
        EXPECT_EQ(glo.Record().gpsWeek, tb == 9000 ? 2300 : 2301);
        EXPECT_NEAR(glo.Record().gpsSeconds, (tb == 9000 ? 7 * 86400.0 : 0.0) + tb - 10800 + 18 + tau, 1e-6);
    }
}

}  // namespace
