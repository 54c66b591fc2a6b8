#pragma once
// The E31..E37 lines of the .epp text record: the Keplerian block that the
// GPS, QZSS, BeiDou and Galileo records share.
#include <cstdio>
#include <initializer_list>

#include "ephemeris/EphemerisRecords.h"
#include "ephemeris/TextRecord.h"

// Writes the seven lines of the current layout.
void WriteKeplerBlock(FILE* file, const KeplerElements& elements);

// Reads E31..E37; at file version 1 the E31 line holds one more integer,
// which is dropped. False unless every line converts fully.
bool ReadKeplerBlock(TextRecord& text, int version, KeplerElements& elements);

// The El1..El6 lines of the oldest GPS records.
bool ReadKeplerBlockVersion0(TextRecord& text, KeplerElements& elements);

// The highest constellation week a record may carry. No broadcast is that
// late, and the GPS weeks derived from it (BeiDou + 1356, Galileo + 1024)
// must still fit their 16 bits.
inline constexpr int kMaxEphemerisWeek = 9999;

// True when every value is a finite number.
bool AllFinite(std::initializer_list<double> values);

// A record read from a file may hold numbers that no broadcast can: "nan",
// "inf", or a week far beyond any. Such a record is refused with its words in
// message, before any of its numbers reach time or orbit arithmetic. extra
// are the record's own numbers beside the Keplerian block.
bool CheckKeplerValues(const KeplerElements& elements, int prn, char* message,
                       std::initializer_list<double> extra = {});
// The words of such a refusal.
void FormatOutOfRangeMessage(char* message, int prn);

// Safe formatting into a message buffer that may be null.
void FormatEphemerisMessage(char* message, const char* format, ...)
    __attribute__((format(printf, 2, 3)));
