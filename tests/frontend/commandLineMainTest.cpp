#include "frontend/commandLineMain.h"

#include "integration/shellMachine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>

namespace kovra {
namespace {

using simulated::Scheduler;
using simulated::ShellCall;
using testing::ElementsAre;
using testing::IsEmpty;

ShellCall applicationStart(const std::string& arguments) {
    return {"Open", "Kovra.exe", arguments, "C:\\Kovra\\bin", 0};
}

/// A user's machine with a leftover of the product in the Startup folder, which every new laying of shortcuts
/// takes away.
class UsersMachine : public ShellMachine {
public:
    const std::wstring everybodysStartup = shell.specialFolders.paths.at(CSIDL_COMMON_STARTUP);
    const std::wstring usersStartup = shell.specialFolders.paths.at(CSIDL_STARTUP);

    UsersMachine() {
        files.makeFolder(everybodysStartup);
        files.makeFolder(usersStartup);
        files.write(everybodysStartup + L"\\old kovra.lnk", "");
    }

    /// Plays one launcher and what it leaves running; gives how long the launcher waited, in
    /// tenths of a second: its work takes some milliseconds beside.
    std::uint64_t takeLine(const std::wstring& line) {
        const std::uint64_t start = scheduler.now();
        EXPECT_TRUE(run(line));
        const std::uint64_t took = (scheduler.now() - start) / 100 * 100;
        play(300);
        return took;
    }

    [[nodiscard]] bool shortcutsWereReset() const {
        return !files.fileExists(everybodysStartup + L"\\old kovra.lnk");
    }

    [[nodiscard]] std::size_t registrations() const {
        return timesTraced("start registering windows 7 context menu : True");
    }
};

TEST(CommandLine, AnyOtherLineGoesToTheApplicationOrStartsIt) {
    struct {
        const wchar_t* line;
        std::string handedOn;
        bool startsIt = true;
    } const rows[] = {{L"hello", "hello"},
                      {L"-hello \"a b\" ", "hello \"a b\" "},
                      {L"--restart", "-restart"},
                      {L" restart", " restart"},
                      {L"Restart", "Restart"},
                      {L"restart\tnow", "restart\tnow"},
                      {L"launchServices", "launchServices"},
                      {L"createshortcuts", "createshortcuts"},
                      {L"-shutdown now", "shutdown now", false}};

    for (const auto& row : rows) {
        SCOPED_TRACE(row.handedOn);
        UsersMachine machine;
        machine.mailslots.make("kovraMailslot");
        const DWORD application = machine.processes.start("KOVRA.EXE", 1);
        EXPECT_EQ(machine.takeLine(row.line), 0U);
        EXPECT_EQ(machine.traceLines.front(),
                  "Start KovraLauncher with command line " + machine.codePage.toAnsi(row.line));
        EXPECT_THAT(machine.mailslots.delivered, ElementsAre(row.handedOn + '\0'));
        EXPECT_THAT(machine.shell.executed, IsEmpty());

        machine.processes.end(application);
        machine.takeLine(row.line);
        EXPECT_EQ(machine.mailslots.delivered.size(), row.startsIt ? 1U : 2U);
        EXPECT_THAT(machine.shell.executed,
                    row.startsIt ? std::vector{applicationStart(row.handedOn)} : std::vector<ShellCall>{});
    }
}

TEST(CommandLine, TheFormsThatRestartGiveTheirOwnArguments) {
    struct {
        const wchar_t* line;
        const char* arguments;
        bool startsBesideASurvivor;
    } const rows[] = {{L"restart", "-restarted", true},
                      {L"-restart whatever", "-restarted", true},
                      {L"installUpdate", "", true},
                      {L"installUpdate now", "installUpdate now", false},
                      {L"", "", false},
                      {L"-", "", false}};

    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << "row " << &row - rows);
        UsersMachine machine;
        const DWORD old = machine.processes.start("Kovra.exe", 1);
        machine.takeLine(row.line);
        EXPECT_EQ(machine.processes.find(old), nullptr);
        EXPECT_THAT(machine.shell.executed, ElementsAre(applicationStart(row.arguments)));

        machine.shell.executed.clear();
        machine.mailslots.make("kovraMailslot");
        machine.processes.find("kovra.exe")->unkillable = true;
        EXPECT_EQ(machine.takeLine(row.line), 2000U);
        EXPECT_EQ(machine.shell.executed.size(), row.startsBesideASurvivor ? 1U : 0U);
        const bool isSent = !row.startsBesideASurvivor && *row.arguments != '\0';
        EXPECT_EQ(machine.mailslots.delivered.size(), isSent ? 1U : 0U);
    }
}

TEST(CommandLine, ARestartWaitsForTheApplicationInHalfSeconds) {
    struct {
        std::uint64_t leavesAfter; // by itself
        std::uint64_t diesAfter;   // behind the kill
        std::uint64_t tookMs;
        bool killed;
    } const rows[] = {{0, 0, 0, false},
                      {300, 0, 500, false},
                      {700, 0, 1000, false},
                      {Scheduler::never, 0, 1000, true},
                      {Scheduler::never, 300, 1500, true},
                      {Scheduler::never, 900, 2000, true},
                      {Scheduler::never, 60'000, 2000, true}};

    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.leavesAfter << " " << row.diesAfter);
        UsersMachine machine;
        machine.processes.terminationMs = row.diesAfter;
        if (row.leavesAfter > 0) {
            const DWORD id = machine.processes.start("Kovra.exe", 1);
            if (row.leavesAfter != Scheduler::never)
                machine.scheduler.after(row.leavesAfter, [&machine, id] { machine.processes.end(id); });
        }
        EXPECT_EQ(machine.takeLine(L"restart"), row.tookMs);
        EXPECT_EQ(machine.calls("TerminateProcess"), row.killed ? 1U : 0U);
        EXPECT_THAT(machine.shell.executed, ElementsAre(applicationStart("-restarted")));
    }
}

TEST(CommandLine, LaunchServiceInstallsWhatIsAbsentAndHasItStarted) {
    enum { absent, there, managerDenied, notInstallable };

    for (const int situation : {absent, there, managerDenied, notInstallable}) {
        SCOPED_TRACE(situation);
        UsersMachine machine;
        if (situation == there)
            machine.services.add("Kovra", "\"C:\\elsewhere.exe\"");
        machine.services.denied = situation == managerDenied;
        if (situation == notInstallable)
            machine.fail("CreateServiceA", ERROR_ACCESS_DENIED);
        machine.takeLine(L"-launchService");
        EXPECT_EQ(machine.services.list().size(), situation == absent || situation == there ? 1U : 0U);
        EXPECT_THAT(machine.shell.executed,
                    ElementsAre(ShellCall{"", "net", "start kovra", "C:\\Kovra\\bin", 0}));
        EXPECT_EQ(machine.shell.messageBoxes.size(), situation == notInstallable ? 1U : 0U);
        EXPECT_EQ(machine.traced("Starting service..."), situation == absent);
    }
}

TEST(CommandLine, AScopeIsCutOutByPosition) {
    enum class Laid : std::uint8_t { untouched, none, everybodys, users };

    struct {
        const wchar_t* line;
        bool serviceStays;
        Laid shortcuts;
    } const rows[] = {{L"uninstallServices", false, Laid::untouched},
                      {L"-uninstallServices ", false, Laid::untouched},
                      {L"uninstallServices all", false, Laid::everybodys},
                      {L"uninstallServices  all", false, Laid::none},
                      {L"installServices", true, Laid::none},
                      {L"-installServices all", true, Laid::none},
                      {L"resetShortcuts", true, Laid::untouched},
                      {L"resetShortcuts ", true, Laid::untouched},
                      {L"-resetShortcuts current", true, Laid::users},
                      {L"resetShortcuts  current", true, Laid::none},
                      {L"createShortcuts all", true, Laid::untouched},
                      {L"-createShortcutsForAll", true, Laid::untouched}};

    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << "row " << &row - rows);
        UsersMachine machine;
        machine.services.add("Kovra", "\"C:\\elsewhere.exe\"");
        machine.takeLine(row.line);
        EXPECT_EQ(machine.services.find("Kovra") != nullptr, row.serviceStays);
        EXPECT_EQ(machine.shortcutsWereReset(), row.shortcuts != Laid::untouched);
        EXPECT_EQ(machine.files.fileExists(machine.everybodysStartup + L"\\Kovra.lnk"),
                  row.shortcuts == Laid::everybodys);
        EXPECT_EQ(machine.files.fileExists(machine.usersStartup + L"\\Kovra.lnk"),
                  row.shortcuts == Laid::users);
        EXPECT_THAT(machine.shell.executed, IsEmpty());
    }
}

TEST(CommandLine, AnInstallationReplacesTheServiceAndLeavesTheShortcutsWhenItFails) {
    for (const bool fails : {false, true}) {
        UsersMachine machine;
        machine.services.add("Kovra", "\"C:\\elsewhere.exe\"");
        if (fails)
            machine.fail("CreateServiceA", ERROR_ACCESS_DENIED);
        machine.takeLine(L"installServices all");
        const simulated::Service* service = machine.services.find("Kovra");
        ASSERT_EQ(service == nullptr, fails);
        EXPECT_TRUE(fails || service->binaryPath == "\"C:\\Kovra\\bin\\kovraLauncher.exe\" -service");
        EXPECT_EQ(machine.shortcutsWereReset(), !fails);
    }
}

TEST(CommandLine, AnUninstallationTakesTheDataWhereTheWordStandsAnywhere) {
    struct {
        const wchar_t* line;
        bool dataStays;
    } const rows[] = {{L"uninstallApplication", true},
                      {L"uninstallApplication RemoveDataDirectory", true},
                      {L"-uninstallApplication /removeDataDirectory:yes", false}};

    for (const auto& row : rows) {
        UsersMachine machine;
        machine.files.write(L"C:\\Kovra\\readme.txt", "");
        machine.takeLine(row.line);
        EXPECT_FALSE(machine.files.fileExists(L"C:\\Kovra\\readme.txt"));
        EXPECT_EQ(machine.files.folderExists(L"C:\\Kovra\\data"), row.dataStays);
    }
}

TEST(CommandLine, ASourcePathKeepsItsBlanksAndQuotes) {
    struct {
        const wchar_t* line;
        bool moved;
    } const rows[] = {{L"installFfmpegFrom C:\\a new one", true},
                      {L"installFfmpegFrom \"C:\\a new one\"", false},
                      {L"installFfmpegFrom  C:\\a new one", false},
                      {L"installFfmpegFrom", false}};

    for (const auto& row : rows) {
        UsersMachine machine;
        machine.files.write(L"C:\\a new one\\ffmpeg.exe", "");
        machine.takeLine(row.line);
        EXPECT_EQ(machine.files.fileExists(L"C:\\Kovra\\bin\\ffmpeg\\ffmpeg.exe"), row.moved);
        EXPECT_EQ(machine.files.fileExists(L"C:\\a new one\\ffmpeg.exe"), !row.moved);
    }
}

TEST(CommandLine, AWaitingShellExtensionIsTakenIntoUseAheadOfEveryJob) {
    struct {
        bool waiting, registered;
        const wchar_t* line;
        std::size_t finished, registrations;
    } const rows[] = {
        {true, true, L"-registerContextMenu", 1, 1},  {true, true, L"registerContextMenu now", 1, 2},
        {false, true, L"registerContextMenu", 0, 1},  {true, false, L"registerContextMenu", 0, 1},
        {true, true, L"unregisterContextMenu", 1, 1}, {true, true, L"createShortcuts", 1, 1},
        {true, false, L"createShortcuts", 0, 0},      {false, true, L"createShortcuts", 0, 0}};

    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << "row " << &row - rows);
        UsersMachine machine;
        if (row.waiting)
            machine.files.write(L"C:\\Kovra\\bin\\kovraShellExt.tmp.dll", "shell extension 2");
        if (row.registered)
            machine.registry.setText(UsersMachine::menuKey, L"", L"Share");
        machine.takeLine(row.line);
        EXPECT_EQ(machine.timesTraced("Register Context Menu"), row.finished);
        EXPECT_EQ(machine.registrations(), row.registrations);
        EXPECT_GE(machine.calls("RegOpenKeyExA"), 1U) << "the menu is looked for whatever the file says";
    }
}

TEST(CommandLine, AnUnusableInstallationIsReportedAndNoJobRuns) {
    UsersMachine machine;
    machine.launcherPath = L"C:\\Kovra\\bin\\my.launcher.exe";
    machine.files.write(machine.launcherPath, "");
    machine.files.write(L"C:\\Users\\Jos\u00E9\\Kovra\\data\\general.ini", "");
    machine.files.remove(L"C:\\Kovra\\www");
    machine.files.remove(L"C:\\Kovra\\data");
    machine.shell.specialFolders.paths[CSIDL_APPDATA] = L"C:\\Users\\Jos\u00E9";
    machine.fail("createJunction", ERROR_ACCESS_DENIED);
    machine.files.write(L"C:\\Kovra\\readme.txt", "");
    machine.takeLine(L"uninstallApplication");
    EXPECT_THAT(machine.shell.messageBoxes,
                ElementsAre("my.launcher: Installation problem (initPaths error)"));
    EXPECT_TRUE(machine.files.fileExists(L"C:\\Kovra\\readme.txt"));
}

TEST(CommandLine, AServiceThatKnowsNoDataEndsWithATraceLine) {
    UsersMachine machine;
    machine.files.remove(L"C:\\Kovra\\bin\\appDataPath");
    machine.startService();
    machine.play(3000);
    EXPECT_THAT(machine.traceLines, ElementsAre("Start KovraLauncher with command line -service",
                                                "kovraLauncher: Installation problem (initPaths error)"));
    EXPECT_THAT(machine.shell.messageBoxes, IsEmpty());
    EXPECT_EQ(machine.services.find("Kovra")->processId, 0U);
}

TEST(CommandLine, AnUnreadableLanguageFileIsReportedToThePerson) {
    UsersMachine machine;
    machine.removeLanguageFile();
    for (const wchar_t* line : {L"registerContextMenu", L"unregisterContextMenu"})
        machine.takeLine(line);
    EXPECT_THAT(machine.shell.messageBoxes,
                ElementsAre("Kovra language file cannot be read", "Kovra language file cannot be read"));
}

TEST(CommandLine, AServiceWithTextBehindItsWordRunsAsAUsersJobDoes) {
    UsersMachine machine;
    machine.files.remove(L"C:\\Kovra\\bin\\appDataPath");
    machine.services.add("Kovra", "\"C:\\Kovra\\bin\\kovraLauncher.exe\" -service ");
    machine.sessions.open(1);
    ASSERT_TRUE(machine.services.start("Kovra"));
    machine.play(3000);
    EXPECT_EQ(machine.services.find("Kovra")->state, SERVICE_RUNNING);
    EXPECT_TRUE(machine.files.fileExists(L"C:\\Kovra\\bin\\appDataPath"));
    machine.processes.endAll("kovra.exe");
    machine.play(2000);
    EXPECT_THAT(machine.shell.executed, ElementsAre(applicationStart(""), applicationStart("-resume")));
    EXPECT_FALSE(machine.traced("Start app *********"));
}

} // namespace
} // namespace kovra
