// Records entering the store: the common insertion with its repeat test,
// the per-constellation entry points and the screening of GLONASS records.
#include <cmath>
#include <new>

#include "ephemeris/EphemerisBDS.h"
#include "ephemeris/EphemerisGAL.h"
#include "ephemeris/EphemerisGLO.h"
#include "ephemeris/EphemerisGPS.h"
#include "ephemeris/EphemerisQZSS.h"
#include "ephemeris/EphemerisStore.h"
#include "rawfile/GnssEpoch.h"

using namespace GNSS;

namespace {

// GLONASS broadcasts tb on a 15-minute grid; anything else is a misread.
constexpr int kGlonassTbStep = 900;
// Records received within 18 hours of each other can be the same upload.
constexpr double kGlonassScreenWindow = 64800.0;
// Positions closer than this (km) are the same state vector.
constexpr double kGlonassSamePositionKm = 0.0001;
// Two reads of one tb may differ this much (km) in position through the
// rounding of the broadcast; more means one of them is wrong.
constexpr double kGlonassSameTbToleranceKm = 0.1;

}  // namespace

int CEphemerisStore::Insert(GnssConstellation constellation, int prn, IEphemeris* ephemeris) {
    std::vector<IEphemeris*>* list = Records(constellation, prn);
    if (list == nullptr || ephemeris == nullptr || !ephemeris->IsValid(nullptr)) return kInvalid;
    for (IEphemeris* existing : *list) {
        if (!existing->IsSameEpoch(*ephemeris)) continue;
        // A Galileo repeat may bring the other of the two navigation
        // messages; it completes the record already held.
        if (constellation == kGalileo)
            static_cast<CEphemerisGAL*>(existing)->Merge(*static_cast<const CEphemerisGAL*>(ephemeris));
        return kRepeated;
    }
    try {
        list->push_back(ephemeris);
    } catch (...) {
        return kInvalid;
    }
    return kInserted;
}

bool CEphemerisStore::Keep(GnssConstellation constellation, int prn, IEphemeris* ephemeris) {
    if (ephemeris == nullptr) return false;
    const int result = Insert(constellation, prn, ephemeris);
    if (result == kInserted) return true;
    delete ephemeris;
    return result == kRepeated;
}

bool CEphemerisStore::AddGps(const GpsEphemerisRecord& record) {
    if (!SatelliteId(kGps, record.prn).IsValid() || record.elements.week < kWeekRollover) return false;
    auto* ephemeris = new (std::nothrow) CEphemerisGPS(record);
    if (ephemeris == nullptr) return false;
    const int result = Insert(kGps, record.prn, ephemeris);
    if (result != kInserted) {
        delete ephemeris;
        return result == kRepeated;
    }
    // The GPS records give the GLONASS records their week.
    gpsRange.Extend(record.elements.week, record.elements.toe);
    if (glonassTimePending) ResolveGlonassWeeks();
    return true;
}

bool CEphemerisStore::AddBeiDou(const BdsEphemerisRecord& record) {
    if (!SatelliteId(kBeiDou, record.prn).IsValid()) return false;
    return Keep(kBeiDou, record.prn, new (std::nothrow) CEphemerisBDS(record));
}

bool CEphemerisStore::AddGalileo(const GalEphemerisRecord& record) {
    if (!SatelliteId(kGalileo, record.prn).IsValid()) return false;
    return Keep(kGalileo, record.prn, new (std::nothrow) CEphemerisGAL(record));
}

bool CEphemerisStore::AddQzss(const QzssEphemerisRecord& record) {
    if (!SatelliteId(kQzss, record.prn).IsValid()) return false;
    return Keep(kQzss, record.prn, new (std::nothrow) CEphemerisQZSS(record));
}

void CEphemerisStore::EnterGlonassOffset(double tauC, int dayNumber) {
    for (GlonassTimeOffset& entry : glonassOffsets) {
        if (entry.dayNumber != dayNumber) continue;
        if (entry.tauC != tauC || std::isnan(entry.tauC)) {
            entry.tauC = tauC;
            return;
        }
        break;
    }
    try {
        glonassOffsets.push_back({tauC, dayNumber});
    } catch (...) {
        // Without the entry the records of that day get no tau-c.
    }
}

void CEphemerisStore::AddGlonassTimeOffset(double tauC, int dayNumber) { EnterGlonassOffset(tauC, dayNumber); }

// Compares a new GLONASS record with those held for its satellite that may
// come from the same upload (same day number, received within 18 hours).
int CEphemerisStore::ScreenGlonass(const GloEphemerisRecord& record) {
    std::vector<IEphemeris*>& list = records[kGlonass][record.prn];
    for (auto it = list.begin(); it != list.end(); ++it) {
        const GloEphemerisRecord& held = static_cast<const CEphemerisGLO*>(*it)->Record();
        if (held.NT != record.NT || std::fabs(held.receptionTime - record.receptionTime) >= kGlonassScreenWindow)
            continue;
        const double distance = Distance3(held.position, record.position);
        if (distance < kGlonassSamePositionKm) {
            if (held.tb == record.tb) return kGlonassRepeat;
            Report(2, "Rejected R%02d ephemeris records with same position but different tb (%d and %d)", record.prn,
                   held.tb, record.tb);
        } else {
            if (held.tb != record.tb) continue;
            if (distance <= kGlonassSameTbToleranceKm) return kGlonassRejected;
            Report(2, "Rejected R%02d ephemeris records with different position but same tb (%d)", record.prn,
                   record.tb);
        }
        // One of the two is wrong and there is no telling which: both go.
        delete *it;
        list.erase(it);
        return kGlonassRejected;
    }
    return kGlonassNew;
}

bool CEphemerisStore::AddGlonass(const GloEphemerisRecord& record) {
    if (!SatelliteId(kGlonass, record.prn).IsValid()) return false;
    if (record.tb % kGlonassTbStep != 0) {
        Report(3, "Rejected R%02d ephemeris with tb = %d", record.prn, record.tb);
        return false;
    }
    switch (ScreenGlonass(record)) {
        case kGlonassRepeat: return true;
        case kGlonassRejected: return false;
        default: break;
    }

    auto* ephemeris = new (std::nothrow) CEphemerisGLO(record);
    if (ephemeris == nullptr) return false;
    std::vector<IEphemeris*>& list = records[kGlonass][record.prn];
    const double leapSeconds = LeapSecondsAt(gpsRange.first);
    if (leapSeconds >= 1.0) {
        GpsTime reference;
        bool resolved;
        if (!list.empty() && list.back()->GetReferenceTime(reference))
            resolved = ephemeris->ResolveGpsTime(reference, leapSeconds, message);
        else
            resolved = ephemeris->ResolveGpsTimeInRange(gpsRange, leapSeconds, message);
        if (!resolved) {
            delete ephemeris;
            return false;
        }
    }
    if (std::fabs(record.tauC) > 0.0 && record.NT != 0) EnterGlonassOffset(record.tauC, record.NT);
    const int result = Insert(kGlonass, record.prn, ephemeris);
    if (result != kInserted) delete ephemeris;
    return result != kInvalid;
}
