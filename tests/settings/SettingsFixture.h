#pragma once
// A private world for settings lookups: the host program's folder, HOME and
// XDG_DATA_HOME all point into a fresh temporary folder, so that no test
// reads or writes the real user's settings.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>

#include "settings/ProductSettings.h"
#include "support/TestPaths.h"

namespace settingstest {

inline void WriteText(const std::filesystem::path& file, const std::string& text) {
    std::filesystem::create_directories(file.parent_path());
    std::ofstream out(file, std::ios::binary | std::ios::trunc);
    out << text;
}

inline std::string ReadText(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

class ScopedEnv {
public:
    explicit ScopedEnv(const char* name) : name(name) {
        if (const char* value = std::getenv(name)) saved = value;
    }
    ~ScopedEnv() {
        if (saved) setenv(name, saved->c_str(), 1);
        else unsetenv(name);
    }
    ScopedEnv(const ScopedEnv&) = delete;
    ScopedEnv& operator=(const ScopedEnv&) = delete;

private:
    const char* name;
    std::optional<std::string> saved;
};

class SettingsWorld : public ::testing::Test {
protected:
    void SetUp() override {
        // The start-up cuts the program folder at the first "bin" of its
        // text, so a temporary folder with "bin" in its own path would move
        // every expected folder.
        if (Root().find("bin") != std::string::npos)
            GTEST_SKIP() << "temporary folder " << Root() << " holds \"bin\"";
        setenv("HOME", (temp.Path() / "home").c_str(), 1);
        setenv("XDG_DATA_HOME", (temp.Path() / "data").c_str(), 1);
    }
    void TearDown() override { ClearProgramDirOverride(); }

    std::string Root() const { return temp.Path().string(); }
    std::string At(const std::string& relative) const { return (temp.Path() / relative).string(); }
    // Makes the folder and lets it stand for the host program's folder.
    std::string Host(const std::string& relative) {
        std::filesystem::create_directories(temp.Path() / relative);
        SetProgramDirOverride(At(relative));
        return At(relative);
    }
    std::string UserSettingsFolder(const std::string& product) const {
        return At("data/Halcyon/" + product);
    }

    ubxtest::TempDir temp;

private:
    ScopedEnv home{"HOME"};
    ScopedEnv dataHome{"XDG_DATA_HOME"};
};

}  // namespace settingstest
