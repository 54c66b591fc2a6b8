#pragma once
#include <filesystem>
#include <string>

namespace ubxtest {

// Folder of the real receiver logs beside the project, or empty when absent.
std::filesystem::path SharedUbxDir();
// Folder of the real ANTEX files beside the project, or empty when absent.
std::filesystem::path SharedAntexDir();
// The build tree's root (bin/, lib/, resources/ below it).
std::filesystem::path BinaryDir();

// A fresh folder under the system temporary folder, removed with the object.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    const std::filesystem::path& Path() const { return path; }
    std::string File(const std::string& name) const { return (path / name).string(); }

private:
    std::filesystem::path path;
};

}  // namespace ubxtest

// Skips the current test when the real logs are not beside the project.
#define SKIP_WITHOUT_SHARED_LOGS()                                                       \
    do {                                                                                 \
        if (ubxtest::SharedUbxDir().empty())                                             \
            GTEST_SKIP() << "../shared/data/ubx is absent: real receiver logs not tested"; \
    } while (0)

// Skips the current test when the real ANTEX files are not beside the project.
#define SKIP_WITHOUT_SHARED_ANTEX()                                                        \
    do {                                                                                   \
        if (ubxtest::SharedAntexDir().empty())                                             \
            GTEST_SKIP() << "../shared/data/antex is absent: real ANTEX files not tested"; \
    } while (0)
