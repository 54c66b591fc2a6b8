#include "rawfile/GnssEpoch.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>

#include "timebase/GpsTime.h"

namespace {
constexpr double kLowestHeight = -1000.0;
constexpr double kHighestHeight = 5000000.0;
constexpr double kDegreesToRadians = 3.14159265358979323846 / 180.0;
// Every satellite the table can hold, so the list never grows past this.
constexpr size_t kMaxListedSatellites = 32 + 24 + 63 + 10 + 36;

bool InTable(const SatelliteId& id) {
    return id.constellation >= 0 && id.constellation < kStoredConstellations && id.prn < kPrnTableSize;
}
}  // namespace

bool IsUsablePosition(const GeodeticPosition& p, char* text) {
    if (p.latitude == 0.0 && p.longitude == 0.0 && p.height == 0.0) {
        if (text) strcpy(text, " == (0., 0. 0.)");
        return false;
    }
    return p.height > kLowestHeight && p.height < kHighestHeight;
}

void HorizontalDifference(const GeodeticPosition& a, const GeodeticPosition& b, double& east, double& north) {
    north = (b.latitude - a.latitude) * kMetresPerDegree;
    east = (b.longitude - a.longitude) * kMetresPerDegree * cos(a.latitude * kDegreesToRadians);
}

// One reservation for every satellite the table can hold: the list never
// allocates again.
CGnssEpoch::CGnssEpoch() { satelliteList.reserve(kMaxListedSatellites); }

CGnssEpoch::CGnssEpoch(const CGnssEpoch& other) : CGnssEpoch() { *this = other; }

void CGnssEpoch::Reset() {
    flags = 0;
    rawRcvTime = 0.0;
    trueRcvTime = 0.0;
    rcvTimeMs = 0;
    week = 0;
    clockOffset = 0.0;
    position = GeodeticPosition();
    // Every satellite that holds data is in the list (SetSatellite and
    // assignment keep it so); the rest of the table was cleared before.
    for (const SatelliteId& id : satelliteList) satellites[id.constellation][id.prn]->Reset();
    satelliteList.clear();
}

CGnssEpoch& CGnssEpoch::operator=(const CGnssEpoch& other) {
    if (this == &other) return *this;
    flags = other.flags;
    rawRcvTime = other.rawRcvTime;
    trueRcvTime = other.trueRcvTime;
    rcvTimeMs = other.rcvTimeMs;
    week = other.week;
    clockOffset = other.clockOffset;
    position = other.position;
    for (int c = 0; c < kStoredConstellations; ++c) {
        for (int prn = 0; prn < kPrnTableSize; ++prn) {
            const CGnssSatellite* source = other.satellites[c][prn].get();
            auto& target = satellites[c][prn];
            bool wanted = source && source->id.constellation == c && source->id.prn == prn;
            if (wanted) {
                if (!target) target.reset(new (std::nothrow) CGnssSatellite);
                if (target) *target = *source;
            } else if (target) {
                target->Reset();
            }
        }
    }
    RebuildSatelliteList();
    return *this;
}

bool CGnssEpoch::SetSatellite(const CGnssSatellite& satellite) {
    if (!satellite.id.IsValid() || !InTable(satellite.id)) return false;
    auto& entry = satellites[satellite.id.constellation][satellite.id.prn];
    if (!entry) entry.reset(new (std::nothrow) CGnssSatellite);
    if (!entry) return false;
    *entry = satellite;
    InsertListed(satellite.id);
    return true;
}

bool CGnssEpoch::HasSatellite(const SatelliteId& id) const { return GetSatellite(id) != nullptr; }

const CGnssSatellite* CGnssEpoch::GetSatellite(const SatelliteId& id) const {
    if (!InTable(id)) return nullptr;
    const CGnssSatellite* entry = satellites[id.constellation][id.prn].get();
    return entry && entry->id == id ? entry : nullptr;
}

CGnssSatellite* CGnssEpoch::GetSatellite(const SatelliteId& id) {
    return const_cast<CGnssSatellite*>(static_cast<const CGnssEpoch*>(this)->GetSatellite(id));
}

bool CGnssEpoch::CopySatellite(const SatelliteId& id, CGnssSatellite& out) const {
    const CGnssSatellite* entry = GetSatellite(id);
    if (!entry) return false;
    out = *entry;
    return true;
}

const CGnssSignal* CGnssEpoch::GetSignal(const SatelliteId& id, FrequencyRole role) const {
    const CGnssSatellite* entry = GetSatellite(id);
    return entry ? entry->GetSignalByRole(role) : nullptr;
}

CGnssSignal* CGnssEpoch::GetSignal(const SatelliteId& id, FrequencyRole role) {
    return const_cast<CGnssSignal*>(static_cast<const CGnssEpoch*>(this)->GetSignal(id, role));
}

bool CGnssEpoch::SatelliteAt(size_t index, CGnssSatellite& out) const {
    if (index >= satelliteList.size()) return false;
    return CopySatellite(satelliteList[index], out);
}

bool CGnssEpoch::ListSatellites(std::vector<SatelliteId>& out) const {
    try {
        out = satelliteList;
    } catch (...) {
        out.clear();
    }
    return !out.empty();
}

bool CGnssEpoch::ListSatellites(GnssConstellation constellation, std::vector<SatelliteId>& out) const {
    out.clear();
    if (constellation < 0 || constellation >= kStoredConstellations) return false;
    try {
        for (int prn = 1; prn <= HighestPrn(constellation); ++prn) {
            SatelliteId id(constellation, prn);
            if (GetSatellite(id)) out.push_back(id);
        }
    } catch (...) {
    }
    return !out.empty();
}

uint16_t CGnssEpoch::CountSatellites(GnssConstellation constellation) const {
    if (constellation < 0 || constellation >= kStoredConstellations) return 0;
    uint16_t count = 0;
    for (int prn = 1; prn <= HighestPrn(constellation); ++prn)
        if (GetSatellite(SatelliteId(constellation, prn))) ++count;
    return count;
}

double CGnssEpoch::TimeOfWeekSeconds(bool useRaw) const {
    double base = week * kSecondsPerWeek;
    return useRaw ? base + rawRcvTime : base + rcvTimeMs * 0.001;
}

void CGnssEpoch::RebuildSatelliteList() {
    satelliteList.clear();
    for (int c = 0; c < kStoredConstellations; ++c) {
        for (int prn = 1; prn <= HighestPrn(c); ++prn) {
            const CGnssSatellite* entry = satellites[c][prn].get();
            if (entry && entry->id.constellation == c && entry->id.prn == prn) satelliteList.push_back(entry->id);
        }
    }
}

// Keeps the list in constellation and PRN order, as a full rebuild would,
// without scanning the whole table for every satellite added.
void CGnssEpoch::InsertListed(const SatelliteId& id) {
    auto before = [](const SatelliteId& a, const SatelliteId& b) {
        return a.constellation != b.constellation ? a.constellation < b.constellation : a.prn < b.prn;
    };
    auto at = std::lower_bound(satelliteList.begin(), satelliteList.end(), id, before);
    if (at == satelliteList.end() || *at != id) satelliteList.insert(at, id);
}
