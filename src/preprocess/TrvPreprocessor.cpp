#include "preprocess/TrvPreprocessor.h"

#include <cstdio>
#include <cstring>

#include "conversion/FileNames.h"
#include "positioning/SatelliteService.h"
#include "rawfile/TrvFileLayout.h"

namespace {

constexpr char kNotTested[] = "Not Tested";
constexpr char kNoTestPerformed[] = "No Test Performed";
constexpr uint32_t kProgressStart = 0;
constexpr uint32_t kProgressEnd = 100;
// Problem bits 1 to 8 go to both blocks; the tracking bits above only to
// the older one, whose readers know no signal masks.
constexpr uint32_t kProblemsOfBothBlocks = 0x0F;

}  // namespace

CTrvPreprocessor::CTrvPreprocessor() {
    for (int row = 0; row < kReportRows; ++row) {
        std::snprintf(resultStatus[row], kReportTextSize, "%s", kNotTested);
        std::snprintf(resultDetail[row], kReportTextSize, "%s", kNoTestPerformed);
    }
}

CTrvPreprocessor::~CTrvPreprocessor() = default;

void CTrvPreprocessor::ReportProgress(uint32_t count, uint32_t total) const {
    if (progressCallback != nullptr) progressCallback(static_cast<int>(count), static_cast<int>(total));
}

void CTrvPreprocessor::StepProgress() { ReportProgress(++progressCount, progressTotal); }

void CTrvPreprocessor::SetProblem(uint32_t bits) {
    resultsV2.problemBits |= bits;
    resultsV3.problemBits |= bits & kProblemsOfBothBlocks;
}

void CTrvPreprocessor::CompanionName(const char* extension, char* out) const {
    std::snprintf(out, kTrvFileNameSize, "%s", runFileName[0] != '\0' ? runFileName : FileName());
    ublox2trv::SetFileExtension(out, extension, kTrvFileNameSize);
}

double CTrvPreprocessor::FileInterval() const {
    if (Version() == 2) return epochInterval;
    uint32_t milliseconds = 0;
    std::memcpy(&milliseconds, HeaderImage() + trv::kV3IntervalMsAt, sizeof milliseconds);
    return milliseconds / 1000.0;
}

bool CTrvPreprocessor::LoadEphemeris() {
    if (ephemerisState == 0) {
        char name[kTrvFileNameSize];
        CompanionName(".epp", name);
        service = std::make_unique<CSatelliteService>(nullptr);
        ephemerisState = service->LoadBroadcastEphemeris(name, nullptr, true) ? 1 : -1;
    }
    if (ephemerisState > 0) return true;
    ephemerisLoaded = 0;
    SetProblem(kProblemNoEphemeris);
    return false;
}

void CTrvPreprocessor::RunOnFile(const char* name, bool fixStaticKinematic, bool fixDuplicateEpochs,
                                 bool fixTimeReversals) const {
    RunChecksOnFile(name, progressCallback, fixStaticKinematic, fixDuplicateEpochs, fixTimeReversals, &observer);
}

void CTrvPreprocessor::Run(bool fixStaticKinematic, bool fixDuplicateEpochs, bool fixTimeReversals) {
    if (IsOpen()) std::snprintf(runFileName, sizeof runFileName, "%s", FileName());
    ReportProgress(kProgressStart, kProgressEnd);

    double poorRatio = 0.0;
    bool mixedFlags = false;
    if (!Survey(poorRatio, mixedFlags)) {
        resultsV2.status = resultsV3.status = kPreprocessNotDone;
        BuildReport();
        if (observer.report != nullptr) observer.report(observer.context, *this);
        ReportProgress(kProgressEnd, kProgressEnd);
        return;
    }

    const bool splitReversals = fixTimeReversals && timeReversal;
    const bool splitDuplicates = fixDuplicateEpochs && duplicateEpochs;
    const bool rewriteFlags = fixStaticKinematic && !mixedFlags;
    const uint32_t passes = !weeksPresent + recomputeAtSubSeconds + dopplerSpoilt + dopplerUnitsWrong +
                            badCaFound + duplicateMeasurements + recomputeAtSeconds + dopplerSignWrong +
                            splitReversals + splitDuplicates + rewriteFlags +
                            ((dopplerInvalid && !dopplerSpoilt) ? 2u : 1u);
    progressTotal = static_cast<uint32_t>(EpochCount()) * passes;
    progressTotal += progressTotal / 5;
    progressCount = progressTotal / 5;

    if (!weeksPresent) RepairWeeks();
    if (duplicateMeasurements) duplicateMeasurementCount = RepairIdenticalMeasurements();
    if (badCaFound) badCaCount = RepairBadCa();
    if (recomputeAtSeconds) recomputeCount = RecomputePositions(true);
    // The first pass may raise the flag for the epochs between seconds.
    if (recomputeAtSubSeconds) recomputeCount += RecomputePositions(false);

    if (dopplerUnitsWrong) RepairDopplerUnits();
    if (dopplerSignWrong) dopplerRepairCount = RepairDopplerSign();
    if (dopplerInvalid && !dopplerSpoilt) dopplerRepairCount = RecomputeDopplerSelective();
    if (dopplerSpoilt) dopplerRepairCount = RecomputeDopplerFull();

    ClassifyDynamics(poorRatio);
    if (splitReversals || splitDuplicates) {
        // The runs on the files the split writes complete their headers.
        if (splitReversals)
            RepairTimeReversals();
        else
            RepairDuplicateEpochs();
        ReportProgress(kProgressEnd, kProgressEnd);
        return;
    }

    ApplyMarkerFiles();
    if (rewriteFlags) RewriteMotionFlags();

    if (IsOpen()) Close(false);
    if (Open(runFileName, kTrvReadWrite, false)) {
        outputVersion = Version();
        resultsV2.status = resultsV3.status = kPreprocessDone;
        UpdateHeaderInfo(nullptr, nullptr, false, 0, -1, 0.0, &resultsV2, &resultsV3);
        BuildReport();
        Close(false);
    } else {
        SetError("Failed to open TRV file in read/write mode");
        openStatus = 3;
        resultsV2.status = resultsV3.status = kPreprocessFailed;
        BuildReport();
    }
    if (observer.report != nullptr) observer.report(observer.context, *this);
    ReportProgress(kProgressEnd, kProgressEnd);
}

void RunChecksOnFile(const char* name, CTrvPreprocessor::ProgressFunction progress, bool fixStaticKinematic,
                     bool fixDuplicateEpochs, bool fixTimeReversals, const PreprocessObserver* observer) {
    CTrvPreprocessor checks;
    checks.SetProgressCallback(progress);
    if (observer != nullptr) checks.SetObserver(*observer);
    checks.Open(name, kTrvReadWrite, false);
    checks.Run(fixStaticKinematic, fixDuplicateEpochs, fixTimeReversals);
    checks.Close(false);
}
