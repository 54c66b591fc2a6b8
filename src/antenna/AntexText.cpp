#include "antenna/AntexText.h"

#include <cctype>
#include <cmath>
#include <cstdlib>
#include <cstring>

bool ReadAntexLine(FILE* file, char* line) {
    // Character by character, so that a stray NUL cannot hide a line end;
    // the tail of a line too long for the buffer is dropped.
    size_t length = 0;
    bool any = false;
    int c = 0;
    while ((c = std::fgetc(file)) != EOF) {
        any = true;
        if (c == '\n') break;
        if (length < static_cast<size_t>(kAntexLineLength)) line[length++] = c == '\0' ? ' ' : static_cast<char>(c);
    }
    if (length > 0 && line[length - 1] == '\r') --length;
    line[length] = '\0';
    return any;
}

bool HasAntexLabel(const char* line, const char* label) {
    for (int i = 0; i < kAntexLabelColumn; ++i)
        if (line[i] == '\0') return false;
    return std::strncmp(line + kAntexLabelColumn, label, std::strlen(label)) == 0;
}

void CopyAntexField(const char* line, int first, int count, char* out, size_t outSize) {
    out[0] = '\0';
    if (outSize == 0) return;
    int start = 0;
    while (start < first && line[start] != '\0') ++start;
    if (start < first) return;
    int end = start;
    while (end < first + count && line[end] != '\0') ++end;
    while (start < end && std::isspace(static_cast<unsigned char>(line[start]))) ++start;
    while (end > start && std::isspace(static_cast<unsigned char>(line[end - 1]))) --end;
    size_t length = static_cast<size_t>(end - start);
    if (length >= outSize) length = outSize - 1;
    std::memcpy(out, line + start, length);
    out[length] = '\0';
}

void CopyAntexData(const char* line, char* out) {
    int i = 0;
    for (; i < kAntexLabelColumn && line[i] != '\0'; ++i) out[i] = line[i];
    out[i] = '\0';
}

bool ReadAntexNumber(const char* line, int first, int count, double& value) {
    char field[kAntexLineSize];
    CopyAntexField(line, first, count, field, sizeof field);
    if (field[0] == '\0') return false;
    char* end = nullptr;
    const double number = std::strtod(field, &end);
    if (*end != '\0' || !std::isfinite(number)) return false;
    value = number;
    return true;
}

bool SameFileName(const char* a, const char* b) {
    for (; *a != '\0' && *b != '\0'; ++a, ++b)
        if (std::tolower(static_cast<unsigned char>(*a)) != std::tolower(static_cast<unsigned char>(*b))) return false;
    return *a == *b;
}
