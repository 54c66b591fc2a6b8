#pragma once
// The one container of broadcast ephemerides of a conversion. The decoders
// add records as they are assembled, the .epp reader fills it again from a
// file, and positioning asks it for satellite positions and clocks. It also
// keeps the GPS ionosphere model, the GNSS time offsets and the GLONASS
// tau-c table.
#include <cstdint>
#include <vector>

#include "ephemeris/EphemerisRecords.h"
#include "ephemeris/IEphemeris.h"
#include "rawfile/GnssTypes.h"
#include "timebase/GpsTime.h"

class CUtcOffset;
class CSatelliteAntennaPCVCorrection;
struct GeodeticPosition;

// Klobuchar coefficients of the GPS navigation message.
struct IonosphereModelRecord {
    int32_t flags;        // kIonosphereModelValid when the coefficients are usable
    double alpha[4];
    double beta[4];
};
inline constexpr int32_t kIonosphereModelValid = 1 << 1;

// One line of the STcorr record: a GNSS time offset polynomial.
struct TimeOffsetRecord {
    char name[8];         // one of kTimeOffsetNames
    int16_t week;
    int32_t tot;
    double a0;
    double a1;
    char source[8];
    int8_t utcId;
};
static_assert(sizeof(TimeOffsetRecord) == 48);

inline constexpr int kTimeOffsetNameCount = 9;
extern const char* const kTimeOffsetNames[kTimeOffsetNameCount];

// GLONASS time scale correction of one day of the four-year interval.
struct GlonassTimeOffset {
    double tauC;
    int32_t dayNumber;
};

class CEphemerisStore {
public:
    // level 2 is a warning for the user, 3 a note; time -1.0 for none.
    using MessageFunction = void (*)(int level, double time, const char* text);

    enum InsertResult : int { kInserted = 0, kRepeated = 1, kInvalid = 2 };

    explicit CEphemerisStore(MessageFunction host = nullptr);
    ~CEphemerisStore();
    CEphemerisStore(const CEphemerisStore&) = delete;
    CEphemerisStore& operator=(const CEphemerisStore&) = delete;

    // Records from the decoders; true when kept or when a repeat of a kept one.
    bool AddGps(const GpsEphemerisRecord& record);
    bool AddBeiDou(const BdsEphemerisRecord& record);
    bool AddGalileo(const GalEphemerisRecord& record);
    bool AddQzss(const QzssEphemerisRecord& record);
    // With the screening of GLONASS records against those already held.
    bool AddGlonass(const GloEphemerisRecord& record);
    void AddGlonassTimeOffset(double tauC, int dayNumber);

    // kInserted: the store owns the object now. kRepeated (a Galileo repeat
    // is merged into the held record first) and kInvalid: the caller still
    // owns it and deletes it.
    int Insert(GnssConstellation constellation, int prn, GNSS::IEphemeris* ephemeris);

    // Position (m), velocity (m/s) and clock (m) of a satellite for a
    // reception time. receiverPosition may be null; with its second and
    // third coordinates zero no light-time iteration is made. errorText, if
    // not null, receives the words of any report (512 bytes).
    bool ComputeSatelliteState(const SatelliteId& satellite, const GpsTime& receptionTime,
                               const double* receiverPosition, double rangeEstimate, double position[3],
                               double velocity[3], double& clockMetres, char* errorText = nullptr);

    // Picks the record of a vector for a time, starting at cursor, which it
    // moves; false when none is usable.
    static bool SelectRecord(const std::vector<GNSS::IEphemeris*>& records, int32_t& cursor, const GpsTime& time);

    // The broadcast Klobuchar model at the receiver: delay in metres,
    // negative, to be added to the pseudorange of L1. False with "No valid
    // broadcast GPS ephemeris ionospheric model." when none is held.
    // elevation and azimuth in radians.
    bool KlobucharDelay(const GpsTime& time, const GeodeticPosition& geodetic, double elevation, double azimuth,
                        double& delay, char* errorText) const;
    // KlobucharDelay screened by receiver height: none above the
    // ionosphere, and a report for heights inside it.
    bool IonosphereDelay(const GpsTime& time, const GeodeticPosition& geodetic, double elevation, double azimuth,
                         double& delay, char* errorText);
    // Gives every record the orbit class of its satellite at its reference
    // time, so that geostationary satellites are known.
    void SetSatelliteTypes(const CSatelliteAntennaPCVCorrection& antennaData);

    // -8 when the satellite has no record.
    int GetGlonassChannel(const SatelliteId& satellite) const;
    // Channels -7 to +6 are the ones the GLONASS frequency plan assigns.
    static bool IsValidGlonassChannel(int channel) { return channel >= -7 && channel <= 6; }
    bool HasRecords(const SatelliteId& satellite) const;
    // An empty list for an invalid satellite.
    const std::vector<GNSS::IEphemeris*>& GetRecords(const SatelliteId& satellite) const;
    // The range of the reference times widened by two hours each side.
    bool GetTimeRange(GpsTimeRange& range) const;

    void Clear();
    void ClearRecords(bool alsoIonosphere);
    void ResolveGlonassWeeks();
    void ComputeTimeRange();
    // Stops at the first GLONASS pair of different tb but the same place;
    // true when one was found.
    bool ScreenGlonassDuplicates();
    // Each satellite's records in time order; true if any GLONASS record exists.
    bool SortRecords();

    // Reports through the host and keeps the words in Message().
    void Report(int level, const char* format, ...) __attribute__((format(printf, 3, 4)));
    const char* Message() const { return message; }

    const IonosphereModelRecord& Ionosphere() const { return ionosphere; }
    void SetIonosphere(const IonosphereModelRecord& model) { ionosphere = model; }
    const std::vector<TimeOffsetRecord>& TimeOffsets() const { return timeOffsets; }
    // False when an offset of that name is held already; the first one stands.
    bool AddTimeOffset(const TimeOffsetRecord& offset);
    const std::vector<GlonassTimeOffset>& GlonassOffsets() const { return glonassOffsets; }
    void SortGlonassOffsets();

    // GPS minus UTC in whole seconds at a time, from the installation's
    // offset table; a failed lookup is reported as a note and counts as 0,
    // which leaves GLONASS times unresolved.
    double LeapSecondsAt(const GpsTime& time);

    const GpsTimeRange& GpsRange() const { return gpsRange; }
    void ExtendGpsRange(const GpsTime& time) { gpsRange.Extend(time.week, time.seconds); }
    bool IsEnabled(GnssConstellation constellation) const;
    void SetEnabled(GnssConstellation constellation, bool keep);
    int GalileoFilter() const { return galileoFilter; }
    void SetGalileoFilter(int filter) { galileoFilter = filter; }
    bool GlonassTimePending() const { return glonassTimePending; }
    void SetGlonassTimePending() { glonassTimePending = true; }
    bool GlonassDuplicate() const { return glonassDuplicate; }
    bool IsSeen(GnssConstellation constellation) const;
    const std::vector<SatelliteId>& Missing() const { return missing; }

private:
    std::vector<GNSS::IEphemeris*>* Records(GnssConstellation constellation, int prn);
    // Completes an Add: 0 keeps, 1 drops a repeat (true), 2 drops (false).
    bool Keep(GnssConstellation constellation, int prn, GNSS::IEphemeris* ephemeris);
    enum GlonassScreening { kGlonassNew, kGlonassRepeat, kGlonassRejected };
    int ScreenGlonass(const GloEphemerisRecord& record);
    void EnterGlonassOffset(double tauC, int dayNumber);

    MessageFunction host;
    char message[kEphemerisMessageSize] = {};
    GpsTimeRange timeRange{};
    GpsTimeRange gpsRange{};
    IonosphereModelRecord ionosphere{};
    std::vector<GNSS::IEphemeris*> records[kStoredConstellations][kPrnTableSize];
    int32_t cursor[kStoredConstellations][kPrnTableSize] = {};
    std::vector<TimeOffsetRecord> timeOffsets;
    bool enabled[kStoredConstellations] = {true, true, true, true, true};
    int32_t galileoFilter = 0;   // 0 all; 1 F/NAV only; 2 I/NAV only
    bool seen[kStoredConstellations] = {};
    std::vector<SatelliteId> missing;
    bool warned[kStoredConstellations][kPrnTableSize] = {};
    bool glonassTimePending = true;
    CUtcOffset* leapTable = nullptr;   // made on the first lookup
    bool glonassDuplicate = false;
    std::vector<GlonassTimeOffset> glonassOffsets;
};
