#pragma once
// The checks after a conversion: one read-only survey of a new .trv file,
// then the repairs the survey asks for (weeks, identical measurements, bad
// C/A ranges, positions and clocks, Doppler units, signs and values), the
// dynamics class with the static/kinematic flags, and the split of time
// reversals and repeated epochs into side files. What lasts is the results
// block in the file's header; the 18-row report stays on the object.
#include <cstdint>
#include <memory>

#include "rawfile/TrvFile.h"

class CSatelliteService;

// Problem bits of the results blocks.
enum PreprocessProblem : uint32_t {
    kProblemTooFewEpochs = 1,
    kProblemNoEphemeris = 2,
    kProblemWeeksUnknown = 4,
    kProblemNoValidCa = 8,
    kProblemL1Failure = 16,
    kProblemL1Significant = 32,
    kProblemL2Failure = 64,
    kProblemL2Significant = 128,
};

// Constellation bits of the results blocks (version 2 has no GPS bit).
enum PreprocessConstellation : uint16_t {
    kSeenGlonass = 1,
    kSeenGps = 2,
    kSeenBeiDou = 4,
    kSeenGalileo = 8,
    kSeenQzss = 16,
};

// Status byte of the results blocks.
enum PreprocessStatus : uint8_t { kPreprocessNotDone = 0, kPreprocessDone = 1, kPreprocessFailed = 2 };

// Dynamics classes as the file stores them: 6 is static, 0 not known; 1, 2,
// 5 and 7 are moving platforms whose names only the host gives.
inline constexpr uint32_t kDynamicsUnknown = 0;
inline constexpr uint32_t kDynamicsStatic = 6;

// Tracking states of the L1, L2 and L5 statuses.
enum TrackingStatus : int32_t {
    kTrackingFailed = 0,
    kTrackingProblems = 1,
    kTrackingGood = 2,
    kTrackingAbsent = 3,
};

inline constexpr int kReportRows = 18;
inline constexpr int kReportTextSize = 256;
// Signals whose use the survey records, in the order of the seen bytes.
inline constexpr int kSurveySignals = 26;
inline constexpr GnssSignalId kSurveySignalIds[kSurveySignals] = {0,  1,  2,  3,  4,  5,  20, 21, 22,
                                                                  23, 40, 41, 42, 43, 44, 45, 60, 61,
                                                                  62, 64, 63, 80, 81, 82, 83, 84};
// Every detection bit.
inline constexpr uint32_t kAllSignalsMask = 0x1FE7F7FF;

class CTrvPreprocessor;

// The figures the last dynamics class was decided from (speeds in metres per
// second, heights in metres), kept so that a decision can be explained.
struct DynamicsFigures {
    double fastMean = 0.0;
    double slowMean = 0.0;
    double heightLow = 0.0;
    double heightHigh = 0.0;
    double heightRange = 0.0;    // negative when no height qualified
    int climbRun = 0;            // longer of the rising and falling runs
    int headingRun = 0;
    double netEast = 0.0;        // magnitudes of the net sums
    double netNorth = 0.0;
    int countedPairs = 0;
    int goodPairs = 0;
    int noPosition = 0;
    int minSatellites = 0;       // the limits of the pass that decided
    double minLock = 0.0;
    double ratio = 0.0;          // poor epochs per thousand samples
};

// Told of every run that ends with a report, side files' runs included, so
// that a caller can show the rows before the object goes.
struct PreprocessObserver {
    void (*report)(void* context, const CTrvPreprocessor& run) = nullptr;
    void* context = nullptr;
};

class CTrvPreprocessor : public CTrvFile {
public:
    // The host's progress callback: (count, total).
    using ProgressFunction = void (*)(int count, int total);

    CTrvPreprocessor();
    ~CTrvPreprocessor() override;

    void SetProgressCallback(ProgressFunction callback) { progressCallback = callback; }
    // Runs that repairs start on the files they write inherit the observer.
    void SetObserver(const PreprocessObserver& newObserver) { observer = newObserver; }
    // The name of the file the last Run worked on.
    const char* RunFileName() const { return runFileName; }

    // The whole run over the open file: survey, repairs, classification,
    // results block. A time-order repair hands the rest to fresh runs on
    // the files it writes.
    void Run(bool fixStaticKinematic, bool fixDuplicateEpochs, bool fixTimeReversals);
    // Fills the 18 rows of status and detail from the results.
    void BuildReport();

    const char* ResultStatus(int row) const { return resultStatus[row]; }
    const char* ResultDetail(int row) const { return resultDetail[row]; }
    const TrvPreprocessBlockV2& ResultsV2() const { return resultsV2; }
    const TrvPreprocessBlockV3& ResultsV3() const { return resultsV3; }

    // The steps of Run, each usable on its own (tests drive them one by one).

    // The read-only pass that sets every switch. poorRatio is poor epochs per
    // thousand usable samples; mixedFlags says the file holds both static and
    // kinematic epochs in more than a trace. False when the file cannot be
    // surveyed at all.
    bool Survey(double& poorRatio, bool& mixedFlags);

    // Time order repairs: 1 when done, -2 when the new files could not be
    // made (the file is then untouched).
    int RepairDuplicateEpochs();
    int RepairTimeReversals();

    // Doppler: the repairs of a wrong unit and a wrong sign, and the
    // recomputation from the range rate, of invalid values only or of all.
    void RepairDopplerUnits();
    int RepairDopplerSign();
    int RecomputeDopplerSelective();
    int RecomputeDopplerFull();
    // Root mean square, in metres per second, of the Doppler against the
    // range rate between two epochs; 0.0 when it cannot be computed.
    static double DopplerResidual(const CGnssEpoch& first, const CGnssEpoch& second, bool negate,
                                  const CSatelliteService& service);

    // Week, identical-measurement, C/A and position/clock repairs.
    void RepairWeeks();
    int RepairIdenticalMeasurements();
    int RepairBadCa();
    int RecomputePositions(bool wholeSeconds);

    // Dynamics: the class from the positions, the marker files beside the
    // file, and the static/kinematic flag of every epoch by the class.
    void ClassifyDynamics(double poorRatio);
    void ApplyMarkerFiles();
    void RewriteMotionFlags();
    static bool HasGoodGeometry(const CGnssEpoch& epoch, int minSatellites, double minLock);

    // Results, readable by tests and the command line.
    int32_t openStatus = -1;
    int32_t epochCountStatus = -1;
    int32_t inputVersion = 0;
    int32_t outputVersion = 0;
    uint8_t validCaSeen = 0;
    uint8_t ephemerisLoaded = 1;
    uint8_t weeksPresent = 1;
    int32_t l1Status = kTrackingGood;
    int32_t l2Status = kTrackingGood;
    int32_t l5Status = -1;   // not set until the survey ends
    uint8_t gpsSeen = 0;
    uint8_t glonassSeen = 0;
    uint8_t beidouSeen = 0;
    uint8_t galileoSeen = 0;
    uint8_t qzssSeen = 0;
    uint8_t signalSeen[kSurveySignals] = {};
    TrvPreprocessBlockV2 resultsV2 = {};
    TrvPreprocessBlockV3 resultsV3 = {};
    int32_t weeksComputed = -1;
    uint8_t duplicateMeasurements = 0;
    int32_t duplicateMeasurementCount = -1;
    uint8_t badCaFound = 0;
    int32_t badCaCount = -1;
    uint8_t recomputeAtSeconds = 0;
    uint8_t recomputeAtSubSeconds = 0;
    int32_t recomputeCount = -1;
    int32_t staticToKinematic = 0;
    int32_t kinematicToStatic = 0;
    uint8_t dopplerUnitsWrong = 0;
    uint8_t dopplerSpoilt = 0;
    uint8_t dopplerInvalid = 0;
    uint8_t dopplerSignWrong = 0;
    int32_t dopplerRepairCount = -1;
    uint8_t timeReversal = 0;
    int32_t timeReversalCount = -1;
    uint8_t duplicateEpochs = 0;
    int32_t duplicateEpochCount = -1;
    char resultStatus[kReportRows][kReportTextSize];
    char resultDetail[kReportRows][kReportTextSize];
    ProgressFunction progressCallback = nullptr;
    uint32_t progressCount = 0;
    uint32_t progressTotal = 0;

protected:
    // Raises the progress count by one and reports (count, total).
    void StepProgress();
    void ReportProgress(uint32_t count, uint32_t total) const;
    // Both blocks' problem bits (1 to 8 go to both; 16 to 128 to version 2).
    void SetProblem(uint32_t bits);
    // The .epp beside the file into the checks' own satellite service, once
    // per object; a failure clears ephemerisLoaded and sets problem bit 2
    // each time it is asked again.
    bool LoadEphemeris();
    // The file's name with another extension, in a buffer of kTrvFileNameSize.
    void CompanionName(const char* extension, char* out) const;
    // The data interval of the open file, seconds.
    double FileInterval() const;

    // A fresh object for a file a repair wrote, with this one's callback and
    // observer: opens the file for rewrite and runs the driver on it.
    void RunOnFile(const char* name, bool fixStaticKinematic, bool fixDuplicateEpochs,
                   bool fixTimeReversals) const;

    std::unique_ptr<CSatelliteService> service;
    int ephemerisState = 0;   // 0 not tried, 1 loaded, -1 failed
    PreprocessObserver observer;
    char runFileName[kTrvFileNameSize] = {};

    // The frame both time-order repairs share: companions copied, the good
    // and side files made, the split, the swap of the file and the runs on
    // both files. 1 when done, -2 when the new files could not be made.
    int SplitTimeOrder(bool reversals);
    DynamicsFigures lastDynamics;
    // The survey's vote on the Doppler unit from one GPS satellite of a
    // sample: 1 when the Doppler stands a wrong-unit factor off the range
    // rate, -1 when it does not, 0 when the epochs cannot say.
    static int DopplerUnitVote(const CGnssEpoch& current, const CGnssEpoch& sampled, const SatelliteId& id,
                               double deltaT);
};

// The checks on a closed file by name, as Close(true) and a conversion run
// them: open for rewrite, Run, close without checks. The observer may be null.
void RunChecksOnFile(const char* name, CTrvPreprocessor::ProgressFunction progress, bool fixStaticKinematic,
                     bool fixDuplicateEpochs, bool fixTimeReversals, const PreprocessObserver* observer);
