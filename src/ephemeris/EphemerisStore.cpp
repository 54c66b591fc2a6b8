// The store's life, its tables and the time ranges it derives.
#include "ephemeris/EphemerisStore.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <new>

#include "ephemeris/EphemerisGLO.h"
#include "rawfile/GnssEpoch.h"
#include "timebase/UtcOffset.h"

using GNSS::CEphemerisGLO;
using GNSS::IEphemeris;

const char* const kTimeOffsetNames[kTimeOffsetNameCount] = {"GAUT", "GPUT", "SBUT", "GLUT", "GPGA",
                                                            "GLGP", "QZGP", "QZUT", "BDUT"};

namespace {

// Two hours either side of the reference times: an ephemeris is used that
// far beyond its own reference time.
constexpr double kRangeMargin = 7200.0;
// Two GLONASS records of one satellite closer than this (km) describe the
// same place, so their tb cannot both be right.
constexpr double kGlonassSamePlaceKm = 1.0;

bool IsFullTime(const GpsTime& t) { return t.week >= kWeekRollover; }

const std::vector<IEphemeris*> kNoRecords;

}  // namespace

CEphemerisStore::CEphemerisStore(MessageFunction hostFunction) : host(hostFunction) {}

CEphemerisStore::~CEphemerisStore() {
    Clear();
    delete leapTable;
}

double CEphemerisStore::LeapSecondsAt(const GpsTime& time) {
    if (leapTable == nullptr) leapTable = new (std::nothrow) CUtcOffset;
    int offset = 0;
    if (leapTable == nullptr) return 0.0;
    if (!leapTable->GetUtcOffset(time, offset)) {
        Report(3, "%s", leapTable->GetErrorText());
        return 0.0;
    }
    return offset;
}

void CEphemerisStore::Report(int level, const char* format, ...) {
    va_list args;
    va_start(args, format);
    std::vsnprintf(message, sizeof message, format, args);
    va_end(args);
    if (host != nullptr) host(level, -1.0, message);
}

std::vector<IEphemeris*>* CEphemerisStore::Records(GnssConstellation constellation, int prn) {
    if (!SatelliteId(constellation, prn).IsValid()) return nullptr;
    return &records[constellation][prn];
}

bool CEphemerisStore::HasRecords(const SatelliteId& satellite) const {
    return satellite.IsValid() && !records[satellite.constellation][satellite.prn].empty();
}

const std::vector<IEphemeris*>& CEphemerisStore::GetRecords(const SatelliteId& satellite) const {
    if (!satellite.IsValid()) return kNoRecords;
    return records[satellite.constellation][satellite.prn];
}

int CEphemerisStore::GetGlonassChannel(const SatelliteId& satellite) const {
    if (satellite.constellation != kGlonass || !HasRecords(satellite)) return -8;
    return static_cast<const CEphemerisGLO*>(records[kGlonass][satellite.prn].front())->Record().channel;
}

bool CEphemerisStore::IsEnabled(GnssConstellation constellation) const {
    return constellation >= 0 && constellation < kStoredConstellations && enabled[constellation];
}

void CEphemerisStore::SetEnabled(GnssConstellation constellation, bool keep) {
    if (constellation >= 0 && constellation < kStoredConstellations) enabled[constellation] = keep;
}

bool CEphemerisStore::IsSeen(GnssConstellation constellation) const {
    return constellation >= 0 && constellation < kStoredConstellations && seen[constellation];
}

void CEphemerisStore::Clear() {
    ClearRecords(true);
    std::memset(warned, 0, sizeof warned);
    for (bool& keep : enabled) keep = true;
    galileoFilter = 0;
    glonassOffsets.clear();
}

void CEphemerisStore::ClearRecords(bool alsoIonosphere) {
    timeRange = GpsTimeRange{};
    gpsRange = GpsTimeRange{};
    glonassDuplicate = false;
    if (alsoIonosphere) ionosphere = IonosphereModelRecord{};
    timeOffsets.clear();
    missing.clear();
    for (bool& s : seen) s = false;
    for (auto& row : records)
        for (std::vector<IEphemeris*>& list : row) {
            for (IEphemeris* e : list) delete e;
            list.clear();
        }
    std::memset(cursor, 0, sizeof cursor);
    glonassTimePending = true;
}

bool CEphemerisStore::AddTimeOffset(const TimeOffsetRecord& offset) {
    for (const TimeOffsetRecord& held : timeOffsets)
        if (std::strncmp(held.name, offset.name, sizeof held.name) == 0) return false;
    try {
        timeOffsets.push_back(offset);
    } catch (...) {
        return false;
    }
    return true;
}

void CEphemerisStore::SortGlonassOffsets() {
    std::stable_sort(glonassOffsets.begin(), glonassOffsets.end(),
                     [](const GlonassTimeOffset& a, const GlonassTimeOffset& b) { return a.dayNumber < b.dayNumber; });
}

bool CEphemerisStore::SortRecords() {
    bool anyGlonass = false;
    for (int c = 0; c < kStoredConstellations; ++c)
        for (std::vector<IEphemeris*>& list : records[c]) {
            if (c == kGlonass && !list.empty()) anyGlonass = true;
            if (list.size() >= 2)
                std::stable_sort(list.begin(), list.end(),
                                 [](const IEphemeris* a, const IEphemeris* b) { return a->IsEarlier(*b); });
        }
    return anyGlonass;
}

void CEphemerisStore::ResolveGlonassWeeks() {
    if (!IsFullTime(gpsRange.first)) {
        glonassTimePending = true;
        return;
    }
    // Without the GPS minus UTC offset any GLONASS time would be wrong by
    // the leap seconds; the records keep whatever time they carry.
    const double leapSeconds = LeapSecondsAt(gpsRange.first);
    if (leapSeconds >= 1.0) {
        for (int prn = 1; prn <= HighestPrn(kGlonass); ++prn) {
            const IEphemeris* previous = nullptr;
            for (IEphemeris* e : records[kGlonass][prn]) {
                auto* glonass = static_cast<CEphemerisGLO*>(e);
                GpsTime reference;
                if (previous != nullptr && previous->GetReferenceTime(reference))
                    glonass->ResolveGpsTime(reference, leapSeconds, nullptr);
                else
                    glonass->ResolveGpsTimeInRange(gpsRange, leapSeconds, nullptr);
                previous = e;
            }
        }
    }
    glonassTimePending = false;
}

bool CEphemerisStore::ScreenGlonassDuplicates() {
    for (int prn = 1; prn <= HighestPrn(kGlonass); ++prn) {
        const std::vector<IEphemeris*>& list = records[kGlonass][prn];
        for (size_t i = 0; i + 1 < list.size(); ++i) {
            const GloEphemerisRecord& a = static_cast<const CEphemerisGLO*>(list[i])->Record();
            const GloEphemerisRecord& b = static_cast<const CEphemerisGLO*>(list[i + 1])->Record();
            if (Distance3(a.position, b.position) < kGlonassSamePlaceKm && a.tb != b.tb) {
                glonassDuplicate = true;
                Report(3, "GLONASS prn %d: two records with tb as %d and %d but same satellite position", prn, a.tb,
                       b.tb);
                return true;
            }
        }
    }
    return false;
}

void CEphemerisStore::ComputeTimeRange() {
    missing.clear();
    for (int c = 0; c < kStoredConstellations; ++c) {
        seen[c] = false;
        if (!enabled[c]) continue;
        for (int prn = 1; prn <= HighestPrn(c); ++prn) {
            const std::vector<IEphemeris*>& list = records[c][prn];
            if (list.empty()) {
                try {
                    missing.emplace_back(c, prn);
                } catch (...) {
                    // The list of missing satellites is only advice.
                }
                continue;
            }
            seen[c] = true;
            GpsTime first, last;
            list.front()->GetReferenceTime(first);
            list.back()->GetReferenceTime(last);
            if (IsFullTime(timeRange.first) && IsFullTime(timeRange.last) && timeRange.first <= timeRange.last) {
                if (first < timeRange.first) timeRange.first = first;
                if (last > timeRange.last) timeRange.last = last;
            } else {
                timeRange.first = first;
                timeRange.last = last;
            }
        }
    }
}

bool CEphemerisStore::GetTimeRange(GpsTimeRange& range) const {
    range = timeRange;
    const bool valid = IsFullTime(range.first) && IsFullTime(range.last);
    if (valid) {
        range.first -= kRangeMargin;
        range.last += kRangeMargin;
    }
    return valid && range.last > range.first;
}
