#include "frontend/commandLineMain.h"

#include "channels/mailslots.h"
#include "frontend/installationPaths.h"
#include "integration/contextMenu.h"
#include "integration/serviceInstallation.h"
#include "integration/shellRegistration.h"
#include "integration/shortcuts.h"
#include "integration/uninstall.h"
#include "platform/win32.h"
#include "service/NTService.h"
#include "service/appRunState.h"
#include "service/processControl.h"
#include "service/startAppFunction.h"
#include "support/executable.h"
#include "support/fileSystem.h"
#include "support/hiddenProgram.h"
#include "support/pathSet.h"
#include "support/serviceMode.h"
#include "support/settings.h"
#include "support/systemFacts.h"
#include "support/trace.h"

#include <algorithm>

namespace kovra {

namespace {

/// The command line from a position on, counted from 1; empty when it ends ahead of that.
std::wstring from(const std::wstring& cmdLine, std::size_t position) {
    return cmdLine.substr(std::min(position - 1, cmdLine.size()));
}

void reportFailedTranslation(bool translated) {
    if (!translated)
        reportError(languageFileError);
}

/// Takes a shell extension into use that an update has laid beside the live one; yes when there was one.
bool finishShellExtensionUpdate() {
    const bool waiting = fileSystem().FileExists(pathSet->exeFolder + L"\\kovraShellExt.tmp.dll");
    const bool registered = isContextMenuRegistered();
    if (!waiting || !registered)
        return false;
    writeLog(L"Register Context Menu");
    reportFailedTranslation(registerContextMenu());
    return true;
}

void launchService() {
    if (isServiceInstalled() == 0)
        static_cast<void>(installServices()); // reports its failure itself
    startHidden("", "net", L"start kovra", pathSet->exeFolder);
}

bool isApplicationRunning() {
    return findProcess(L"kovra.exe") != -1;
}

/// Gives the application a second to leave by itself, then kills it and gives it another one to be gone.
void stopApplication() {
    constexpr std::int16_t waitMs = 500;
    int waits = 0;
    for (; waits < 2 && isApplicationRunning(); ++waits)
        pauseMs(waitMs);
    if (!isApplicationRunning())
        return;
    killProcessByName(L"kovra.exe", 0);
    for (; waits < 4 && isApplicationRunning(); ++waits)
        pauseMs(waitMs);
}

/// What is no job of the launcher's own: the line is for the application.
void handToApplication(const std::wstring& cmdLine, const std::wstring& verb) {
    const bool running = findProcess(L"Kovra.exe") != -1;
    if (verb != L"shutdown" && !running)
        startApplication(cmdLine);
    else if (!cmdLine.empty())
        sendToApp(cmdLine);
}

/// The job that the line asks for. Behind it the process ends.
void doJob(const std::wstring& cmdLine, const std::wstring& verb) {
    if (cmdLine.starts_with(L"createShortcuts"))
        return;
    if (verb == L"launchService")
        return launchService();
    if (verb == L"uninstallApplication")
        uninstallApplication(cmdLine.find(L"removeDataDirectory") != std::wstring::npos);
    if (verb == L"uninstallServices") {
        uninstallServices();
        if (cmdLine.size() > 18)
            createShortcuts(from(cmdLine, 19), false);
        return;
    }
    if (verb == L"installServices") {
        uninstallServices();
        if (installServices())
            createShortcuts(from(cmdLine, 17), true);
        return;
    }
    if (verb == L"resetShortcuts") {
        if (cmdLine.size() > 15)
            createShortcuts(from(cmdLine, 16), false);
        return;
    }
    if (verb == L"registerContextMenu")
        return reportFailedTranslation(registerContextMenu());
    if (verb == L"unregisterContextMenu")
        return reportFailedTranslation(unregisterContextMenu().has_value());
    if (verb == L"installFfmpegFrom")
        return installFfmpegFrom(from(cmdLine, 19));
    if (verb == L"restart" || verb == L"installUpdate" || cmdLine.empty())
        stopApplication();
    if (verb == L"restart")
        return startApplication(L"-restarted");
    if (cmdLine == L"installUpdate")
        return startApplication(L"");
    handToApplication(cmdLine, verb);
}

} // namespace

void main(const std::wstring& commandLine) {
    writeLog(L"Start KovraLauncher with command line " + commandLine);
    appRunState->appExpected = true;
    const std::wstring cmdLine = commandLine.starts_with(L'-') ? commandLine.substr(1) : commandLine;
    const std::wstring verb = cmdLine.substr(0, cmdLine.find(L' '));
    if (cmdLine == L"service")
        *serviceMode = true;
    if (!initPaths()) {
        reportError(executableName() + L": Installation problem (initPaths error)");
        ExitProcess(0);
    }
    if (finishShellExtensionUpdate() && cmdLine == L"registerContextMenu")
        ExitProcess(0);
    // The only job that may come back ahead of the process's end.
    if (verb == L"service")
        return runService();
    doJob(cmdLine, verb);
    ExitProcess(0);
}

} // namespace kovra
