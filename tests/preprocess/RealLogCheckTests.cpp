// Every real log converted and checked as a conversion does it: the report
// of each is pinned row by row, and no epoch is lost to the side files.
#include <string>
#include <vector>

#include "preprocess/CheckFixture.h"

namespace {

struct CheckedLog {
    const char* file;
    // The rows that do not read "PASS", as "row:status", in order.
    std::vector<std::string> notPassing;
    const char* constellations;   // detail of row 11
    const char* signals;          // detail of row 12
    const char* tracking;         // detail of row 13
};

const CheckedLog kLogs[] = {
    {"f9p_1hz_gps_glo_gal_bds_rawx_nosfrbx.ubx", {}, "", "", ""},
};

struct Reports {
    std::vector<std::string> files;
    std::vector<std::vector<std::string>> rows;
};

void Keep(void* context, const CTrvPreprocessor& run) {
    auto* reports = static_cast<Reports*>(context);
    reports->files.push_back(run.RunFileName());
    std::vector<std::string> rows;
    for (int row = 0; row < kReportRows; ++row)
        rows.push_back(std::string(run.ResultStatus(row)) + " | " + run.ResultDetail(row));
    reports->rows.push_back(rows);
}

class RealLogCheckTest : public ::testing::TestWithParam<CheckedLog> {};

TEST_P(RealLogCheckTest, ReportIsPinnedAndNoEpochIsLost) {
    SKIP_WITHOUT_SHARED_LOGS();
    const CheckedLog& log = GetParam();
    ubxtest::TempDir dir;
    const std::string trv = dir.File("log.trv");
    ConvertParams params = convtest::MakeParams((ubxtest::SharedUbxDir() / log.file).string(), trv);
    params.options.runChecks = 0;
    ConvertCallbacks callbacks{};
    callbacks.structSize = sizeof callbacks;
    ASSERT_EQ(ublox2trv::ConvertFile(&params, &callbacks), 0);

    // The checks exactly as the conversion runs them with its default motion.
    Reports reports;
    CTrvPreprocessor checks;
    checks.SetObserver({Keep, &reports});
    checks.Open(trv.c_str(), kTrvReadWrite, false);
    checks.Run(true, true, true);
    checks.Close(false);

    size_t epochs = 0;
    int own = -1;
    for (size_t k = 0; k < reports.files.size(); ++k) {
        epochs += checktest::ReadEpochs(reports.files[k]).size();
        if (reports.files[k] == trv) own = int(k);
    }
    ASSERT_GE(own, 0);
    EXPECT_EQ(epochs, size_t(params.epochsWritten));
    const std::vector<std::string>& rows = reports.rows[size_t(own)];
    std::vector<std::string> notPassing;
    for (int row = 0; row < kReportRows; ++row)
        if (rows[size_t(row)].rfind("PASS", 0) != 0) notPassing.push_back(std::to_string(row) + ":" + rows[size_t(row)]);
    for (const std::string& row : rows) std::printf("%s\n", row.c_str());
    EXPECT_EQ(notPassing, log.notPassing);
    EXPECT_EQ(rows[11], std::string("PASS | ") + log.constellations);
    EXPECT_EQ(rows[12], std::string("PASS | ") + log.signals);
    EXPECT_EQ(rows[13], log.tracking);
}

INSTANTIATE_TEST_SUITE_P(SharedLogs, RealLogCheckTest, ::testing::ValuesIn(kLogs), [](const auto& info) {
    const std::string name = info.param.file;
    return name.substr(0, name.find('.'));
});

}  // namespace
