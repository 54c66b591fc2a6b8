#include "preprocess/CheckFixture.h"

TEST(CheckDriver, ASurveyThatCannotStartLeavesTheResultsNotDone) {
    CTrvPreprocessor checks;
    checks.Run(true, true, true);
    EXPECT_EQ(checks.ResultsV3().status, kPreprocessNotDone);
    EXPECT_STREQ(checks.ResultStatus(1), "FAIL");
    EXPECT_STREQ(checks.ResultDetail(1), "No TRV preprocessing was performed, results invalid");
    EXPECT_STREQ(checks.ResultStatus(17), "Not Tested");
    EXPECT_STREQ(checks.ResultDetail(17), "No Test Performed");
}
