#pragma once
// The result of the last good epoch of the single point engine: positions,
// covariances, dilutions of precision, satellite counts and a quality number.
#include <cstdint>
#include <vector>

#include "positioning/ClockSet.h"
#include "positioning/Matrix.h"
#include "positioning/SatelliteObservation.h"
#include "rawfile/GnssEpoch.h"

class CSinglePointSolution {
public:
    CSinglePointSolution() = default;
    virtual ~CSinglePointSolution() = default;
    CSinglePointSolution(const CSinglePointSolution&) = default;
    CSinglePointSolution& operator=(const CSinglePointSolution&) = default;

    // 2 is the best solution, 6 the worst or none; 1 never occurs.
    virtual void ComputeQuality();
    // Zeroes every plain field and empties satellites, keeping its capacity.
    virtual void Reset();
    // 0 when not valid; otherwise 3, or 4 when the GPS clock entry is held,
    // plus one for each other held entry.
    virtual int MinimumSatellites() const;

    // Copies the records and counts them, all and by constellation, and
    // those that took part.
    void SetObservations(const std::vector<SatelliteObservation>& observations);
    // inverse is the inverse normal matrix (position block first); sigma the
    // a-priori standard deviation of unit weight. Fills the covariances and
    // the dilutions, then ComputeQuality.
    void SetCovariance(const CMatrix& inverse, double sigma);

    uint8_t valid = 0;
    uint8_t computed = 0;
    uint8_t kinematic = 0;
    int16_t week = 0;
    double receiverSeconds = 0.0;
    double clockCorrectedSeconds = 0.0;
    GeodeticPosition geodetic;          // WGS84 of the computation
    double ecef[3] = {};
    GeodeticPosition outputGeodetic;    // in the output datum
    double outputEcef[3] = {};
    double spareVectors[2][3] = {};
    CMatrix3 covarianceEcef;            // square metres
    CMatrix3 covarianceLocal;           // square metres, east north up
    CMatrix3 spareMatrices[2];
    uint8_t quality = 0;
    double pdop = 0.0;
    double hdop = 0.0;
    double vdop = 0.0;
    uint8_t unknowns = 0;
    uint8_t observations = 0;           // rows of the last solve
    uint8_t satelliteCount = 0;
    uint8_t satellitesBySystem[6] = {};
    uint8_t usedCount = 0;
    uint8_t usedBySystem[6] = {};
    ClockSet clocks;
    double overallRms = 0.0;
    double rmsBySystem[5] = {};
    std::vector<SatelliteObservation> satellites;
};
