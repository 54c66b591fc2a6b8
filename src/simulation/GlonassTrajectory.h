#pragma once
// The true path of a GLONASS satellite in the synthetic log: the equations
// of motion of the GLONASS ICD in the Earth-fixed PZ-90 frame (the central
// body, its J2 flattening and the frame's rotation; no Sun or Moon) solved
// in short steps from one state. Every step is kept, so that any time of
// the span is at most half a step away from a stored state.
#include <vector>

namespace simulation {

struct OrbitState {
    double position[3];   // m
    double velocity[3];   // m/s
};

class CGlonassTrajectory {
public:
    // Solves both ways from the state at t0 until [first, last] is covered;
    // times in seconds.
    CGlonassTrajectory(const OrbitState& atT0, double t0, double first, double last);

    // The state at any time of the span.
    OrbitState At(double t) const;

private:
    double t0;
    int firstStep;                     // step number of states[0], counted from t0
    std::vector<OrbitState> states;    // one per step
};

}  // namespace simulation
