#include "service/startAppFunction.h"

#include "service/serviceProcess.h"

#include <algorithm>

namespace kovra {
namespace {

using simulated::ShellCall;
using testing::ElementsAre;
using testing::IsEmpty;

/// What the start asked of the session library.
std::vector<std::string> requests(const simulated::Machine& machine) {
    std::vector<std::string> result;
    for (const simulated::Happening& happening : machine.happenings) {
        if (happening.text.starts_with("asks for a start"))
            result.push_back(happening.text);
    }
    return result;
}

TEST(StartByService, SettingVersionAndLogonScreenDecideTheRights) {
    struct {
        const char* setting;
        DWORD windows;
        bool logonScreen, explorer;
        bool asksForAdmin;
        std::int32_t adminRequested;
        bool restartWhenExplorerStarts;
    } const rows[] = {
        {"1", 10, false, true, true, 1, false},        {"1", 10, true, false, true, 1, false},
        {"true", 10, false, true, true, 1, false},     {"TrUE", 10, false, true, true, 1, false},
        {"0", 5, false, false, true, 1, false},        {"0", 5, true, true, true, 1, false},
        {"0", 10, true, false, true, 0, false},        {"0", 6, true, true, true, 0, false},
        {"0", 10, false, true, false, 0, false},       {"0", 10, false, false, false, 0, true},
        {"", 6, false, true, false, 0, false},         {"yes", 10, false, true, false, 0, false},
        {"01", 10, false, true, false, 0, false},      {"true1", 10, false, true, false, 0, false},
        {"\"true\"", 10, false, true, false, 0, false}};

    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << "row " << &row - rows);
        ServiceMachine machine;
        machine.version = {row.windows, 0, VER_PLATFORM_WIN32_NT};
        machine.set(std::string{"launchWithAdminRights="} + row.setting);
        machine.sessions.open(1);
        machine.sessions.logOn(1);
        if (row.logonScreen)
            machine.sessions.showLogonScreen(1);
        if (row.explorer)
            machine.sessions.startShell(1);
        insideService(machine, [&] {
            appRunState->restartWhenExplorerStarts = true; // of an earlier start
            startApplication(L"");
            EXPECT_EQ(appRunState->adminRequested, row.adminRequested);
            EXPECT_EQ(appRunState->restartWhenExplorerStarts, row.restartWhenExplorerStarts);
        });
        EXPECT_THAT(requests(machine), ElementsAre(std::string{"asks for a start in session 1 with "} +
                                                   (row.asksForAdmin ? "admin" : "normal") + " rights"));
        EXPECT_TRUE(machine.traced(std::string{"Launched in session id="} +
                                   (row.asksForAdmin ? "1001" : "1") +
                                   " launchWithAdminRights was = " + (row.asksForAdmin ? "1" : "0")));
        // The dump takes one; the logon screen is looked for where nothing else asks for the rights.
        EXPECT_EQ(machine.calls("CreateToolhelp32Snapshot"), row.adminRequested == 1 ? 1U : 2U);
        EXPECT_EQ(machine.calls("isExplorerInSession"), row.asksForAdmin ? 0U : 1U);
    }
}

TEST(StartByService, AForcedSessionServesOneStart) {
    struct {
        std::int32_t forced, active, target, watched;
    } const rows[] = {{-1, 1, 1, 1}, {1, 1, 1, 1},   {2, 1, 2, 1},    {0, 1, 0, 1},
                      {-7, 2, 2, 2}, {2, -1, 2, -1}, {-1, -1, -1, -1}};

    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.forced << " " << row.active);
        ServiceMachine machine;
        machine.sessions.active = row.active;
        insideService(machine, [&] {
            appRunState->forcedSessionId = row.forced;
            startApplication(L"");
            EXPECT_EQ(appRunState->watchedSessionId, row.watched);
            EXPECT_EQ(appRunState->forcedSessionId, -1);
            EXPECT_TRUE(appRunState->resumeOnNextStart);
        });
        const std::string target = std::to_string(row.target);
        EXPECT_THAT(requests(machine),
                    ElementsAre("asks for a start in session " + target + " with normal rights"));
        EXPECT_TRUE(
            machine.traced("Start application, with requested session id=" + std::to_string(row.forced) +
                           ", with currently active session id=" + std::to_string(row.active)));
        EXPECT_TRUE(machine.traced("No explorer found in session " + std::to_string(row.watched) +
                                   " (forcedSessionId=" + target + ")"));
    }
    ServiceMachine machine;
    machine.sessions.open(1);
    machine.sessions.logOn(1);
    machine.sessions.startShell(1);
    insideService(machine, [&] {
        appRunState->forcedSessionId = 2;
        startApplication(L"");
        EXPECT_TRUE(appRunState->restartWhenExplorerStarts) << "the shell of another session doesn't count";
    });
}

TEST(StartByService, TheAnswerTellsTheSessionAndTheRights) {
    enum { noSession, nobody, logonScreen, user, noLibrary, noProgram };

    struct {
        std::int32_t session;
        int whoIsThere;
        bool asksForAdmin;
        std::string answer;
        std::int32_t launched;
        bool admin;
        DWORD error = 0; // 0: it is started
    } const rows[] = {{3, logonScreen, true, "1003", 3, true},
                      {0, logonScreen, true, "1000", 0, true},
                      {999, user, false, "999", 999, false},
                      {1000, user, false, "1000", 0, true},
                      {3, user, true, "1003", 3, true},
                      {3, nobody, false, "-1", -1, false, ERROR_NO_TOKEN},
                      {3, noSession, true, "-1", -1, false, ERROR_CTX_WINSTATION_NOT_FOUND},
                      {-1, noSession, true, "-1", -1, false, ERROR_INVALID_PARAMETER},
                      {3, noLibrary, false, "-1", -1, false, ERROR_MOD_NOT_FOUND},
                      {3, noProgram, false, "-1", -1, false, ERROR_FILE_NOT_FOUND}};

    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << "row " << &row - rows);
        ServiceMachine machine;
        machine.set(row.asksForAdmin ? "launchWithAdminRights=1" : "");
        machine.sessions.active = row.session;
        const auto session = static_cast<DWORD>(row.session);
        if (row.whoIsThere == nobody)
            machine.processes.start("winlogon.exe", session, simulated::Account::localSystem);
        else if (row.whoIsThere == logonScreen)
            machine.sessions.open(session);
        else if (row.whoIsThere != noSession)
            machine.openWithUser(session);
        machine.sessions.withoutLibrary = row.whoIsThere == noLibrary;
        if (row.whoIsThere == noProgram)
            machine.files.remove(L"C:\\Kovra\\bin\\Kovra.exe");
        insideService(machine, [&] {
            appRunState->forcedSessionId = row.session;
            startApplication(L"");
            EXPECT_EQ(appRunState->launchedSessionId, row.launched);
            EXPECT_EQ(appRunState->launchedWithAdminRights, row.admin);
            EXPECT_TRUE(appRunState->resumeOnNextStart);
        });
        const std::string launched = "Launched in session id=" + row.answer +
                                     " launchWithAdminRights was = " + (row.asksForAdmin ? "1" : "0");
        const auto line = std::find(machine.traceLines.begin(), machine.traceLines.end(), launched);
        ASSERT_LT(line + 1, machine.traceLines.end());
        const std::string failed = "Application could not be started, error ";
        if (row.error == 0)
            EXPECT_FALSE(line[1].starts_with(failed));
        else
            EXPECT_EQ(line[1], failed + std::to_string(row.error));
    }
}

TEST(StartByService, WritesItsTraceWordForWord) {
    const std::string rule(46, '-');
    {
        ServiceMachine machine;
        machine.sessions.open(1);
        insideService(machine, [&] { startApplication(L"-resume"); });
        EXPECT_THAT(
            machine.traceLines,
            ElementsAre("Start app *********", rule + "v 1", "8 - WINLOGON.EXE", "12 - LOGONUI.EXE",
                        rule + "^ 1",
                        "Start application, with requested session id=-1, with currently active session id=1",
                        "Launched in session id=1001 launchWithAdminRights was = 1",
                        "Application started by service in session 1 with args: -service -resume with "
                        "admin rights "));
        ASSERT_EQ(machine.starts.size(), 1U);
        EXPECT_EQ(machine.starts[0].arguments, "-service -resume");
        EXPECT_EQ(machine.processes.find("kovra.exe")->path, "C:\\Kovra\\bin\\Kovra.exe");
    }
    ServiceMachine machine;
    machine.sessions.loggedOn[1] = {};
    insideService(machine, [&] { startApplication(L""); });
    EXPECT_THAT(
        machine.traceLines,
        ElementsAre("Start app *********", rule + "v 1", rule + "^ 1",
                    "Start application, with requested session id=-1, with currently active session id=1",
                    "No explorer found in session 1 (forcedSessionId=1)",
                    "Launched in session id=1 launchWithAdminRights was = 0",
                    "Application started by service in session 1 with args: -servicewith normal "
                    "privileges  but a restart is required when explorer starts"));
}

void startByHand(simulated::Machine& machine, const std::wstring& arguments) {
    machine.inside([&] {
        ASSERT_TRUE(initPaths());
        startApplication(arguments);
        EXPECT_TRUE(appRunState->resumeOnNextStart);
    });
    machine.play(100);
}

TEST(StartByHand, GoesThroughTheShell) {
    for (const simulated::WindowsVersion version :
         {simulated::WindowsVersion{5, 1, 2}, {6, 0, 3}, {6, 1, 2}, {6, 2, 2}, {10, 0, 2}}) {
        ServiceMachine machine;
        machine.version = version;
        startByHand(machine, L"-restarted \"a b\"");
        EXPECT_THAT(machine.shell.executed,
                    ElementsAre(ShellCall{"Open", "Kovra.exe", "-restarted \"a b\"", "C:\\Kovra\\bin", 0}));
        EXPECT_THAT(machine.shell.consoleCommands, IsEmpty());
        EXPECT_THAT(machine.traceLines, IsEmpty());
        EXPECT_EQ(machine.starts.size(), 1U);
    }
}

TEST(StartByHand, GoesThroughATaskOnVista) {
    for (const std::string arguments : {"", "-restarted"}) {
        ServiceMachine machine;
        machine.version = {6, 0, VER_PLATFORM_WIN32_NT};
        startByHand(machine, {arguments.begin(), arguments.end()});
        EXPECT_THAT(machine.shell.consoleCommands,
                    ElementsAre("schtasks /create /tn startKovra /tr \"\\\"C:\\Kovra\\bin\\Kovra.exe \\\"" +
                                    arguments + "\" /SC ONCE /ST 23:59:59 /F",
                                "schtasks /run /tn startKovra", "schtasks /delete /tn startKovra /F"));
        ASSERT_EQ(machine.starts.size(), 1U);
        EXPECT_EQ(machine.starts[0].arguments, arguments);
        EXPECT_THAT(machine.shell.executed, IsEmpty());
        EXPECT_THAT(machine.traceLines, IsEmpty());
    }
    ServiceMachine machine;
    machine.version = {6, 0, VER_PLATFORM_WIN32_NT};
    machine.shell.consolePrograms.clear();
    startByHand(machine, L"");
    EXPECT_EQ(machine.calls("CreateProcessA"), 3U) << "each is tried, whatever became of the one before";
}

} // namespace
} // namespace kovra
