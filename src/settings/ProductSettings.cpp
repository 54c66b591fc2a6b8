#include "settings/ProductSettings.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace fs = std::filesystem;

namespace {

const char kSettingsFileName[] = "lodestar.settings";

bool IsSeparator(char c) { return c == '\\' || c == '/'; }

bool Exists(const std::string& path) {
    std::error_code ec;
    return !path.empty() && fs::exists(path, ec);
}

// The folder part of a path, with its trailing separator; empty if the path
// names no folder.
std::string FolderOf(const std::string& path) {
    const std::size_t cut = path.find_last_of("\\/");
    return cut == std::string::npos ? std::string() : path.substr(0, cut + 1);
}

std::string WithTrailingSeparator(const std::string& folder) {
    if (!folder.empty() && IsSeparator(folder.back())) return folder;
    return folder + kPathSeparator;
}

std::string FirstText(const CXmlDocument& document, const std::string& key) {
    const CXmlNodeList elements = document.GetElementsByName(key);
    return elements.Count() > 0 ? elements.Item(0).GetText() : std::string();
}

// Copies the files directly inside source into target; subfolders stay
// behind.
void CopyFolderFiles(const std::string& source, const std::string& target) {
    std::error_code ec;
    for (fs::directory_iterator entry(source, ec), end; !ec && entry != end; entry.increment(ec)) {
        std::error_code fileEc;
        if (!entry->is_regular_file(fileEc)) continue;
        fs::copy_file(entry->path(), fs::path(target) / entry->path().filename(),
                      fs::copy_options::skip_existing, fileEc);
    }
}

}  // namespace

CProductSettings::CProductSettings() {
    programDir = ::GetProgramDir();
    const std::string path = FindSettingsFile(programDir);
    document.Load(path);
    EnsureDirectories();
    VerifyProgramDir();
}

std::string CProductSettings::Get(const std::string& key) const { return FirstText(document, key); }

bool CProductSettings::Set(const std::string& key, const std::string& value) {
    const CXmlNodeList elements = document.GetElementsByName(key);
    if (elements.Count() == 0) return false;
    return elements.Item(0).SetText(value);
}

std::string CProductSettings::GetProgramDir() const {
    const std::string stored = Get("ProgramDir");
    return stored.empty() ? stored : WithTrailingSeparator(stored);
}

std::string CProductSettings::GetExpTemplateDir() const {
    const std::string folder = Get("ExpTemplateDir");
    return folder.empty() ? Get("ProgramDir") : folder;
}

std::string CProductSettings::GetProcProfileDir() const {
    const std::string folder = Get("ProcProfileDir");
    return folder.empty() ? Get("ProgramDir") : folder;
}

std::string CProductSettings::FindSettingsFile(const std::string& folder) {
    std::string base = folder;
    if (!base.empty() && IsSeparator(base.back())) base.pop_back();
    // A host in a bin folder keeps its settings one level up, beside bin.
    const std::size_t cut = base.find_last_of("\\/");
    const std::string lastPart = cut == std::string::npos ? base : base.substr(cut + 1);
    if (lastPart == "bin") base = cut == std::string::npos ? std::string() : base.substr(0, cut);

    std::string path = JoinPath(base, kSettingsFileName);
    if (!Exists(path)) CreateSettingsFile(path, true);

    // One test decides for the whole installation: the folder that holds
    // its settings file. VerifyProgramDir goes by the same answer.
    protectedInstallation = IsProtectedFolder(FolderOf(path));
    if (protectedInstallation) {
        // The user cannot write here: the file only points to the settings
        // that are kept elsewhere.
        CXmlDocument pointer;
        if (pointer.Load(path)) {
            const std::string name = FirstText(pointer, "Name");
            const std::string version = FirstText(pointer, "Version");
            const std::string redirect = FirstText(pointer, "RedirectDir");
            if (!name.empty()) productName = name;
            if (!version.empty()) productVersion = version;
            if (!redirect.empty()) redirectDir = redirect;
        }
        path = redirectDir.empty() ? MakeUserSettingsPath(productName, productVersion)
                                   : MakeRedirectSettingsPath(redirectDir);
        if (!Exists(path)) CreateSettingsFile(path, false);
    }
    return path;
}

std::string CProductSettings::MakeUserSettingsPath(const std::string& name, const std::string& version) {
    std::string folderName = "Lodestar";
    if (!name.empty()) {
        std::string compactName = name;
        compactName.erase(std::remove(compactName.begin(), compactName.end(), ' '), compactName.end());
        std::string compactVersion = version;
        compactVersion.erase(std::remove(compactVersion.begin(), compactVersion.end(), '.'),
                             compactVersion.end());
        folderName = compactName + compactVersion;
    }
    // One fixed per-user root for every protected installation.
    const std::string root = GetUserSettingsRoot();
    std::error_code ec;
    if (!Exists(root)) fs::create_directories(root, ec);
    return MakeRedirectSettingsPath(JoinPath(root, folderName));
}

std::string CProductSettings::MakeRedirectSettingsPath(const std::string& folder) {
    std::error_code ec;
    if (!Exists(folder)) fs::create_directories(folder, ec);
    return JoinPath(folder, kSettingsFileName);
}

void CProductSettings::CreateSettingsFile(const std::string& path, bool writeRedirect) {
    const std::string folder = FolderOf(path);
    const std::string resources = folder + "resources" + kPathSeparator;

    CXmlDocument settings;
    const CXmlNode root = settings.Create("Products");
    const CXmlNode product = settings.AddElement(root, "Product");
    settings.AddElement(product, "Name", productName);
    settings.AddElement(product, "Version", productVersion);
    settings.AddElement(product, "Date", "");
    settings.AddElement(product, "ProgramDir", WithTrailingSeparator(programDir));
    settings.AddElement(product, "SettingsDir", folder + "Settings");
    settings.AddElement(product, "DocsDir", folder + "docs");
    settings.AddElement(product, "ManufactDir", resources + "Manufact");
    settings.AddElement(product, "UserDir", resources + "User");
    settings.AddElement(product, "ProcProfileDir", resources + "proc_profiles");
    settings.AddElement(product, "ExpTemplateDir", resources + "export_templates");
    settings.AddElement(product, "LA", "0");
    if (writeRedirect && !redirectDir.empty()) settings.AddElement(product, "RedirectDir", redirectDir);
    settings.Save(path);
}

void CProductSettings::EnsureDirectories() {
    // The installation's own files lie beside its bin folder. The cut is at
    // the first "bin" anywhere in the text, even inside a longer name, as
    // existing installations expect.
    const std::size_t cut = programDir.find("bin");
    const std::string base = cut == std::string::npos ? programDir : programDir.substr(0, cut);
    const std::string resources = base + "resources" + kPathSeparator;

    struct Folder {
        std::string folder;
        std::string source;  // empty: only created
    };
    const Folder folders[] = {
        {Get("DocsDir"), base + "docs"},
        {Get("ManufactDir"), resources + "Manufact"},
        {Get("UserDir"), ""},
        {Get("SettingsDir"), ""},
        {GetProcProfileDir(), resources + "proc_profiles"},
        {GetExpTemplateDir(), resources + "export_templates"},
    };
    for (const Folder& entry : folders) {
        // A folder that is there is the user's: a later installation must not
        // overwrite what the user changed in it.
        if (entry.folder.empty() || Exists(entry.folder)) continue;
        std::error_code ec;
        fs::create_directories(entry.folder, ec);
        if (ec) continue;
        if (!entry.source.empty()) CopyFolderFiles(entry.source, entry.folder);
    }
}

void CProductSettings::VerifyProgramDir() {
    programDir = WithTrailingSeparator(programDir);
    // A moved installation in a protected folder repairs the folder that its
    // user settings remember. Elsewhere the stored value is the user's.
    if (protectedInstallation && programDir != Get("ProgramDir")) {
        Set("ProgramDir", programDir);
        document.Save(FindSettingsFile(programDir));
    }
}
