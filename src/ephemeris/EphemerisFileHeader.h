#pragma once
#include <cstdio>

// Magic of the current ephemeris file generation; the only one written.
inline constexpr const char* kEphemerisMagicV3B = "$EPHV3B";

// Writes the first line of an ephemeris file: the magic, " Ver" and this
// software's version, then " firstText" and " secondText", each only when
// given, and the line end. True when the whole line was written.
bool WriteEphemerisHeader(FILE* file, const char* firstText, const char* secondText);
