// The hand-over from the raw file to the pre-processing checks.
#include "rawfile/TrvFile.h"

// Close(true) and Open(..., ensurePreprocessed) come here with the closed
// file's name. The checks will open the file for rewrite, run and close it;
// until they exist a file is left as it is.
void CTrvFile::RunPreprocessingChecks(const char* /*name*/) {}
