// Choosing the source of a satellite's state and telling of source changes.
#include "positioning/SatelliteService.h"

#include <cstdio>
#include <cstring>

#include "antenna/SatelliteAntennaPCVCorrection.h"
#include "ephemeris/EphemerisStore.h"

namespace {

constexpr int kMessageSize = 512;
// A computation before the full-week era has no orbit to look up.
constexpr int kLeastOrbitWeek = kWeekRollover;
// Each satellite tells of at most this many source changes of each kind;
// the last one says that no more will come.
constexpr int kWarningsPerSatellite = 5;

// Orbit and clock sources assumed before the first computation of a mode:
// the modes that prefer products start from a product, so that the first
// broadcast answer there is worth a word.
constexpr int32_t kInitialOrbitSource[kSourceModes] = {kPreciseOrbit, kBroadcastOrbit, kPreciseOrbit,
                                                       kBroadcastOrbit};
constexpr int32_t kInitialClockSource[kSourceModes] = {kPreciseClock, kBroadcastClock, kPreciseClock,
                                                       kBroadcastClock};

const char* OrbitSourceText(int32_t source) {
    switch (source) {
        case kNrtOrbit: return ": satellite position was computed from NRT orbit data";
        case kPreciseOrbit: return ": satellite position was computed from precise orbit data";
        case kBroadcastOrbit: return ": satellite position was computed from broadcast ephemeris data";
        default: return ": Failed to compute satellite position";
    }
}

const char* ClockSourceText(int32_t source) {
    switch (source) {
        case kNrtClock: return ": satellite clock bias was computed from NRT clock data";
        case kPreciseClock: return ": satellite clock bias was computed from precise clock data";
        case kClockFromPreciseOrbit: return ": satellite clock bias was computed from precise orbit data";
        case kBroadcastClock: return ": satellite clock bias was computed from broadcast ephemeris data";
        default: return ": Failed to compute satellite clock bias";
    }
}

constexpr const char* kLastOrbitWarning = ", no more orbit related problems will be issued for this satellite";
constexpr const char* kLastClockWarning = ", no more clock warnings will be issued for for this satellite";

}  // namespace

CSatelliteService::CSatelliteService(MessageFunction callback)
    : messageCallback(callback), antenna(std::make_unique<CSatelliteAntennaPCVCorrection>()) {
    Reset();
}

CSatelliteService::~CSatelliteService() = default;

void CSatelliteService::Reset() {
    if (preciseOrbit) preciseOrbit->Reset();
    if (preciseClock) preciseClock->Reset();
    if (nrtOrbit) nrtOrbit->Reset();
    if (broadcast) broadcast->Clear();
    if (antenna) antenna->Clear();
    std::memcpy(lastOrbitSource, kInitialOrbitSource, sizeof lastOrbitSource);
    std::memcpy(lastClockSource, kInitialClockSource, sizeof lastClockSource);
    orbitSource = kNoOrbitSource;
    clockSource = kNoClockSource;
    std::memset(clockWarnings, 0, sizeof clockWarnings);
    std::memset(orbitWarnings, 0, sizeof orbitWarnings);
    spareOption = 0;
}

void CSatelliteService::Send(int level, const char* text) const {
    if (messageCallback != nullptr) messageCallback(level, -1.0, text);
}

void CSatelliteService::Tell(const char* text, char* errorText) const {
    if (errorText != nullptr)
        std::snprintf(errorText, kMessageSize, "%s", text);
    else
        Send(3, text);
}

bool CSatelliteService::ComputeSatellite(const SatelliteId& satellite, const GpsTime& time,
                                         const double receiverPosition[3], double range, double position[3],
                                         double velocity[3], double& clockMetres, int mode, char* errorText) {
    if (!time.IsAtLeast(kLeastOrbitWeek)) {
        std::snprintf(messageText, sizeof messageText,
                      "Orbit computation failed because of invalid GPS week number(week %d)", time.week);
        Tell(messageText, errorText);
        return false;
    }

    // Failures of the sources are gathered behind the satellite's name.
    char sourceWords[kMessageSize] = {};
    char* words = errorText != nullptr ? sourceWords : nullptr;

    bool answered = false;
    switch (mode) {
        case kProductsThenBroadcast:
            answered = TryNrt(satellite, time, receiverPosition, range, position, velocity, clockMetres, words) ||
                       TryPrecise(satellite, time, receiverPosition, range, position, velocity, clockMetres, words) ||
                       TryBroadcast(satellite, time, receiverPosition, range, position, velocity, clockMetres, words);
            break;
        case kBroadcastThenProducts:
            answered = TryBroadcast(satellite, time, receiverPosition, range, position, velocity, clockMetres, words) ||
                       TryNrt(satellite, time, receiverPosition, range, position, velocity, clockMetres, words) ||
                       TryPrecise(satellite, time, receiverPosition, range, position, velocity, clockMetres, words);
            break;
        case kProductsOnly:
            answered = TryNrt(satellite, time, receiverPosition, range, position, velocity, clockMetres, words) ||
                       TryPrecise(satellite, time, receiverPosition, range, position, velocity, clockMetres, words);
            break;
        case kBroadcastOnly:
            answered = TryBroadcast(satellite, time, receiverPosition, range, position, velocity, clockMetres, words);
            break;
        default: return false;
    }

    if (errorText != nullptr) {
        if (sourceWords[0] != '\0') {
            char name[32];
            std::snprintf(errorText, kMessageSize, "%s %s", satellite.ShortText(name), sourceWords);
        } else {
            errorText[0] = '\0';
        }
    }

    // Products give the clock without the relativistic term of the
    // satellite's orbit, which the broadcast clock already holds.
    if (answered && (orbitSource == kPreciseOrbit || orbitSource == kNrtOrbit)) {
        const double radialSpeed =
            position[0] * velocity[0] + position[1] * velocity[1] + position[2] * velocity[2];
        clockMetres -= 2.0 * radialSpeed / kSpeedOfLight;
    }

    if (answered && orbitSource != lastOrbitSource[mode])
        WarnSourceChange(satellite, orbitWarnings, OrbitSourceText(orbitSource), kLastOrbitWarning, errorText);
    if (answered && clockSource != lastClockSource[mode])
        WarnSourceChange(satellite, clockWarnings, ClockSourceText(clockSource), kLastClockWarning, errorText);

    lastOrbitSource[mode] = orbitSource;
    lastClockSource[mode] = clockSource;
    return answered;
}

void CSatelliteService::WarnSourceChange(const SatelliteId& satellite,
                                         int32_t (&counts)[kStoredConstellations][kPrnTableSize], const char* text,
                                         const char* closing, char* errorText) {
    if (!satellite.IsValid()) return;
    const int count = ++counts[satellite.constellation][satellite.prn];
    if (count > kWarningsPerSatellite) return;
    char name[32];
    std::snprintf(messageText, sizeof messageText, "%s%s%s", satellite.ShortText(name), text,
                  count == kWarningsPerSatellite ? closing : "");
    Tell(messageText, errorText);
}

bool CSatelliteService::TryBroadcast(const SatelliteId& satellite, const GpsTime& time,
                                     const double receiverPosition[3], double range, double position[3],
                                     double velocity[3], double& clockMetres, char* errorText) {
    bool ok = false;
    if (broadcast)
        ok = broadcast->ComputeSatelliteState(satellite, time, receiverPosition, range, position, velocity,
                                              clockMetres, errorText);
    orbitSource = ok ? kBroadcastOrbit : kNoOrbitSource;
    clockSource = ok ? kBroadcastClock : kNoClockSource;
    return ok;
}

bool CSatelliteService::TryNrt(const SatelliteId& satellite, const GpsTime& time, const double receiverPosition[3],
                               double range, double position[3], double velocity[3], double& clockMetres,
                               char* errorText) {
    if (!nrtOrbit) return false;
    const GpsTime transmit = time - range / kSpeedOfLight;
    clockSource = kNoClockSource;
    double bias = 0.0;
    if (nrtOrbit->ComputeClock(satellite, transmit, bias, errorText)) clockSource = kNrtClock;
    const bool ok = ComputeProductState(*nrtOrbit, satellite, time, receiverPosition, range, bias, position, velocity,
                                        clockMetres, errorText);
    orbitSource = ok ? kNrtOrbit : kNoOrbitSource;
    return ok;
}

bool CSatelliteService::TryPrecise(const SatelliteId& satellite, const GpsTime& time,
                                   const double receiverPosition[3], double range, double position[3],
                                   double velocity[3], double& clockMetres, char* errorText) {
    if (!preciseOrbit) return false;
    const GpsTime transmit = time - range / kSpeedOfLight;
    clockSource = kNoClockSource;
    double bias = 0.0;
    if (preciseClock && preciseClock->ComputeClock(satellite, transmit, bias, errorText))
        clockSource = kPreciseClock;
    else if (preciseOrbit->ComputeClock(satellite, transmit, bias, errorText))
        clockSource = kClockFromPreciseOrbit;
    const bool ok = ComputeProductState(*preciseOrbit, satellite, time, receiverPosition, range, bias, position,
                                        velocity, clockMetres, errorText);
    orbitSource = ok ? kPreciseOrbit : kNoOrbitSource;
    return ok;
}

bool CSatelliteService::ComputeProductState(IOrbitProduct& product, const SatelliteId& satellite, const GpsTime& time,
                                            const double receiverPosition[3], double range, double bias,
                                            double position[3], double velocity[3], double& clockMetres,
                                            char* errorText) {
    if (clockSource == kNoClockSource)
        return product.ComputeOrbitAndClock(satellite, time, receiverPosition, range, position, velocity,
                                            clockMetres, errorText);
    const bool ok = product.ComputeOrbit(satellite, time, receiverPosition, range, position, velocity, errorText);
    clockMetres = bias * kSpeedOfLight;
    return ok;
}
