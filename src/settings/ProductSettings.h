#pragma once
// The installation's folders, named by the XML file lodestar.settings.
//
// Where the data files live:
//   A host program at PREFIX/bin/host finds (or creates) PREFIX/lodestar.settings,
//   whose ManufactDir is PREFIX/resources/Manufact. The build tree has the
//   same shape as the install tree (build/bin beside build/resources), so the
//   manufacturer's files in resources/Manufact of the source tree, which the
//   build copies and the install installs, are found from either without a
//   copy. A host in a folder the user cannot write (the part a Program Files
//   folder plays on Windows) keeps its settings in a per-user folder instead,
//   $XDG_DATA_HOME/Halcyon/<product> (or ~/.local/share/Halcyon/<product>),
//   and the installation's resources/Manufact is copied there once.
#include <string>

#include "settings/XmlDocument.h"

// The separator that this system puts into the paths it builds. Paths it
// reads may use either '\' or '/': settings files written on Windows name
// their folders with '\'.
#if defined(_WIN32)
inline constexpr char kPathSeparator = '\\';
#else
inline constexpr char kPathSeparator = '/';
#endif

// The folder of the host program's executable, without a trailing separator;
// the current working folder when the host is a Python interpreter.
std::string GetProgramDir();
// The rule of GetProgramDir on given texts: "python" anywhere in the host's
// file name selects the working folder, otherwise the name is cut behind its
// last separator.
std::string ProgramDirFromHostPath(const std::string& hostPath, const std::string& workingDir);
// folder + separator + name, without doubling a separator that is there.
std::string JoinPath(const std::string& folder, const std::string& name);
// True if a part of the path, split at ':', '\' and '/', is "program files"
// or "program files (x86)" in any case.
bool IsUnderProgramFiles(const std::string& path);
// A folder the user may not keep settings in: one under Program Files, or
// one that exists and cannot be written.
bool IsProtectedFolder(const std::string& path);
// The per-user folder that holds the settings of a protected installation:
// $XDG_DATA_HOME/Halcyon, else $HOME/.local/share/Halcyon.
std::string GetUserSettingsRoot();

// An embedding host may fix the program folder for every later settings
// lookup; this library itself never does.
void SetProgramDirOverride(const std::string& folder);
void ClearProgramDirOverride();

class CProductSettings {
public:
    // Finds, creates and loads the settings file, and puts the installation's
    // data folders in place. Reports nothing: a bad file gives empty answers.
    CProductSettings();

    std::string GetManufactDir() const { return Get("ManufactDir"); }
    std::string GetUserDir() const { return Get("UserDir"); }
    // The stored ProgramDir with a trailing separator; empty if none is stored.
    std::string GetProgramDir() const;
    // These two fall back on ProgramDir when they are empty.
    std::string GetExpTemplateDir() const;
    std::string GetProcProfileDir() const;

    // The text of the first element named key anywhere in the file, or empty.
    std::string Get(const std::string& key) const;
    // Sets the text of the first element named key; false if there is none.
    // The file is not written.
    bool Set(const std::string& key, const std::string& value);

private:
    std::string FindSettingsFile(const std::string& folder);
    void CreateSettingsFile(const std::string& path, bool writeRedirect);
    std::string MakeUserSettingsPath(const std::string& name, const std::string& version);
    std::string MakeRedirectSettingsPath(const std::string& folder);
    void EnsureDirectories();
    void VerifyProgramDir();

    CXmlDocument document;
    std::string productName;
    std::string productVersion;
    std::string programDir;
    std::string redirectDir;
    // Whether the settings file beside the program lies where the user cannot
    // write; found once by FindSettingsFile.
    bool protectedInstallation = false;
};
