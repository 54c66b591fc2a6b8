#pragma once
// The one place where the rest of the system asks for a satellite's
// position, velocity and clock at a time. It owns the broadcast ephemeris
// store, slots for precise and near-real-time products, and the satellite
// antenna tables; it chooses the source by a mode, and tells the user when
// a satellite's source changes, a few times at most per satellite.
#include <cstdint>
#include <memory>
#include <vector>

#include "positioning/PreciseSources.h"
#include "rawfile/GnssEpoch.h"
#include "rawfile/GnssTypes.h"
#include "timebase/GpsTime.h"

class CEphemerisStore;
class CSatelliteAntennaPCVCorrection;

// The L1/E1/B1C carrier wavelength, metres.
inline constexpr double kL1Wavelength = 0.19029367279836487;

// Where a satellite's orbit and clock came from.
enum OrbitSource : int32_t { kNoOrbitSource = 0, kBroadcastOrbit = 1, kPreciseOrbit = 2, kNrtOrbit = 3 };
enum ClockSource : int32_t {
    kNoClockSource = 0,
    kBroadcastClock = 1,
    kClockFromPreciseOrbit = 2,
    kPreciseClock = 3,
    kNrtClock = 4,
};

// Which sources a computation may use, and in what order.
enum SourceMode : int32_t {
    kProductsThenBroadcast = 0,
    kBroadcastThenProducts = 1,
    kProductsOnly = 2,
    kBroadcastOnly = 3,
};
inline constexpr int kSourceModes = 4;

class CSatelliteService {
public:
    // level 2 is a warning for the user, 3 a note; time -1.0 for none.
    using MessageFunction = void (*)(int level, double time, const char* text);

    explicit CSatelliteService(MessageFunction callback);
    ~CSatelliteService();
    CSatelliteService(const CSatelliteService&) = delete;
    CSatelliteService& operator=(const CSatelliteService&) = delete;

    // Empties the sources and the antenna tables (keeping the objects) and
    // restarts the source-change warnings.
    void Reset();

    // Reads a .epp file into the broadcast store and then the installation's
    // satellite antenna file over the days the ephemerides cover. A failed
    // antenna load does not fail the ephemeris load. errorText (512 bytes)
    // may be null; clearFirst empties the store first.
    bool LoadBroadcastEphemeris(const char* path, char* errorText, bool clearFirst);

    // time: reception time on the satellite system's scale, corrected by the
    // receiver clock; range: pseudorange less the receiver clock, metres.
    // clockMetres is the satellite clock times c, to be added to the
    // pseudorange. A failure's words go to errorText behind the satellite's
    // name, or to the callback as a note when errorText is null.
    bool ComputeSatellite(const SatelliteId& satellite, const GpsTime& time, const double receiverPosition[3],
                          double range, double position[3], double velocity[3], double& clockMetres, int mode,
                          char* errorText);

    // Azimuth in (-pi, pi], elevation, and the angle at the satellite
    // between the Earth's centre and the receiver; radians.
    static void ComputeAzimuthElevation(const GeodeticPosition& geodetic, const double receiverPosition[3],
                                        const double satellitePosition[3], double& azimuth, double& elevation,
                                        double& nadir);

    // The broadcast Klobuchar delay, metres and negative.
    bool IonosphereDelay(const GpsTime& time, const GeodeticPosition& geodetic, double elevation, double azimuth,
                         double& delay, char* errorText);
    bool GetEphemerisTimeRange(GpsTimeRange& range) const;
    // Carrier wavelength of a band of a satellite, metres; GLONASS needs
    // the satellite's channel from the store.
    bool GetWavelength(const SatelliteId& satellite, int band, double& wavelength) const;
    // The week of the first GPS ephemeris whose reference time lies within
    // tolerance seconds of secondsOfWeek; 0 when there is none.
    uint16_t FindGpsWeek(double secondsOfWeek, double tolerance) const;

    CEphemerisStore* Broadcast() { return broadcast.get(); }
    const CEphemerisStore* Broadcast() const { return broadcast.get(); }
    CSatelliteAntennaPCVCorrection* Antenna() { return antenna.get(); }
    std::vector<int32_t>& ExcludedConstellations() { return excludedConstellations; }
    int32_t OrbitSourceUsed() const { return orbitSource; }
    int32_t ClockSourceUsed() const { return clockSource; }

    // Slots for products; a product is supplied by assigning it.
    std::unique_ptr<IOrbitProduct> preciseOrbit;
    std::unique_ptr<IClockProduct> preciseClock;
    std::unique_ptr<IOrbitProduct> nrtOrbit;

private:
    bool LoadAntennaAfterEphemeris(char* errorText);
    bool TryBroadcast(const SatelliteId& satellite, const GpsTime& time, const double receiverPosition[3],
                      double range, double position[3], double velocity[3], double& clockMetres, char* errorText);
    bool TryNrt(const SatelliteId& satellite, const GpsTime& time, const double receiverPosition[3], double range,
                double position[3], double velocity[3], double& clockMetres, char* errorText);
    bool TryPrecise(const SatelliteId& satellite, const GpsTime& time, const double receiverPosition[3],
                    double range, double position[3], double velocity[3], double& clockMetres, char* errorText);
    // The orbit of a product, with the clock in hand when clockSource says
    // there is one, else with the product's own clock.
    bool ComputeProductState(IOrbitProduct& product, const SatelliteId& satellite, const GpsTime& time,
                             const double receiverPosition[3], double range, double bias, double position[3],
                             double velocity[3], double& clockMetres, char* errorText);
    // A source change of one kind, capped per satellite.
    void WarnSourceChange(const SatelliteId& satellite, int32_t (&counts)[kStoredConstellations][kPrnTableSize],
                          const char* text, const char* closing, char* errorText);
    // A failure's words: to errorText when given, else to the callback as a note.
    void Tell(const char* text, char* errorText) const;
    void Send(int level, const char* text) const;

    MessageFunction messageCallback;
    char messageText[512] = {};
    int32_t lastOrbitSource[kSourceModes] = {};
    int32_t lastClockSource[kSourceModes] = {};
    int32_t orbitSource = kNoOrbitSource;
    int32_t clockSource = kNoClockSource;
    int32_t clockWarnings[kStoredConstellations][kPrnTableSize] = {};
    int32_t orbitWarnings[kStoredConstellations][kPrnTableSize] = {};
    std::unique_ptr<CEphemerisStore> broadcast;
    uint32_t storeOption = 0;       // the store's Galileo message filter; all messages here
    uint8_t spareOption = 0;
    std::vector<int32_t> excludedConstellations;
    std::unique_ptr<CSatelliteAntennaPCVCorrection> antenna;
};
