#include "service/startAppFunction.h"

#include "platform/sess.h"
#include "platform/win32.h"
#include "service/appRunState.h"
#include "service/processControl.h"
#include "support/clsDOS.h"
#include "support/hiddenProgram.h"
#include "support/pathSet.h"
#include "support/serviceMode.h"
#include "support/settings.h"
#include "support/systemFacts.h"
#include "support/text.h"
#include "support/trace.h"

namespace kovra {

namespace {

constexpr std::int32_t adminMark = 1000; // added to the session id of a start with admin rights

bool isAdminRequested() {
    const std::wstring setting = readIniValue(L"launchWithAdminRights");
    return setting == L"1" || toLower(setting) == L"true" || getWindowsMajorVersion() < 6;
}

void startByService(const std::wstring& callersArguments) {
    AppRunState& state = *appRunState;
    writeLog(L"Start app *********");
    logProcessList();
    int launchWithAdminRights = isAdminRequested() ? 1 : 0;
    state.adminRequested = launchWithAdminRights;
    // The logon screen asks for admin rights without making them the application's due.
    if (launchWithAdminRights == 0 && findProcess(L"logonui.exe") > 0)
        launchWithAdminRights = 1;
    writeLog(L"Start application, with requested session id=" + decimal(state.forcedSessionId) +
             L", with currently active session id=" + decimal(getActiveConsoleSessionId()));

    const std::wstring arguments = callersArguments.empty() ? L"-service" : L"-service " + callersArguments;
    const std::int32_t active = getActiveConsoleSessionId();
    if (state.forcedSessionId == active || state.forcedSessionId < 0)
        state.forcedSessionId = active;
    state.watchedSessionId = getActiveConsoleSessionId();

    state.restartWhenExplorerStarts =
        launchWithAdminRights == 0 && isExplorerInSession(state.forcedSessionId) == 0;
    if (state.restartWhenExplorerStarts)
        writeLog(L"No explorer found in session " + decimal(state.watchedSessionId) + L" (forcedSessionId=" +
                 decimal(state.forcedSessionId) + L")");

    const std::string application = toAnsi(pathSet->exeFolder + L"\\Kovra.exe");
    const std::string ansiArguments = toAnsi(arguments);
    state.launchedSessionId = launchApplicationInSession(application.c_str(), ansiArguments.c_str(),
                                                         state.forcedSessionId, launchWithAdminRights == 0);
    const DWORD error = GetLastError();
    writeLog(L"Launched in session id=" + decimal(state.launchedSessionId) +
             L" launchWithAdminRights was = " + decimal(launchWithAdminRights));
    if (state.launchedSessionId < 0)
        writeLog(L"Application could not be started, error " + decimal(error));
    state.launchedWithAdminRights = state.launchedSessionId >= adminMark;
    if (state.launchedWithAdminRights)
        state.launchedSessionId -= adminMark;
    writeLog(L"Application started by service in session " + decimal(state.launchedSessionId) +
             L" with args: " + arguments +
             (state.launchedWithAdminRights ? L" with admin rights " : L"with normal privileges ") +
             (state.restartWhenExplorerStarts ? L" but a restart is required when explorer starts" : L""));
    state.forcedSessionId = -1;
}

void startAsScheduledTask(const std::wstring& arguments) {
    clsDOS console;
    console.ExecuteCommand(L"schtasks /create /tn startKovra /tr \"\\\"" + pathSet->exeFolder +
                           L"\\Kovra.exe \\\"" + arguments + L"\" /SC ONCE /ST 23:59:59 /F");
    console.ExecuteCommand(L"schtasks /run /tn startKovra");
    console.ExecuteCommand(L"schtasks /delete /tn startKovra /F");
}

} // namespace

void startApplication(const std::wstring& arguments) {
    if (*serviceMode)
        startByService(arguments);
    else if (getOsCode() == L"VI")
        startAsScheduledTask(arguments);
    else
        startHidden("Open", "Kovra.exe", arguments, pathSet->exeFolder);
    appRunState->resumeOnNextStart = true;
}

} // namespace kovra
