#include "service/serviceFunctions.h"

#include "platform/sess.h"
#include "platform/win32.h"
#include "service/appRunState.h"
#include "service/processControl.h"
#include "service/startAppFunction.h"
#include "support/systemFacts.h"
#include "support/text.h"
#include "support/trace.h"

namespace kovra {

namespace {

constexpr std::int32_t startCadence = 5;   // passes: 1 second
constexpr std::int32_t rightsCadence = 15; // passes: 3 seconds
static_assert(rightsCadence % startCadence == 0, "the explorer watch keeps the rights check out");

void waitForSessionEnd() {
    if (findProcess(L"winlogon.exe") == -1 || findProcess(L"explorer.exe") != -1)
        return;
    appRunState->sessionShutdownPending = false;
    delayNextLaunch(1000);
    writeLog(L"time start kovra");
}

void decideStart() {
    if (!isPastMinLaunchTime(GetTickCount())) {
        if (findProcess(L"kovra.exe") == -1)
            writeLog(L"min launch time not reached");
        return;
    }
    if (findProcess(L"kovra.exe") != -1 || findProcess(L"winlogon.exe") == -1)
        return;
    writeLog(L"Min launch time reached, start kovra");
    startApplication(appRunState->resumeOnNextStart ? L"-resume" : L"");
    delayNextLaunch(2000);
}

/// Restarts an application that was started ahead of its session's shell once the shell is there.
void watchExplorer() {
    const std::int32_t session = appRunState->watchedSessionId;
    const std::int32_t inSession = isExplorerInSession(session);
    writeLog(L"explorer.exe in session " + decimal(session) + L"? : " + decimal(inSession));
    const bool seen = session == -1 ? findProcess(L"explorer.exe") > 0 : inSession > 0 && session > 0;
    if (getWindowsMajorVersion() < 6 || !seen)
        return;
    if (isExplorerInSession(session) > 0 && session > 0)
        writeLog(L"explorer.exe detected in session " + decimal(session));
    else
        writeLog(L"explorer.exe detected in a session");
    logProcessList();
    writeLog(L"explorer.exe detected in kovra session => restart in order to lower privileges");
    killApplication();
    appRunState->restartWhenExplorerStarts = false;
    delayNextLaunch(0);
}

/// Restarts an application whose rights or session are no longer the right ones.
void checkRightsAndSession() {
    const std::int32_t application = findProcess(L"kovra.exe");
    const std::int32_t winlogon = findProcess(L"winlogon.exe");
    const std::int32_t explorer = findProcess(L"explorer.exe");
    const std::int32_t logonScreen = findProcess(L"logonui.exe");
    if (application <= 0)
        return;
    if (logonScreen > 0 && !appRunState->launchedWithAdminRights) {
        writeLog(L"App has been launched with normal privileges and logonUI is displayed: restart with admin "
                 L"privileges");
        killApplication();
        return;
    }
    if (winlogon <= 0)
        return;
    if (appRunState->launchedSessionId == 0) {
        DWORD session = 0;
        ProcessIdToSessionId(static_cast<DWORD>(application), &session);
        appRunState->launchedSessionId = static_cast<std::int32_t>(session);
    }
    const std::int32_t console = getActiveConsoleSessionId();
    if (console != appRunState->launchedSessionId && console != appRunState->watchedSessionId) {
        writeLog(L"Kovra and winlogon sessions are different (" + decimal(appRunState->launchedSessionId) +
                 L" <> " + decimal(console) + L")");
        killApplication();
        appRunState->restartWhenExplorerStarts = false;
        delayNextLaunch(1000);
        return;
    }
    if (appRunState->launchedWithAdminRights && appRunState->adminRequested == 0 && logonScreen <= 0 &&
        explorer > 0) {
        writeLog(
            L"App has been launched with admin rights while config doesn't request admin privileges, and "
            L"logonui is no more displayed: relaunch to lower privileges");
        killApplication();
    }
}

} // namespace

void watchSessions(std::int32_t pass) {
    if (!appRunState->appExpected)
        return;
    if (appRunState->sessionShutdownPending)
        waitForSessionEnd();
    else if (pass % startCadence == 0)
        decideStart();
    if (pass % startCadence == 0 && appRunState->restartWhenExplorerStarts) {
        watchExplorer();
        return;
    }
    if (pass % rightsCadence == 0)
        checkRightsAndSession();
}

} // namespace kovra
