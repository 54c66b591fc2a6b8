// Splits time reversals and repeated epochs off into side files.
#include "preprocess/TrvPreprocessor.h"

int CTrvPreprocessor::RepairDuplicateEpochs() { return -2; }
int CTrvPreprocessor::RepairTimeReversals() { return -2; }
