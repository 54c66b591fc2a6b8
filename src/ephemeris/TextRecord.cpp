#include "ephemeris/TextRecord.h"

#include <cctype>
#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <strings.h>

namespace {

constexpr int kLineBufferSize = 255;      // 254 characters and the end
constexpr int kBraceSearchWidth = 16;     // a record's brace stands this early
constexpr int kWordsPerLine = kTextRecordValues + 1;

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

// Cuts the content at ';' and reports whether a '}' closes the record on
// this line (the content ends there too). Inside quotes neither counts.
bool CutContent(char* text) {
    bool quoted = false;
    for (char* p = text; *p; ++p) {
        if (*p == '"') quoted = !quoted;
        if (quoted) continue;
        if (*p == ';') {
            *p = '\0';
            return false;
        }
        if (*p == '}') {
            *p = '\0';
            return true;
        }
    }
    return false;
}

// Index of a record's opening brace: the first '{' within the first 16
// characters, with at least one blank or tab and at least one other
// character before it, in any order; -1 otherwise. So "GpsEph {" and
// "A B {" both open a record, "GpsEph{" and " {" do not.
int FindOpeningBrace(const char* text) {
    bool blank = false, other = false;
    for (int i = 0; i < kBraceSearchWidth && text[i]; ++i) {
        const char c = text[i];
        if (c == '{') return blank && other ? i : -1;
        if (c == ' ' || c == '\t')
            blank = true;
        else
            other = true;
    }
    return -1;
}

bool IsSkipped(const char* text) {
    while (*text && IsBlank(*text)) ++text;
    return *text == '\0' || *text == ';';
}

}  // namespace

void TextRecord::Clear() {
    token[0] = '\0';
    lineCount = 0;
}

// Splits the content into a key and values; quoted text stays one word with
// its quotes, which the scan drops.
static void SplitWords(const char* text, TextRecord::Line& line) {
    line.key[0] = '\0';
    line.valueCount = 0;
    line.used = false;
    int words = 0;
    const char* p = text;
    while (words < kWordsPerLine) {
        while (*p == ' ' || *p == '\t' || *p == '\r' || *p == '\n') ++p;
        if (*p == '\0') break;
        char* out = words == 0 ? line.key : line.values[words - 1];
        int length = 0;
        bool quoted = false;
        while (*p && (quoted || !IsBlank(*p))) {
            if (*p == '"') quoted = !quoted;
            if (length < kTextValueSize - 1) out[length++] = *p;
            ++p;
        }
        out[length] = '\0';
        ++words;
    }
    line.valueCount = words > 0 ? words - 1 : 0;
}

bool TextRecord::Read(FILE* file) {
    Clear();
    if (file == nullptr) return false;
    char buffer[kLineBufferSize];
    bool inRecord = false;
    while (std::fgets(buffer, sizeof buffer, file) != nullptr) {
        if (IsSkipped(buffer)) continue;
        char* content = buffer;
        if (!inRecord) {
            const int brace = FindOpeningBrace(buffer);
            if (brace < 0) continue;
            int length = 0;
            const char* p = buffer;
            while (IsBlank(*p)) ++p;
            while (*p && !IsBlank(*p) && *p != '{' && length < kTextTokenSize - 1) token[length++] = *p++;
            token[length] = '\0';
            inRecord = true;
            content = buffer + brace + 1;
        }
        const bool closes = CutContent(content);
        if (lineCount < kTextRecordLines) {
            Line& line = lines[lineCount];
            SplitWords(content, line);
            if (line.key[0] != '\0') ++lineCount;
        }
        if (closes) return true;
    }
    // A record cut short by the end of the file still counts as found.
    return inRecord;
}

namespace {

bool IsSeparator(char c) { return c == ' ' || c == '\t' || c == ',' || c == '\r' || c == '\n'; }

// The reduced scan: values end at a blank, a tab or a comma; a value in
// double quotes is taken whole, without its quotes.
int ReducedScan(const char* input, const char* format, va_list args) {
    const char* in = input;
    int count = 0;
    for (const char* f = format; *f; ++f) {
        if (IsBlank(*f)) continue;
        if (*f != '%') {
            while (IsSeparator(*in)) ++in;
            if (*in != *f) return count;
            ++in;
            continue;
        }
        ++f;
        bool suppress = false;
        if (*f == '*') {
            suppress = true;
            ++f;
        }
        int width = 0;
        while (*f >= '0' && *f <= '9') width = width * 10 + (*f++ - '0');
        bool isLong = false;
        while (*f == 'l' || *f == 'h') {
            isLong = isLong || *f == 'l';
            ++f;
        }
        const char conversion = *f;
        if (conversion == '\0') break;
        if (conversion == '%') {
            while (IsSeparator(*in)) ++in;
            if (*in != '%') return count;
            ++in;
            continue;
        }

        while (IsSeparator(*in)) ++in;
        if (*in == '\0') return count == 0 ? -1 : count;

        // The field: quoted text whole, else up to the next separator.
        char field[kTextValueSize];
        int length = 0;
        const char* fieldStart = in;
        bool quoted = false;
        if (*in == '"') {
            quoted = true;
            ++in;
            while (*in && *in != '"') {
                if (length < kTextValueSize - 1) field[length++] = *in;
                ++in;
            }
            if (*in == '"') ++in;
        } else {
            while (*in && !IsSeparator(*in)) {
                if (length < kTextValueSize - 1) field[length++] = *in;
                ++in;
            }
        }
        field[length] = '\0';
        if (width > 0 && width < length && conversion != 'c') {
            field[width] = '\0';
        }

        // Numbers take the longest prefix; what is left over in an unquoted
        // field is scanned by the next conversion.
        const char* consumedEnd = nullptr;
        switch (conversion) {
        case 'd':
        case 'i':
        case 'u': {
            if (field[0] == '.') return count;
            char* end = nullptr;
            errno = 0;
            const long value = std::strtol(field, &end, 10);
            if (end == field) return count;
            consumedEnd = end;
            if (!suppress) {
                if (conversion == 'u')
                    *va_arg(args, unsigned*) = static_cast<unsigned>(value);
                else
                    *va_arg(args, int*) = static_cast<int>(value);
            }
            break;
        }
        case 'f':
        case 'e':
        case 'g': {
            char* end = nullptr;
            const double value = std::strtod(field, &end);
            if (end == field) return count;
            consumedEnd = end;
            if (!suppress) {
                if (isLong)
                    *va_arg(args, double*) = value;
                else
                    *va_arg(args, float*) = static_cast<float>(value);
            }
            break;
        }
        case 's': {
            if (!suppress) std::memcpy(va_arg(args, char*), field, static_cast<size_t>(std::strlen(field)) + 1);
            consumedEnd = field + std::strlen(field);
            break;
        }
        case 'c': {
            if (!suppress) *va_arg(args, char*) = field[0];
            consumedEnd = field + 1;
            break;
        }
        default:
            return count;
        }
        if (!quoted) in = fieldStart + (consumedEnd - field);
        if (!suppress) ++count;
    }
    return count;
}

}  // namespace

int ScanField(const char* key, TextRecord& record, const char* format, ...) {
    if (key == nullptr || format == nullptr) return -1;
    for (int index = 0; index < record.LineCount(); ++index) {
        TextRecord::Line& line = record.LineAt(index);
        if (line.used || strcasecmp(line.key, key) != 0) continue;
        line.used = true;
        // The values joined by one blank, as one text to scan.
        char joined[kTextRecordValues * kTextValueSize];
        size_t length = 0;
        for (int v = 0; v < line.valueCount; ++v) {
            const size_t size = std::strlen(line.values[v]);
            if (v > 0) joined[length++] = ' ';
            std::memcpy(joined + length, line.values[v], size);
            length += size;
        }
        joined[length] = '\0';
        va_list args;
        va_start(args, format);
        const int count = ReducedScan(joined, format, args);
        va_end(args);
        return count < 0 ? 0 : count;
    }
    return -1;
}
