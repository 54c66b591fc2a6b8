// Doppler against the range rate of the pseudoranges: the residual the
// survey judges by, and the repairs of unit, sign and value.
#include "preprocess/TrvPreprocessor.h"

double CTrvPreprocessor::DopplerResidual(const CGnssEpoch&, const CGnssEpoch&, bool, const CSatelliteService&) {
    return 0.0;
}
void CTrvPreprocessor::RepairDopplerUnits() {}
int CTrvPreprocessor::RepairDopplerSign() { return 0; }
int CTrvPreprocessor::RecomputeDopplerSelective() { return 0; }
int CTrvPreprocessor::RecomputeDopplerFull() { return 0; }
