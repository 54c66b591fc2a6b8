// The orbit class of each held record from the satellite antenna data; run
// after the antenna file is read, so that IsGeostationary can answer.
#include "antenna/SatelliteAntennaPCVCorrection.h"
#include "ephemeris/EphemerisStore.h"

void CEphemerisStore::SetSatelliteTypes(const CSatelliteAntennaPCVCorrection& antennaData) {
    for (auto& byPrn : records)
        for (std::vector<GNSS::IEphemeris*>& list : byPrn)
            for (GNSS::IEphemeris* ephemeris : list) {
                SatelliteId id;
                GpsTime reference;
                if (!ephemeris->GetSatelliteId(id) || !id.IsValid() || !ephemeris->GetReferenceTime(reference))
                    continue;
                ephemeris->SetSatelliteType(antennaData.OrbitClassAt(id, reference));
            }
}
