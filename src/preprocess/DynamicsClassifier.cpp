// How the receiver moved, judged from the positions in the file.
#include "preprocess/TrvPreprocessor.h"

void CTrvPreprocessor::ClassifyDynamics(double) {}
void CTrvPreprocessor::ApplyMarkerFiles() {}
void CTrvPreprocessor::RewriteMotionFlags() {}
bool CTrvPreprocessor::HasGoodGeometry(const CGnssEpoch&, int, double) { return false; }
