#include "ephemeris/KeplerText.h"

#include <cmath>
#include <cstdarg>

#include "ephemeris/IEphemeris.h"

void FormatEphemerisMessage(char* message, const char* format, ...) {
    if (message == nullptr) return;
    va_list args;
    va_start(args, format);
    std::vsnprintf(message, kEphemerisMessageSize, format, args);
    va_end(args);
}

void WriteKeplerBlock(FILE* file, const KeplerElements& k) {
    std::fprintf(file, "\tE31: %d %d %.8e\n", k.week, k.toe, k.TGD);
    std::fprintf(file, "\tE32: %d %d %.8e %.8e %.8e\n", k.IODC, k.toc, k.af0, k.af1, k.af2);
    std::fprintf(file, "\tE33: %d %.14le %.14le\n", k.IODE, k.sqrtA, k.e);
    std::fprintf(file, "\tE34: %.14le %.14le %.14le\n", k.omega, k.Omega0, k.OmegaDot);
    std::fprintf(file, "\tE35: %.14le %.8e %.8e %.14le\n", k.i0, k.IDOT, k.deltaN, k.M0);
    std::fprintf(file, "\tE36: %.8e %.8e %.8e\n", k.Cuc, k.Crc, k.Cic);
    std::fprintf(file, "\tE37: %.8e %.8e %.8e\n", k.Cus, k.Crs, k.Cis);
}

bool ReadKeplerBlock(TextRecord& text, int version, KeplerElements& k) {
    if (version == 1) {
        int dropped = 0;
        if (ScanField("E31:", text, "%d%d%d%lf", &k.week, &k.toe, &dropped, &k.TGD) != 4) return false;
    } else {
        if (ScanField("E31:", text, "%d%d%lf", &k.week, &k.toe, &k.TGD) != 3) return false;
    }
    if (ScanField("E32:", text, "%d%d%lf%lf%lf", &k.IODC, &k.toc, &k.af0, &k.af1, &k.af2) != 5) return false;
    if (ScanField("E33:", text, "%d%lf%lf", &k.IODE, &k.sqrtA, &k.e) != 3) return false;
    if (ScanField("E34:", text, "%lf%lf%lf", &k.omega, &k.Omega0, &k.OmegaDot) != 3) return false;
    if (ScanField("E35:", text, "%lf%lf%lf%lf", &k.i0, &k.IDOT, &k.deltaN, &k.M0) != 4) return false;
    if (ScanField("E36:", text, "%lf%lf%lf", &k.Cuc, &k.Crc, &k.Cic) != 3) return false;
    if (ScanField("E37:", text, "%lf%lf%lf", &k.Cus, &k.Crs, &k.Cis) != 3) return false;
    return true;
}

bool ReadKeplerBlockVersion0(TextRecord& text, KeplerElements& k) {
    int dropped = 0;
    if (ScanField("El1:", text, "%d%d%lf%d%d", &k.week, &dropped, &k.TGD, &k.IODC, &k.toc) != 5) return false;
    if (ScanField("El2:", text, "%lf%lf%lf", &k.af2, &k.af1, &k.af0) != 3) return false;
    if (ScanField("El3:", text, "%d%lf%lf%lf", &k.IODE, &k.Crs, &k.deltaN, &k.M0) != 4) return false;
    if (ScanField("El4:", text, "%lf%lf%lf%lf", &k.Cuc, &k.e, &k.Cus, &k.sqrtA) != 4) return false;
    if (ScanField("El5:", text, "%d%lf%lf%lf", &k.toe, &k.Cic, &k.Omega0, &k.Cis) != 4) return false;
    if (ScanField("El6:", text, "%lf%lf%lf%lf%lf", &k.i0, &k.Crc, &k.omega, &k.OmegaDot, &k.IDOT) != 5) return false;
    return true;
}

bool AllFinite(std::initializer_list<double> values) {
    for (double value : values)
        if (!std::isfinite(value)) return false;
    return true;
}

void FormatOutOfRangeMessage(char* message, int prn) {
    FormatEphemerisMessage(message, "Error: Ephemeris record of PRN %d holds a value out of range--Ephemeris record ignored",
                           prn);
}

bool CheckKeplerValues(const KeplerElements& k, int prn, char* message, std::initializer_list<double> extra) {
    const bool sound = k.week >= 0 && k.week <= kMaxEphemerisWeek && AllFinite(extra) &&
                       AllFinite({k.sqrtA, k.e, k.i0, k.Omega0, k.omega, k.M0, k.deltaN, k.OmegaDot, k.IDOT, k.Cuc,
                                  k.Cus, k.Crc, k.Crs, k.Cic, k.Cis, k.af0, k.af1, k.af2, k.TGD});
    if (!sound) FormatOutOfRangeMessage(message, prn);
    return sound;
}
