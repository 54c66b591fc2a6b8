#include "conversion/FileNames.h"

#include <cstdio>
#include <cstring>

namespace ublox2trv {

namespace {

bool IsSeparator(char c) { return c == '\\' || c == '/'; }

// Index just behind the last folder separator, 0 when there is none.
size_t NameStart(const char* path) {
    size_t start = 0;
    for (size_t i = 0; path[i] != '\0'; ++i)
        if (IsSeparator(path[i])) start = i + 1;
    return start;
}

void CopyCut(char* out, size_t capacity, const char* from, size_t length) {
    if (out == nullptr || capacity == 0) return;
    if (length >= capacity) length = capacity - 1;
    std::memcpy(out, from, length);
    out[length] = '\0';
}

}  // namespace

bool SetFileExtension(char* path, const char* extension, size_t capacity) {
    if (path == nullptr || extension == nullptr || path[0] == '\0' || capacity == 0) return true;

    size_t blanks = 0;
    while (path[blanks] == ' ' || path[blanks] == '\t') ++blanks;
    if (blanks > 0) std::memmove(path, path + blanks, std::strlen(path + blanks) + 1);

    size_t length = std::strlen(path);
    size_t at = length;
    for (size_t i = NameStart(path); i < length; ++i)
        if (path[i] == '.') at = i;

    if (at >= capacity) at = capacity - 1;
    const size_t extensionLength = std::strlen(extension);
    CopyCut(path + at, capacity - at, extension, extensionLength);
    return at + extensionLength < capacity;
}

void SplitFilePath(const char* path, char* folder, size_t folderCapacity, char* name, size_t nameCapacity) {
    if (path == nullptr) path = "";
    size_t start = NameStart(path);
    CopyCut(folder, folderCapacity, path, start);
    CopyCut(name, nameCapacity, path + start, std::strlen(path + start));
}

void FormatVersion(double value, char* text, size_t capacity) {
    if (text == nullptr || capacity == 0) return;
    if (value < 0.0) {
        std::snprintf(text, capacity, "(not available)");
        return;
    }
    int major = static_cast<int>(value);
    double fraction = value - major;
    int minor = static_cast<int>(fraction * 100.0);
    int build = static_cast<int>((fraction - minor / 100.0) * 1000000.0 + 0.5);
    std::snprintf(text, capacity, "%d.%02d.%04d", major, minor, build);
}

}  // namespace ublox2trv
