#include "service/serviceFunctions.h"

#include "service/serviceProcess.h"

#include <algorithm>
#include <optional>

namespace kovra {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

constexpr std::uint64_t passMs = 200;
constexpr std::uint64_t dayMs = 86'400'000;
const std::string killing[] = {"Kill kovra", "mailslot message sent: removeTrayIcon to slot 0"};

std::vector<std::string> withKill(std::vector<std::string> lines) {
    lines.insert(lines.end(), std::begin(killing), std::end(killing));
    return lines;
}

TEST(StartDecision, StartsWhatIsAbsentStrictlyBehindTheLaunchTime) {
    struct {
        std::int32_t pass;
        std::int32_t launchTimeFromNow;
        bool application, winlogon, resume;
        std::vector<std::string> lines;
        std::optional<std::string> arguments;
    } const rows[] = {
        {5, -1, false, true, false, {"Min launch time reached, start kovra"}, "-service"},
        {0, -1, false, true, true, {"Min launch time reached, start kovra"}, "-service -resume"},
        {5, 0, false, true, false, {"min launch time not reached"}, {}},
        {5, 2000, false, true, false, {"min launch time not reached"}, {}},
        {5, 1, false, false, false, {"min launch time not reached"}, {}},
        {5, 1, true, true, false, {}, {}},
        {5, -1, true, true, false, {}, {}},
        {5, -1, false, false, false, {}, {}},
        {4, -1, false, true, false, {}, {}},
        {6, 1, false, true, false, {}, {}}};

    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << "row " << &row - rows);
        ServiceMachine machine;
        machine.clock.setTickCount(1'000'000);
        machine.openWithUser(1);
        if (!row.winlogon)
            machine.processes.endAll("winlogon.exe");
        if (row.application)
            machine.processes.start("Kovra.exe", 1);
        machine.starts.clear();
        insideService(machine, [&] {
            appRunState->minLaunchTime = 1'000'000 + row.launchTimeFromNow;
            appRunState->resumeOnNextStart = row.resume;
            watchSessions(row.pass);
            if (row.arguments)
                EXPECT_NEAR(appRunState->minLaunchTime, 1'002'010, 20); // and what the pass worked
            else
                EXPECT_EQ(appRunState->minLaunchTime, 1'000'000 + row.launchTimeFromNow);
        });
        ASSERT_EQ(machine.starts.size(), row.arguments ? 1U : 0U);
        if (row.arguments) {
            EXPECT_EQ(machine.starts[0].arguments, *row.arguments);
            EXPECT_EQ(machine.traceLines.front(), row.lines.front());
        } else {
            EXPECT_EQ(machine.traceLines, row.lines);
        }
    }
}

const std::string raise =
    "App has been launched with normal privileges and logonUI is displayed: restart with "
    "admin privileges";
const std::string lower =
    "App has been launched with admin rights while config doesn't request admin privileges, and logonui is no "
    "more displayed: relaunch to lower privileges";

TEST(RightsAndSessionCheck, RestartsWhatHasTheWrongRightsOrSession) {
    struct {
        bool admin;
        std::int32_t adminRequested, launched, watched, console;
        bool winlogon, logonScreen, explorer;
        std::string line;                  // empty: the application is left alone
        std::optional<std::int32_t> delay; // of the next launch, behind the kill
        std::int32_t launchedAfter;
    } const rows[] = {
        {false, 0, 1, 1, 1, true, true, false, raise, {}, 1},
        {false, 0, 1, 1, 2, false, true, true, raise, {}, 1}, // ahead of the look at winlogon and session
        {true, 0, 1, 1, 1, true, true, true, "", {}, 1},
        {false, 0, 1, 1, 1, true, false, true, "", {}, 1},
        {false, 0, 1, 1, 2, false, false, true, "", {}, 1},
        {false, 0, 1, 1, 2, true, false, true, "Kovra and winlogon sessions are different (1 <> 2)", 1000, 1},
        {false, 0, 1, 1, -1, true, false, true, "Kovra and winlogon sessions are different (1 <> -1)", 1000,
         1},
        {true, 0, 1, 1, 2, true, false, true, "Kovra and winlogon sessions are different (1 <> 2)", 1000, 1},
        {false, 0, 1, 2, 2, true, false, true, "", {}, 1},
        {false, 0, 2, 1, 2, true, false, true, "", {}, 2},
        {true, 0, 1, 1, 1, true, false, true, lower, {}, 1},
        {true, 1, 1, 1, 1, true, false, true, "", {}, 1},
        {true, 0, 1, 1, 1, true, false, false, "", {}, 1},
        {false, 0, 0, 7, 3, true, false, true, "", {}, 3}, // not known yet: the session it runs in
        {false, 0, 0, 7, 4, true, false, true, "Kovra and winlogon sessions are different (3 <> 4)", 1000,
         3}};

    for (const auto& row : rows) {
        for (const std::int32_t pass : {15, 30, 10, 14}) {
            SCOPED_TRACE(testing::Message() << "row " << &row - rows << ", pass " << pass);
            ServiceMachine machine;
            machine.processes.start("Kovra.exe", 3);
            if (row.winlogon)
                machine.processes.start("winlogon.exe", 9);
            if (row.logonScreen)
                machine.processes.start("LogonUI.exe", 9);
            if (row.explorer)
                machine.processes.start("explorer.exe", 9);
            machine.sessions.active = row.console;
            const bool acts = pass % 15 == 0 && !row.line.empty();
            insideService(machine, [&] {
                AppRunState& state = *appRunState;
                state.minLaunchTime = -5;
                state.launchedWithAdminRights = row.admin;
                state.adminRequested = row.adminRequested;
                state.launchedSessionId = row.launched;
                state.watchedSessionId = row.watched;
                watchSessions(pass);
                const auto now = static_cast<std::int32_t>(machine.clock.tickCount());
                EXPECT_EQ(state.minLaunchTime, acts && row.delay ? now + *row.delay : -5);
                EXPECT_EQ(state.launchedSessionId, pass % 15 == 0 ? row.launchedAfter : row.launched);
            });
            EXPECT_EQ(machine.processes.count("kovra.exe"), acts ? 0U : 1U);
            EXPECT_THAT(machine.traceLines,
                        ElementsAreArray(acts ? withKill({row.line}) : std::vector<std::string>{}));
        }
    }
}

TEST(ExplorerWatch, RestartsOnceTheWatchedSessionHasAShell) {
    struct {
        std::int32_t watched;
        std::optional<DWORD> explorer;
        DWORD windows;
        std::string asked, detected; // `detected` empty: the application is left alone
    } const rows[] = {{1, 1, 6, "explorer.exe in session 1? : 1", "explorer.exe detected in session 1"},
                      {1, 1, 10, "explorer.exe in session 1? : 1", "explorer.exe detected in session 1"},
                      {1, 2, 10, "explorer.exe in session 1? : 0", ""},
                      {1, {}, 10, "explorer.exe in session 1? : 0", ""},
                      {0, 0, 10, "explorer.exe in session 0? : 1", ""},
                      {-1, 3, 10, "explorer.exe in session -1? : 0", "explorer.exe detected in a session"},
                      {-1, {}, 10, "explorer.exe in session -1? : 0", ""},
                      {1, 1, 5, "explorer.exe in session 1? : 1", ""}};

    for (const auto& row : rows) {
        for (const std::int32_t pass : {5, 15, 7}) {
            SCOPED_TRACE(testing::Message() << "row " << &row - rows << ", pass " << pass);
            ServiceMachine machine;
            machine.version.major = row.windows;
            machine.processes.start("Kovra.exe", 1);
            const DWORD shell = row.explorer ? machine.processes.start("explorer.exe", *row.explorer) : 0;
            const DWORD logonScreen = machine.processes.start("LogonUI.exe", 1); // would call for a restart
            const bool acts = pass % 5 == 0 && !row.detected.empty();
            insideService(machine, [&] {
                appRunState->restartWhenExplorerStarts = true;
                appRunState->watchedSessionId = row.watched;
                appRunState->minLaunchTime = -5;
                watchSessions(pass);
                EXPECT_EQ(appRunState->restartWhenExplorerStarts, !acts);
                const auto now = static_cast<std::int32_t>(machine.clock.tickCount());
                EXPECT_EQ(appRunState->minLaunchTime, acts ? now : -5);
            });
            std::vector<std::string> lines;
            if (pass % 5 == 0)
                lines = {row.asked};
            if (acts) {
                const std::string rule(46, '-');
                lines.insert(
                    lines.end(),
                    {row.detected, rule + "v 1", std::to_string(shell) + " - EXPLORER.EXE",
                     std::to_string(logonScreen) + " - LOGONUI.EXE", rule + "^ 1",
                     "explorer.exe detected in kovra session => restart in order to lower privileges"});
                lines = withKill(lines);
            }
            EXPECT_EQ(machine.traceLines, lines);
            EXPECT_EQ(machine.processes.count("kovra.exe"), acts ? 0U : 1U);
        }
    }
}

TEST(SessionEnd, WaitsInEveryPassUntilOnlyWinlogonIsLeft) {
    for (const std::int32_t pass : {5, 7}) {
        ServiceMachine machine;
        insideService(machine, [&] {
            AppRunState& state = *appRunState;
            state.sessionShutdownPending = true;
            state.minLaunchTime = -5; // due, if it were asked
            const auto isPending = [&] {
                watchSessions(pass);
                return state.sessionShutdownPending;
            };
            EXPECT_TRUE(isPending());
            const DWORD shell = machine.processes.start("explorer.exe", 1);
            EXPECT_TRUE(isPending());
            machine.processes.start("winlogon.exe", 1);
            EXPECT_TRUE(isPending());
            machine.processes.end(shell);
            state.appExpected = false;
            EXPECT_TRUE(isPending());
            state.appExpected = true;
            EXPECT_THAT(machine.traceLines, IsEmpty());
            EXPECT_FALSE(isPending());
            EXPECT_EQ(state.minLaunchTime, static_cast<std::int32_t>(GetTickCount()) + 1000);
        });
        EXPECT_THAT(machine.traceLines, ElementsAre("time start kovra"));
        EXPECT_THAT(machine.starts, IsEmpty());
    }
}

TEST(Watchdog, TheFirstStartComesWhenTwoSecondsArePast) {
    ServiceMachine machine;
    machine.startWithUser();
    machine.play(2100);
    ASSERT_EQ(machine.starts.size(), 1U);
    EXPECT_EQ(machine.timesTraced("min launch time not reached"), 2U);
}

TEST(Watchdog, TheCycleOfPassesHasOneMoreThanTenThousand) {
    ServiceMachine machine;
    machine.keepHappenings = false;
    machine.startWithUser();
    const auto playTo = [&machine](std::uint64_t pass) {
        machine.playUntil([&machine, pass] { return machine.calls("ConnectNamedPipe") > pass; },
                          20'000 * passMs);
    };
    playTo(9989);
    std::vector<std::uint64_t> snapshots;
    for (std::uint64_t pass = 9990; pass <= 10'006; ++pass) {
        const std::uint64_t before = machine.calls("CreateToolhelp32Snapshot");
        playTo(pass);
        snapshots.push_back(machine.calls("CreateToolhelp32Snapshot") - before);
    }
    EXPECT_THAT(snapshots,
                ElementsAre(5, 0, 0, 0, 0, 1, 0, 0, 0, 0, /* 10000: */ 1, /* 0: */ 5, 0, 0, 0, 0, 1));
}

TEST(Watchdog, LooksAtTheProcessListNoMoreThanItsCadencesAllow) {
    enum { idle, running, absent, waiting, waitingAnywhere, sessionEnds };

    for (const int situation : {idle, running, absent, waiting, waitingAnywhere, sessionEnds}) {
        ServiceMachine machine;
        if (situation != absent)
            machine.processes.start("winlogon.exe", 1);
        if (situation != absent && situation != idle)
            machine.processes.start("Kovra.exe", 1);
        insideService(machine, [&] {
            AppRunState& state = *appRunState;
            state.appExpected = situation != idle;
            state.launchedSessionId = state.watchedSessionId = 1;
            state.restartWhenExplorerStarts = situation == waiting || situation == waitingAnywhere;
            if (situation == waitingAnywhere)
                state.watchedSessionId = -1;
            state.minLaunchTime = -5;
            for (std::int32_t pass = 0; pass < 30; ++pass) {
                SCOPED_TRACE(testing::Message() << "situation " << situation << ", pass " << pass);
                state.sessionShutdownPending = situation == sessionEnds && pass % 5 != 0;
                const std::uint64_t before = machine.calls("CreateToolhelp32Snapshot");
                watchSessions(pass);
                const std::uint64_t taken = machine.calls("CreateToolhelp32Snapshot") - before;
                std::uint64_t allowed = 0;
                if (situation == sessionEnds && pass % 5 != 0)
                    allowed = 2;
                else if (situation != idle && pass % 5 == 0)
                    allowed = pass % 15 == 0 ? 6 : 3;
                EXPECT_LE(taken, allowed);
            }
        });
    }
}

TEST(Watchdog, TheStartDelayHoldsWhereTheClockTurns) {
    for (const std::uint32_t turn : {0x80000000U, 0U}) {
        for (std::uint32_t ahead = 100; ahead <= 9100; ahead += 900) {
            SCOPED_TRACE(testing::Message() << turn << " - " << ahead);
            ServiceMachine machine;
            machine.clock.setTickCount(turn - ahead);
            machine.application = [&](simulated::Process& process) {
                machine.scheduler.after(100, [&machine, id = process.id] { machine.processes.end(id); });
            };
            machine.startWithUser();
            machine.play(20'000);
            ASSERT_EQ(machine.starts.size(), 9U);
            for (std::size_t index = 1; index < machine.starts.size(); ++index) {
                const std::uint64_t pause = machine.starts[index].at - machine.starts[index - 1].at;
                EXPECT_TRUE(pause > 2000 && pause < 2100) << pause;
            }
        }
    }
}

TEST(Watchdog, AnApplicationThatDiesAfterWeeksIsBackAtOnce) {
    for (const std::uint32_t atStart : {0U, 0x7FFFF000U, 0xFFFFF000U}) {
        for (const std::uint64_t days : {1U, 24U, 25U, 30U, 40U, 49U, 50U, 51U, 60U}) {
            SCOPED_TRACE(testing::Message() << days << " days");
            ServiceMachine machine;
            machine.clock.setTickCount(atStart);
            machine.startWithUser();
            machine.play(4000);
            machine.clock.setTickCount(machine.clock.tickCount() + static_cast<std::uint32_t>(days * dayMs));
            machine.play(4000);
            EXPECT_EQ(machine.starts.size(), 1U);
            machine.processes.endAll("kovra.exe");
            machine.play(1000);
            EXPECT_EQ(machine.starts.size(), 2U);
        }
    }
}

} // namespace
} // namespace kovra
