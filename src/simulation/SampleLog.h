#pragma once
// A synthetic but physically consistent receiver log: a known station sees
// the satellites of SampleSky.h, and every pseudorange is the flight of the
// signal from the satellite's place at transmission to the station (with
// the Earth turning meanwhile), plus the receiver clock, less the
// satellite's broadcast clock, plus a Saastamoinen troposphere and the
// broadcast Klobuchar ionosphere scaled to the signal's frequency. Carrier
// phases take the ionosphere with the opposite sign and a whole number of
// cycles per satellite and signal; Dopplers are the rate of the phase. No
// noise is added: the log is the same byte for byte each time. Besides the
// measurements it carries the broadcast navigation words, positions, event
// marks and the clutter real logs carry (NMEA text, unknown records, damaged
// frames, garbage).
#include <cstdint>
#include <string>

#include "simulation/SignalDelays.h"
#include "simulation/UbxWriter.h"

namespace simulation {

struct SampleLogOptions {
    int week = 2300;
    double startTow = 345600.0;       // seconds of week of the first epoch
    int epochs = 600;
    double interval = 1.0;            // seconds
    double latitude = 52.2297;        // degrees
    double longitude = 21.0122;       // degrees
    double height = 110.0;            // metres
    double clockBias = 1.5e-4;        // receiver clock at the first epoch, seconds
    int markEvery = 30;               // a TIM-TM2 every N epochs; 0 none
    bool clutter = true;              // NMEA, unknown records, damaged frames, garbage
    bool navigation = true;           // RXM-SFRBX of GPS, Galileo, BeiDou (D1) and GLONASS every 30 s
    std::string systems = "GREC";     // constellations by letter: GPS, GLONASS, Galileo, BeiDou
    uint32_t seed = 7;
};

struct SampleLogStats {
    int epochs = 0;                   // measurement frames written (all accepted)
    int marks = 0;                    // TIM-TM2 with a valid time
    int positions = 0;
    int signals = 0;                  // signal blocks written
};

Bytes BuildSampleLog(const SampleLogOptions& options, SampleLogStats* stats = nullptr);

// What the log is made of, so that what is made of the log can be checked.
// Times are the week and second of week of the receiver's clock.

// Receiver clock minus GPS time, seconds.
double SampleReceiverClock(const SampleLogOptions& options, int week, double tow);
// The station, Earth-centred and Earth-fixed, metres.
void SampleStation(const SampleLogOptions& options, double ecef[3]);
// The Klobuchar coefficients that the log broadcasts in GPS subframe 4 page 18.
const KlobucharCoefficients& SampleIonosphereModel();

// The delays, in metres, that the pseudorange of a signal of a frequency
// (Hz) from a satellite at ecef carries; the phase carries the ionosphere
// with the opposite sign.
struct SampleDelays {
    double troposphere;
    double ionosphere;
};
SampleDelays SampleSignalDelays(const SampleLogOptions& options, int week, double tow, const double satellite[3],
                                double frequency);
// The frequency (Hz) of a constellation's first (0) or second (1) signal;
// GLONASS on its channel.
double SampleFrequency(char system, int signal, int glonassChannel);

}  // namespace simulation
