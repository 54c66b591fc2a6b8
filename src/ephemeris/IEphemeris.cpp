#include "ephemeris/IEphemeris.h"

#include <cmath>

#include "ephemeris/KeplerOrbit.h"

namespace GNSS {

namespace {
// Bands around the reference time within which a record is current, and
// beyond which it is no longer usable at all.
constexpr double kCurrentBand = 4000.0;
constexpr double kUsableBand = 14400.0;
constexpr double kSameEpochTolerance = 1.0;
}  // namespace

double IEphemeris::TimeSinceReference(const GpsTime& t) const {
    GpsTime reference;
    GetReferenceTime(reference);
    return t.Difference(reference);
}

double IEphemeris::MidIntervalDistance(const GpsTime& t) const {
    if (elements == nullptr) return kSecondsPerWeek;
    return TimeSinceReference(t) + GetUpdateInterval() / 2.0;
}

bool IEphemeris::IsCurrent(const GpsTime& t) const {
    if (elements == nullptr) return false;
    return std::fabs(TimeSinceReference(t) + GetUpdateInterval() / 2.0) < kCurrentBand;
}

bool IEphemeris::IsUsable(const GpsTime& t) const {
    if (elements == nullptr) return false;
    const double dt = TimeSinceReference(t);
    return std::fabs(dt) < kUsableBand || std::fabs(dt + GetUpdateInterval() / 2.0) < kUsableBand;
}

bool IEphemeris::IsSameEpoch(const IEphemeris& other) const {
    GpsTime mine, theirs;
    GetReferenceTime(mine);
    other.GetReferenceTime(theirs);
    return mine.AbsDifference(theirs) < kSameEpochTolerance;
}

bool IEphemeris::ComputePositionVelocity(const GpsTime& t, double range, double position[3],
                                         double velocity[3]) const {
    if (elements == nullptr || position == nullptr || velocity == nullptr) return false;
    // The times carry weeks, so the difference needs no week wrap.
    const double dt = TimeSinceReference(t);
    const bool geostationary = IsGeostationary();
    ComputeKeplerPositionVelocity(*elements, dt, GetGM(), GetEarthRotationRate(), geostationary,
                                  range, position, velocity);
    if (geostationary) ApplyGeostationaryRotation(dt, position, velocity);
    return true;
}

double IEphemeris::ComputeClockBias(const GpsTime& t) const {
    if (elements == nullptr) return 0.0;
    const double dt = TimeSinceReference(t) - kNominalFlightTime;
    return ComputeKeplerClockBias(*elements, dt, GetGM(), GetToc(), GetAf0(), GetAf1(), GetAf2(),
                                  GetGroupDelay());
}

double IEphemeris::GetClockRateTerm(const GpsTime&) const { return 0.0; }

void IEphemeris::ApplyGeostationaryRotation(double, double*, double*) const {}

int IEphemeris::GetToc() const { return elements ? elements->toc : 0; }
double IEphemeris::GetAf0() const { return elements ? elements->af0 : 0.0; }
double IEphemeris::GetAf1() const { return elements ? elements->af1 : 0.0; }
double IEphemeris::GetAf2() const { return elements ? elements->af2 : 0.0; }

bool IEphemeris::IsSameIssue(const IEphemeris&) const { return false; }

}  // namespace GNSS
