#pragma once
// GPS minus UTC in whole seconds at a GPS time, as the ephemeris store needs
// it to place GLONASS records (which run on UTC(SU)) on GPS time.
#include "timebase/GpsTime.h"

// The answer is 0.0 while no table of UTC offsets is known to this build:
// the store then resolves no GLONASS time, and GLONASS records stay out of
// it. The lookup of the installation's offset table replaces this one
// function and nothing else.
double LeapSecondsAt(const GpsTime& time);
