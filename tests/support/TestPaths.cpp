#include "TestPaths.h"

#include <atomic>
#include <random>
#include <unistd.h>

namespace ubxtest {

static std::filesystem::path SharedDataDir(const char* name) {
    std::filesystem::path dir = std::filesystem::path(UBLOX2TRV_SHARED_DATA_DIR) / name;
    std::error_code ec;
    return std::filesystem::is_directory(dir, ec) ? dir : std::filesystem::path();
}

std::filesystem::path SharedUbxDir() { return SharedDataDir("ubx"); }

std::filesystem::path SharedAntexDir() { return SharedDataDir("antex"); }

std::filesystem::path BinaryDir() { return UBLOX2TRV_BINARY_DIR; }

TempDir::TempDir() {
    static std::atomic<int> serial{0};
    std::random_device rd;
    path = std::filesystem::temp_directory_path() /
           ("ublox2trv-test-" + std::to_string(getpid()) + "-" + std::to_string(serial++) + "-" +
            std::to_string(rd() % 100000));
    std::filesystem::create_directories(path);
}

TempDir::~TempDir() {
    std::error_code ec;
    std::filesystem::remove_all(path, ec);
}

}  // namespace ubxtest
