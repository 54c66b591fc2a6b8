#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include <unistd.h>

#include "settings/ProductSettings.h"
#include "settings/SettingsFixture.h"
#include "settings/XmlDocument.h"
#include "support/TestPaths.h"

namespace fs = std::filesystem;
using settingstest::ReadText;
using settingstest::SettingsWorld;
using settingstest::WriteText;

namespace {

std::string SettingsText(const std::string& inner) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Products><Product>" + inner +
           "</Product></Products>\n";
}

std::string Element(const std::string& name, const std::string& text) {
    return "<" + name + ">" + text + "</" + name + ">";
}

std::string StoredValue(const std::string& file, const std::string& key) {
    CXmlDocument document;
    if (!document.Load(file)) return "<unreadable>";
    const CXmlNodeList elements = document.GetElementsByName(key);
    return elements.Count() > 0 ? elements.Item(0).GetText() : "<absent>";
}

}  // namespace

TEST(SettingsPathText, JoinPathAddsOneSeparator) {
    struct Case {
        const char* folder;
        const char* name;
        const char* joined;
    };
    const Case cases[] = {
        {"/opt/app", "lodestar.settings", "/opt/app/lodestar.settings"},
        {"/opt/app/", "x", "/opt/app/x"},
        {"D:\\App\\", "x", "D:\\App\\x"},
        {"D:\\App", "x", "D:\\App/x"},
        {"", "x", "/x"},
    };
    for (const Case& c : cases) EXPECT_EQ(JoinPath(c.folder, c.name), c.joined) << c.folder;
}

TEST(SettingsPathText, ProgramFilesIsAWholePathPartInAnyCase) {
    struct Case {
        const char* path;
        bool under;
    };
    const Case cases[] = {
        {"C:\\Program Files\\App\\lodestar.settings", true},
        {"c:/PROGRAM FILES (X86)/App/bin", true},
        {"/opt/Program Files/App/", true},
        {"C:Program Files", true},
        {"Program Files", true},
        {"/opt/Program Files Old/App", false},
        {"/opt/my program files/App", false},
        {"/opt/Program Files (x64)/App", false},
        {"/opt/ProgramFiles/App", false},
        {"", false},
    };
    for (const Case& c : cases) EXPECT_EQ(IsUnderProgramFiles(c.path), c.under) << c.path;
}

TEST(SettingsPathText, HostPathGivesProgramFolder) {
    struct Case {
        const char* host;
        const char* folder;
    };
    const Case cases[] = {
        {"/opt/app/bin/host", "/opt/app/bin"},
        {"D:\\App\\bin\\host.exe", "D:\\App\\bin"},
        {"/usr/bin/python3.11", "/work/here"},
        {"/opt/python-tools/host", "/work/here"},
        {"/opt/Python/host", "/opt/Python"},  // the interpreter rule is case-sensitive
        {"host", ""},
    };
    for (const Case& c : cases)
        EXPECT_EQ(ProgramDirFromHostPath(c.host, "/work/here"), c.folder) << c.host;
}

TEST(SettingsPathText, ProgramDirIsTheFolderOfTheRunningExecutable) {
    // The test program itself lies in the build tree's bin folder, just as a
    // host program in an installation lies in PREFIX/bin.
    ClearProgramDirOverride();
    EXPECT_EQ(fs::canonical(GetProgramDir()), fs::canonical(ubxtest::BinaryDir() / "bin"));
    SetProgramDirOverride("/somewhere/else");
    EXPECT_EQ(GetProgramDir(), "/somewhere/else");
    ClearProgramDirOverride();
}

TEST_F(SettingsWorld, HostInBinGetsItsSettingsBesideBin) {
    Host("App/bin");
    WriteText(At("App/resources/Manufact/manufact.utc"), "<r/>");
    const CProductSettings settings;

    EXPECT_TRUE(fs::exists(At("App/lodestar.settings")));
    EXPECT_EQ(settings.GetManufactDir(), At("App/resources/Manufact"));
    EXPECT_EQ(settings.GetUserDir(), At("App/resources/User"));
    EXPECT_EQ(settings.GetProgramDir(), At("App/bin/"));
    EXPECT_EQ(settings.Get("SettingsDir"), At("App/Settings"));
    EXPECT_EQ(settings.Get("DocsDir"), At("App/docs"));
    EXPECT_EQ(settings.GetExpTemplateDir(), At("App/resources/export_templates"));
    EXPECT_EQ(settings.Get("LA"), "0");
    EXPECT_EQ(StoredValue(At("App/lodestar.settings"), "RedirectDir"), "<absent>");
    EXPECT_TRUE(fs::is_directory(At("App/resources/proc_profiles")));
    EXPECT_EQ(ReadText(At("App/resources/Manufact/manufact.utc")), "<r/>");
    EXPECT_FALSE(fs::exists(At("data"))) << "a writable installation needs no per-user folder";
}

TEST_F(SettingsWorld, ProtectedInstallationKeepsSettingsPerUser) {
    Host("Program Files/App/bin");
    const std::string pointer = At("Program Files/App/lodestar.settings");
    WriteText(pointer, SettingsText(Element("Name", "My App") + Element("Version", "9.00")));
    WriteText(At("Program Files/App/resources/Manufact/manufact.utc"), "utc");
    WriteText(At("Program Files/App/resources/Manufact/old/manufact.utc"), "not copied");
    WriteText(At("Program Files/App/docs/guide.txt"), "guide");
    const std::string pointerBefore = ReadText(pointer);

    const CProductSettings settings;
    const std::string user = UserSettingsFolder("MyApp900");
    EXPECT_TRUE(fs::exists(user + "/lodestar.settings"));
    EXPECT_EQ(settings.Get("Name"), "My App");
    EXPECT_EQ(settings.Get("Version"), "9.00");
    EXPECT_EQ(settings.GetManufactDir(), user + "/resources/Manufact");
    EXPECT_EQ(settings.GetProgramDir(), At("Program Files/App/bin/"));
    EXPECT_EQ(ReadText(user + "/resources/Manufact/manufact.utc"), "utc");
    EXPECT_FALSE(fs::exists(user + "/resources/Manufact/old")) << "the copy stays flat";
    EXPECT_EQ(ReadText(user + "/docs/guide.txt"), "guide");
    EXPECT_TRUE(fs::is_directory(user + "/resources/User"));
    EXPECT_EQ(ReadText(pointer), pointerBefore) << "the pointer file stays as it was";
}

TEST_F(SettingsWorld, PerUserFolderNamesAndRoots) {
    struct Case {
        const char* label;
        const char* pointer;   // null: no pointer file yet
        const char* dataHome;  // null: unset
        const char* expected;  // relative to the temporary folder
    };
    const Case cases[] = {
        {"no pointer file", nullptr, "/data", "data/Halcyon/Lodestar"},
        {"pointer without a name", "", "/data", "data/Halcyon/Lodestar"},
        {"blanks and dots go", "<Name> A  B </Name><Version>1.2.3</Version>", "/data",
         "data/Halcyon/AB123"},
        {"no XDG_DATA_HOME", "", nullptr, "home/.local/share/Halcyon/Lodestar"},
        {"relative XDG_DATA_HOME", "", "relative", "home/.local/share/Halcyon/Lodestar"},
    };
    int round = 0;
    for (const Case& c : cases) {
        const std::string install = "Program Files/App" + std::to_string(round++);
        Host(install + "/bin");
        if (c.pointer != nullptr) WriteText(At(install + "/lodestar.settings"), SettingsText(c.pointer));
        if (c.dataHome == nullptr) unsetenv("XDG_DATA_HOME");
        else if (c.dataHome[0] == '/') setenv("XDG_DATA_HOME", (Root() + c.dataHome).c_str(), 1);
        else setenv("XDG_DATA_HOME", c.dataHome, 1);

        const CProductSettings settings;
        EXPECT_EQ(settings.Get("SettingsDir"), At(std::string(c.expected) + "/Settings")) << c.label;
        EXPECT_TRUE(fs::exists(At(install + "/lodestar.settings"))) << c.label;
        fs::remove_all(At("data"));
        fs::remove_all(At("home"));
    }
}

TEST_F(SettingsWorld, RedirectDirInThePointerMovesTheSettings) {
    Host("Program Files/App/bin");
    WriteText(At("Program Files/App/lodestar.settings"),
              SettingsText(Element("Name", "My App") + Element("RedirectDir", At("shared/settings"))));
    WriteText(At("Program Files/App/resources/Manufact/manufact.utc"), "utc");

    const CProductSettings settings;
    EXPECT_TRUE(fs::exists(At("shared/settings/lodestar.settings")));
    EXPECT_EQ(settings.GetManufactDir(), At("shared/settings/resources/Manufact"));
    EXPECT_EQ(ReadText(At("shared/settings/resources/Manufact/manufact.utc")), "utc");
    EXPECT_EQ(StoredValue(At("shared/settings/lodestar.settings"), "RedirectDir"), "<absent>");
    EXPECT_FALSE(fs::exists(UserSettingsFolder("MyApp")));
}

TEST_F(SettingsWorld, FoldersThatExistAreLeftAlone) {
    Host("Program Files/App/bin");
    WriteText(At("Program Files/App/resources/Manufact/manufact.utc"), "installed 1");
    { const CProductSettings first; }
    const std::string copy = UserSettingsFolder("Lodestar") + "/resources/Manufact/";
    ASSERT_EQ(ReadText(copy + "manufact.utc"), "installed 1");

    WriteText(copy + "manufact.utc", "edited by the user");
    WriteText(At("Program Files/App/resources/Manufact/manufact.utc"), "installed 2");
    WriteText(At("Program Files/App/resources/Manufact/manufact.atx"), "new");
    { const CProductSettings second; }
    EXPECT_EQ(ReadText(copy + "manufact.utc"), "edited by the user");
    EXPECT_FALSE(fs::exists(copy + "manufact.atx"));
}

TEST_F(SettingsWorld, BinInsideALongerNameCutsTheInstallationBase) {
    // The installation's files are looked for at the program folder cut at
    // the first "bin" of its text, even in the middle of a name.
    struct Case {
        const char* host;
        const char* base;  // where the installation's files are taken from
    };
    const Case cases[] = {{"Cabin", "Ca"}, {"cabinet/bin", "ca"}};
    for (const Case& c : cases) {
        const std::string host = c.host;
        const std::string folder = host.substr(0, host.find('/'));  // where lodestar.settings goes
        Host(host);
        WriteText(At(std::string(c.base) + "docs/guide.txt"), "guide");
        WriteText(At(std::string(c.base) + "resources/Manufact/manufact.utc"), "utc");

        const CProductSettings settings;
        EXPECT_TRUE(fs::exists(At(folder + "/lodestar.settings"))) << c.host;
        EXPECT_EQ(settings.GetManufactDir(), At(folder + "/resources/Manufact")) << c.host;
        EXPECT_EQ(ReadText(At(folder + "/resources/Manufact/manufact.utc")), "utc") << c.host;
        EXPECT_EQ(ReadText(At(folder + "/docs/guide.txt")), "guide") << c.host;
    }
}

TEST_F(SettingsWorld, EmptyFoldersFallBackOnProgramDir) {
    Host("App/bin");
    const std::string elsewhere = At("elsewhere/bin");
    WriteText(At("App/lodestar.settings"),
              SettingsText(Element("ProgramDir", elsewhere) + "<ExpTemplateDir/>" +
                           Element("ProcProfileDir", "") + Element("ManufactDir", At("m")) +
                           "<Extra><LA>inner</LA></Extra>" + Element("LA", "0")));
    CProductSettings settings;
    EXPECT_EQ(settings.Get("LA"), "inner") << "the first element of the name, at any depth";
    EXPECT_TRUE(settings.Set("LA", "1"));
    EXPECT_EQ(settings.Get("LA"), "1");
    EXPECT_FALSE(settings.Set("Missing", "x"));
    EXPECT_EQ(StoredValue(At("App/lodestar.settings"), "LA"), "inner") << "Set writes no file";
    EXPECT_EQ(settings.GetExpTemplateDir(), elsewhere);
    EXPECT_EQ(settings.GetProcProfileDir(), elsewhere);
    EXPECT_EQ(settings.GetProgramDir(), elsewhere + "/");
    EXPECT_EQ(settings.GetUserDir(), "");
    EXPECT_TRUE(fs::is_directory(At("m"))) << "a named folder is created";
}

TEST_F(SettingsWorld, MovedInstallationRepairsOnlyProtectedProgramDir) {
    // A protected installation that moved rewrites the remembered folder.
    Host("Program Files/App/bin");
    // (Settings without folders of their own fall back on ProgramDir, which
    // is then created: keep the old place inside the temporary folder.)
    const std::string oldPlace = At("old/place/bin/");
    const std::string user = UserSettingsFolder("Lodestar") + "/lodestar.settings";
    WriteText(user, SettingsText(Element("ProgramDir", oldPlace)));
    { const CProductSettings settings; }
    EXPECT_EQ(StoredValue(user, "ProgramDir"), At("Program Files/App/bin/"));

    // Elsewhere the stored folder is the user's choice and stays.
    Host("App/bin");
    WriteText(At("App/lodestar.settings"), SettingsText(Element("ProgramDir", oldPlace)));
    const CProductSettings settings;
    EXPECT_EQ(settings.GetProgramDir(), oldPlace);
    EXPECT_EQ(StoredValue(At("App/lodestar.settings"), "ProgramDir"), oldPlace);
}

TEST_F(SettingsWorld, UnreadableSettingsGiveEmptyAnswers) {
    Host("App/bin");
    WriteText(At("App/lodestar.settings"), "<Products><Product>");
    const CProductSettings settings;
    EXPECT_EQ(settings.GetManufactDir(), "");
    EXPECT_EQ(settings.GetProgramDir(), "");
    EXPECT_EQ(settings.GetExpTemplateDir(), "");
    EXPECT_EQ(ReadText(At("App/lodestar.settings")), "<Products><Product>") << "never overwritten";
}

TEST_F(SettingsWorld, OnlyAnUnwritableSettingsFolderCountsAsProtected) {
    if (geteuid() == 0) GTEST_SKIP() << "every folder is writable for root";
    Host("App/bin");
    WriteText(At("App/resources/Manufact/manufact.utc"), "utc");
    fs::permissions(At("App"), fs::perms::owner_write, fs::perm_options::remove);
    const CProductSettings settings;
    fs::permissions(At("App"), fs::perms::owner_write, fs::perm_options::add);
    EXPECT_FALSE(fs::exists(At("App/lodestar.settings")));
    EXPECT_EQ(settings.GetManufactDir(), UserSettingsFolder("Lodestar") + "/resources/Manufact");
    EXPECT_EQ(ReadText(UserSettingsFolder("Lodestar") + "/resources/Manufact/manufact.utc"), "utc");

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
