// Which satellites an epoch offers, where the estimate starts, and each
// satellite's state, delays and mask for a pass of the solution.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "datum/Geodesy.h"
#include "positioning/SinglePoint.h"

namespace {

// A seed older than this says little about where the receiver is now.
constexpr double kSeedAge = 300.0;
constexpr double kSeedClockStdDev = 10.0;   // metres, a receiver's own clock
// Above this height the delay models do not describe the atmosphere below.
constexpr double kHighestModelledHeight = 15000.0;
// The elevation mask never takes the count below this.
constexpr int kFewestAfterMask = 4;
constexpr double kLeastPseudorange = 1e-6;

bool ById(const SatelliteId& a, const SatelliteId& b) {
    return a.constellation != b.constellation ? a.constellation < b.constellation : a.prn < b.prn;
}

}  // namespace

SatelliteObservation* CSinglePoint::FindObservation(const SatelliteId& id) {
    for (SatelliteObservation& record : observations)
        if (record.id == id) return &record;
    return nullptr;
}

bool CSinglePoint::IsSuspect(const SatelliteId& id) const {
    return std::find(suspects.begin(), suspects.end(), id) != suspects.end();
}

void CSinglePoint::SelectSatellites(const CGnssEpoch& epoch, bool& anyNew) {
    anyNew = false;
    std::memset(listed, 0, sizeof listed);
    merged.clear();
    for (int c = 0; c < kStoredConstellations; ++c) {
        if (options.exclusions.IsConstellationExcluded(c)) continue;
        epoch.ListSatellites(c, perConstellation);
        std::sort(perConstellation.begin(), perConstellation.end(), ById);
        for (const SatelliteId& id : perConstellation)
            if (!options.exclusions.IsExcluded(id)) merged.push_back(id);
        if (perConstellation.empty() && c != primaryConstellation) wantClock[c] = 0;
        listed[c] = static_cast<int32_t>(perConstellation.size());
        if (listed[c] > 0) seen[c] = 1;
    }

    // The records still hold the last epoch: who was good, who was thrown out.
    goodList.clear();
    for (const SatelliteId& id : merged) {
        if (observations.empty()) break;
        const SatelliteObservation* record = FindObservation(id);
        if (record == nullptr) continue;
        if (record->Usable()) {
            goodList.push_back(id);
            suspects.erase(std::remove(suspects.begin(), suspects.end(), id), suspects.end());
        } else if ((record->flags & kRejected) != 0) {
            if (!IsSuspect(id)) suspects.push_back(id);
        }
    }

    observations.resize(merged.size());
    for (size_t i = 0; i < merged.size(); ++i) {
        observations[i] = SatelliteObservation{};
        observations[i].id = merged[i];
        if (std::find(goodList.begin(), goodList.end(), merged[i]) == goodList.end()) {
            observations[i].flags |= kNewSatellite;
            anyNew = true;
        }
    }
}

void CSinglePoint::SeedPosition(const CGnssEpoch& epoch, const CSinglePointSolution* caller, double ecef[3],
                                GeodeticPosition& geodetic, ClockSet& clocks) {
    clocks.Reset();
    if (previous.solved) clocks = previous.clocks;

    const GpsTime time(epoch.week, epoch.rcvTimeMs * 0.001);
    if (!solution.valid || std::fabs(time.Difference(solution.week, solution.receiverSeconds)) > kSeedAge)
        solution.Reset();

    bool found = true;
    if (caller != nullptr && caller->valid) {
        geodetic = caller->geodetic;
        std::memcpy(ecef, caller->ecef, sizeof caller->ecef);
        clocks = caller->clocks;
    } else if (solution.valid) {
        geodetic = solution.geodetic;
        std::memcpy(ecef, solution.ecef, sizeof solution.ecef);
        clocks = solution.clocks;
    } else if (previous.solved) {
        geodetic = previous.geodetic;
        std::memcpy(ecef, previous.ecef, sizeof previous.ecef);
        clocks = previous.clocks;
    } else if ((epoch.flags & kEpochPositionValid) != 0) {
        geodetic = epoch.position;
        if (IsUsablePosition(geodetic)) {
            ToCartesian(geodetic, ecef, outputEllipse);
            if (primaryConstellation == kGps && (epoch.flags & kEpochClockValid) != 0)
                clocks.SetClock(kGps, epoch.clockOffset, kSeedClockStdDev);
        } else {
            geodetic = GeodeticPosition{};
        }
    } else if (current.solved && IsUsablePosition(current.geodetic)) {
        geodetic = current.geodetic;
        std::memcpy(ecef, current.ecef, 3 * sizeof(double));
        clocks = current.clocks;
    } else {
        found = false;
    }

    // No seed: the point on the equator at longitude zero, which counts as
    // no start.
    if (!found || !IsUsablePosition(geodetic)) {
        geodetic = GeodeticPosition{};
        clocks.Reset();
        ToCartesian(geodetic, ecef, outputEllipse);
    }
}

int CSinglePoint::ComputeSatellites(const CGnssEpoch& epoch) {
    std::memset(used, 0, sizeof used);
    int count = 0;
    byElevation.clear();
    const bool usable = IsUsablePosition(current.geodetic);

    for (size_t index = 0; index < observations.size(); ++index) {
        SatelliteObservation& record = observations[index];
        record.flags &= ~static_cast<uint32_t>(kBelowMask);
        const int c = record.id.constellation;
        if ((record.flags & (kNoMeasurementOrOrbit | kRejected)) != 0 || !enabled[c]) continue;

        const CGnssSatellite* satellite = epoch.GetSatellite(record.id);
        GnssSignalId signalIds[kMaxSignalSlots];
        const int signalCount = satellite != nullptr ? satellite->ListSignals(signalIds) : 0;
        if (signalCount == 0) {
            record.flags |= kNoMeasurement;
            continue;
        }
        // The first signal with a pseudorange; there is no second try.
        const CGnssSignal* signal = nullptr;
        for (int k = 0; k < signalCount && signal == nullptr; ++k) {
            const CGnssSignal* candidate = satellite->GetSignal(signalIds[k]);
            if (candidate != nullptr && (candidate->flags & kSigPseudorange) != 0) signal = candidate;
        }
        if (signal == nullptr || signal->signalId == kNoSignal || std::fabs(signal->pseudorange) < kLeastPseudorange) {
            record.flags |= kNoMeasurement;
            continue;
        }
        const double stdDev = (signal->flags & kSigPseudorangeStdDev) != 0 ? signal->pseudorangeStdDev : 0.0;

        const double clockMetres = current.clocks.GetClock(c, true);
        const double clockSeconds = current.clocks.GetClock(c, false);
        GpsTime time(epoch.week, epoch.rawRcvTime);
        time -= clockSeconds;
        lastComputationTime = time;

        double position[3], velocity[3], satelliteClock = 0.0;
        if (!service->ComputeSatellite(record.id, time, current.ecef, signal->pseudorange - clockMetres, position,
                                       velocity, satelliteClock, sourceMode[c], lastError)) {
            record.flags |= kNoOrbit;
            if (lastError[0] != '\0') Deliver(2, current.time.seconds);
            continue;
        }
        record.flags |= kHasPosition;
        std::memcpy(record.satellitePosition, position, sizeof position);
        std::memcpy(record.satelliteVelocity, velocity, sizeof velocity);
        record.satelliteClock = satelliteClock;
        record.pseudorange = signal->pseudorange;
        record.pseudorangeStdDev = stdDev;
        record.signal = signal->signalId;
        record.transmitSeconds = time.seconds;
        record.orbitSource = service->OrbitSourceUsed();
        record.clockSource = service->ClockSourceUsed();
        if (usable && hasStart) {
            CSatelliteService::ComputeAzimuthElevation(current.geodetic, current.ecef, position, record.azimuth,
                                                       record.elevation, record.nadir);
            record.flags |= kHasAzimuthElevation;
            byElevation.emplace_back(static_cast<int>(index), record.elevation);
        }
        ++used[c];
        ++count;
    }

    // The lowest satellites go first, and never below four.
    if (usable && hasStart && count > kFewestAfterMask) {
        std::sort(byElevation.begin(), byElevation.end(),
                  [](const std::pair<int, double>& a, const std::pair<int, double>& b) { return a.second < b.second; });
        for (const auto& [index, elevation] : byElevation) {
            if (count <= kFewestAfterMask) break;
            SatelliteObservation& record = observations[index];
            if (elevation < options.elevationMask[record.id.constellation]) {
                record.flags |= kBelowMask;
                --used[record.id.constellation];
                --count;
            }
        }
    }

    if (usable && current.geodetic.height <= kHighestModelledHeight) {
        for (SatelliteObservation& record : observations) {
            if ((record.flags & kNotUsable) != 0) continue;
            if (options.useTroposphere)
                record.troposphereDelay = troposphere.Delay(lastComputationTime, current.geodetic, record.elevation);
            if (options.useIonosphere) {
                double delay = 0.0;
                if (!service->IonosphereDelay(lastComputationTime, current.geodetic, record.elevation, record.azimuth,
                                              delay, lastError))
                    delay = 0.0;
                record.ionosphereDelay = delay;
            }
        }
    }
    return count;
}
