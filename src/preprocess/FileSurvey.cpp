// The one read-only pass over the file that sets every switch of the checks.
#include "preprocess/TrvPreprocessor.h"

bool CTrvPreprocessor::Survey(double& poorRatio, bool& mixedFlags) {
    poorRatio = 0.0;
    mixedFlags = false;
    return false;
}
