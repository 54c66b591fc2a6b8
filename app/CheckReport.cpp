#include "CheckReport.h"

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "ProgressBar.h"
#include "conversion/FileNames.h"
#include "preprocess/TrvPreprocessor.h"

namespace {

// What each of the 18 rows is about, for the first column of the table.
const char* const kRowTopics[kReportRows] = {
    "epochs",         "run",           "file versions", "ephemeris",      "week numbers",   "C/A codes",
    "identical meas", "bad C/A",       "position/clock", "Doppler units", "Doppler values", "constellations",
    "signals",        "tracking",      "time reversals", "duplicate epochs", "S/K flags",   "(spare)",
};

struct Report {
    std::string file;
    std::string status[kReportRows];
    std::string detail[kReportRows];
};

// Every run that ends with a report: the file's own and those of side files.
void KeepReport(void* context, const CTrvPreprocessor& run) {
    Report report;
    report.file = run.RunFileName();
    for (int row = 0; row < kReportRows; ++row) {
        report.status[row] = run.ResultStatus(row);
        report.detail[row] = run.ResultDetail(row);
    }
    static_cast<std::vector<Report>*>(context)->push_back(report);
}

CProgressBar* g_bar = nullptr;
void OnProgress(int count, int total) {
    if (g_bar != nullptr) g_bar->Update(count, total);
}

void PrintTable(const Report& report) {
    size_t width = 0;
    for (const std::string& status : report.status) width = std::max(width, status.size());
    for (int row = 0; row < kReportRows; ++row)
        std::printf("%2d  %-16s  %-*s  %s\n", row, kRowTopics[row], static_cast<int>(width),
                    report.status[row].c_str(), report.detail[row].c_str());
}

int EpochsOf(const std::string& path) {
    CTrvFile file;
    return file.Open(path.c_str(), kTrvRead, false) ? file.EpochCount() : -1;
}

// The file's name with what follows its last point replaced, as the
// repairs name their side files.
std::string SideName(const std::string& path, const char* ending) {
    char name[ublox2trv::kPathSize];
    std::snprintf(name, sizeof name, "%s", path.c_str());
    ublox2trv::SetFileExtension(name, ending, sizeof name);
    return name;
}

}  // namespace

int CheckAndReport(const std::string& path, bool fixStaticKinematic) {
    std::vector<Report> reports;
    CTrvPreprocessor checks;
    PreprocessObserver observer;
    observer.report = KeepReport;
    observer.context = &reports;
    checks.SetObserver(observer);
    checks.SetProgressCallback(OnProgress);

    CProgressBar bar(stderr, "steps");
    g_bar = &bar;
    // The reason an opening failed is worth more than the survey's words.
    const std::string openError = checks.Open(path.c_str(), kTrvReadWrite, false) ? "" : checks.ErrorText();
    checks.Run(fixStaticKinematic, true, true);
    checks.Close(false);
    bar.Finish();
    g_bar = nullptr;

    // The last report of the file's own name is the one that completed its header.
    const Report* own = nullptr;
    for (const Report& report : reports)
        if (report.file == path || report.file.empty()) own = &report;
    if (own == nullptr) {
        std::fprintf(stderr, "ublox2trv: the checks did not finish %s: %s\n", path.c_str(), checks.ErrorText());
        return 1;
    }
    std::printf("\nPre-processing checks of %s\n", path.c_str());
    PrintTable(*own);
    if (own->status[1] != "PASS")
        std::printf("reason: %s\n", !openError.empty() ? openError.c_str() : checks.ErrorText());

    if (checks.timeReversalCount > 0)
        std::printf("\n%d epochs out of time order moved to %s\n", checks.timeReversalCount,
                    SideName(path, "(OutOfOrder).trv").c_str());
    if (checks.duplicateEpochCount > 0)
        std::printf("\n%d repeated epochs moved to %s\n", checks.duplicateEpochCount,
                    SideName(path, "(Duplicates).trv").c_str());
    int total = EpochsOf(path);
    for (const Report& report : reports) {
        if (report.file == path || report.file.empty()) continue;
        const int epochs = EpochsOf(report.file);
        std::printf("side file %s: %d epochs, checked: %s\n", report.file.c_str(), epochs,
                    report.status[1].c_str());
        if (epochs > 0) total += epochs;
    }
    if (total >= 0)
        std::printf("epochs now in %s%s: %d\n", path.c_str(), reports.size() > 1 ? " and its side files" : "",
                    total);
    return own->status[1] == "PASS" ? 0 : 1;
}

void PrintResultsBlock(const TrvPreprocessBlockV3& results) {
    static const char* const kStatus[] = {"not done", "done", "failed"};
    std::printf("%-22s %s\n", "pre-processing", results.status < 3 ? kStatus[results.status] : "unknown");
    static const struct {
        uint32_t bit;
        const char* text;
    } kProblems[] = {
        {kProblemTooFewEpochs, "too few epochs, or no file"},
        {kProblemNoEphemeris, "no ephemeris"},
        {kProblemWeeksUnknown, "week numbers unknown"},
        {kProblemNoValidCa, "no valid C/A code measurements"},
        {kProblemL1Failure, "complete L1 tracking failure"},
        {kProblemL1Significant, "significant L1 tracking problems"},
        {kProblemL2Failure, "complete L2 tracking failure"},
        {kProblemL2Significant, "significant L2 tracking problems"},
    };
    if (results.problemBits == 0) std::printf("%-22s none\n", "problems");
    for (const auto& problem : kProblems)
        if ((results.problemBits & problem.bit) != 0) std::printf("%-22s %s\n", "problem", problem.text);
    std::printf("%-22s %u%s\n", "dynamics class", results.dynamicsClass,
                results.dynamicsClass == kDynamicsStatic    ? " (static)"
                : results.dynamicsClass == kDynamicsUnknown ? " (not known)"
                                                            : " (moving)");

    static const struct {
        uint16_t bit;
        GnssConstellation constellation;
        const char* name;
    } kSystems[] = {
        {kSeenGps, kGps, "GPS"},           {kSeenGlonass, kGlonass, "GLONASS"}, {kSeenBeiDou, kBeiDou, "BeiDou"},
        {kSeenGalileo, kGalileo, "Galileo"}, {kSeenQzss, kQzss, "QZSS"},
    };
    auto signalsOf = [](GnssConstellation constellation, uint32_t mask) {
        std::string text;
        for (GnssSignalId id : kSurveySignalIds) {
            const int bit = SignalDetectionBit(id);
            if (SignalConstellation(id) == constellation && bit >= 0 && (mask >> bit & 1u) != 0) text += SignalText(id);
        }
        return text.empty() ? std::string("-") : text;
    };
    if ((results.constellationBits & 0x1F) == 0) std::printf("%-22s none\n", "constellations");
    for (const auto& system : kSystems) {
        if ((results.constellationBits & system.bit) == 0) continue;
        std::printf("%-22s %-8s signals %s  problems %s\n", "constellation", system.name,
                    signalsOf(system.constellation, results.signalsDetected).c_str(),
                    signalsOf(system.constellation, results.signalsWithProblems).c_str());
    }
}
