#include "channels/incomingCommands.h"

#include "channels/mailslots.h"
#include "integration/shellMachine.h"
#include "service/serviceProcess.h"

#include <climits>
#include <optional>

namespace kovra {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

/// What a command may change.
struct Steering {
    bool appExpected = false;
    bool resumeOnNextStart = true;
    std::int32_t forcedSessionId = -1;
    std::int32_t watchedSessionId = 7;
    bool exitRequested = false;
    bool sessionShutdownPending = false;
    bool applicationRuns = true;

    friend bool operator==(const Steering&, const Steering&) = default;
};

/// Has one command carried out by a service whose application runs; the console shows session 3.
Steering after(ServiceMachine& machine, const std::wstring& message) {
    machine.sessions.active = 3;
    machine.processes.start("Kovra.exe", 1);
    Steering result;
    insideService(machine, [&] {
        AppRunState& state = *appRunState;
        state.appExpected = false;
        state.resumeOnNextStart = true;
        state.watchedSessionId = 7;
        EXPECT_EQ(handleCommand(message), L"OK");
        result = {state.appExpected,
                  state.resumeOnNextStart,
                  state.forcedSessionId,
                  state.watchedSessionId,
                  state.exitRequested,
                  state.sessionShutdownPending,
                  machine.processes.find("kovra.exe") != nullptr};
    });
    return result;
}

constexpr Steering untouched{};
constexpr Steering exits{.exitRequested = true};
constexpr Steering launched{.appExpected = true, .resumeOnNextStart = false};
constexpr Steering expected{.appExpected = true};

constexpr Steering launchedIn(std::int32_t session) {
    return {
        .appExpected = true, .resumeOnNextStart = false, .forcedSessionId = session, .watchedSessionId = 3};
}

constexpr Steering relaunchedIn(std::int32_t session) {
    return {.appExpected = true, .forcedSessionId = session, .watchedSessionId = 3, .applicationRuns = false};
}

const std::string missing = "Incorrect relaunchApp command, missing \"forcedSessionId\" arg";
const std::string killed[] = {"relaunchApp received: kill kovra", "Kill kovra",
                              "mailslot message sent: removeTrayIcon to slot 0"};

TEST(IncomingCommands, SteerTheWatchdog) {
    const std::vector<std::string> kill(std::begin(killed), std::end(killed));

    struct {
        std::wstring message;
        Steering outcome;
        std::vector<std::string> lines; // between the two that every command has
    } const rows[] = {
        {L"", untouched, {}},
        {L"exit", exits, {}},
        {L"-exit", exits, {}},
        {L"exit  whatever=1", exits, {}},
        {L"--exit", untouched, {}},
        {L" exit", untouched, {}},
        {L"EXIT", untouched, {}},
        {L"exit\t", untouched, {}},
        {std::wstring{L"exit\0", 5}, untouched, {}},
        {L"appExited", untouched, {}},
        {L"appLaunched", launched, {}},
        {L"-appLaunched ", launched, {}},
        {L"appLaunched useSessionId=2", launchedIn(2), {}},
        {L"appLaunched   useSessionId=2  ", launchedIn(2), {}},
        {L"appLaunched useSessionId=-1", launchedIn(-1), {}},
        {L"appLaunched useSessionId=2147483647", launchedIn(INT_MAX), {}},
        {L"appLaunched useSessionId=-2147483648", launchedIn(INT_MIN), {}},
        {L"appLaunched useSessionId =2", launched, {}},
        {L"appLaunched UseSessionId=2", launched, {}},
        {L"appLaunched now useSessionId=2", launched, {}},
        {L"appLaunched useSessionId 2", launched, {}},
        {L"appLaunched useSessionId=", launched, {"Incorrect useSessionId \"\", ignored"}},
        {L"appLaunched useSessionId= 2", launched, {"Incorrect useSessionId \" 2\", ignored"}},
        {L"appLaunched useSessionId=2=3", launched, {"Incorrect useSessionId \"2=3\", ignored"}},
        {L"appLaunched useSessionId=two", launched, {"Incorrect useSessionId \"two\", ignored"}},
        {L"appLaunched useSessionId=2.0", launched, {"Incorrect useSessionId \"2.0\", ignored"}},
        {L"appLaunched useSessionId=-", launched, {"Incorrect useSessionId \"-\", ignored"}},
        {L"appLaunched useSessionId=2147483648",
         launched,
         {"Incorrect useSessionId \"2147483648\", ignored"}},
        {L"appLaunched useSessionId=-2147483649",
         launched,
         {"Incorrect useSessionId \"-2147483649\", ignored"}},
        {L"appLaunched useSessionId=18446744073709551618",
         launched,
         {"Incorrect useSessionId \"18446744073709551618\", ignored"}},
        {L"relaunchApp useSessionId=2", relaunchedIn(2), kill},
        {L"-relaunchApp useSessionId=0", relaunchedIn(0), kill},
        {L"relaunchApp", expected, {missing}},
        {L"relaunchApp forcedSessionId=2", expected, {missing}},
        {L"relaunchApp useSessionId=x", expected, {"Incorrect useSessionId \"x\", ignored", missing}},
        {L"sessionShutdown", untouched, {"Requested relaunch canceled"}},
        {L"test  a = b ",
         untouched,
         {"TEST IN =>/a = b/", "mailslot message sent: removeTrayIcon to slot 0"}}};

    for (const auto& row : rows) {
        const std::string text = std::string{row.message.begin(), row.message.end()};
        SCOPED_TRACE(text);
        ServiceMachine machine;
        EXPECT_EQ(after(machine, row.message), row.outcome);
        const std::string shown = text.starts_with('-') ? text.substr(1) : text;
        std::vector<std::string> lines{"receive command from app: " + shown};
        lines.insert(lines.end(), row.lines.begin(), row.lines.end());
        lines.push_back(shown + " => OK");
        EXPECT_EQ(machine.traceLines, lines);
    }
}

TEST(IncomingCommands, ASessionsEndCountsBelowWindowsVistaAlone) {
    for (const DWORD windows : {5U, 6U}) {
        ServiceMachine machine;
        machine.version = {windows, 0, VER_PLATFORM_WIN32_NT};
        const Steering outcome = after(machine, L"sessionShutdown");
        EXPECT_EQ(outcome.sessionShutdownPending, windows == 5);
        EXPECT_EQ(outcome.applicationRuns, windows == 6);
        EXPECT_EQ(machine.traced("Requested relaunch canceled"), windows == 6);
    }
}

TEST(IncomingCommands, TheMailslotIndexHoldsUntilItIsReplaced) {
    ServiceMachine machine;
    machine.mailslots.make("kovraMailslot7 b");
    machine.mailslots.make("kovraMailslot");
    insideService(machine, [&] {
        static_cast<void>(handleCommand(L"setMailslotIndex  7 b "));
        static_cast<void>(handleCommand(L"test"));
        EXPECT_EQ(machine.mailslots.find("kovraMailslot7 b")->messages.size(), 1U);
        static_cast<void>(handleCommand(L"setMailslotIndex"));
        EXPECT_EQ(*mailslotIndex, L"");
        static_cast<void>(handleCommand(L"test"));
        EXPECT_THAT(machine.mailslots.find("kovraMailslot")->messages,
                    ElementsAre(std::string{"removeTrayIcon\0", 15}));
    });
}

/// What the jobs of the command line have done when a command asked for them; the shortcuts tell by a
/// leftover in the Startup folder whether they were laid anew.
TEST(IncomingCommands, CarryOutTheJobsOfTheCommandLine) {
    struct {
        std::wstring message;
        bool serviceStays, shortcutsReset, shortcutLaid;
    } const rows[] = {
        {L"uninstallServices", false, true, false}, {L"uninstallServices  all ", false, true, true},
        {L"installServices all", true, true, true}, {L"-installServices", true, true, false},
        {L"resetShortcuts", true, true, false},     {L"resetShortcuts all", true, true, true},
        {L"ResetShortcuts all", true, false, false}};

    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << "row " << &row - rows);
        ShellMachine machine;
        machine.services.add("Kovra", "\"C:\\elsewhere.exe\"");
        const std::wstring startup = machine.shell.specialFolders.paths.at(CSIDL_COMMON_STARTUP);
        machine.files.write(startup + L"\\old kovra.lnk", "");
        insideService(machine, [&] { EXPECT_EQ(handleCommand(row.message), L"OK"); });
        ASSERT_EQ(machine.services.find("Kovra") != nullptr, row.serviceStays);
        EXPECT_TRUE(!row.serviceStays ||
                    machine.services.find("Kovra")->binaryPath == "\"C:\\elsewhere.exe\"")
            << "it is not replaced";
        EXPECT_EQ(!machine.files.fileExists(startup + L"\\old kovra.lnk"), row.shortcutsReset);
        EXPECT_EQ(machine.files.fileExists(startup + L"\\Kovra.lnk"), row.shortcutLaid);
        EXPECT_THAT(machine.shell.messageBoxes, IsEmpty()) << "a service has no desktop";
    }
    ShellMachine machine;
    machine.files.write(L"C:\\a new one\\ffmpeg.exe", "");
    insideService(machine, [&] {
        static_cast<void>(handleCommand(L"installFfmpegFrom  C:\\a new one "));
        static_cast<void>(handleCommand(L"registerContextMenu whatever"));
        EXPECT_EQ(machine.timesTraced("done registering windows 7 context menu : True"), 1U);
        static_cast<void>(handleCommand(L"unregisterContextMenu"));
    });
    EXPECT_TRUE(machine.files.fileExists(L"C:\\Kovra\\bin\\ffmpeg\\ffmpeg.exe"));
    EXPECT_EQ(machine.timesTraced("done registering windows 7 context menu : True"), 1U);
    EXPECT_EQ(machine.timesTraced("done registering windows 7 context menu : False"), 1U);
}

TEST(IncomingCommands, AnUnreadableLanguageFileLeavesTheServiceRunning) {
    ShellMachine machine;
    machine.removeLanguageFile();
    machine.startService();
    const auto talk = machine.pipes.say("registerContextMenu");
    machine.play(1000);
    EXPECT_EQ(talk->reply, "OK");
    EXPECT_EQ(machine.timesTraced("Kovra language file cannot be read"), 1U);
    machine.pipes.say("unregisterContextMenu");
    machine.play(1000);
    EXPECT_EQ(machine.timesTraced("Kovra language file cannot be read"), 2U);
    EXPECT_EQ(machine.services.find("Kovra")->state, SERVICE_RUNNING);
    EXPECT_THAT(machine.shell.messageBoxes, IsEmpty());
}

} // namespace
} // namespace kovra
