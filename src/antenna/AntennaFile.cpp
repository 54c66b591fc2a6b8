#include "antenna/AntennaFile.h"

#include <cstdarg>
#include <cstring>
#include <string>

#include "settings/ProductSettings.h"

namespace {

constexpr size_t kNativePathSize = 4096;

}  // namespace

void AppendAntennaError(char* error, const char* format, ...) {
    if (error == nullptr) return;
    const size_t length = strnlen(error, kAntennaErrorSize - 1);
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(error + length, kAntennaErrorSize - length, format, arguments);
    va_end(arguments);
}

FILE* OpenNamedAntennaFile(const char* path, char* name, char* error) {
    std::snprintf(name, kAntennaNameSize, "%s", path);
    FILE* file = std::fopen(path, "r");
    if (file == nullptr && std::strchr(path, '\\') != nullptr) {
        // Names written on Windows separate their folders with '\'.
        char native[kNativePathSize];
        if (std::snprintf(native, sizeof native, "%s", path) < static_cast<int>(sizeof native)) {
            for (char* c = native; *c != '\0'; ++c)
                if (*c == '\\') *c = kPathSeparator;
            file = std::fopen(native, "r");
        }
    }
    if (file == nullptr) AppendAntennaError(error, "Failed to open antenna atx file %s\n", path);
    return file;
}

FILE* OpenAntennaFile(bool userFile, char* name, char* error) {
    const char* fileName = userFile ? "user.atx" : "manufact.atx";
    try {
        const CProductSettings settings;
        const std::string path = JoinPath(userFile ? settings.GetUserDir() : settings.GetManufactDir(), fileName);
        return OpenNamedAntennaFile(path.c_str(), name, error);
    } catch (...) {
        // Without the settings there is no folder to look in.
        std::snprintf(name, kAntennaNameSize, "%s", fileName);
        AppendAntennaError(error, "Failed to open antenna atx file %s\n", fileName);
        return nullptr;
    }
}
