#include "ephemeris/EphemerisGLO.h"

#include <cmath>
#include <cstring>
#include <strings.h>

#include "ephemeris/GlonassOrbit.h"
#include "ephemeris/KeplerOrbit.h"
#include "ephemeris/KeplerText.h"

namespace GNSS {

namespace {
constexpr double kMoscowOffset = 10800.0;
constexpr double kSecondsPerDayF = 86400.0;
constexpr double kKilometre = 1000.0;
// Carrier frequencies: base plus channel times spacing, Hz.
constexpr double kL1Base = 1602000000.0, kL1Spacing = 562500.0;
constexpr double kL2Base = 1246000000.0, kL2Spacing = 437500.0;
// Squared orbit radius bounds of a plausible state vector, km2.
constexpr double kMinRadiusSquared = 100000000.0;
constexpr double kMaxRadiusSquared = 2500000000.0;
// The older GlnEph token numbers the slots from 38.
constexpr int kGlnEphPrnOffset = 37;
constexpr double kMaxTauC = 1e-5;
// The current bands lie 1200 s either side of the reference, 900 s wide.
constexpr double kCurrentOffset = 1200.0;
constexpr double kCurrentHalfWidth = 900.0;
constexpr double kUsableBand = 3600.0;
// Seconds by which a state may be carried instead of integrated again: over
// a millisecond the terms left out move a satellite by about 1e-14 m.
constexpr double kLargestStateShift = 1e-3;
}  // namespace

CEphemerisGLO::CEphemerisGLO() = default;

CEphemerisGLO::CEphemerisGLO(const GloEphemerisRecord& source) : record(source) {
    record.f1 = kL1Base + record.channel * kL1Spacing;
    record.f2 = kL2Base + record.channel * kL2Spacing;
}

void CEphemerisGLO::Clear() {
    satelliteType = 0;
    record = GloEphemerisRecord{};
    lastState = IntegratedState();
}

bool CEphemerisGLO::IsValid(char* message) const {
    if (record.prn < 1 || record.prn > HighestPrn(kGlonass)) {
        FormatEphemerisMessage(message, "Error: Invalid GLONASS PRN number: %d", record.prn);
        return false;
    }
    if (record.gpsWeek < kWeekRollover) return false;
    const double* p = record.position;
    const double r2 = p[0] * p[0] + p[1] * p[1] + p[2] * p[2];
    if (!(r2 >= kMinRadiusSquared && r2 <= kMaxRadiusSquared)) {
        FormatEphemerisMessage(message, "Error: Invalid GLONASS PRN%02d position: X = %.1f Y = %.1f Z = %.1f km",
                               record.prn, p[0], p[1], p[2]);
        return false;
    }
    return true;
}

bool CEphemerisGLO::GetRecord(void* out) const {
    if (out != nullptr) std::memcpy(out, &record, sizeof record);
    return IsValid(nullptr);
}

bool CEphemerisGLO::GetSatelliteId(SatelliteId& id) const { return id.Set(kGlonass, record.prn); }
double CEphemerisGLO::GetGM() const { return kGmGlonassKm; }
double CEphemerisGLO::GetEarthRotationRate() const { return kEarthRateBeiDou; }

bool CEphemerisGLO::GetReferenceTime(GpsTime& time) const {
    return time.Set(record.gpsWeek, record.gpsSeconds);
}

bool CEphemerisGLO::IsCurrent(const GpsTime& t) const {
    // Two bands with a hole around the reference time itself: the store's
    // selection relies on this answer.
    const double dt = TimeSinceReference(t);
    return std::fabs(dt + kCurrentOffset) < kCurrentHalfWidth ||
           std::fabs(dt - kCurrentOffset) < kCurrentHalfWidth;
}

bool CEphemerisGLO::IsUsable(const GpsTime& t) const {
    return std::fabs(TimeSinceReference(t)) < kUsableBand;
}

bool CEphemerisGLO::ComputePositionVelocity(const GpsTime& t, double, double position[3],
                                            double velocity[3]) const {
    if (position == nullptr || velocity == nullptr) return false;
    const double dt = TimeSinceReference(t);
    IntegratedState& state = lastState;
    const double shift = dt - state.dt;
    // The same number of steps keeps the integration's own error the same
    // on both sides of the shift.
    if (!(state.valid && std::fabs(shift) <= kLargestStateShift && std::fabs(dt) <= kGlonassMaxPropagation &&
          GlonassStepCount(dt) == GlonassStepCount(state.dt))) {
        if (!IntegrateGlonassOrbit(record.position, record.velocity, record.acceleration, dt, state.position,
                                   state.velocity)) {
            state.valid = false;
            return false;
        }
        GlonassAcceleration(state.position, state.velocity, record.acceleration, state.acceleration);
        state.dt = dt;
        state.valid = true;
        for (int c = 0; c < 3; ++c) {
            position[c] = state.position[c] * kKilometre;
            velocity[c] = state.velocity[c] * kKilometre;
        }
        return true;
    }
    for (int c = 0; c < 3; ++c) {
        const double p = state.position[c] + shift * (state.velocity[c] + 0.5 * shift * state.acceleration[c]);
        position[c] = p * kKilometre;
        velocity[c] = (state.velocity[c] + shift * state.acceleration[c]) * kKilometre;
    }
    return true;
}

double CEphemerisGLO::ComputeClockBias(const GpsTime& t) const {
    return static_cast<double>(record.minusTau) + record.tauC - GetClockRateTerm(t);
}

double CEphemerisGLO::GetClockRateTerm(const GpsTime& t) const {
    // gamma * (reference - t)
    return -static_cast<double>(record.gamma) * TimeSinceReference(t);
}

bool CEphemerisGLO::WriteRecord(FILE* file) const {
    if (file == nullptr) return false;
    char reception[32] = "";
    if (record.hasReceptionTime) std::snprintf(reception, sizeof reception, "%15.2lf", record.receptionTime);
    std::fprintf(file, "%s { Prn: %d %d\n", "GloEph", record.prn, 0);
    std::fprintf(file, "\tGPS: %d %8.1f\n", record.gpsWeek, record.gpsSeconds);
    std::fprintf(file, "\tTkb: %d %d %s\n", record.tk, record.tb, reception);
    std::fprintf(file, "\tLte: %.12le %.12le %d\n", static_cast<double>(record.gamma),
                 static_cast<double>(record.minusTau), record.En);
    std::fprintf(file, "\tPos: %.6lf %.6lf %.6lf\n", record.position[0], record.position[1], record.position[2]);
    std::fprintf(file, "\tVel: %.12le %.12le %.12le\n", record.velocity[0], record.velocity[1], record.velocity[2]);
    std::fprintf(file, "\tAcc: %.12le %.12le %.12le\n", record.acceleration[0], record.acceleration[1],
                 record.acceleration[2]);
    std::fprintf(file, "\tFlg: %d %d\n", record.pFlags, record.Bn);
    std::fprintf(file, "\tAsh: %d %.15le %d %d\n", record.NT, record.tauC, record.channel, record.satelliteNumber);
    std::fprintf(file, "}\n");
    return true;
}

bool CEphemerisGLO::IsEarlier(const IEphemeris& other) const {
    const GloEphemerisRecord& b = static_cast<const CEphemerisGLO&>(other).record;
    if (record.gpsWeek != b.gpsWeek) return record.gpsWeek < b.gpsWeek;
    return record.gpsSeconds < b.gpsSeconds;
}

bool CEphemerisGLO::IsEqual(const IEphemeris& other) const {
    const GloEphemerisRecord& b = static_cast<const CEphemerisGLO&>(other).record;
    return record.gpsWeek == b.gpsWeek && std::fabs(record.gpsSeconds - b.gpsSeconds) <= 1e-10;
}

bool CEphemerisGLO::IsSameIssue(const IEphemeris& other) const {
    const GloEphemerisRecord& b = static_cast<const CEphemerisGLO&>(other).record;
    return record.NT == b.NT && record.tb == b.tb;
}

void CEphemerisGLO::SetTimeCorrection(double tauC, int NT) {
    record.tauC = tauC;
    record.NT = NT;
}

bool CEphemerisGLO::ResolveGpsTime(const GpsTime& reference, double leapSeconds, char* message) {
    // tb is Moscow time of day; this makes it a GPS second of day.
    double seconds = static_cast<double>(record.minusTau) + record.tb + record.tauC - kMoscowOffset + leapSeconds;
    if (seconds < 0.0) seconds += kSecondsPerDayF;
    if (!record.hasReceptionTime && reference.week < kWeekRollover) {
        FormatEphemerisMessage(message, "Waring: Need GPS toe to setup GLONASS record GPS time");
        return false;
    }
    // The day of week: the one that puts the record nearest the known time.
    const double near =
        record.hasReceptionTime ? std::fmod(record.receptionTime, kSecondsPerWeek) : reference.seconds;
    int day = TruncateToInt(std::floor((near - seconds) / kSecondsPerDayF + 0.5));
    if (day < 0) day += 7;
    if (day >= 7) day -= 7;
    record.gpsSeconds = seconds + day * kSecondsPerDayF;
    record.gpsWeek = ResolveWeekByTimes(reference.week, reference.seconds, record.gpsSeconds);
    if (record.Bn != 0)
        FormatEphemerisMessage(message, "Warning: GLONASS PRN %d had BAD HEALTH flagged.", record.prn);
    return IsValid(message);
}

bool CEphemerisGLO::ResolveGpsTimeInRange(const GpsTimeRange& range, double leapSeconds, char* message) {
    const GpsTime& t0 = range.first;
    const GpsTime& t1 = range.last;
    GpsTime own;
    if (GetReferenceTime(own)) {
        const double span = t0.AbsDifference(t1) + 0.001;
        if (!(span < t0.AbsDifference(own)) && !(span < t1.AbsDifference(own))) {
            if (!ResolveGpsTime(own, leapSeconds, message)) return false;
            return IsValid(nullptr);
        }
    }
    if (!ResolveGpsTime(t1, leapSeconds, message)) return false;
    if (t0.week != t1.week) {
        // The range spans a week change: take the week that lies nearer.
        const int alternative = ResolveWeekByTimes(t0.week, t0.seconds, record.gpsSeconds);
        if (t1.AbsDifference(record.gpsWeek, record.gpsSeconds) >
            t0.AbsDifference(alternative, record.gpsSeconds))
            record.gpsWeek = alternative;
    }
    return IsValid(nullptr);
}

bool CEphemerisGLO::ReadRecord(TextRecord& text, int version, const GpsTimeRange& range, double leapSeconds,
                               bool resolve, char* message) {
    if (!ReadText(text, version, message)) return false;
    if (resolve && leapSeconds > 0.0) return ResolveGpsTimeInRange(range, leapSeconds, message);
    return true;
}

bool CEphemerisGLO::ReadText(TextRecord& text, int, char* message) {
    Clear();
    if (message != nullptr) message[0] = '\0';
    const bool older = strcasecmp(text.Token(), "GlnEph") == 0;
    if (!older && strcasecmp(text.Token(), "GloEph") != 0) {
        FormatEphemerisMessage(message, "Error: Not a GLONASS ephemeris record");
        return false;
    }
    if (ScanField("Prn:", text, "%d%d", &record.prn, &record.spare) != 2) return false;
    if (older) record.prn -= kGlnEphPrnOffset;
    if (record.prn < 1 || record.prn > HighestPrn(kGlonass)) {
        FormatEphemerisMessage(message, "Error: Invalid GLONASS PRN %d--Ephemeris record ignored", record.prn);
        return false;
    }
    const int timeCount = ScanField("Tkb:", text, "%d%d%lf", &record.tk, &record.tb, &record.receptionTime);
    if (timeCount < 2) return false;
    record.hasReceptionTime = timeCount == 3;
    if (!record.hasReceptionTime) record.receptionTime = 0.0;
    double* p = record.position;
    double* v = record.velocity;
    double* a = record.acceleration;
    if (ScanField("Lte:", text, "%f%f%d", &record.gamma, &record.minusTau, &record.En) != 3) return false;
    if (ScanField("Pos:", text, "%lf%lf%lf", &p[0], &p[1], &p[2]) != 3) return false;
    if (ScanField("Vel:", text, "%lf%lf%lf", &v[0], &v[1], &v[2]) != 3) return false;
    if (ScanField("Acc:", text, "%lf%lf%lf", &a[0], &a[1], &a[2]) != 3) return false;
    if (ScanField("Flg:", text, "%d%d", &record.pFlags, &record.Bn) != 2) return false;
    if (ScanField("Ash:", text, "%d%lf%d%d", &record.NT, &record.tauC, &record.channel,
                  &record.satelliteNumber) != 4)
        return false;
    if (ScanField("GPS:", text, "%d%lf", &record.gpsWeek, &record.gpsSeconds) != 2) {
        record.gpsWeek = 0;
        record.gpsSeconds = 0.0;
    }
    const bool sound = record.gpsWeek >= 0 && record.gpsWeek <= kMaxEphemerisWeek &&
                       AllFinite({record.gamma, record.minusTau, p[0], p[1], p[2], v[0], v[1], v[2], a[0], a[1], a[2],
                                  record.tauC, record.receptionTime, record.gpsSeconds});
    if (!sound) {
        FormatOutOfRangeMessage(message, record.prn);
        return false;
    }
    record.f1 = kL1Base + record.channel * kL1Spacing;
    record.f2 = kL2Base + record.channel * kL2Spacing;
    if (std::fabs(record.tauC) > kMaxTauC) record.tauC = 0.0;
    return true;
}

}  // namespace GNSS
