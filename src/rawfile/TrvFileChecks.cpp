// The hand-over from the raw file to the pre-processing checks.
#include "preprocess/TrvPreprocessor.h"
#include "rawfile/TrvFile.h"

// Close(true) and Open(..., ensurePreprocessed) come here with the closed
// file's name: a preprocessor of its own opens it for rewrite, runs every
// check with every repair, and closes it without checks.
void CTrvFile::RunPreprocessingChecks(const char* name) {
    RunChecksOnFile(name, nullptr, true, true, true, nullptr);
}
