#include "service/serviceFunctions.h"

#include "service/serviceProcess.h"

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

TEST(ExplorerWatch, RestartsOnceTheWatchedSessionHasAShell) {
    struct {
        std::int32_t watched;
        DWORD shell; // its session
        DWORD windows;
        bool seen;
    } const rows[] = {
        {1, 1, 6, true}, {1, 2, 10, false}, {0, 0, 10, false}, {-1, 3, 10, true}, {1, 1, 5, false}};

    for (const auto& row : rows) {
        for (const std::int32_t pass : {15, 7}) {
            SCOPED_TRACE(testing::Message() << "row " << &row - rows << ", pass " << pass);
            ServiceMachine machine;
            machine.version.major = row.windows;
            machine.sessions.active = 2;
            machine.processes.start("Kovra.exe", 3);
            machine.processes.start("explorer.exe", row.shell);
            machine.processes.start("LogonUI.exe", 1); // would call for a restart
            const bool acts = row.seen && pass == 15;
            insideService(machine, [&] {
                AppRunState& state = *appRunState;
                state.restartWhenExplorerStarts = true;
                state.watchedSessionId = row.watched;
                state.launchedSessionId = 2;
                state.minLaunchTime = -5;
                watchSessions(pass);
                EXPECT_EQ(state.minLaunchTime,
                          acts ? static_cast<std::int32_t>(machine.clock.tickCount()) : -5);
                EXPECT_EQ(state.restartWhenExplorerStarts, !acts);
            });
            EXPECT_EQ(machine.timesTraced("Kill kovra"), acts ? 1U : 0U);
        }
    }
}

} // namespace
} // namespace kovra
