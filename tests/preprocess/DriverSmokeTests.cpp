#include <filesystem>

#include "preprocess/CheckFixture.h"

TEST(CheckDriver, AFileThatCannotBeSurveyedIsLeftNotDone) {
    CTrvPreprocessor none;
    none.Run(true, true, true);
    EXPECT_EQ(none.ResultsV3().status, kPreprocessNotDone);
    EXPECT_STREQ(none.ResultDetail(1), "No TRV preprocessing was performed, results invalid");

    // The older format is refused with its reason, and its bytes stay.
    ubxtest::TempDir dir;
    const std::string path = dir.File("old.trv");
    CTrvFile file;
    ASSERT_TRUE(file.Create(path.c_str(), 39, nullptr, "UBLOX2TRV", -1.0, 1.0, nullptr, 2));
    file.Close();
    std::filesystem::resize_file(path, 4096);
    const std::string before = convtest::ReadText(path);
    CTrvPreprocessor old;
    EXPECT_FALSE(old.Open(path.c_str(), kTrvReadWrite, false));
    EXPECT_STREQ(old.ErrorText(), "TRV version 2 files are not supported yet");
    old.Run(true, true, true);
    EXPECT_EQ(old.ResultsV3().status, kPreprocessNotDone);
    EXPECT_EQ(convtest::ReadText(path), before);
}
