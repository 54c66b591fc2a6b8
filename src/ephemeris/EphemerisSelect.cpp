// Choosing the record for a time and computing a satellite's state from it.
#include <cmath>
#include <cstdio>
#include <cstring>

#include "ephemeris/EphemerisStore.h"
#include "rawfile/GnssEpoch.h"

using GNSS::IEphemeris;

namespace {

// The Earth rotation rate by which GLONASS positions are turned into the
// frame of reception (the Keplerian classes turn theirs in the node).
constexpr double kGlonassFrameRotation = 7.2921151467e-05;
// A receiver this far from the centre of the Earth has a real position.
constexpr double kLeastReceiverRadius = 6350000.0;
// Ranges below the height of the lowest orbit are no estimate; the
// replacement is a typical GPS range.
constexpr double kLeastRangeEstimate = 13871863.0;
constexpr double kTypicalRange = 22484434.35;
constexpr int kLightTimeIterations = 4;
constexpr double kLightTimeTolerance = 1e-10;

}  // namespace

bool CEphemerisStore::SelectRecord(const std::vector<IEphemeris*>& list, int32_t& cursor, const GpsTime& time) {
    if (list.empty()) return false;
    const int32_t last = static_cast<int32_t>(list.size()) - 1;
    if (cursor < 0 || cursor > last) cursor = 0;

    // The records are in arrival or file order, nearly sorted by time: walk
    // to the nearest reference time from where the last search ended.
    while (cursor < last &&
           std::fabs(list[cursor + 1]->TimeSinceReference(time)) <= std::fabs(list[cursor]->TimeSinceReference(time)))
        ++cursor;
    while (cursor > 0 &&
           std::fabs(list[cursor - 1]->TimeSinceReference(time)) <= std::fabs(list[cursor]->TimeSinceReference(time)))
        --cursor;

    if (list[cursor]->IsCurrent(time)) return true;
    if (cursor < last) {
        if (list[cursor + 1]->IsCurrent(time)) {
            ++cursor;
            return true;
        }
        if (std::fabs(list[cursor]->MidIntervalDistance(time)) > std::fabs(list[cursor + 1]->MidIntervalDistance(time)))
            ++cursor;
    }
    return list[cursor]->IsUsable(time);
}

bool CEphemerisStore::ComputeSatelliteState(const SatelliteId& satellite, const GpsTime& receptionTime,
                                            const double* receiverPosition, double rangeEstimate, double position[3],
                                            double velocity[3], double& clockMetres, char* errorText) {
    clockMetres = 0.0;
    if (!satellite.IsValid()) return false;

    bool iterate = false;
    if (receiverPosition != nullptr && !(receiverPosition[1] == 0.0 && receiverPosition[2] == 0.0)) {
        const double radius = std::sqrt(receiverPosition[0] * receiverPosition[0] +
                                        receiverPosition[1] * receiverPosition[1] +
                                        receiverPosition[2] * receiverPosition[2]);
        iterate = radius >= kLeastReceiverRadius;
    }
    double range = rangeEstimate < kLeastRangeEstimate ? kTypicalRange : rangeEstimate;

    const std::vector<IEphemeris*>& list = records[satellite.constellation][satellite.prn];
    int32_t& at = cursor[satellite.constellation][satellite.prn];
    if (list.empty()) {
        bool& done = warned[satellite.constellation][satellite.prn];
        if (!done) {
            done = true;
            char name[32];
            Report(2, "%s has no broadcast ephemeris data", satellite.LongText(name));
            if (errorText != nullptr) std::snprintf(errorText, kEphemerisMessageSize, "%s", message);
        }
        return false;
    }
    if (!SelectRecord(list, at, receptionTime)) return false;

    // The clock is taken once at the reception time; its change over the
    // light time is far below what the iteration resolves.
    const double clock = list[at]->ComputeClockBias(receptionTime);
    double tau = range / kSpeedOfLight;
    const int32_t last = static_cast<int32_t>(list.size()) - 1;

    for (int iteration = 0; iteration < kLightTimeIterations; ++iteration) {
        const GpsTime transmitTime = receptionTime - (tau + clock + list[at]->GetClockRateTerm(receptionTime));
        if (!SelectRecord(list, at, transmitTime)) return false;
        const IEphemeris& chosen = *list[at];
        if (!chosen.ComputePositionVelocity(transmitTime, range, position, velocity)) return false;

        // Near the end of one record's interval the next record's orbit is
        // blended in, so that positions do not jump at the change of record.
        const double d0 = chosen.TimeSinceReference(transmitTime);
        const int32_t next = d0 > 0.0 ? at + 1 : at - 1;
        if (next >= 0 && next < last && d0 != 0.0) {
            double p1[3], v1[3];
            if (list[next]->ComputePositionVelocity(transmitTime, range, p1, v1)) {
                const double d1 = list[next]->TimeSinceReference(transmitTime);
                const double ratio2 = (d1 / d0) * (d1 / d0);
                const double ratio8 = ratio2 * ratio2 * ratio2 * ratio2;
                const double w = 1.0 / (1.0 + ratio8 * ratio2);   // 1 / (1 + |d1/d0|^10)
                for (int k = 0; k < 3; ++k) {
                    position[k] = (1.0 - w) * position[k] + w * p1[k];
                    velocity[k] = (1.0 - w) * velocity[k] + w * v1[k];
                }
            }
        }
        if (!iterate) break;

        range = Distance3(position, receiverPosition);
        const double newTau = range / kSpeedOfLight;
        if (std::fabs(tau - newTau) < kLightTimeTolerance) break;
        tau = newTau;
    }
    clockMetres = clock * kSpeedOfLight;

    if (satellite.constellation == kGlonass) {
        // The Earth turns while the signal travels.
        const double theta = tau * kGlonassFrameRotation;
        const double x = position[0], y = position[1];
        position[0] = x * std::cos(theta) + y * std::sin(theta);
        position[1] = y * std::cos(theta) - x * std::sin(theta);
    }
    return true;
}
