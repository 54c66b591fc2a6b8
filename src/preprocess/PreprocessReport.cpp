// The 18 rows of status and detail that tell a reader what the checks found.
#include <cstdio>
#include <cstring>
#include <iterator>

#include "preprocess/TrvPreprocessor.h"

namespace {

enum ReportRow {
    kRowEpochs, kRowRun, kRowVersions, kRowEphemeris, kRowWeeks, kRowCa, kRowIdentical, kRowBadCa,
    kRowPositions, kRowDopplerUnits, kRowDopplerValues, kRowConstellations, kRowSignals, kRowTracking,
    kRowReversals, kRowDuplicates, kRowMotionFlags,
};

// A signal counts as a tracking problem only inside this mask, and the
// signals of this other mask always count as one (QZSS L1CA, L2C and L5 and
// the BeiDou and QZSS signals of the newest bits).
constexpr uint32_t kTrackingProblemMask = 0x07E0F7FF;
constexpr uint32_t kAlwaysProblemSignals = 0x18070000;

struct SignalGroup {
    uint16_t constellationBit;
    const char* header;
    const char* problemHeader;   // null: the group never appears among problems
    GnssSignalId signals[6];
    int count;
};

constexpr SignalGroup kGroups[] = {
    {kSeenGps, "GPS: ", "GPS: ", {0, 1, 2, 3, 4, 5}, 6},
    {kSeenGlonass, "GLONASS: ", "GLONASS: ", {20, 21, 22, 23}, 4},
    {kSeenBeiDou, "BeiDou: ", "BeiDou: ", {40, 41, 42, 43, 44, 45}, 6},
    {kSeenGalileo, "Galileo: ", "GALILEO: ", {60, 61, 62, 63, 64}, 5},
    {kSeenQzss, "QZSS: ", nullptr, {80, 81, 82, 83, 84}, 5},
};

bool HasBit(uint32_t mask, GnssSignalId id) {
    const int bit = SignalDetectionBit(id);
    return bit >= 0 && (mask >> bit & 1u) != 0;
}

void Append(char* text, const char* more) {
    const size_t used = std::strlen(text);
    std::snprintf(text + used, kReportTextSize - used, "%s", more);
}

}  // namespace

void CTrvPreprocessor::BuildReport() {
    auto row = [this](int index, const char* status, const char* detail) {
        if (status != nullptr) std::snprintf(resultStatus[index], kReportTextSize, "%s", status);
        std::snprintf(resultDetail[index], kReportTextSize, "%s", detail);
    };
    auto counted = [this](int index, const char* status, const char* format, int count) {
        std::snprintf(resultStatus[index], kReportTextSize, "%s", status);
        std::snprintf(resultDetail[index], kReportTextSize, format, count);
    };
    const uint32_t problems = resultsV3.problemBits;
    const bool version2 = (outputVersion != 0 ? outputVersion : inputVersion) == 2;

    if ((problems & kProblemTooFewEpochs) != 0 && epochCountStatus == 0)
        row(kRowEpochs, "FAIL", "TRV file is empty, cannot continue with pre-processing checks!");
    else if ((problems & kProblemTooFewEpochs) != 0 && epochCountStatus == 2)
        row(kRowEpochs, "FAIL", "TRV file is not empty but contains < 3 epochs, insufficient for preprocessing");
    else
        row(kRowEpochs, "PASS", "TRV file contains > 3 epochs (minimum required for preprocessing)");

    if (resultsV3.status == kPreprocessNotDone)
        row(kRowRun, "FAIL", "No TRV preprocessing was performed, results invalid");
    else if (resultsV3.status == kPreprocessDone)
        row(kRowRun, "PASS", "TRV preprocessing completed, results below are valid");
    else
        row(kRowRun, "FAIL", "TRV preprocessing failed, results invalid");

    if (inputVersion == 2 && outputVersion == 2)
        row(kRowVersions, "PASS", "Input file: TRV_VERSION_2, Output file: TRV_VERSION_2");
    else if (inputVersion == 3 && outputVersion == 3)
        row(kRowVersions, "PASS", "Input file: TRV_VERSION_3, Output file: TRV_VERSION_3");
    else if (inputVersion == 2 && outputVersion == 3)
        row(kRowVersions, "PASS", "Input file: TRV_VERSION_2, Output file: TRV_VERSION_3");
    else
        row(kRowVersions, "FAIL", "Problem detecting input and output TRV Versions");

    if ((problems & kProblemNoEphemeris) != 0)
        row(kRowEphemeris, "FAIL",
            "No ephemeris data available during decoding - required for some preprocessing functions");
    else
        row(kRowEphemeris, "PASS", "Ephemeris data present (required for some preprocessing functions)");

    if ((problems & kProblemWeeksUnknown) != 0)
        row(kRowWeeks, "FAIL", "Week number not present in file and unable to compute");
    else if (weeksComputed > 0)
        counted(kRowWeeks, "PASS", "%d Week Numbers computed and written to TRV", weeksComputed);
    else
        row(kRowWeeks, "PASS", "Week numbers already present in file");

    if ((problems & kProblemNoValidCa) != 0)
        row(kRowCa, "FAIL", "No valid C/A code measurements detected, data cannot be processed");
    else
        row(kRowCa, "PASS", "Valid C/A code measurements detected");

    if (duplicateMeasurements == 0)
        row(kRowIdentical, "PASS", "No consecutive epochs with identical raw measurements found");
    else
        counted(kRowIdentical, "Duplicate meas. detected in consecutive epochs!", "%d SVs disabled",
                duplicateMeasurementCount);

    if (badCaCount == -1)
        row(kRowBadCa, nullptr, "Bad C/A code check was not performed");
    else if (badCaCount != 0)
        counted(kRowBadCa, "Bad C/A code ranges detected!", "%d bad C/A ranges disabled", badCaCount);
    else
        row(kRowBadCa, "PASS", "No bad C/A ranges detected");

    if (recomputeCount == -2)
        row(kRowPositions, "FAIL", "No ephemeris loaded, unable to check position or clock data");
    else if (recomputeCount == -1)
        row(kRowPositions, nullptr, "Position and Clock test was not performed");
    else if (recomputeCount != 0)
        counted(kRowPositions, "Position/Clock recomputed!", "%d positions or clockshifts recomputed",
                recomputeCount);
    else
        row(kRowPositions, "PASS", "No epochs had their position or clock recomputed");

    if (dopplerUnitsWrong == 0)
        row(kRowDopplerUnits, "PASS", "Doppler units unchanged");
    else
        row(kRowDopplerUnits, "Doppler units changed!",
            "Incorrect units on Doppler measurements detected and corrected");

    if (dopplerRepairCount == -1)
        row(kRowDopplerValues, nullptr, "Zero/Invalid Doppler check not performed");
    else if (dopplerRepairCount != 0)
        counted(kRowDopplerValues, "Doppler recomputed!", "%d recomputed Doppler measurements", dopplerRepairCount);
    else
        row(kRowDopplerValues, "PASS", "No satellites had Doppler recomputed");

    char text[kReportTextSize];
    if (version2) {
        if ((resultsV2.constellationBits & kSeenGlonass) == 0)
            row(kRowConstellations, "PASS", "GPS only data detected");
        else
            row(kRowConstellations, "PASS", "GLONASS detected in file");
    } else if ((resultsV3.constellationBits & 0x1F) != 0) {
        std::snprintf(text, sizeof text, "Constellations detected: ");
        static constexpr const char* kNames[] = {"GPS ", "GLONASS ", "BeiDou ", "Galileo ", "QZSS "};
        for (size_t g = 0; g < std::size(kGroups); ++g)
            if ((resultsV3.constellationBits & kGroups[g].constellationBit) != 0) Append(text, kNames[g]);
        row(kRowConstellations, "PASS", text);
    } else {
        row(kRowConstellations, "FAIL", "No GPS, GLONASS, Galileo, Beidou, or QZSS data detected in file!");
    }

    const uint32_t signals = resultsV3.signalsDetected;
    const uint32_t troubled = resultsV3.signalsWithProblems;
    if (version2) {
        row(kRowSignals, "N/A", "Individual GNSS signals not detected in TRV_VERSION_2");
    } else if (signals != 0) {
        std::snprintf(text, sizeof text, "GNSS signals detected: ");
        for (const SignalGroup& group : kGroups) {
            if ((resultsV3.constellationBits & group.constellationBit) == 0) continue;
            Append(text, group.header);
            for (int k = 0; k < group.count; ++k)
                if (HasBit(signals, group.signals[k])) Append(text, SignalText(group.signals[k]));
        }
        row(kRowSignals, "PASS", text);
    } else {
        row(kRowSignals, "FAIL", "No GNSS signals detected in file!");
    }

    if (!version2) {
        if (signals == 0) {
            row(kRowTracking, "FAIL", "No signal tracking problems detected as no GNSS signals were tracked!");
        } else if ((troubled & kTrackingProblemMask) == 0 && (signals & kAlwaysProblemSignals) == 0) {
            row(kRowTracking, "PASS", "No signal tracking problems detected");
        } else {
            std::snprintf(text, sizeof text, "Problematic tracking detected on ");
            for (const SignalGroup& group : kGroups) {
                if (group.problemHeader == nullptr) continue;
                bool any = false;
                for (int k = 0; k < group.count; ++k) any = any || HasBit(troubled, group.signals[k]);
                if (!any) continue;
                Append(text, group.problemHeader);
                for (int k = 0; k < group.count; ++k)
                    if (HasBit(troubled, group.signals[k])) Append(text, SignalText(group.signals[k]));
            }
            row(kRowTracking, "FAIL", text);
        }
    } else {
        const uint32_t bits = resultsV2.problemBits;
        if ((bits & kProblemL1Failure) != 0)
            row(kRowTracking, "FAIL", "Complete L1 tracking failure");
        else if ((bits & kProblemL1Significant) != 0)
            row(kRowTracking, "FAIL", "Significant L1 tracking problems");
        else if ((bits & kProblemL2Failure) != 0)
            row(kRowTracking, "FAIL", "Complete L2 tracking failure");
        else if ((bits & kProblemL2Significant) != 0)
            row(kRowTracking, "FAIL", "Significant L2 tracking problems");
        else
            row(kRowTracking, "PASS", "No signal tracking problems detected");
    }

    if (timeReversalCount == -1)
        row(kRowReversals, nullptr, "Time reversal check not performed");
    else if (timeReversalCount != 0)
        counted(kRowReversals, "Time reversals detected!", "%d time reversals detected - new file written",
                timeReversalCount);
    else
        row(kRowReversals, "PASS", "No time reversals detected");

    if (duplicateEpochCount == -1)
        row(kRowDuplicates, nullptr, "Duplicate epoch test not performed");
    else if (duplicateEpochCount != 0)
        counted(kRowDuplicates, "Duplicate epochs detected!", "%d duplicate epochs - new files written",
                duplicateEpochCount);
    else
        row(kRowDuplicates, "PASS", "No duplicate epochs detected");

    if (kinematicToStatic > 0)
        row(kRowMotionFlags, "PASS", "All epochs changed from kinematic to static");
    else if (staticToKinematic > 0)
        row(kRowMotionFlags, "PASS", "All epochs changed from static to kinematic");
    else
        row(kRowMotionFlags, "PASS", "S/K flag was not changed for any epochs");
}
