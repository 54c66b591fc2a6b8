#include "positioning/SinglePointOptions.h"

#include <algorithm>
#include <strings.h>

bool CSatelliteExclusionList::IsConstellationExcluded(GnssConstellation constellation) const {
    return std::find(constellations.begin(), constellations.end(), constellation) != constellations.end();
}

bool CSatelliteExclusionList::IsExcluded(const SatelliteId& id) const {
    if (IsConstellationExcluded(id.constellation)) return true;
    for (const Entry& entry : entries) {
        if (entry.id != id || !entry.active) continue;
        if (entry.name[0] == '\0' || strcasecmp(entry.name, "ALL") == 0) return true;
    }
    return false;
}

void CSatelliteExclusionList::ExcludeConstellation(GnssConstellation constellation) {
    if (!IsConstellationExcluded(constellation)) constellations.push_back(constellation);
}

void CSatelliteExclusionList::ExcludeSatellite(const SatelliteId& id) {
    Entry entry;
    entry.id = id;
    entries.push_back(entry);
}
