#pragma once
// The broadcast navigation words of the synthetic log: one 30-second frame
// of a satellite as RXM-SFRBX records, built from the records that
// SampleSky.h gives for that time.
#include "simulation/NavEncoders.h"
#include "simulation/SampleSky.h"
#include "simulation/UbxWriter.h"

namespace simulation {

// The ionospheric and UTC parameters that every GPS satellite broadcasts,
// as page 18 carries them.
const LnavIonosphereUtc& BroadcastIonosphereUtc();

// The frame of a satellite that begins at session time t (a multiple of 30 s).
void AddNavigationFrame(UbxLog& log, const CSampleSky& sky, const Constellation& c, int index, double t);

}  // namespace simulation
