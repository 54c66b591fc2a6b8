#pragma once
// A private world for settings lookups: the host program's folder, HOME and
// XDG_DATA_HOME point into a fresh temporary folder, so that no test reads or
// writes the real user's settings. (No other test of this program reads the
// two variables, so they are left set.)
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "settings/ProductSettings.h"
#include "support/TestPaths.h"

namespace settingstest {

inline void WriteText(const std::filesystem::path& file, const std::string& text) {
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary | std::ios::trunc) << text;
}

inline std::string ReadText(const std::filesystem::path& file) {
    std::ostringstream text;
    text << std::ifstream(file, std::ios::binary).rdbuf();
    return text.str();
}

class SettingsWorld : public ::testing::Test {
protected:
    void SetUp() override {
        // The start-up cuts the program folder at the first "bin" of its text:
        // a temporary folder with "bin" in its path would move every folder.
        if (At("").find("bin") != std::string::npos) GTEST_SKIP() << At("") << " holds \"bin\"";
        setenv("HOME", At("home").c_str(), 1);
        setenv("XDG_DATA_HOME", At("data").c_str(), 1);
    }
    void TearDown() override { ClearProgramDirOverride(); }
    std::string At(const std::string& relative) const { return (temp.Path() / relative).string(); }
    // Makes the folder and lets it stand for the host program's folder.
    void Host(const std::string& relative) {
        std::filesystem::create_directories(At(relative));
        SetProgramDirOverride(At(relative));
    }

    ubxtest::TempDir temp;
};

}  // namespace settingstest
