#include "ephemeris/EphemerisFileHeader.h"

#include "conversion/FileNames.h"
#include "rawfile/TrvFile.h"

bool WriteEphemerisHeader(FILE* file, const char* firstText, const char* secondText) {
    if (file == nullptr) return false;
    char version[ublox2trv::kVersionTextSize];
    ublox2trv::FormatVersion(kThisProgramVersion, version, sizeof version);
    bool written = std::fprintf(file, "%s Ver%s", kEphemerisMagicV3B, version) > 0;
    if (firstText != nullptr) written = std::fprintf(file, " %s", firstText) > 0 && written;
    if (secondText != nullptr) written = std::fprintf(file, " %s", secondText) > 0 && written;
    return std::fputs("\n", file) >= 0 && written;
}
