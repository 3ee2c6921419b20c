#include "tests/windows/installation.h"

#include <cstdio>

#include <objbase.h>
#include <shlobj.h>
#include <shobjidl.h>

namespace checks {
namespace {

constexpr int startup = 7;
constexpr int commonStartup = 24;
constexpr int userData = 26;
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
    const std::wstring widePath{path.begin(), path.end()};
    IShellLinkA* link = nullptr;
    IPersistFile* file = nullptr;
    if (SUCCEEDED(CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER, IID_IShellLinkA,
                                   reinterpret_cast<void**>(&link))) &&
        SUCCEEDED(link->QueryInterface(IID_IPersistFile, reinterpret_cast<void**>(&file))) &&
        SUCCEEDED(file->Load(widePath.c_str(), STGM_READ))) {
        char target[MAX_PATH] = "";
        char arguments[MAX_PATH] = "";
        char folder[MAX_PATH] = "";
        char icon[MAX_PATH] = "";
        int show = 0;
        int iconIndex = -1;
        link->GetPath(target, MAX_PATH, nullptr, SLGP_RAWPATH);
        link->GetArguments(arguments, MAX_PATH);
        link->GetWorkingDirectory(folder, MAX_PATH);
        link->GetIconLocation(icon, MAX_PATH, &iconIndex);
        link->GetShowCmd(&show);
        text = std::string{target} + "|" + arguments + "|" + folder + "|" + std::to_string(show) + "|" +
               icon + "|" + std::to_string(iconIndex);
    }
    if (file != nullptr)
        file->Release();
    if (link != nullptr)
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

bool waitForValue(const std::string& key, const std::string& value) {
    return waitForRegistryTool() && valueOf(key) == value;
}

bool waitForNoMenu() {
    return waitForRegistryTool() && !classesRootValue(menuKey) &&
           !classesRootValue("*\\Shell\\KOVRA.share") && !classesRootValue("Directory\\Shell\\KOVRA.send");
}

const std::string contextMenuTemplate =
    "REGEDIT4\r\n\r\n; caf\xE9\r\n"
    "[HKEY_CLASSES_ROOT\\Directory\\Shell\\KOVRA.share]\r\n@=\"%SHAREMAINCAPTION%\"\r\n\r\n"
    "[HKEY_CLASSES_ROOT\\Directory\\Shell\\KOVRA.share\\command]\r\n"
    "@=\"\\\"%EXEPATH%\\\\Kovra.exe\\\" \\\"%1\\\" %WWWPATH%\"\r\n\r\n"
    "[HKEY_CLASSES_ROOT\\*\\Shell\\KOVRA.share]\r\n@=\"%SHARECAPTION%\"\r\n\r\n"
    "[HKEY_CLASSES_ROOT\\*\\Shell\\KOVRA.share\\command]\r\n@=\"%EXEPATH%\"\r\n\r\n"
    "[HKEY_CLASSES_ROOT\\Directory\\Shell\\KOVRA.send]\r\n@=\"%SENDCAPTION% %PUBLISHCAPTION%\"\r\n";

std::string filledTemplate() {
    std::string text = replaced(contextMenuTemplate, "%EXEPATH%", "C:\\\\Kovra Server\\\\bin");
    text = replaced(text, "%WWWPATH%", "C:\\\\Kovra Server\\\\www");
    text = replaced(text, "%SHAREMAINCAPTION%", "Share ''with''");
    text = replaced(text, "%SHARECAPTION%", "Share");
    text = replaced(text, "%SENDCAPTION%", "Send");
    return replaced(text, "%PUBLISHCAPTION%", "Publish");
}

void checkContextMenu() {
    writeFile(exeFolder + "\\default\\contextMenu.reg", contextMenuTemplate);
    const std::string output = dataFolder + "\\temp\\contextMenu.reg";
    runLauncher("registerContextMenu");
    checkEqual(valueOf("KOVRA.PSERVER.1\\DefaultIcon"), launcherFile, "the file type's icon");
    checkEqual(valueOf("KOVRA.PSERVER.1\\Shell\\Open\\Command"), '"' + exeFolder + "\\kovra.exe\" \"%1\"",
               "the file type's command");
    checkEqual(valueOf("KOVRA.PSERVER.1\\Shell\\Open"), "Kovra - New resource", "the file type's caption");
    checkEqual(valueOf(".kovraResource"), "KOVRA.PSERVER.1", "the extension of resources");
    checkEqual(valueOf(".kovraTheme"), "KOVRA.PSERVER.1", "the extension of themes");
    check(readFile(output) == filledTemplate(), "the template is filled byte for byte",
          hex(readFile(output)));
    check(waitForValue(menuKey, "Share ''with''"), "the registry tool takes the caption", valueOf(menuKey));
    checkEqual(valueOf(menuKey + "\\command"),
               "\"C:\\Kovra Server\\bin\\Kovra.exe\" \"%1\" C:\\Kovra Server\\www", "and the command");

    runLauncher("unregisterContextMenu");
    check(waitForNoMenu(),
          "unregisterContextMenu takes the context menu away, what only the template knows too");
    check(!classesRootValue("KOVRA.PSERVER.1\\DefaultIcon") && !classesRootValue(".kovraTheme"),
          "and the file types");
    check(readFile(output) == replaced(filledTemplate(), "[", "[-"), "the removal form is byte for byte");
}

void checkShellExtension(const std::string& builtFolder) {
    const std::string live = exeFolder + "\\kovraShellExt.dll";
    const std::string staged = exeFolder + "\\kovraShellExt.tmp.dll";
    const std::string displaced = exeFolder + "\\kovraShellExt.old.dll";
    runLauncher("registerContextMenu");
    check(waitForValue(menuKey, "Share ''with''"), "the context menu is there again");

    CopyFileA((builtFolder + "\\ext.dll").c_str(), live.c_str(), FALSE);
    const std::string oldVersion = readFile(live);
    const HMODULE holder = LoadLibraryA(live.c_str()); // as Explorer holds it
    check(holder != nullptr, "the live extension is held");
    const std::string newVersion = readFile(builtFolder + "\\sess.dll");
    writeFile(staged, newVersion);
    runLauncher("resetShortcuts none");
    check(readFile(live) == newVersion,
          "the next start takes a staged extension into use, though the live one is held");
    check(readFile(displaced) == oldVersion, "the held one is moved aside");
    check(!exists(staged), "nothing stays staged");
    FreeLibrary(holder);

    writeFile(staged, newVersion);
    runLauncher("resetShortcuts none");
    check(!exists(staged) && readFile(live) == newVersion, "a staged extension that is the same is dropped");
    check(!exists(displaced), "the displaced one goes as soon as it is let go");
    check(contains(trace(), "same version, don't update"), "the trace tells that it is the same");
}

void checkShortcuts() {
    const std::string own = shellFolder(startup);
    const std::string all = shellFolder(commonStartup);
    check(!own.empty() && !all.empty() && own != all, "there are two Startup folders", own + " " + all);
    writeFile(own + "\\My kovra notes.txt", "");
    writeFile(own + "\\other.txt", "");
    writeFile(all + "\\KOVRA.LNK", "");
    runLauncher("resetShortcuts current");
    check(!exists(own + "\\My kovra notes.txt") && !exists(all + "\\KOVRA.LNK") &&
              exists(own + "\\other.txt"),
          "the product's files go from both Startup folders, others stay");
    // The quotes are taken off by some makers' shortcut objects and kept by others, and a style other than
    // the plain three may come back as the plain one.
    std::string properties = replaced(linkProperties(own + "\\Kovra.lnk"), "\"", "");
    properties = replaced(properties, "|1|", "|4|");
    checkEqual(properties,
               exeFolder + "\\Kovra.exe|-minimized|" + exeFolder + "|4|" + exeFolder + "\\Kovra.exe|0",
               "the shortcut's properties");
    runLauncher("resetShortcuts all");
    check(!exists(own + "\\Kovra.lnk") && exists(all + "\\Kovra.lnk"), "a shortcut for all users instead");
    runLauncher("uninstallServices none");
    check(!exists(all + "\\Kovra.lnk"), "none clears it");
    DeleteFileA((own + "\\other.txt").c_str());
}

void checkComponent() {
    const std::string source = "C:\\kovraChecks\\new ffmpeg";
    writeFile(exeFolder + "\\ffmpeg\\old.exe", "old");
    writeFile(source + "\\kovraFfmpeg.exe", "new");
    runLauncher("installFfmpegFrom " + source);
    check(readFile(exeFolder + "\\ffmpeg\\kovraFfmpeg.exe") == "new" &&
              !exists(exeFolder + "\\ffmpeg\\old.exe") && !exists(source),
          "the transcoder is moved into place");
}

void checkOneShots() {
    std::size_t starts = applicationStarts().size();
    const std::string application = exeFolder + "\\Kovra.exe";
    runLauncher("-open \"a file\"");
    // The shell puts the program's path together in its own way.
    check(contains(waitForStart(++starts, helperMs).commandLine, " open \"a file\""),
          "a line for the application starts it", applicationStarts().back().commandLine);
    std::size_t mails = applicationMails().size();
    runLauncher("-open \"a file\"");
    check(waitFor(helperMs, [mails] { return applicationMails().size() > mails; }) &&
              applicationMails().back() == hex("open \"a file\"") + "00",
          "or reaches it when it runs");
    ++mails;
    runLauncher("shutdown now");
    check(waitFor(helperMs, [mails] { return applicationMails().size() > mails; }) &&
              applicationMails().back() == hex("shutdown now") + "00",
          "shutdown reaches it");
    runLauncher("restart");
    check(contains(waitForStart(++starts, helperMs).commandLine, " -restarted"), "restart starts it anew");
    killAll("Kovra.exe");
}

void checkFromPipe() {
    runLauncher("installServices none");
    check(serviceState("Kovra") == SERVICE_STOPPED, "installServices does not start the service");
    runLauncher("launchService");
    check(waitForServiceState("Kovra", SERVICE_RUNNING, 15'000), "launchService does");
    command("appExited");
    const std::string own = shellFolder(startup);
    checkEqual(command("resetShortcuts current"), "OK", "reply to resetShortcuts");
    check(exists(own + "\\Kovra.lnk"), "the service lays the shortcut");
    std::size_t mark = trace().size();
    checkEqual(command("installServices none"), "OK", "reply to installServices beside an installed service");
    check(contains(trace().substr(mark), "Kovra service could not be installed"), "it is there already");
    check(!exists(own + "\\Kovra.lnk"), "the shortcuts are done all the same");
    command("unregisterContextMenu");
    check(waitForNoMenu(), "the service takes the context menu away");
    checkEqual(command("registerContextMenu"), "OK", "reply to registerContextMenu");
    check(waitForValue(menuKey, "Share ''with''"), "the service makes the context menu");
    mark = trace().size();
    checkEqual(command("uninstallServices"), "OK", "reply to uninstallServices");
    check(contains(trace().substr(mark), "Service Kovra uninstalled"), "the trace tells it");
    checkEqual(command("exit"), "OK", "the service goes on until it is told to end");
    check(waitFor(5000, [] { return serviceConfiguration("Kovra").empty(); }),
          "then it is gone from the manager");
    runLauncher("launchService");
    check(waitForServiceState("Kovra", SERVICE_RUNNING, 15'000), "launchService installs what is missing");
    stopService("Kovra");
    check(waitForServiceState("Kovra", SERVICE_STOPPED, 5000), "and it stops");
}

void checkDataFolders(const std::string& builtFolder) {
    const std::string root = "C:\\Kovra Two";
    const std::string data = shellFolder(userData) + "\\Kovra Two";
    check(layInstallation(root, builtFolder), "a second installation is laid");
    makeFolder(data);
    for (const char* folder : {"\\www", "\\data", "\\shared"})
        MoveFileA((root + folder).c_str(), (data + folder).c_str());
    runLauncher("resetShortcuts none", root + "\\bin\\kovraLauncher.exe");
    checkEqual(readFile(root + "\\bin\\appDataPath"), data, "the data is found in application data");
    for (const char* folder : {"\\www", "\\data", "\\shared"})
        check(linkProperties(root + folder + ".lnk").rfind(data + folder + "|", 0) == 0,
              std::string{"a shortcut leads to "} + (folder + 1), linkProperties(root + folder + ".lnk"));
}

void checkUninstallation(const std::string& builtFolder) {
    for (const bool removeData : {false, true}) {
        layInstallation(installRoot, builtFolder);
        writeFile(installRoot + "\\readme.txt", "");
        SetFileAttributesA((installRoot + "\\readme.txt").c_str(), FILE_ATTRIBUTE_READONLY);
        writeFile(installRoot + "\\MySQL\\kept.txt", "");
        runLauncher("installServices none");
        runLauncher("registerContextMenu");
        check(waitForValue(menuKey, "Share ''with''"), "the product is tied in");
        const Process application{'"' + exeFolder + "\\Kovra.exe\""};
        const Process database = startStandIn("mysqld.exe");
        runLauncher(removeData ? "uninstallApplication removeDataDirectory" : "uninstallApplication");
        check(application.waitForEnd(5000) && database.waitForEnd(5000),
              "the product's programs are stopped");
        check(serviceConfiguration("Kovra").empty(), "the service is gone");
        check(waitForNoMenu() && !classesRootValue(".kovraResource"), "the shell knows it no more");
        check(!exists(installRoot + "\\readme.txt"), "files in the root go, read-only ones too");
        check(exists(launcherFile), "the launcher's own folder stays");
        check(exists(dataFolder) != removeData && exists(installRoot + "\\MySQL") != removeData,
              removeData ? "the data goes" : "the data stays");
    }
}

void checkTraceLinks() {
    const std::string file = "C:\\P1\\log.txt";
    const std::string other = "C:\\kovraChecks\\other.txt";
    writeFile(other, "other");
    MoveFileA(file.c_str(), (file + ".kept").c_str());
    check(CreateHardLinkA(file.c_str(), other.c_str(), nullptr) != FALSE, "the trace file is a second name");
    runLauncher("resetShortcuts none");
    checkEqual(readFile(other), "other", "then nothing is written");
    DeleteFileA(file.c_str());
    runLauncher("resetShortcuts none");
    check(contains(readFile(file), " SCE: "), "a missing trace file is made");
    DeleteFileA(file.c_str());
    MoveFileA((file + ".kept").c_str(), file.c_str());
}

void checkLibraries(const std::string& builtFolder) {
    const HMODULE sess = LoadLibraryA((builtFolder + "\\sess.dll").c_str());
    const HMODULE ext = LoadLibraryA((builtFolder + "\\ext.dll").c_str());
    const auto consoleSession = reinterpret_cast<LONG(WINAPI*)()>(
        reinterpret_cast<void*>(GetProcAddress(sess, "getActiveConsoleSessionId")));
    const auto explorerIn = reinterpret_cast<LONG(WINAPI*)(LONG)>(
        reinterpret_cast<void*>(GetProcAddress(sess, "isExplorerInSession")));
    const auto launch = reinterpret_cast<LONG(WINAPI*)(LPCSTR, LPCSTR, LONG, short)>(
        reinterpret_cast<void*>(GetProcAddress(sess, "launchApplicationInSession")));
    const auto junction = reinterpret_cast<void(WINAPI*)(LPCSTR, LPCSTR)>(
        reinterpret_cast<void*>(GetProcAddress(ext, "createJunction")));
    check(consoleSession != nullptr && explorerIn != nullptr && launch != nullptr && junction != nullptr,
          "the libraries export their plain names");
    const LONG session = consoleSession();
    check(explorerIn(session) > 0, "the shell is seen in the console session");
    check(explorerIn(session + 40) == 0 && explorerIn(-1) == 0, "and in no other");
    check(launch("C:\\kovraChecks\\winlogon.exe", "", -1, 0) == -1, "without a session nothing is started");
    check(launch("C:\\kovraChecks\\not there.exe", "", session, 0) == -1,
          "a program that isn't there gives -1");

    const std::string target = "C:\\kovraChecks\\target folder";
    const std::string link = "C:\\kovraChecks\\link";
    writeFile(target + "\\inside.txt", "inside");
    junction(target.c_str(), link.c_str());
    // Not every file system has junctions; what counts then is that nothing half made stays.
    check(exists(link) == (readFile(link + "\\inside.txt") == "inside"), "a junction is whole or not there");
    std::printf("        (junctions %s on this file system)\n", exists(link) ? "work" : "don't work");
    const std::string full = "C:\\kovraChecks\\full";
    writeFile(full + "\\own.txt", "own");
    junction(target.c_str(), full.c_str());
    check(readFile(full + "\\own.txt") == "own", "a folder with content is left alone");
    SetCurrentDirectoryA("C:\\kovraChecks");
    for (const char* refused : {"linkRelative", "C:linkOfDrive", "\\\\localhost\\share\\link", ""})
        junction(target.c_str(), refused);
    junction("C:\\kovraChecks\\no such target", "C:\\kovraChecks\\linkToNothing");
    check(!exists("linkRelative") && !exists("linkOfDrive") && !exists("linkToNothing"),
          "what is no local path, or leads nowhere, makes no junction");
    FreeLibrary(sess);
    FreeLibrary(ext);
}

} // namespace

void checkIntegration(const std::string& builtFolder) {
    CoInitialize(nullptr);
    const Process shell = startStandIn("explorer.exe");
    const Process logonProcess = startStandIn("winlogon.exe");
    checkLibraries(builtFolder);
    checkContextMenu();
    checkShellExtension(builtFolder);
    checkShortcuts();
    checkComponent();
    checkOneShots();
    checkFromPipe();
    checkDataFolders(builtFolder);
    checkTraceLinks();
    checkUninstallation(builtFolder);
    CoUninitialize();
}

} // namespace checks
