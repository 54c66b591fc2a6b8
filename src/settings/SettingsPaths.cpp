// Path texts and the platform's folders for the product settings.
#include "settings/ProductSettings.h"

#include <cstdlib>
#include <filesystem>
#include <system_error>

#include <pwd.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

bool gProgramDirOverridden = false;
std::string gProgramDirOverride;

bool IsSeparator(char c) { return c == '\\' || c == '/'; }

std::string LowerAscii(std::string text) {
    for (char& c : text)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return text;
}

std::string WorkingFolder() {
    std::error_code ec;
    const fs::path cwd = fs::current_path(ec);
    return ec ? std::string() : cwd.string();
}

std::string HomeFolder() {
    const char* home = std::getenv("HOME");
    if (home != nullptr && *home != 0) return home;
    struct passwd entry {};
    struct passwd* found = nullptr;
    char buffer[4096];
    if (getpwuid_r(getuid(), &entry, buffer, sizeof buffer, &found) == 0 && found != nullptr &&
        found->pw_dir != nullptr && *found->pw_dir != 0)
        return found->pw_dir;
    return {};
}

}  // namespace

std::string ProgramDirFromHostPath(const std::string& hostPath, const std::string& workingDir) {
    // An interpreter as the host says nothing about where the product lies;
    // the script is run from its own folder.
    if (hostPath.find("python") != std::string::npos) return workingDir;
    const std::size_t cut = hostPath.find_last_of("\\/");
    return cut == std::string::npos ? std::string() : hostPath.substr(0, cut);
}

std::string GetProgramDir() {
    if (gProgramDirOverridden) return gProgramDirOverride;
    // The running executable, as the kernel names it with all links resolved.
    std::error_code ec;
    const fs::path host = fs::read_symlink("/proc/self/exe", ec);
    if (ec) return WorkingFolder();
    return ProgramDirFromHostPath(host.string(), WorkingFolder());
}

void SetProgramDirOverride(const std::string& folder) {
    gProgramDirOverride = folder;
    gProgramDirOverridden = true;
}

void ClearProgramDirOverride() {
    gProgramDirOverride.clear();
    gProgramDirOverridden = false;
}

std::string JoinPath(const std::string& folder, const std::string& name) {
    if (!folder.empty() && IsSeparator(folder.back())) return folder + name;
    return folder + kPathSeparator + name;
}

bool IsUnderProgramFiles(const std::string& path) {
    std::size_t start = 0;
    while (start <= path.size()) {
        std::size_t end = path.find_first_of(":\\/", start);
        if (end == std::string::npos) end = path.size();
        const std::string part = LowerAscii(path.substr(start, end - start));
        if (part == "program files" || part == "program files (x86)") return true;
        start = end + 1;
    }
    return false;
}

bool IsProtectedFolder(const std::string& path) {
    if (IsUnderProgramFiles(path)) return true;
    std::error_code ec;
    if (!fs::is_directory(path, ec)) return false;
    return access(path.c_str(), W_OK) != 0;
}

std::string GetUserSettingsRoot() {
    // XDG_DATA_HOME counts only as an absolute path.
    const char* dataHome = std::getenv("XDG_DATA_HOME");
    if (dataHome != nullptr && dataHome[0] == '/') return JoinPath(dataHome, "Halcyon");
    std::string home = HomeFolder();
    if (home.empty()) {
        std::error_code ec;
        home = fs::temp_directory_path(ec).string();
    }
    return JoinPath(JoinPath(JoinPath(home, ".local"), "share"), "Halcyon");
}
