#pragma once
// Reading the fixed columns of ANTEX lines. Every line carries its label
// from column 60 on; the data stand in fixed fields before it.
#include <cstddef>
#include <cstdio>

inline constexpr int kAntexLabelColumn = 60;
// Longest line kept; the rest of a longer line is dropped.
inline constexpr int kAntexLineLength = 511;
inline constexpr int kAntexLineSize = kAntexLineLength + 1;

// Reads the next line into line (kAntexLineSize bytes) without its line end;
// false at the end of the file.
bool ReadAntexLine(FILE* file, char* line);

// True if the label of the line begins with label.
bool HasAntexLabel(const char* line, const char* label);

// Columns first .. first + count - 1 of the line with the blanks of both
// ends taken off, into out (outSize bytes, cut to fit). Columns past the
// end of the line are empty.
void CopyAntexField(const char* line, int first, int count, char* out, size_t outSize);

// The data part of a line (columns 0 to 59) into out (kAntexLabelColumn + 1
// bytes), for the fields that are read in free format.
void CopyAntexData(const char* line, char* out);

// A finite number that fills the field (blanks aside); false for an empty
// field or any other text.
bool ReadAntexNumber(const char* line, int first, int count, double& value);

// Case-blind comparison of two file names, for telling whether a file is the
// one loaded already.
bool SameFileName(const char* a, const char* b);
