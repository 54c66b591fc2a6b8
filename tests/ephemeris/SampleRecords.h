#pragma once
// Broadcast records with realistic values for each constellation.
#include "ephemeris/EphemerisRecords.h"

namespace sample {

inline KeplerElements GpsElements() {
    KeplerElements k{};
    k.week = 2300;
    k.toe = 345600;
    k.sqrtA = 5153.65531158;
    k.e = 0.0102386563178;
    k.i0 = 0.961622154371;
    k.Omega0 = -2.01234567891;
    k.omega = 0.812345678901;
    k.M0 = 1.23456789012;
    k.deltaN = 4.51304515454e-09;
    k.OmegaDot = -8.10212347018e-09;
    k.IDOT = 2.10723348006e-10;
    k.Cuc = -1.21630728245e-06;
    k.Cus = 7.51577317715e-06;
    k.Crc = 230.53125;
    k.Crs = -22.34375;
    k.Cic = 1.11758708954e-07;
    k.Cis = -5.21540641785e-08;
    k.toc = 345600;
    k.af0 = -1.23431812972e-04;
    k.af1 = -3.41060513165e-12;
    k.af2 = 0.0;
    k.TGD = -1.11758708954e-08;
    k.IODC = 77;
    k.IODE = 77;
    return k;
}

inline GpsEphemerisRecord Gps() {
    GpsEphemerisRecord r{};
    r.elements = GpsElements();
    r.prn = 5;
    return r;
}

// QZS-2 like, on its inclined quasi-zenith orbit (e = 0.075).
inline QzssEphemerisRecord QzssQuasiZenith() {
    QzssEphemerisRecord r{};
    r.elements = GpsElements();
    KeplerElements& k = r.elements;
    k.sqrtA = 6493.28417206;
    k.e = 0.0750136254448;
    k.i0 = 0.712803224851;
    k.omega = -1.56879843228;
    k.M0 = 0.4512345;
    k.deltaN = 1.80007497755e-09;
    k.OmegaDot = -2.21437795968e-09;
    k.Crc = -401.25;
    k.Crs = 318.5;
    k.toe = 349200;
    k.toc = 349200;
    r.prn = 2;
    r.health = 0;
    r.antiSpoof = 1;
    r.meanMotion = 7.29238e-05;
    r.ura = 2.4;
    r.fitFlag = 0;
    return r;
}

// QZS-3 like, geostationary (e = 0.0002).
inline QzssEphemerisRecord QzssGeostationary() {
    QzssEphemerisRecord r = QzssQuasiZenith();
    r.elements.e = 0.000213987;
    r.elements.i0 = 0.0392712;
    r.elements.Crc = -12.5;
    r.elements.Crs = 43.1;
    r.prn = 7;
    return r;
}

inline GalEphemerisRecord Galileo() {
    GalEphemerisRecord r{};
    KeplerElements& k = r.elements;
    k = GpsElements();
    k.week = 1276;      // Galileo week: GPS week 2300
    k.toe = 345000;
    k.sqrtA = 5440.61264992;
    k.e = 0.000310744042508;
    k.i0 = 0.977460219381;
    k.deltaN = 2.82154324856e-09;
    k.Crc = 196.4375;
    k.Crs = 4.96875;
    k.toc = 345000;
    k.af0 = 4.56789e-04;
    k.af1 = 1.2e-12;
    k.af2 = 0.0;
    k.TGD = 0.0;
    k.IODC = k.IODE = 101;
    r.prn = 11;
    r.fNavValid = true;
    r.bgdE1E5a = 2.561137080193e-09;
    r.iNavValid = true;
    r.iNavToc = 345000;
    r.iNavAf0 = 4.56812e-04;
    r.iNavAf1 = 1.1e-12;
    r.iNavAf2 = 0.0;
    r.bgdE1E5b = 2.79396772385e-09;
    r.sisa = 107;
    return r;
}

// BeiDou MEO, times in BeiDou time.
inline BdsEphemerisRecord BeiDouMeo() {
    BdsEphemerisRecord r{};
    KeplerElements& k = r.elements;
    k = GpsElements();
    k.week = 944;       // GPS week 2300
    k.toe = 345600;
    k.toc = 345600;
    k.sqrtA = 5282.62637329;
    k.e = 0.00123456789;
    k.i0 = 0.959931;
    k.deltaN = 3.93016370964e-09;
    k.TGD = 8.2e-09;
    k.af0 = 2.5e-04;
    k.af1 = 5.1e-11;
    k.af2 = 1.0e-19;
    r.prn = 23;
    r.urai = 2;
    r.ura = 4.85;
    r.tgd2 = -3.1e-09;
    r.satH1 = 0;
    return r;
}

// BeiDou GEO at 140 E, in its tilted reference plane.
inline BdsEphemerisRecord BeiDouGeo() {
    BdsEphemerisRecord r = BeiDouMeo();
    KeplerElements& k = r.elements;
    k.sqrtA = 6493.43505859;
    k.e = 0.000512345;
    k.i0 = 0.0871234;
    k.Omega0 = 2.9123456;
    k.omega = 2.75;
    k.M0 = -2.5;
    k.OmegaDot = 1.3e-09;
    k.deltaN = 1.1e-09;
    k.Crc = -550.2;
    k.Crs = 210.5;
    r.prn = 3;
    return r;
}

inline GloEphemerisRecord Glonass() {
    GloEphemerisRecord r{};
    r.prn = 9;
    r.tk = 45000;
    r.tb = 46800;        // 13:00 Moscow time
    r.gamma = 9.094947e-13f;
    r.minusTau = -4.1779130697e-05f;
    r.position[0] = 7003.00878906;
    r.position[1] = -12206.6269531;
    r.position[2] = 21280.765625;
    r.velocity[0] = 0.783541679382;
    r.velocity[1] = 2.80425262451;
    r.velocity[2] = 1.35251522064;
    r.acceleration[0] = 0.0;
    r.acceleration[1] = 1.86264514923e-09;
    r.acceleration[2] = -2.79396772385e-09;
    r.En = 0;
    r.Bn = 0;
    r.pFlags = 3;
    r.channel = -2;
    r.satelliteNumber = 9;
    r.NT = 1;
    r.tauC = 0.0;
    return r;
}

}  // namespace sample
