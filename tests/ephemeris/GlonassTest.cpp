// GLONASS: the Runge-Kutta orbit against an independent fine integration of
// the GLONASS ICD equations of motion, the clock, the current bands and the
// resolution of GPS time from tb.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstring>

#include "SampleRecords.h"
#include "ephemeris/EphemerisGLO.h"
#include "ephemeris/GlonassOrbit.h"

namespace {

// GLONASS ICD A.3.1.2, PZ-90 constants, km and s.
struct State {
    double r[3];
    double v[3];
};

State IcdDerivative(const State& s, const double a[3]) {
    constexpr double mu = 398600.44, ae = 6378.136, J2 = 1082625.7e-9, we = 7.292115e-5;
    const double r = std::sqrt(s.r[0] * s.r[0] + s.r[1] * s.r[1] + s.r[2] * s.r[2]);
    const double muBar = mu / (r * r);
    const double x = s.r[0] / r, y = s.r[1] / r, z = s.r[2] / r;
    const double rho = ae / r;
    const double zz = z * z;
    State d{};
    for (int i = 0; i < 3; ++i) d.r[i] = s.v[i];
    d.v[0] = -muBar * x - 1.5 * J2 * muBar * x * rho * rho * (1 - 5 * zz) + we * we * s.r[0] + 2 * we * s.v[1] + a[0];
    d.v[1] = -muBar * y - 1.5 * J2 * muBar * y * rho * rho * (1 - 5 * zz) + we * we * s.r[1] - 2 * we * s.v[0] + a[1];
    d.v[2] = -muBar * z - 1.5 * J2 * muBar * z * rho * rho * (3 - 5 * zz) + a[2];
    return d;
}

State Add(const State& s, const State& d, double h) {
    State o{};
    for (int i = 0; i < 3; ++i) {
        o.r[i] = s.r[i] + h * d.r[i];
        o.v[i] = s.v[i] + h * d.v[i];
    }
    return o;
}

// Fixed 0.25 s RK4, well below the error of interest.
State FineIntegration(const GloEphemerisRecord& rec, double dt) {
    State s{};
    std::memcpy(s.r, rec.position, sizeof s.r);
    std::memcpy(s.v, rec.velocity, sizeof s.v);
    const int n = static_cast<int>(std::ceil(std::fabs(dt) / 0.25));
    const double h = dt / n;
    for (int i = 0; i < n; ++i) {
        const State k1 = IcdDerivative(s, rec.acceleration);
        const State k2 = IcdDerivative(Add(s, k1, h / 2), rec.acceleration);
        const State k3 = IcdDerivative(Add(s, k2, h / 2), rec.acceleration);
        const State k4 = IcdDerivative(Add(s, k3, h), rec.acceleration);
        for (int c = 0; c < 3; ++c) {
            s.r[c] += h / 6 * (k1.r[c] + 2 * k2.r[c] + 2 * k3.r[c] + k4.r[c]);
            s.v[c] += h / 6 * (k1.v[c] + 2 * k2.v[c] + 2 * k3.v[c] + k4.v[c]);
        }
    }
    return s;
}

GNSS::CEphemerisGLO ResolvedGlonass(GloEphemerisRecord record = sample::Glonass()) {
    record.gpsWeek = 2300;
    record.gpsSeconds = 345600.0 + 36018.0;
    return GNSS::CEphemerisGLO(record);
}

TEST(GlonassOrbit, AgreesWithIndependentIntegrationOverFifteenMinutes) {
    const GNSS::CEphemerisGLO glo = ResolvedGlonass();
    GpsTime reference;
    ASSERT_TRUE(glo.GetReferenceTime(reference));
    double worst = 0.0, worstVelocity = 0.0;
    for (double dt : {-900.0, -600.5, -120.0, -10.0, 10.0, 60.0, 450.0, 899.0, 900.0}) {
        double p[3], v[3];
        ASSERT_TRUE(glo.ComputePositionVelocity(reference + dt, 2.0e7, p, v)) << dt;
        const State expected = FineIntegration(glo.Record(), dt);
        double d2 = 0.0, dv2 = 0.0;
        for (int c = 0; c < 3; ++c) {
            d2 += std::pow(p[c] - expected.r[c] * 1000.0, 2);
            dv2 += std::pow(v[c] - expected.v[c] * 1000.0, 2);
        }
        worst = std::max(worst, std::sqrt(d2));
        worstVelocity = std::max(worstVelocity, std::sqrt(dv2));
        EXPECT_LT(std::sqrt(d2), 1.0) << dt;
        EXPECT_LT(std::sqrt(dv2), 1e-3) << dt;
    }
    std::printf("[ measured ] GLONASS +-15 min: worst %.3e m, %.3e m/s from the fine integration\n", worst,
                worstVelocity);
}

TEST(GlonassOrbit, StepRule) {
    struct {
        double dt;
        int steps;
    } const cases[] = {{10.0, 1}, {-10.0, 1}, {119.9, 1}, {240.0, 2}, {-900.0, 7}, {3600.0, 30}, {-3600.0, 30}};
    for (const auto& c : cases) EXPECT_EQ(GlonassStepCount(c.dt), c.steps) << c.dt;

    const GNSS::CEphemerisGLO glo = ResolvedGlonass();
    GpsTime reference;
    glo.GetReferenceTime(reference);
    double p[3], v[3];
    EXPECT_TRUE(glo.ComputePositionVelocity(reference + 3600.0, 0.0, p, v));
    EXPECT_TRUE(glo.ComputePositionVelocity(reference - 3600.0, 0.0, p, v));
    EXPECT_FALSE(glo.ComputePositionVelocity(reference + 3600.5, 0.0, p, v));
    EXPECT_FALSE(glo.ComputePositionVelocity(reference - 3600.5, 0.0, p, v));
    // At the reference itself the state comes back in metres.
    ASSERT_TRUE(glo.ComputePositionVelocity(reference, 0.0, p, v));
    EXPECT_DOUBLE_EQ(p[0], glo.Record().position[0] * 1000.0);
    EXPECT_DOUBLE_EQ(v[2], glo.Record().velocity[2] * 1000.0);
}

TEST(GlonassEphemeris, ClockAndRateTerm) {
    GloEphemerisRecord r = sample::Glonass();
    r.tauC = 3.0e-8;
    GNSS::CEphemerisGLO glo = ResolvedGlonass(r);
    GpsTime reference;
    glo.GetReferenceTime(reference);
    const GpsTime t = reference + 600.0;
    const double gamma = static_cast<double>(r.gamma);
    EXPECT_DOUBLE_EQ(glo.GetClockRateTerm(t), gamma * -600.0);
    EXPECT_NEAR(glo.ComputeClockBias(t), static_cast<double>(r.minusTau) + 3.0e-8 + gamma * 600.0, 1e-18);
}

TEST(GlonassEphemeris, CurrentBandsHaveAHoleAtTheReference) {
    const GNSS::CEphemerisGLO glo = ResolvedGlonass();
    GpsTime reference;
    glo.GetReferenceTime(reference);
    struct {
        double dt;
        bool current, usable;
    } const cases[] = {{0.0, false, true},     {299.0, false, true},   {301.0, true, true},
                       {-301.0, true, true},   {2099.0, true, true},   {2100.0, false, true},
                       {-2100.0, false, true}, {3599.0, false, true},  {3600.0, false, false}};
    for (const auto& c : cases) {
        EXPECT_EQ(glo.IsCurrent(reference + c.dt), c.current) << c.dt;
        EXPECT_EQ(glo.IsUsable(reference + c.dt), c.usable) << c.dt;
    }
}

TEST(GlonassEphemeris, ResolvesGpsTimeFromTb) {
    // The day is the one that puts the record nearest the reference; tb is
    // Moscow time, so GPS second of day = tb - 10800 + leap seconds - tauN.
    struct {
        GpsTime reference;
        int tb;
        int week;
        int day;
    } const cases[] = {
        {GpsTime(2300, 4 * 86400.0 + 30000.0), 46800, 2300, 4},   // same day
        {GpsTime(2300, 4 * 86400.0 + 70000.0), 46800, 2300, 4},   // later that day
        {GpsTime(2300, 600.0), 46800, 2300, 0},                   // Sunday morning
        {GpsTime(2300, 604000.0), 46800, 2301, 0},                // next morning is next week
        {GpsTime(2301, 50.0), 85500, 2300, 6},                    // last evening was last week
        {GpsTime(2300, 2 * 86400.0 + 100.0), 3600, 2300, 1},      // 00:00 UTC of Monday-Tuesday
    };
    for (const auto& c : cases) {
        GloEphemerisRecord rec = sample::Glonass();
        rec.tb = c.tb;
        GNSS::CEphemerisGLO glo(rec);
        char message[kEphemerisMessageSize] = "";
        ASSERT_TRUE(glo.ResolveGpsTime(c.reference, 18.0, message)) << message;
        double secondOfDay = c.tb - 10800.0 + 18.0 + static_cast<double>(rec.minusTau);
        if (secondOfDay < 0.0) secondOfDay += 86400.0;
        EXPECT_EQ(glo.Record().gpsWeek, c.week) << c.reference.seconds;
        EXPECT_NEAR(glo.Record().gpsSeconds, c.day * 86400.0 + secondOfDay, 1e-6) << c.reference.seconds;
        EXPECT_STREQ(message, "");
    }
}

TEST(GlonassEphemeris, ResolutionMessages) {
    GloEphemerisRecord r = sample::Glonass();
    GNSS::CEphemerisGLO glo(r);
    char message[kEphemerisMessageSize];
    EXPECT_FALSE(glo.ResolveGpsTime(GpsTime(0, 0.0), 18.0, message));
    EXPECT_STREQ(message, "Waring: Need GPS toe to setup GLONASS record GPS time");

    // A reception time stands in for the missing reference week.
    r.hasReceptionTime = true;
    r.receptionTime = 2300 * 604800.0 + 4 * 86400.0 + 36000.0;
    r.Bn = 1;
    GNSS::CEphemerisGLO unhealthy(r);
    ASSERT_TRUE(unhealthy.ResolveGpsTime(GpsTime(2300, 4 * 86400.0), 18.0, message));
    EXPECT_STREQ(message, "Warning: GLONASS PRN 9 had BAD HEALTH flagged.");
    EXPECT_NEAR(unhealthy.Record().gpsSeconds, 4 * 86400.0 + 36018.0 + static_cast<double>(r.minusTau), 1e-6);

    // Without a week the record is invalid without words.
    GNSS::CEphemerisGLO unresolved(sample::Glonass());
    std::strcpy(message, "untouched");
    EXPECT_FALSE(unresolved.IsValid(message));
    EXPECT_STREQ(message, "untouched");
}

TEST(GlonassEphemeris, ResolvesInRangeAcrossAWeekChange) {
    // The GPS records of the file run from Saturday night into Sunday; a
    // record of Saturday 23:30 GPS belongs to the first week.
    GloEphemerisRecord r = sample::Glonass();
    r.tb = 9000;   // 02:30 Moscow, 23:30 UTC the day before
    GpsTimeRange range;
    range.Set(2300, 604000.0, 2301, 3000.0);
    GNSS::CEphemerisGLO glo(r);
    char message[kEphemerisMessageSize];
    ASSERT_TRUE(glo.ResolveGpsTimeInRange(range, 18.0, message)) << message;
    EXPECT_EQ(glo.Record().gpsWeek, 2300);
    EXPECT_NEAR(glo.Record().gpsSeconds, 7 * 86400.0 + 9000 - 10800 + 18 + static_cast<double>(r.minusTau), 1e-6);
}

TEST(GlonassEphemeris, IssueAndOrder) {
    GloEphemerisRecord a = sample::Glonass(), b = sample::Glonass();
    a.gpsWeek = b.gpsWeek = 2300;
    a.gpsSeconds = 1000.0;
    b.gpsSeconds = 1900.0;
    b.tb = a.tb + 900;
    GNSS::CEphemerisGLO ea(a), eb(b);
    EXPECT_TRUE(ea.IsEarlier(eb));
    EXPECT_FALSE(eb.IsEarlier(ea));
    EXPECT_FALSE(ea.IsEqual(eb));
    EXPECT_FALSE(ea.IsSameIssue(eb));
    EXPECT_TRUE(ea.IsSameIssue(GNSS::CEphemerisGLO(a)));
}

}  // namespace
