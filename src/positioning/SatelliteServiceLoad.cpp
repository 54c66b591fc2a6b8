// Loading the broadcast ephemerides and the satellite antenna tables, and
// the questions the service forwards to the store.
#include <cmath>
#include <cstdio>
#include <new>

#include "antenna/SatelliteAntennaPCVCorrection.h"
#include "ephemeris/EphemerisFile.h"
#include "ephemeris/EphemerisStore.h"
#include "positioning/SatelliteService.h"

namespace {

constexpr double kDaySeconds = 86400.0;
constexpr int kMessageSize = 512;

const char kNoIonosphereModel[] = "No broadcast ephemeris/ionospheric model was loaded.";
const char kBadEphemerisRange[] =
    "Failed to load ATX file after broadcast ephemeris, invalid broadcast time range";
const char kAntennaLoadFailed[] = "Failed to load ATX file after broadcast ephemeris";
const char kAntennaLoaded[] = "Loaded manufact.atx after broadcast ephemeris";

GpsTime StartOfDay(const GpsTime& time) {
    return GpsTime(time.week, std::floor(time.seconds / kDaySeconds) * kDaySeconds);
}

}  // namespace

bool CSatelliteService::LoadBroadcastEphemeris(const char* path, char* errorText, bool clearFirst) {
    if (!broadcast) {
        broadcast.reset(new (std::nothrow) CEphemerisStore(messageCallback));
        if (!broadcast) return false;
    }
    broadcast->SetGalileoFilter(static_cast<int>(storeOption));
    for (int32_t constellation : excludedConstellations) broadcast->SetEnabled(constellation, false);

    const bool loaded = LoadEphemerisFile(*broadcast, path, clearFirst, errorText);
    if (loaded) {
        // The antenna file says which satellites are geostationary, which
        // their orbits need; without it they count as medium or inclined.
        if (LoadAntennaAfterEphemeris(errorText)) broadcast->SetSatelliteTypes(*antenna);
    } else {
        broadcast.reset();
    }
    return loaded;
}

bool CSatelliteService::LoadAntennaAfterEphemeris(char* errorText) {
    GpsTimeRange range{};
    if (!GetEphemerisTimeRange(range) || !range.first.IsAtLeast(kWeekRollover) ||
        !range.last.IsAtLeast(kWeekRollover) || range.last.Difference(range.first) <= 0.0) {
        if (errorText != nullptr) std::snprintf(errorText, kMessageSize, "%s", kBadEphemerisRange);
        Send(2, kBadEphemerisRange);
        return false;
    }
    // Whole days, so that one table serves every load within them.
    range.first = StartOfDay(range.first);
    range.last = StartOfDay(range.last + kDaySeconds);
    if (!antenna->Load(nullptr, range, nullptr, nullptr)) {
        if (errorText != nullptr) std::snprintf(errorText, kMessageSize, "%s", kAntennaLoadFailed);
        Send(2, kAntennaLoadFailed);
        return false;
    }
    Send(3, kAntennaLoaded);
    return true;
}

bool CSatelliteService::IonosphereDelay(const GpsTime& time, const GeodeticPosition& geodetic, double elevation,
                                        double azimuth, double& delay, char* errorText) {
    if (!broadcast) {
        Tell(kNoIonosphereModel, errorText);
        return false;
    }
    return broadcast->IonosphereDelay(time, geodetic, elevation, azimuth, delay, errorText);
}

bool CSatelliteService::GetEphemerisTimeRange(GpsTimeRange& range) const {
    if (!broadcast) {
        range = GpsTimeRange{};
        return false;
    }
    return broadcast->GetTimeRange(range);
}

uint16_t CSatelliteService::FindGpsWeek(double secondsOfWeek, double tolerance) const {
    if (!broadcast) return 0;
    for (int prn = 1; prn <= HighestPrn(kGps); ++prn) {
        for (const GNSS::IEphemeris* record : broadcast->GetRecords(SatelliteId(kGps, prn))) {
            GpsTime reference;
            record->GetReferenceTime(reference);
            if (std::fabs(reference.seconds - secondsOfWeek) < tolerance) return static_cast<uint16_t>(reference.week);
        }
    }
    return 0;
}
