#pragma once
// The flat ephemeris records: what the navigation message assemblers and the
// RXM-EPH decoder yield, what the ephemeris classes hold, copied whole.
#include <cstdint>

// The Keplerian block of GPS, BeiDou, Galileo and QZSS. Angles are radians,
// already multiplied by pi at decoding.
struct KeplerElements {
    int32_t week;      // week of the constellation's own time
    int32_t toe;       // seconds of that week
    double sqrtA;
    double e;
    double i0;
    double Omega0;
    double omega;
    double M0;
    double deltaN;
    double OmegaDot;
    double IDOT;
    double Cuc, Cus, Crc, Crs, Cic, Cis;
    int32_t toc;
    double af0, af1, af2;
    double TGD;        // BeiDou: TGD1; Galileo: stays 0
    int32_t IODC;      // BeiDou: AODC; Galileo: IODnav
    int32_t IODE;      // BeiDou: AODE; Galileo: IODnav
};

struct GpsEphemerisRecord {
    KeplerElements elements;
    int32_t prn;
};

struct BdsEphemerisRecord {
    KeplerElements elements;
    int32_t prn;
    int32_t urai;      // URA index
    double ura;        // metres
    double tgd2;       // seconds
    int32_t satH1;
    int16_t gpsWeek;   // derived: BeiDou week + 1356
    double gpsSeconds; // derived: toe + 14
};

struct QzssEphemerisRecord {
    KeplerElements elements;
    int32_t prn;
    uint32_t health;   // the six health bits
    int32_t antiSpoof;
    double meanMotion; // corrected mean motion, rad/s
    double ura;        // metres
    uint16_t fitFlag;
};

struct GalEphemerisRecord {
    KeplerElements elements;   // toc, af0..af2, TGD are the F/NAV clock
    int16_t prn;
    bool fNavValid;
    double bgdE1E5a;
    uint8_t e5aHealth;
    uint8_t e5aDataValidity;
    bool iNavValid;
    int32_t iNavToc;
    double iNavAf0, iNavAf1, iNavAf2;
    double bgdE1E5b;
    uint8_t e1bHealth, e5bHealth, e1bDataValidity, e5bDataValidity, sisa;
    int16_t gpsWeek;           // derived: Galileo week + 1024
    double gpsSeconds;
};

struct GloEphemerisRecord {
    int32_t prn;           // orbital slot
    int32_t spare;         // second number of the Prn: line, kept, never used
    int32_t tk;            // seconds
    int32_t tb;            // seconds
    float gamma;           // relative frequency offset
    float minusTau;        // -tauN, seconds
    double position[3];    // km, PZ-90
    double velocity[3];    // km/s
    double acceleration[3];// km/s2, luni-solar
    int32_t En;            // age, days
    int32_t Bn;            // health
    int32_t pFlags;        // P1 bits 0-1, P2 bit 2, P3 bit 3
    int32_t channel;       // frequency channel k
    int32_t satelliteNumber;
    int32_t NT;            // day number
    double tauC;           // GLONASS time scale correction, seconds
    bool hasReceptionTime;
    double receptionTime;  // absolute GPS seconds
    double f1, f2;         // Hz
    double gpsSeconds;
    int32_t gpsWeek;
};
