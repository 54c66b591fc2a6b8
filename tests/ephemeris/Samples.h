#pragma once
// Broadcast records with realistic values for each constellation, and the small tools the ephemeris tests share.
#include <cstdio>
#include <string>
#include <vector>

#include "ephemeris/EphemerisGLO.h"
#include "ephemeris/EphemerisRecords.h"
#include "ephemeris/TextRecord.h"

namespace sample {

inline KeplerElements GpsElements() {
    return {.week = 2300, .toe = 345600, .sqrtA = 5153.65531158, .e = 0.0102386563178, .i0 = 0.961622154371,
            .Omega0 = -2.01234567891, .omega = 0.812345678901, .M0 = 1.23456789012, .deltaN = 4.51304515454e-09,
            .OmegaDot = -8.10212347018e-09, .IDOT = 2.10723348006e-10, .Cuc = -1.21630728245e-06,
            .Cus = 7.51577317715e-06, .Crc = 230.53125, .Crs = -22.34375, .Cic = 1.11758708954e-07,
            .Cis = -5.21540641785e-08, .toc = 345600, .af0 = -1.23431812972e-04, .af1 = -3.41060513165e-12,
            .af2 = 0.0, .TGD = -1.11758708954e-08, .IODC = 77, .IODE = 77};
}

inline GpsEphemerisRecord Gps(int prn = 5, int toe = 345600, int iode = 77) {
    GpsEphemerisRecord r{GpsElements(), prn};
    r.elements.toe = r.elements.toc = toe, r.elements.IODE = r.elements.IODC = iode;
    return r;
}

// QZS-2 like, on its inclined quasi-zenith orbit (e = 0.075).
inline QzssEphemerisRecord QzssQuasiZenith() {
    QzssEphemerisRecord r{GpsElements(), 2, 0, 1, 7.29238e-05, 2.4, 0};
    KeplerElements& k = r.elements;
    k.sqrtA = 6493.28417206, k.e = 0.0750136254448, k.i0 = 0.712803224851, k.omega = -1.56879843228;
    k.M0 = 0.4512345, k.deltaN = 1.80007497755e-09, k.OmegaDot = -2.21437795968e-09;
    k.Crc = -401.25, k.Crs = 318.5, k.toe = k.toc = 349200;
    return r;
}

// Week 1276 is GPS week 2300; both navigation messages, with different clocks.
inline GalEphemerisRecord Galileo() {
    KeplerElements k = GpsElements();
    k.week = 1276, k.toe = k.toc = 345000, k.sqrtA = 5440.61264992, k.e = 0.000310744042508, k.i0 = 0.977460219381;
    k.deltaN = 2.82154324856e-09, k.Crc = 196.4375, k.Crs = 4.96875;
    k.af0 = 4.56789e-04, k.af1 = 1.2e-12, k.af2 = 0.0, k.TGD = 0.0, k.IODC = k.IODE = 101;
    return {k, 11, true, 2.561137080193e-09, 0, 0, true, 345000, 4.56812e-04, 1.1e-12, 0.0, 2.79396772385e-09,
            0, 0, 0, 0, 107, 0, 0.0};
}

// BeiDou MEO, times in BeiDou time (week 944 is GPS week 2300).
inline BdsEphemerisRecord BeiDouMeo() {
    BdsEphemerisRecord r{GpsElements(), 23, 2, 4.85, -3.1e-09, 0, 0, 0.0};
    KeplerElements& k = r.elements;
    k.week = 944, k.sqrtA = 5282.62637329, k.e = 0.00123456789, k.i0 = 0.959931, k.deltaN = 3.93016370964e-09;
    k.TGD = 8.2e-09, k.af0 = 2.5e-04, k.af1 = 5.1e-11, k.af2 = 1.0e-19;
    return r;
}

// BeiDou GEO at 140 E, in its tilted reference plane.
inline BdsEphemerisRecord BeiDouGeo() {
    BdsEphemerisRecord r = BeiDouMeo();
    KeplerElements& k = r.elements;
    k.sqrtA = 6493.43505859, k.e = 0.000512345, k.i0 = 0.0871234, k.Omega0 = 2.9123456, k.omega = 2.75;
    k.M0 = -2.5, k.OmegaDot = 1.3e-09, k.deltaN = 1.1e-09, k.Crc = -550.2, k.Crs = 210.5, r.prn = 3;
    return r;
}

// tb 46800 is 13:00 Moscow time; no GPS time yet.
inline GloEphemerisRecord Glonass() {
    return {9, 0, 45000, 46800, 9.094947e-13f, -4.1779130697e-05f, {7003.00878906, -12206.6269531, 21280.765625},
            {0.783541679382, 2.80425262451, 1.35251522064}, {0.0, 1.86264514923e-09, -2.79396772385e-09},
            0, 0, 3, -2, 9, 1, 0.0, false, 0.0, 0.0, 0.0, 0.0, 0};
}

// With its GPS time set, as the file reader yields it, received at that time.
inline GloEphemerisRecord GlonassAt(double gpsSeconds, int tb = 46800) {
    GloEphemerisRecord r = Glonass();
    r.tb = tb, r.gpsWeek = 2300, r.gpsSeconds = gpsSeconds;
    r.hasReceptionTime = true, r.receptionTime = 2300 * 604800.0 + gpsSeconds;
    return r;
}

}  // namespace sample

namespace ephtest {

// What a CEphemerisStore reports to its host: the level, a blank, the words.
using Texts = std::vector<std::string>;
inline Texts& Reports() {
    static Texts list;
    return list;
}
inline void Record(int level, double, const char* text) { Reports().push_back(std::to_string(level) + " " + text); }

inline bool Parse(std::string text, TextRecord& record) {
    FILE* f = fmemopen(text.data(), text.size(), "r");
    const bool ok = record.Read(f);
    std::fclose(f);
    return ok;
}

// The text record an ephemeris writes.
inline std::string Written(const GNSS::IEphemeris& e) {
    FILE* f = std::tmpfile();
    e.WriteRecord(f);
    std::string text(static_cast<size_t>(std::ftell(f)), '\0');
    std::rewind(f);
    text.resize(std::fread(text.data(), 1, text.size(), f));
    std::fclose(f);
    return text;
}

}  // namespace ephtest
