#pragma once
#include <array>
#include <cmath>
#include <memory>
#include <vector>
#include "rawfile/GnssSatellite.h"

// Epoch bits of CGnssEpoch::flags.
enum EpochFlag : uint32_t {
    kEpochKinematic = 1,
    kEpochWeekValid = 2,
    kEpochPositionValid = 4,
    kEpochClockValid = 8,
};

inline constexpr double kSpeedOfLight = 299792458.0;
inline constexpr double kMetresPerDegree = 111319.49079327357;

struct GeodeticPosition {
    double latitude = 0.0;   // degrees
    double longitude = 0.0;  // degrees
    double height = 0.0;     // metres, ellipsoidal
};

// Not exactly (0,0,0) and a height strictly inside (-1000, 5e6) metres. On the
// all-zero case writes " == (0., 0. 0.)" to text when given.
bool IsUsablePosition(const GeodeticPosition& p, char* text = nullptr);
// Straight-line distance between two Cartesian points, in their unit.
inline double Distance3(const double a[3], const double b[3]) {
    const double dx = a[0] - b[0], dy = a[1] - b[1], dz = a[2] - b[2];
    return std::sqrt(dx * dx + dy * dy + dz * dz);
}
// East and north distance in metres from a to b.
void HorizontalDifference(const GeodeticPosition& a, const GeodeticPosition& b, double& east, double& north);

// One measurement epoch. Reset keeps every allocation, so refilling an epoch
// does not allocate once warm.
class CGnssEpoch {
public:
    uint32_t flags = 0;
    double rawRcvTime = 0.0;
    double trueRcvTime = 0.0;
    uint32_t rcvTimeMs = 0;
    uint16_t week = 0;
    double clockOffset = 0.0;
    GeodeticPosition position;
    std::array<std::array<std::unique_ptr<CGnssSatellite>, kPrnTableSize>, kStoredConstellations> satellites;
    std::vector<SatelliteId> satelliteList;

    CGnssEpoch();
    CGnssEpoch(const CGnssEpoch& other);
    CGnssEpoch& operator=(const CGnssEpoch& other);

    void Reset();
    bool SetSatellite(const CGnssSatellite& satellite);
    bool HasSatellite(const SatelliteId& id) const;
    const CGnssSatellite* GetSatellite(const SatelliteId& id) const;
    CGnssSatellite* GetSatellite(const SatelliteId& id);
    bool CopySatellite(const SatelliteId& id, CGnssSatellite& out) const;
    const CGnssSignal* GetSignal(const SatelliteId& id, FrequencyRole role) const;
    CGnssSignal* GetSignal(const SatelliteId& id, FrequencyRole role);
    bool SatelliteAt(size_t index, CGnssSatellite& out) const;
    bool ListSatellites(std::vector<SatelliteId>& out) const;
    bool ListSatellites(GnssConstellation constellation, std::vector<SatelliteId>& out) const;
    uint16_t CountSatellites(GnssConstellation constellation) const;
    double TimeOfWeekSeconds(bool useRaw) const;

private:
    void RebuildSatelliteList();
    void InsertListed(const SatelliteId& id);
};
