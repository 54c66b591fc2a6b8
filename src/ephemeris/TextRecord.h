#pragma once
// The keyed text record shared by the .epp and datum files:
//     Token { Key: value value
//         Key: value ...
//     }
#include <cstdio>

inline constexpr int kTextRecordLines = 48;
inline constexpr int kTextRecordValues = 15;
inline constexpr int kTextValueSize = 256;
inline constexpr int kTextTokenSize = 64;

class TextRecord {
public:
    // Reads the next record from the stream; false at the end of the file
    // with no record found.
    bool Read(FILE* file);
    void Clear();

    const char* Token() const { return token; }
    int LineCount() const { return lineCount; }

    struct Line {
        char key[kTextValueSize];
        int valueCount;
        char values[kTextRecordValues][kTextValueSize];
        bool used;
    };
    Line& LineAt(int index) { return lines[index]; }
    const Line& LineAt(int index) const { return lines[index]; }

private:
    char token[kTextTokenSize] = {};
    int lineCount = 0;
    Line lines[kTextRecordLines];
};

// Finds the first unused line with this key (case ignored), joins its values
// with one blank and converts them by format (%d %u %lf %f %s %c; a value
// ends at a blank, a tab or a comma). The count of conversions (0 if
// negative), or -1 with no such line. The line is then marked used.
int ScanField(const char* key, TextRecord& record, const char* format, ...);
