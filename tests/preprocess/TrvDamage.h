#pragma once
// Damages the epochs of a raw file in one known way at a time, so that a
// check can be shown to find exactly that and to repair it back to the
// undamaged original. Each function works on epochs in hand, read from and
// written to a file with the checks' fixture.
#include <functional>
#include <string>
#include <vector>

#include "rawfile/GnssEpoch.h"

namespace damage {

using Epochs = std::vector<CGnssEpoch>;

// Moves epochs [first, first + count) to stand after epoch `after` (an
// index of the undamaged list, after >= first + count): in file order they
// then go back in time.
void MoveBlockLater(Epochs& epochs, size_t first, size_t count, size_t after);
// Repeats every `every`-th epoch right after itself; returns the count added.
int RepeatEpochs(Epochs& epochs, size_t every);
// Multiplies the Doppler of the role 0 signal of every satellite by the
// factor given for it; the factor 1.0 leaves a satellite alone.
void ScaleDoppler(Epochs& epochs, const std::function<double(const SatelliteId&)>& factor);
// Sets every Doppler of every signal to zero, keeping its bit.
void ZeroDoppler(Epochs& epochs);
// Clears the week and its bit; the times of week stay.
void RemoveWeeks(Epochs& epochs);
// Moves the role 0 pseudorange of a satellite of one epoch by metres.
void MoveRange(Epochs& epochs, size_t index, const SatelliteId& id, double metres);
// Clears positions and receiver clocks, values and bits.
void RemovePositionsAndClocks(Epochs& epochs);

}  // namespace damage
