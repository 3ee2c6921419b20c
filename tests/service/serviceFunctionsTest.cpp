#include "service/serviceFunctions.h"

#include "service/serviceProcess.h"

#include <optional>

namespace kovra {
namespace {

TEST(LaunchTime, IsAheadForAsLongAsItCanBeSetToAcrossBothTurnsOfTheClock) {
    struct {
        std::uint32_t launchTime, now;
        bool past;
    } const rows[] = {{1000, 1000, false},
                      {1000, 1001, true},
                      {3000, 1000, false},
                      {3001, 1000, true},
                      {0x8000'0100, 0x7FFF'FF00, false},
                      {0x0000'0100, 0xFFFF'FF00, false},
                      {1000, 0x8000'0400, true}};

    InstalledMachine machine;
    machine.inside([&] {
        for (const auto& row : rows) {
            appRunState->minLaunchTime = static_cast<std::int32_t>(row.launchTime);
            EXPECT_EQ(isPastMinLaunchTime(row.now), row.past) << row.launchTime << " at " << row.now;
        }
    });
}

/// The application runs in session 3; the launch time has been long past.
void watchInPass(ServiceMachine& machine, std::int32_t pass, const std::function<void(AppRunState&)>& set,
                 const std::function<void(const AppRunState&, std::optional<std::int32_t>)>& look) {
    machine.processes.start("Kovra.exe", 3);
    insideService(machine, [&] {
        appRunState->minLaunchTime = -5;
        set(*appRunState);
        watchSessions(pass);
        const std::int32_t ahead =
            appRunState->minLaunchTime - static_cast<std::int32_t>(machine.clock.tickCount());
        look(*appRunState, appRunState->minLaunchTime == -5 ? std::nullopt : std::optional{ahead});
    });
}

TEST(RightsAndSessionCheck, EndsWhatRunsInAnotherSessionThanTheConsolesAndTheWatchedOne) {
    struct {
        std::int32_t launched, console;
        bool winlogon;
        std::optional<std::int32_t> launchDelay; // empty: the application is left alone
        std::int32_t launchedAfter;
    } const rows[] = {{1, 2, true, 1000, 1},
                      {1, 2, false, {}, 1},
                      {2, 2, true, {}, 2}, // its session is known
                      {0, 3, true, {}, 3}, // it isn't: where it runs
                      {0, 4, true, 1000, 3}};

    for (const auto& row : rows) {
        for (const std::int32_t pass : {15, 5}) {
            SCOPED_TRACE(testing::Message() << "row " << &row - rows << ", pass " << pass);
            ServiceMachine machine;
            if (row.winlogon)
                machine.processes.start("winlogon.exe", 9);
            machine.processes.start("explorer.exe", 9);
            machine.sessions.active = row.console;
            const bool looksAtIt = pass == 15;
            watchInPass(
                machine, pass,
                [&](AppRunState& state) {
                    state.launchedWithAdminRights = true; // which ends it, too, where the session doesn't
                    state.adminRequested = row.launchDelay ? 0 : 1;
                    state.launchedSessionId = row.launched;
                    state.watchedSessionId = 7;
                },
                [&](const AppRunState& state, std::optional<std::int32_t> delay) {
                    EXPECT_EQ(delay, looksAtIt ? row.launchDelay : std::nullopt);
                    EXPECT_EQ(state.launchedSessionId, looksAtIt ? row.launchedAfter : row.launched);
                });
            EXPECT_EQ(machine.timesTraced("Kill kovra"), looksAtIt && row.launchDelay ? 1U : 0U);
        }
    }
}

TEST(ExplorerWatch, RestartsOnceTheWatchedSessionHasAShell) {
    struct {
        std::int32_t watched;
        DWORD shell; // its session
        DWORD windows;
        bool seen;
    } const rows[] = {
        {1, 1, 6, true}, {1, 2, 10, false}, {0, 0, 10, false}, {-1, 3, 10, true}, {1, 1, 5, false}};

    for (const auto& row : rows) {
        for (const std::int32_t pass : {5, 15, 7}) {
            SCOPED_TRACE(testing::Message() << "row " << &row - rows << ", pass " << pass);
            ServiceMachine machine;
            machine.version.major = row.windows;
            machine.sessions.active = 2;
            machine.processes.start("explorer.exe", row.shell);
            machine.processes.start("LogonUI.exe", 1); // would call for a restart
            const bool acts = row.seen && pass != 7;
            watchInPass(
                machine, pass,
                [&](AppRunState& state) {
                    state.restartWhenExplorerStarts = true;
                    state.watchedSessionId = row.watched;
                    state.launchedSessionId = 2;
                },
                [&](const AppRunState& state, std::optional<std::int32_t> delay) {
                    EXPECT_EQ(delay, acts ? std::optional{0} : std::nullopt);
                    EXPECT_EQ(state.restartWhenExplorerStarts, !acts);
                });
            EXPECT_EQ(machine.timesTraced("Kill kovra"), acts ? 1U : 0U);
        }
    }
}

} // namespace
} // namespace kovra
