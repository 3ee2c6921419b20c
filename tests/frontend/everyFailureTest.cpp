#include "integration/shellMachine.h"
#include "service/serviceProcess.h"

#include <algorithm>
#include <functional>
#include <map>
#include <string_view>

namespace kovra {
namespace {

/// How often each function was called.
using Calls = std::map<std::string, std::uint64_t>;

struct Job {
    const wchar_t* line;
    bool installed;   ///< the product is tied in beforehand
    bool application; ///< it runs beforehand
};

/// The product with something for each job to do.
class JobMachine : public ShellMachine {
public:
    JobMachine(const simulated::WindowsVersion& windows, const Job& job) {
        version = windows;
        keepHappenings = false;
        files.write(L"C:\\new\\ffmpeg.exe", "");
        files.write(L"C:\\Kovra\\bin\\ffmpeg\\old.exe", "");
        if (job.installed) {
            run(L"-installServices current");
            run(L"-registerContextMenu");
            play(2000);
        }
        files.write(L"C:\\Kovra\\bin\\kovraShellExt.tmp.dll", "shell extension 2");
        sessions.open(1);
        sessions.logOn(1);
        sessions.startShell(1);
        if (job.application) {
            processes.start("Kovra.exe", 1);
            mailslots.make("kovraMailslot");
        }
        observer = [this](const simulated::Happening& happening) {
            starts_ += happening.text.starts_with("Kovra.exe") &&
                       happening.text.find(" starts") != std::string::npos;
        };
        before_ = callsByName();
    }

    /// Whether the process ends in order, and what it may do once only isn't done twice. Gives what it
    /// called.
    Calls carryOut(const wchar_t* line) {
        EXPECT_TRUE(run(line)) << "it doesn't end";
        play(2000);
        EXPECT_LE(starts_, 1);
        EXPECT_LE(shell.messageBoxes.size(), 1U);
        EXPECT_TRUE(files.fileExists(launcherPath));
        EXPECT_TRUE(files.fileExists(L"C:\\Kovra\\bin\\kovraShellExt.dll") ||
                    files.fileExists(L"C:\\Kovra\\bin\\kovraShellExt.tmp.dll"));
        Calls calls = callsByName();
        for (const auto& [function, count] : before_)
            calls[function] -= count;
        return calls;
    }

private:
    int starts_ = 0;
    Calls before_;
};

/// Plays once for each of the first calls of each function, which then fails.
void failEach(const Calls& calls,
              const std::function<void(const std::string& function, std::uint64_t earlierCalls)>& play) {
    constexpr std::uint64_t mostOfOneFunction = 6; // behind that the same place is asked again and again
    for (const auto& [function, count] : calls) {
        if (function.find("Close") != std::string::npos)
            continue; // what is open can be closed
        for (std::uint64_t number = 0; number < std::min(count, mostOfOneFunction); ++number) {
            SCOPED_TRACE(testing::Message() << function << " fails, call " << number + 1);
            play(function, number);
            if (testing::Test::HasFailure())
                return;
        }
    }
}

TEST(EveryFailure, LeavesEachJobInOrder) {
    const Job jobs[] = {{L"", false, true},
                        {L"-restart", false, true},
                        {L"installUpdate", false, false},
                        {L"shutdown now", false, true},
                        {L"a line", false, false},
                        {L"-launchService", false, false},
                        {L"-installServices all", false, false},
                        {L"-uninstallServices none", true, false},
                        {L"-resetShortcuts current", false, false},
                        {L"-registerContextMenu", false, false},
                        {L"-unregisterContextMenu", true, false},
                        {L"-installFfmpegFrom C:\\new", false, false},
                        {L"-uninstallApplication removeDataDirectory", true, true}};

    for (const simulated::WindowsVersion& windows : {windowsXp, windowsVista, windows8}) {
        for (const Job& job : jobs) {
            SCOPED_TRACE(testing::Message() << "Windows " << windows.major << '.' << windows.minor << ", \""
                                            << testing::PrintToString(job.line) << '"');
            const Calls calls = JobMachine(windows, job).carryOut(job.line);
            failEach(calls, [&](const std::string& function, std::uint64_t earlierCalls) {
                JobMachine machine(windows, job);
                machine.fail(function, ERROR_ACCESS_DENIED, 1, earlierCalls);
                machine.carryOut(job.line);
                // The started service goes on, and waits on what isn't there.
                if (std::wstring_view{job.line} == L"-launchService" &&
                    (function == "CreateEventA" || function == "CreateThread"))
                    machine.misuses.clear();
            });
        }
    }
}

/// A service's life from the logon screen to a user's desktop, with a command, up to its stop.
Calls liveAndStop(const std::string& failing = "CloseHandle", std::uint64_t earlierCalls = UINT64_MAX) {
    ServiceMachine machine;
    machine.fail(failing, ERROR_ACCESS_DENIED, 1, earlierCalls);
    machine.keepHappenings = false;
    machine.letApplicationReport();
    machine.sessions.open(1);
    machine.startService();
    machine.play(4000);
    machine.sessions.logOn(1);
    machine.sessions.startShell(1);
    machine.play(2000);
    machine.pipes.say("relaunchApp useSessionId=1");
    machine.play(6000);
    EXPECT_LE(machine.processes.count("kovra.exe"), 1U);
    machine.services.control("Kovra", SERVICE_CONTROL_STOP);
    EXPECT_TRUE(machine.playUntil([&] { return !machine.serviceRuns(); }, 3000)) << "it doesn't stop";
    machine.play(2000);
    return machine.callsByName();
}

TEST(EveryFailure, LeavesTheServiceInOrder) {
    Calls calls = liveAndStop();
    // Without these it is no service that the service manager could stop; a revert that fails ends it at
    // once.
    for (const char* name : {"CreateEventA", "CreateThread", "RegisterServiceCtrlHandlerA", "SetEvent",
                             "SetServiceStatus", "RevertToSelf"})
        calls.erase(name);
    failEach(calls, liveAndStop);
}

} // namespace
} // namespace kovra
