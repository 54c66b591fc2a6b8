#pragma once
// The .epp broadcast ephemeris file: a header line and keyed text records
// (GpsIon, STcorr, GpsEph, BdsEph, QzsEph, GalEph, GloEph), written from and
// read into a CEphemerisStore.
#include <cstdio>

#include "ephemeris/EphemerisStore.h"
#include "timebase/GpsTime.h"

class TextRecord;

// Magics of the header line by file version: 2 is written, 1 and 0 are read.
inline constexpr const char* kEphemerisMagicVer3 = "$EPHVER3";
inline constexpr const char* kEphemerisMagicRec = "$EPHREC";

// Reads the file (a .trv name is turned into its .epp name) into the store;
// true if at least one record was kept. errorText, if not null, receives
// the words of each report as they go to the store's host (512 bytes).
bool LoadEphemerisFile(CEphemerisStore& store, const char* fileName, bool clearFirst, char* errorText = nullptr);

// Writes the store; the count of ephemeris records written. Without append
// the extension becomes .epp and a header line is written first. timeRange,
// if given with both ends valid and ordered, limits the records written.
int SaveEphemerisFile(CEphemerisStore& store, const char* fileName, bool append, const char* firstText,
                      const char* secondText, const GpsTimeRange* timeRange = nullptr);

// The range of the reference times of the GpsEph, GloEph, GlnEph and BdsEph
// records of a file, without building a store; widen adds two hours each
// side when more than one record was seen. false with the words in message
// (512 bytes, may be null) when the file cannot be read or holds no record.
bool GetFileTimeRange(const char* fileName, GpsTimeRange& range, char* message, bool widen);

// The file version of a header line: 2, 1 or 0; -1 for an unknown one.
int EphemerisFileVersion(const char* header);

// The two store records of the file that are not ephemerides.
bool WriteIonosphereRecord(FILE* file, const IonosphereModelRecord& model);
bool WriteTimeOffsetRecord(FILE* file, const std::vector<TimeOffsetRecord>& offsets);
// False with "Not a valid record for ionospheric model" for another token.
bool ReadIonosphereRecord(TextRecord& text, IonosphereModelRecord& model, char* message);
