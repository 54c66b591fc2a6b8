#include "ephemeris/LeapSeconds.h"

double LeapSecondsAt(const GpsTime& /*time*/) { return 0.0; }
