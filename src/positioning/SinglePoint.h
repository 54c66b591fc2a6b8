#pragma once
// One position and one receiver clock per measurement epoch from
// pseudoranges alone, with several constellations at once.
//
// The engine starts from the best position it can find (the caller's
// solution, its own last one, the epoch's own position, else none), takes
// Gauss-Newton steps on an elevation-masked, variance-weighted set of
// pseudoranges with one clock unknown for the primary constellation and,
// where the observations allow, one inter-system clock per further
// constellation, and takes satellites out one at a time while a rule on the
// residuals says so.
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "positioning/ClockSet.h"
#include "positioning/Matrix.h"
#include "positioning/SatelliteObservation.h"
#include "positioning/SatelliteService.h"
#include "positioning/SinglePointOptions.h"
#include "positioning/SinglePointSolution.h"
#include "positioning/TroposphereModel.h"
#include "rawfile/GnssEpoch.h"

struct DatumRecord;
struct DatumConversion;
class CDatumSet;

// Return codes of ComputeEpoch.
enum SinglePointResult : int {
    kSolved = 0,
    kRejectedOnResiduals = -22,
    kSingularOrAbsurd = -23,
    kDiverged = -24,
    kTooFewEphemerides = -28,
    kTooFewSatellites = -29,
    kInvalidWeek = -30,
};

// The engine's view of the epoch being solved.
struct SinglePointState {
    int32_t solved = 0;
    GpsTime time;
    double spareVector[3] = {};
    double ecef[3] = {};
    GeodeticPosition geodetic;
    ClockSet clocks;
    uint8_t kinematic = 1;
    double residualRms[6] = {};
    double residualMean[6] = {};
    double overallRms = 0.0;

    void Reset();
};

class CSinglePoint {
public:
    using MessageFunction = CSatelliteService::MessageFunction;
    // A row of the design matrix and the satellite it stands for.
    using UsedEntry = std::pair<int, SatelliteObservation*>;

    CSinglePoint(MessageFunction callback, bool reportFailures, bool checkStandardDeviation);
    virtual ~CSinglePoint();
    CSinglePoint(const CSinglePoint&) = delete;
    CSinglePoint& operator=(const CSinglePoint&) = delete;

    void Reset();
    bool LoadBroadcastEphemeris(const char* path);
    void SetOptions(const SinglePointOptions& newOptions);
    bool SetDatum(const char* fromDatum, const char* toDatum, const char* conversionName);

    // A bias in metres added to the GPS L1 pseudorange of a satellite; none
    // by default, so that the broadcast group delay stays out as the
    // satellite clocks leave it out.
    void SetCodeBias(const SatelliteId& id, double metres);

    // Solves one epoch; 0 or a SinglePointResult code. With writePosition
    // and writeClock the epoch receives the position (bit 4) and the GPS
    // clock (bit 8). solution, if given, seeds the epoch and receives a copy
    // of the result. errorText (512 bytes) may be null.
    int ComputeEpoch(CGnssEpoch& epoch, bool writePosition, bool writeClock, CSinglePointSolution* solution,
                     char* errorText);

    // The fewest satellites that still leave a check on the solution.
    virtual int MinimumSatellites();
    // Whether a satellite may go; gives up a clock column that would lose
    // its last satellite.
    virtual bool CanRemoveSatellite(int count, const SatelliteId& id);

    const CSinglePointSolution& Solution() const { return solution; }
    const SinglePointOptions& Options() const { return options; }
    const char* LastError() const { return lastError; }
    int SolvedEpochs() const { return solvedEpochs; }
    int PrimaryConstellation() const { return primaryConstellation; }
    const std::vector<SatelliteObservation>& Observations() const { return observations; }
    CSatelliteService& Service() { return *service; }
    double MaxCorrection() const { return maxCorrection; }

private:
    int EstimatePosition(CGnssEpoch& epoch, CSinglePointSolution* caller, char* callerErrorText);
    void SelectSatellites(const CGnssEpoch& epoch, bool& anyNew);
    void SeedPosition(const CGnssEpoch& epoch, const CSinglePointSolution* caller, double ecef[3],
                      GeodeticPosition& geodetic, ClockSet& clocks);
    int Iterate(const CGnssEpoch& epoch, std::vector<UsedEntry>& list, bool anyNew);
    int ComputeSatellites(const CGnssEpoch& epoch);
    int Solve(const CGnssEpoch& epoch, std::vector<UsedEntry>& list);
    bool BuildDesign(int n, std::vector<UsedEntry>& list, std::vector<int>& groupStarts);
    void RejectOutliers(const std::vector<int>& groupStarts, std::vector<UsedEntry>& list, int kind, int count,
                        double limit, double floor, std::vector<UsedEntry>& rejectedList);
    void FinishSolution();
    void AssignClockColumns(int n);
    double Residual(const SatelliteObservation& record) const;
    SatelliteObservation* FindObservation(const SatelliteId& id);
    bool IsSuspect(const SatelliteId& id) const;

    // Messages: lastError goes to the callback (when there is one) and to
    // the caller's errorText, and is emptied.
    void Deliver(int level, double seconds);
    void ReportFailure(const char* text, const GpsTime* time);
    void Send(int level, double seconds, const char* text) const;

    MessageFunction messageCallback;
    char* errorText = nullptr;
    char lastError[512] = {};
    char satelliteName[32] = {};
    bool reportFailures;
    bool checkStandardDeviation;
    std::unique_ptr<CSatelliteService> service;
    CDatumSet* datums = nullptr;               // only for an output datum other than WGS84
    const DatumRecord* outputEllipse;
    const DatumConversion* conversion = nullptr;
    double codeBias[kStoredConstellations][kPrnTableSize] = {};
    int32_t sourceMode[kStoredConstellations] = {};
    int32_t primaryConstellation = kGps;
    uint8_t seen[kOptionConstellations] = {};
    CSinglePointSolution solution;
    int32_t listed[kOptionConstellations] = {};
    int32_t used[kOptionConstellations] = {};
    uint8_t enabled[kOptionConstellations] = {};
    double sourceWeight[4] = {};
    double maxCorrection = 0.0;
    int32_t solvedEpochs = 0;
    SinglePointOptions options;
    CTroposphereModel troposphere;
    std::vector<SatelliteObservation> observations;
    std::vector<SatelliteId> suspects;
    bool hasStart = false;
    int32_t clockColumn[kOptionConstellations] = {};
    int32_t unknowns = 4;
    CVector misclosure, variance, rightSide, correction;
    CMatrix design, normal, designTransposedWeighted;
    uint8_t wantClock[kOptionConstellations] = {};
    double constellationVariance[kStoredConstellations] = {};
    double newSatelliteFactor = 0.0;
    SinglePointState current;
    CMatrix3 positionCovariance;
    SinglePointState previous;

    // Scratch lists kept across epochs so that a warm engine allocates
    // nothing per solve.
    std::vector<UsedEntry> usedList;
    std::vector<UsedEntry> rejected;
    std::vector<int> groups;
    std::vector<SatelliteId> merged;
    std::vector<SatelliteId> goodList;
    std::vector<SatelliteId> perConstellation;
    std::vector<std::pair<int, double>> byElevation;
    GpsTime lastComputationTime;
};
