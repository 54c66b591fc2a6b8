#pragma once
// Opening ANTEX files: the installation's manufact.atx, the user's user.atx,
// or a file named by the caller. Paths may separate folders with '\' or '/'.
#include <cstdio>

#include "antenna/AntennaPCVoptions.h"

// manufact.atx in the manufacturer's folder, or with userFile user.atx in the
// user's folder. name (kAntennaNameSize bytes) receives the path. On failure
// "Failed to open antenna atx file %s\n" is appended to error, if not null,
// and the result is null.
FILE* OpenAntennaFile(bool userFile, char* name, char* error);
// The same for a given path.
FILE* OpenNamedAntennaFile(const char* path, char* name, char* error);

// Appends to error (kAntennaErrorSize bytes) as far as there is room;
// nothing when error is null.
void AppendAntennaError(char* error, const char* format, ...) __attribute__((format(printf, 2, 3)));
