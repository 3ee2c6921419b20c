#include "tests/windows/installation.h"

#include <gmock/gmock.h>

#include <objbase.h>
#include <shlobj.h>
#include <shobjidl.h>

namespace checks {
namespace {

using testing::HasSubstr;

constexpr int startup = 7;
constexpr int commonStartup = 24;
constexpr DWORD helperMs = 10'000; // a hidden child program does its work meanwhile

const std::string menuKey = "Directory\\Shell\\KOVRA.share";

std::string replaced(std::string text, const std::string& from, const std::string& to) {
    for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
    return text;
}

/// What a shell link says, in one text; empty when there is none.
std::string linkProperties(const std::string& path) {
    std::string text;
    IShellLinkA* link = nullptr;
    IPersistFile* file = nullptr;
    CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER, IID_IShellLinkA,
                     reinterpret_cast<void**>(&link));
    link->QueryInterface(IID_IPersistFile, reinterpret_cast<void**>(&file));
    if (SUCCEEDED(file->Load(std::wstring{path.begin(), path.end()}.c_str(), STGM_READ))) {
        char texts[4][MAX_PATH] = {};
        int show = 0;
        int iconIndex = -1;
        link->GetPath(texts[0], MAX_PATH, nullptr, SLGP_RAWPATH);
        link->GetArguments(texts[1], MAX_PATH);
        link->GetWorkingDirectory(texts[2], MAX_PATH);
        link->GetIconLocation(texts[3], MAX_PATH, &iconIndex);
        link->GetShowCmd(&show);
        for (const char* each : texts)
            text += std::string{each} + "|";
        text += std::to_string(iconIndex) + "|" + std::to_string(show);
    }
    file->Release();
    link->Release();
    return text;
}

std::string valueOf(const std::string& key) {
    return classesRootValue(key).value_or("[none]");
}

/// Waits for the registry tool, which the launcher starts and leaves to itself. Only behind its end
/// everything is in the registry, and nothing comes into it any more.
bool waitForRegistryTool() {
    return waitFor(helperMs, [] { return !isRunning("regedit.exe"); });
}

bool waitForMenu() {
    return waitForRegistryTool() && valueOf(menuKey) == "Share ''with''";
}

bool waitForNoMenu() {
    return waitForRegistryTool() && !classesRootValue(menuKey) && !classesRootValue("*\\Shell\\KOVRA.share");
}

const std::string contextMenuTemplate =
    "REGEDIT4\r\n\r\n; caf\xE9\r\n"
    "[HKEY_CLASSES_ROOT\\Directory\\Shell\\KOVRA.share]\r\n@=\"%SHAREMAINCAPTION%\"\r\n\r\n"
    "[HKEY_CLASSES_ROOT\\Directory\\Shell\\KOVRA.share\\command]\r\n"
    "@=\"\\\"%EXEPATH%\\\\Kovra.exe\\\" \\\"%1\\\" %WWWPATH%\"\r\n\r\n"
    "[HKEY_CLASSES_ROOT\\*\\Shell\\KOVRA.share]\r\n@=\"%SHARECAPTION%\"\r\n";

std::string filledTemplate() {
    std::string text = replaced(contextMenuTemplate, "%EXEPATH%", "C:\\\\Kovra Server\\\\bin");
    text = replaced(text, "%WWWPATH%", "C:\\\\Kovra Server\\\\www");
    return replaced(replaced(text, "%SHAREMAINCAPTION%", "Share ''with''"), "%SHARECAPTION%", "Share");
}

/// The one-shot command lines, beside a shell.
class Integration : public testing::Test {
protected:
    static void SetUpTestSuite() {
        CoInitialize(nullptr);
        ASSERT_TRUE(layInstallation());
        shell_ = startStandIn("explorer.exe");
        logonProcess_ = startStandIn("winlogon.exe");
        writeFile(exeFolder + "\\default\\contextMenu.reg", contextMenuTemplate);
    }

    static void TearDownTestSuite() {
        shell_ = {};
        logonProcess_ = {};
        CoUninitialize();
    }

private:
    static inline Process shell_;
    static inline Process logonProcess_;
};

TEST_F(Integration, TheContextMenuComesAndGoes) {
    const std::string output = dataFolder + "\\temp\\contextMenu.reg";
    runLauncher("registerContextMenu");
    EXPECT_EQ(valueOf("KOVRA.PSERVER.1\\DefaultIcon"), launcherFile);
    EXPECT_EQ(valueOf("KOVRA.PSERVER.1\\Shell\\Open\\Command"), '"' + exeFolder + "\\kovra.exe\" \"%1\"");
    EXPECT_EQ(valueOf("KOVRA.PSERVER.1\\Shell\\Open"), "Kovra - New resource");
    EXPECT_EQ(valueOf(".kovraTheme"), "KOVRA.PSERVER.1");
    EXPECT_EQ(readFile(output), filledTemplate());
    EXPECT_TRUE(waitForMenu()) << valueOf(menuKey);
    EXPECT_EQ(valueOf(menuKey + "\\command"),
              "\"C:\\Kovra Server\\bin\\Kovra.exe\" \"%1\" C:\\Kovra Server\\www");

    runLauncher("unregisterContextMenu");
    EXPECT_TRUE(waitForNoMenu()) << "what only the template knows goes too";
    EXPECT_FALSE(classesRootValue("KOVRA.PSERVER.1\\DefaultIcon") || classesRootValue(".kovraTheme"));
    EXPECT_EQ(readFile(output), replaced(filledTemplate(), "[", "[-"));
}

TEST_F(Integration, AStagedExtensionReplacesOneThatTheShellHolds) {
    const std::string live = exeFolder + "\\kovraShellExt.dll";
    const std::string staged = exeFolder + "\\kovraShellExt.tmp.dll";
    const std::string displaced = exeFolder + "\\kovraShellExt.old.dll";
    runLauncher("registerContextMenu");
    EXPECT_TRUE(waitForMenu());
    CopyFileA((builtFolder + "\\ext.dll").c_str(), live.c_str(), FALSE);
    const std::string oldVersion = readFile(live);
    const HMODULE holder = LoadLibraryA(live.c_str()); // as Explorer holds it
    EXPECT_NE(holder, nullptr);
    const std::string newVersion = readFile(builtFolder + "\\sess.dll");
    writeFile(staged, newVersion);
    runLauncher("resetShortcuts none");
    EXPECT_TRUE(readFile(live) == newVersion);
    EXPECT_TRUE(readFile(displaced) == oldVersion);
    EXPECT_FALSE(exists(staged));
    FreeLibrary(holder);

    writeFile(staged, newVersion);
    runLauncher("resetShortcuts none");
    EXPECT_TRUE(readFile(live) == newVersion);
    EXPECT_FALSE(exists(staged) || exists(displaced));
    EXPECT_THAT(trace(), HasSubstr("same version, don't update"));
}

TEST_F(Integration, ShortcutsAreLaidInEitherStartupFolder) {
    const std::string own = shellFolder(startup);
    const std::string all = shellFolder(commonStartup);
    ASSERT_NE(own, all);
    writeFile(own + "\\My kovra notes.txt", "");
    writeFile(own + "\\other.txt", "");
    writeFile(all + "\\KOVRA.LNK", "");
    runLauncher("resetShortcuts current");
    EXPECT_FALSE(exists(own + "\\My kovra notes.txt") || exists(all + "\\KOVRA.LNK"));
    EXPECT_TRUE(exists(own + "\\other.txt"));
    // The quotes are taken off by some makers' shortcut objects and kept by others, and a style other than
    // the plain three may come back as the plain one.
    const std::string folderAndIcon = exeFolder + "|" + exeFolder + "\\Kovra.exe|0|";
    EXPECT_THAT(replaced(linkProperties(own + "\\Kovra.lnk"), "\"", ""),
                testing::AnyOf(exeFolder + "\\Kovra.exe|-minimized|" + folderAndIcon + "4",
                               exeFolder + "\\Kovra.exe|-minimized|" + folderAndIcon + "1"));
    runLauncher("resetShortcuts all");
    EXPECT_TRUE(!exists(own + "\\Kovra.lnk") && exists(all + "\\Kovra.lnk"));
    runLauncher("uninstallServices none");
    EXPECT_FALSE(exists(all + "\\Kovra.lnk"));
    DeleteFileA((own + "\\other.txt").c_str());
}

TEST_F(Integration, ALineForTheApplicationStartsOrReachesIt) {
    std::size_t starts = applicationStarts().size();
    std::size_t mails = applicationMails().size();
    runLauncher("-open \"a file\"");
    // The shell puts the program's path together in its own way.
    EXPECT_THAT(waitForStart(++starts, helperMs).commandLine, HasSubstr(" open \"a file\""));
    for (const char* line : {"open \"a file\"", "shutdown now"}) {
        runLauncher(line);
        ++mails;
        ASSERT_TRUE(waitFor(helperMs, [mails] { return applicationMails().size() >= mails; }));
        EXPECT_EQ(applicationMails().back(), line + std::string{"#"});
    }
    runLauncher("restart");
    EXPECT_THAT(waitForStart(++starts, helperMs).commandLine, HasSubstr(" -restarted"));
    killAll("Kovra.exe");
}

TEST_F(Integration, TheServiceDoesTheJobsThatItIsSent) {
    runLauncher("installServices none");
    EXPECT_EQ(serviceState("Kovra"), DWORD{SERVICE_STOPPED});
    runLauncher("launchService");
    ASSERT_TRUE(waitForServiceState("Kovra", SERVICE_RUNNING, 15'000));
    const std::size_t mark = trace().size();
    const std::string shortcut = shellFolder(startup) + "\\Kovra.lnk";
    EXPECT_EQ(command("appExited"), "OK");
    EXPECT_EQ(command("resetShortcuts current"), "OK");
    EXPECT_TRUE(exists(shortcut));
    EXPECT_EQ(command("installServices none"), "OK"); // beside an installed service
    EXPECT_FALSE(exists(shortcut));
    EXPECT_EQ(command("unregisterContextMenu"), "OK");
    EXPECT_TRUE(waitForNoMenu());
    EXPECT_EQ(command("registerContextMenu"), "OK");
    EXPECT_TRUE(waitForMenu());
    EXPECT_EQ(command("uninstallServices"), "OK");
    EXPECT_THAT(trace().substr(mark), testing::AllOf(HasSubstr("Kovra service could not be installed"),
                                                     HasSubstr("Service Kovra uninstalled")));
    EXPECT_EQ(command("exit"), "OK") << "it goes on until it is told to end";
    EXPECT_TRUE(waitFor(5000, [] { return serviceConfiguration("Kovra").empty(); }));
    runLauncher("launchService");
    EXPECT_TRUE(waitForServiceState("Kovra", SERVICE_RUNNING, 15'000)) << "what is missing is installed";
    stopService("Kovra");
    EXPECT_TRUE(waitForServiceState("Kovra", SERVICE_STOPPED, 5000));
}

TEST_F(Integration, TheTraceIsNotWrittenThroughASecondName) {
    const std::string file = "C:\\P1\\log.txt";
    const std::string other = "C:\\kovraChecks\\other.txt";
    writeFile(other, "other");
    MoveFileA(file.c_str(), (file + ".kept").c_str());
    EXPECT_TRUE(CreateHardLinkA(file.c_str(), other.c_str(), nullptr));
    runLauncher("resetShortcuts none");
    EXPECT_EQ(readFile(other), "other");
    DeleteFileA(file.c_str());
    runLauncher("resetShortcuts none");
    EXPECT_THAT(readFile(file), HasSubstr(" SCE: "));
    DeleteFileA(file.c_str());
    MoveFileA((file + ".kept").c_str(), file.c_str());
}

TEST_F(Integration, AnUninstallationTakesAllButTheLaunchersFolderAndUnlessAskedTheData) {
    for (const bool removeData : {false, true}) {
        SCOPED_TRACE(removeData);
        ASSERT_TRUE(layInstallation());
        writeFile(installRoot + "\\readme.txt", "");
        SetFileAttributesA((installRoot + "\\readme.txt").c_str(), FILE_ATTRIBUTE_READONLY);
        writeFile(installRoot + "\\MySQL\\kept.txt", "");
        runLauncher("installServices none");
        runLauncher("registerContextMenu");
        EXPECT_TRUE(waitForMenu());
        const Process application{'"' + exeFolder + "\\Kovra.exe\""};
        const Process database = startStandIn("mysqld.exe");
        runLauncher(removeData ? "uninstallApplication removeDataDirectory" : "uninstallApplication");
        EXPECT_TRUE(application.waitForEnd(5000) && database.waitForEnd(5000));
        EXPECT_EQ(serviceConfiguration("Kovra"), "");
        EXPECT_TRUE(waitForNoMenu());
        EXPECT_FALSE(classesRootValue(".kovraResource"));
        EXPECT_FALSE(exists(installRoot + "\\readme.txt"));
        EXPECT_TRUE(exists(launcherFile));
        EXPECT_NE(exists(dataFolder), removeData);
        EXPECT_NE(exists(installRoot + "\\MySQL"), removeData);
    }
}

} // namespace
} // namespace checks
