#pragma once
// The E31..E37 lines of the .epp text record: the Keplerian block that the
// GPS, QZSS, BeiDou and Galileo records share.
#include <cstdio>

#include "ephemeris/EphemerisRecords.h"
#include "ephemeris/TextRecord.h"

// Writes the seven lines of the current layout.
void WriteKeplerBlock(FILE* file, const KeplerElements& elements);

// Reads E31..E37; at file version 1 the E31 line holds one more integer,
// which is dropped. False unless every line converts fully.
bool ReadKeplerBlock(TextRecord& text, int version, KeplerElements& elements);

// The El1..El6 lines of the oldest GPS records.
bool ReadKeplerBlockVersion0(TextRecord& text, KeplerElements& elements);

// Safe formatting into a message buffer that may be null.
void FormatEphemerisMessage(char* message, const char* format, ...)
    __attribute__((format(printf, 2, 3)));
