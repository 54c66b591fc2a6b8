// The product settings promise: a host finds its settings beside its bin folder
// or, for a protected installation, in a per-user folder named after the
// product (or where it redirects them); the folders named are made and filled
// once, and what is there is kept.
#include <gtest/gtest.h>

#include <unistd.h>

#include "settings/SettingsFixture.h"

namespace fs = std::filesystem;
using namespace settingstest;

static std::string SettingsText(const std::string& inner) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Products><Product>" + inner + "</Product></Products>\n";
}
static std::string Element(const std::string& name, const std::string& text) {
    return "<" + name + ">" + text + "</" + name + ">";
}
// The first element of that name in a settings file.
static std::string StoredValue(const std::string& file, const std::string& key) {
    CXmlDocument document;
    const CXmlNodeList elements = document.Load(file) ? document.GetElementsByName(key) : CXmlNodeList();
    return elements.Count() > 0 ? elements.Item(0).GetText() : "<absent>";
}

TEST(SettingsPathText, JoinProgramFilesAndHostFolder) {
    for (const auto& [folder, joined] : {std::pair{"/opt/app", "/opt/app/x"}, {"D:\\App\\", "D:\\App\\x"}, {"", "/x"}})
        EXPECT_EQ(JoinPath(folder, "x"), joined) << folder;
    // "Program Files" counts as a whole path part, in any case.
    for (const auto& [path, under] : {std::pair{"C:\\Program Files\\App", true}, {"c:/PROGRAM FILES (X86)/", true},
                                      {"C:Program Files", true}, {"/opt/Program Files Old/App", false},
                                      {"/opt/Program Files (x64)", false}, {"", false}})
        EXPECT_EQ(IsUnderProgramFiles(path), under) << path;
    for (const auto& [host, folder] : {std::pair{"/opt/app/bin/host", "/opt/app/bin"}, {"D:\\App\\x.exe", "D:\\App"},
                                       {"/opt/python-tools/host", "/work/here"}, {"host", ""},
                                       {"/opt/Python/host", "/opt/Python"}})  // the interpreter rule is case-sensitive
        EXPECT_EQ(ProgramDirFromHostPath(host, "/work/here"), folder) << host;
    // The test program itself lies in the build tree's bin folder, as a host lies in PREFIX/bin.
    ClearProgramDirOverride();
    EXPECT_EQ(fs::canonical(GetProgramDir()), fs::canonical(ubxtest::BinaryDir() / "bin"));
}

TEST_F(SettingsWorld, HostInBinGetsItsSettingsBesideBin) {
    Host("App/bin");
    WriteText(At("App/resources/Manufact/manufact.utc"), "<r/>");
    const CProductSettings settings;
    for (const auto& [key, folder] :
         {std::pair{"ManufactDir", "App/resources/Manufact"}, {"UserDir", "App/resources/User"},
          {"SettingsDir", "App/Settings"}, {"DocsDir", "App/docs"}, {"ProcProfileDir", "App/resources/proc_profiles"},
          {"ExpTemplateDir", "App/resources/export_templates"}})
        EXPECT_TRUE(settings.Get(key) == At(folder) && fs::is_directory(At(folder))) << key;
    EXPECT_EQ(settings.GetProgramDir() + " " + settings.Get("LA"), At("App/bin/") + " 0");
    EXPECT_EQ(ReadText(At("App/resources/Manufact/manufact.utc")), "<r/>");
}

TEST_F(SettingsWorld, ProtectedInstallationKeepsSettingsPerUser) {
    Host("Program Files/App/bin");
    const std::string pointer = At("Program Files/App/lodestar.settings"), user = At("data/Halcyon/MyApp900");
    WriteText(pointer, SettingsText(Element("Name", "My App") + Element("Version", "9.00")));
    WriteText(At("Program Files/App/resources/Manufact/manufact.utc"), "utc");
    WriteText(At("Program Files/App/docs/guide.txt"), "guide");
    {
        const CProductSettings settings;
        EXPECT_EQ(settings.Get("Name") + " " + settings.Get("Version"), "My App 9.00");
        EXPECT_EQ(settings.GetManufactDir(), user + "/resources/Manufact");
    }
    EXPECT_EQ(ReadText(user + "/resources/Manufact/manufact.utc") + ReadText(user + "/docs/guide.txt"), "utcguide");

    // What is there is the user's: a later start does not overwrite it. But
    // the installation moved: the remembered program folder is repaired.
    WriteText(user + "/resources/Manufact/manufact.utc", "edited by the user");
    WriteText(At("Program Files/App/resources/Manufact/manufact.atx"), "new");
    WriteText(user + "/lodestar.settings", SettingsText(Element("ProgramDir", At("old/place/bin/")) +
                                                       Element("ManufactDir", user + "/resources/Manufact")));
    { const CProductSettings again; }
    EXPECT_EQ(ReadText(user + "/resources/Manufact/manufact.utc"), "edited by the user");
    EXPECT_FALSE(fs::exists(user + "/resources/Manufact/manufact.atx"));
    EXPECT_EQ(StoredValue(user + "/lodestar.settings", "ProgramDir"), At("Program Files/App/bin/"));
}

TEST_F(SettingsWorld, PerUserFolderNamesRootsAndRedirects) {
    const std::string data = At("data");
    const std::tuple<std::string, std::string, std::string> cases[] = {  // pointer file, XDG_DATA_HOME, folder
        {"", data, "data/Halcyon/Lodestar"},
        {Element("Name", " A  B ") + Element("Version", "1.2.3"), data, "data/Halcyon/AB123"},
        {"", "relative", "home/.local/share/Halcyon/Lodestar"},  // only an absolute path counts
        {Element("Name", "My App") + Element("RedirectDir", At("shared")), data, "shared"}};
    int round = 0;
    for (const auto& [pointer, dataHome, expected] : cases) {
        const std::string install = "Program Files/App" + std::to_string(round++);
        Host(install + "/bin");
        WriteText(At(install + "/resources/Manufact/manufact.utc"), "utc");
        if (!pointer.empty()) WriteText(At(install + "/lodestar.settings"), SettingsText(pointer));
        setenv("XDG_DATA_HOME", dataHome.c_str(), 1);
        EXPECT_EQ(CProductSettings().Get("SettingsDir"), At(expected + "/Settings")) << round;
        EXPECT_EQ(ReadText(At(expected + "/resources/Manufact/manufact.utc")), "utc") << round;
        EXPECT_EQ(StoredValue(At(expected + "/lodestar.settings"), "RedirectDir"), "<absent>") << round;
    }
}

TEST_F(SettingsWorld, StoredValuesAndTheirFallbacks) {
    Host("App/bin");
    const std::string elsewhere = At("elsewhere/bin");
    WriteText(At("App/lodestar.settings"),
              SettingsText(Element("ProgramDir", elsewhere) + "<ExpTemplateDir/>" + Element("ProcProfileDir", "") +
                           Element("ManufactDir", At("m")) + "<Extra><LA>inner</LA></Extra>" + Element("LA", "0")));
    CProductSettings settings;
    EXPECT_EQ(settings.Get("LA"), "inner") << "the first element of the name, at any depth";
    EXPECT_TRUE(settings.Set("LA", "1") && settings.Get("LA") == "1" && !settings.Set("Missing", "x"));
    EXPECT_EQ(StoredValue(At("App/lodestar.settings"), "LA"), "inner") << "Set writes no file";
    // Empty folders fall back on ProgramDir, which outside a protected installation is the user's choice.
    EXPECT_EQ(settings.GetExpTemplateDir() + " " + settings.GetProcProfileDir(), elsewhere + " " + elsewhere);
    EXPECT_EQ(settings.GetProgramDir(), elsewhere + "/");
    EXPECT_EQ(StoredValue(At("App/lodestar.settings"), "ProgramDir"), elsewhere);
    EXPECT_TRUE(fs::is_directory(At("m"))) << "a named folder is created";
}

TEST_F(SettingsWorld, OnlyAnUnwritableSettingsFolderCountsAsProtected) {
    if (geteuid() == 0) GTEST_SKIP() << "every folder is writable for root";
    Host("App/bin");
    WriteText(At("App/resources/Manufact/manufact.utc"), "utc");
    fs::permissions(At("App"), fs::perms::owner_write, fs::perm_options::remove);
    const CProductSettings settings;
    fs::permissions(At("App"), fs::perms::owner_write, fs::perm_options::add);
    EXPECT_FALSE(fs::exists(At("App/lodestar.settings")));
    EXPECT_EQ(settings.GetManufactDir(), At("data/Halcyon/Lodestar") + "/resources/Manufact");
    EXPECT_EQ(ReadText(At("data/Halcyon/Lodestar") + "/resources/Manufact/manufact.utc"), "utc");

    // A read-only bin beside a writable settings folder is no protected
    // installation: the stored ProgramDir is the user's and stays.
    Host("Other/bin");
    const std::string chosen = At("chosen/place/");
    WriteText(At("Other/lodestar.settings"), SettingsText(Element("ProgramDir", chosen)));
    fs::permissions(At("Other/bin"), fs::perms::owner_write, fs::perm_options::remove);
    { const CProductSettings other; }
    fs::permissions(At("Other/bin"), fs::perms::owner_write, fs::perm_options::add);
    EXPECT_EQ(StoredValue(At("Other/lodestar.settings"), "ProgramDir"), chosen);
}
