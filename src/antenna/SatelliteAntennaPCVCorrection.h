#pragma once
// The satellite antennas of an ANTEX file, kept per satellite for the time
// range a caller works in. Besides the calibrations they tell, by the block
// type, which BeiDou and QZSS satellites are geostationary or inclined.
#include <cstdio>
#include <memory>
#include <vector>

#include "antenna/AntennaPCVoptions.h"
#include "antenna/SatelliteAntennaRecord.h"
#include "rawfile/GnssTypes.h"
#include "timebase/GpsTime.h"

using SatelliteAntennaList = std::vector<SatelliteAntennaRecord>;

inline constexpr int kAntexVersionSize = 10;

class CSatelliteAntennaPCVCorrection : public CAntennaPCVoptions {
public:
    CSatelliteAntennaPCVCorrection();
    ~CSatelliteAntennaPCVCorrection() override;
    CSatelliteAntennaPCVCorrection(const CSatelliteAntennaPCVCorrection&) = delete;
    CSatelliteAntennaPCVCorrection& operator=(const CSatelliteAntennaPCVCorrection&) = delete;

    // Reads the satellite antennas valid in timeRange; true if at least one
    // was taken. options null: the defaults. path null: the installation's
    // manufact.atx. error, if not null, receives the reasons of a failure
    // (kAntennaErrorSize bytes, appended to). With a valid range that the
    // loaded one covers already, and the same file (or none named), nothing
    // is read. An invalid range takes the records of all times.
    bool Load(const CAntennaPCVoptions* options, const GpsTimeRange& timeRange, const char* path,
              char* error = nullptr);
    // The orbit class (kOrbitClass...) of the block type of the satellite's
    // antenna at the time; kOrbitClassUnknown when no record holds it.
    int OrbitClassAt(const SatelliteId& id, const GpsTime& time) const;
    void Clear();

    // The satellite's records in file order; null when it has none.
    const SatelliteAntennaList* Records(const SatelliteId& id) const;
    // The first record of the satellite that holds the time, or null.
    const SatelliteAntennaRecord* RecordAt(const SatelliteId& id, const GpsTime& time) const;
    int RecordCount() const;

    const char* LoadedName() const { return loadedName; }
    const char* Version() const { return version; }
    char SystemLetter() const { return systemLetter; }
    char PcvType() const { return pcvType; }
    const GpsTimeRange& LoadedRange() const { return loadedRange; }

private:
    bool ReadHeader(FILE* file, char* error);
    // The antenna blocks of the file after its header; true if any was taken.
    bool ReadRecords(FILE* file, const GpsTimeRange& timeRange, bool rangeValid);

    char loadedName[kAntennaNameSize] = {};
    char version[kAntexVersionSize] = {};
    char systemLetter = '\0';
    char pcvType = '\0';
    GpsTimeRange loadedRange{};
    std::unique_ptr<SatelliteAntennaList> records[kStoredConstellations][kPrnTableSize];
};
