#include "service/NTService.h"

#include "service/serviceProcess.h"

namespace kovra {
namespace {

using simulated::Happening;
using testing::AllOf;
using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;

std::vector<std::string> happened(const simulated::Machine& machine, const std::vector<std::string>& wanted) {
    std::vector<std::string> result;
    for (const Happening& happening : machine.happenings) {
        if (std::find(wanted.begin(), wanted.end(), happening.text) != wanted.end())
            result.push_back(happening.text);
    }
    return result;
}

TEST(NTService, ReportsItsWayFromStartToStop) {
    ServiceMachine machine;
    machine.startWithUser();
    machine.play(4000);
    machine.stopService();
    const std::vector<std::string> inOrder{"service is start pending",
                                           "Starting service...",
                                           "service is running",
                                           "event log: Kovra Service started",
                                           "min launch time not reached",
                                           "Start app *********",
                                           "service is stop pending",
                                           "End of main service loop",
                                           "service is stopped",
                                           "event log: Kovra Service stopped",
                                           "Ending service"};
    std::vector<std::string> seen = happened(machine, inOrder);
    seen.erase(std::unique(seen.begin(), seen.end()), seen.end());
    EXPECT_EQ(seen, inOrder);
    const simulated::Service& service = *machine.services.find("Kovra");
    EXPECT_THAT(service.reportedStates(), ElementsAre(2U, 4U, 3U, 1U));
    EXPECT_THAT(service.reports, testing::Each(AllOf(Field(&SERVICE_STATUS::dwServiceType, 16U),
                                                     Field(&SERVICE_STATUS::dwControlsAccepted, 5U),
                                                     Field(&SERVICE_STATUS::dwWin32ExitCode, 0U),
                                                     Field(&SERVICE_STATUS::dwServiceSpecificExitCode, 0U),
                                                     Field(&SERVICE_STATUS::dwCheckPoint, 0U),
                                                     Field(&SERVICE_STATUS::dwWaitHint, 0U))));
    EXPECT_EQ(machine.processes.count("kovra.exe"), 1U) << "the application outlives the service";
}

TEST(NTService, LetsEverythingGoBeforeItEnds) {
    ServiceMachine machine;
    std::vector<std::size_t> openHandles;
    machine.observer = [&](const Happening& happening) {
        // The trace file is open at each of its lines.
        if (happening.text == "End of main service loop" || happening.text == "Ending service")
            openHandles.push_back(machine.handles.count() - 1);
        if (happening.text == "service is stopped") {
            EXPECT_THAT(machine.pipes.pipes, IsEmpty());
        }
    };
    machine.startWithUser();
    machine.play(10'000);
    machine.stopService();
    EXPECT_THAT(openHandles, ElementsAre(5U, 0U)) << "three events, the thread, the pipe";
}

TEST(NTService, AStopEndsTheWaitAtOnceWithoutAnotherPass) {
    for (const DWORD control : {SERVICE_CONTROL_STOP, SERVICE_CONTROL_SHUTDOWN}) {
        ServiceMachine machine;
        machine.startService();
        machine.play(450);
        const std::uint64_t passes = machine.calls("ConnectNamedPipe");
        EXPECT_EQ(passes, 3U);
        machine.services.control("Kovra", control);
        machine.play(1);
        EXPECT_FALSE(machine.serviceRuns());
        EXPECT_EQ(machine.calls("ConnectNamedPipe"), passes);
        EXPECT_THAT(machine.services.find("Kovra")->reportedStates(), ElementsAre(2U, 4U, 3U, 1U));
    }
}

TEST(NTService, AStopAheadOfTheLoopIsNotLost) {
    ServiceMachine machine;
    machine.observer = [&](const Happening& happening) {
        if (happening.text == "service is start pending")
            machine.services.control("Kovra", SERVICE_CONTROL_STOP);
    };
    machine.startService();
    machine.play(10);
    EXPECT_FALSE(machine.serviceRuns());
    EXPECT_EQ(machine.calls("ConnectNamedPipe"), 1U);
    EXPECT_TRUE(machine.traced("Ending service"));
}

TEST(NTService, AnyOtherControlReportsTheStateAgain) {
    ServiceMachine machine;
    machine.startService();
    machine.play(10);
    for (const DWORD control : {SERVICE_CONTROL_INTERROGATE, DWORD{200}}) {
        machine.services.control("Kovra", control);
        machine.play(1000);
    }
    EXPECT_THAT(machine.services.find("Kovra")->reportedStates(), ElementsAre(2U, 4U, 4U, 4U));
    EXPECT_TRUE(machine.serviceRuns());
    machine.pipes.say("relaunchApp useSessionId=1"); // its pass takes a while
    EXPECT_TRUE(machine.playUntil([&] { return machine.traced("Kill kovra"); }, 1000));
    machine.services.control("Kovra", SERVICE_CONTROL_STOP);
    machine.services.control("Kovra", SERVICE_CONTROL_INTERROGATE);
    machine.play(1000);
    EXPECT_THAT(machine.services.find("Kovra")->reportedStates(), ElementsAre(2U, 4U, 4U, 4U, 3U, 3U, 1U));
}

TEST(NTService, ACommandReachesTheWatchdogInTheNextPass) {
    ServiceMachine machine;
    machine.startWithUser();
    machine.pipes.say("appExited");
    machine.play(2900);
    machine.pipes.say("appLaunched"); // read in a pass of the start decision, behind it
    machine.play(5000);
    ASSERT_EQ(machine.starts.size(), 1U);
    EXPECT_EQ(machine.starts[0].at / 100, 40U);
}

TEST(NTService, TheExitCommandIsAnsweredInTheLastPass) {
    ServiceMachine machine;
    machine.startService();
    machine.play(1100);
    const std::uint64_t passes = machine.calls("ConnectNamedPipe");
    const auto conversation = machine.pipes.say("exit");
    machine.play(300);
    EXPECT_EQ(conversation->reply, "OK");
    EXPECT_FALSE(machine.serviceRuns());
    EXPECT_EQ(machine.calls("ConnectNamedPipe"), passes + 1);
    EXPECT_THAT(machine.services.find("Kovra")->reportedStates(), ElementsAre(2U, 4U, 1U));
    EXPECT_THAT(machine.eventLog, ElementsAre("Kovra Service started", "Kovra Service stopped"));
    const std::vector<std::string> last(machine.traceLines.end() - 5, machine.traceLines.end());
    EXPECT_THAT(last, ElementsAre("receive command from app: exit", "exit => OK",
                                  "Application requested service exit True", "End of main service loop",
                                  "Ending service"));
}

TEST(NTService, WithoutTheServiceManagerItEnds) {
    for (const bool threadFails : {false, true}) {
        ServiceMachine machine;
        machine.openWithUser(1);
        std::size_t handlesAtTheEnd = 1;
        machine.observer = [&](const Happening& happening) {
            if (happening.text == "Ending service")
                handlesAtTheEnd = machine.handles.count() - 1;
        };
        if (threadFails)
            machine.fail("CreateThread", ERROR_ACCESS_DENIED);
        EXPECT_TRUE(machine.run(L"-service"));
        EXPECT_THAT(machine.traceLines, ElementsAre("Start KovraLauncher with command line -service",
                                                    "Service couldn't be created !!!", "Ending service"));
        EXPECT_THAT(machine.eventLog, IsEmpty());
        EXPECT_EQ(machine.calls("CreateNamedPipeA"), 0U);
        EXPECT_EQ(handlesAtTheEnd, 0U);
        EXPECT_THAT(machine.starts, IsEmpty());
        if (threadFails)
            machine.misuses.clear(); // the wait on the thread that isn't there
    }
}

TEST(NTService, ASecondInstanceAndAnOldWindowsAreRefusedInSilence) {
    struct {
        simulated::WindowsVersion version;
        const char* otherProcess;
        bool runs;
    } const rows[] = {{{10, 0, 2}, "KovraLAUNCHER.exe", false}, {{10, 0, 2}, "kovraLauncher2.exe", true},
                      {{10, 0, 2}, "Kovra.exe", true},          {{5, 0, 2}, "other.exe", true},
                      {{4, 0, 2}, "other.exe", false},          {{4, 10, 1}, "other.exe", false}};

    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << "row " << &row - rows);
        ServiceMachine machine;
        machine.version = row.version;
        machine.processes.start(row.otherProcess, 2);
        machine.startService();
        machine.play(3100);
        EXPECT_EQ(machine.serviceRuns(), row.runs);
        if (row.runs)
            continue;
        EXPECT_EQ(machine.traceLines.size(), 1U);
        EXPECT_THAT(machine.services.find("Kovra")->reports, IsEmpty());
        EXPECT_THAT(machine.shell.messageBoxes, IsEmpty());
    }
}

TEST(NTService, WaitsForAFormerInstanceThatIsStillEnding) {
    ServiceMachine machine;
    machine.processes.start("kovraLauncher.exe", 0);
    machine.scheduler.after(2900, [&] { machine.processes.end(machine.processes.list().front()->id); });
    machine.startService();
    machine.play(3000);
    EXPECT_THAT(machine.services.find("Kovra")->reportedStates(), ElementsAre(2U, 4U));
}

TEST(NTService, ServesTheMessagesOfItsThreadInEachPass) {
    ServiceMachine machine;
    machine.startService();
    for (int pass = 0; pass < 2; ++pass) {
        machine.processes.find("kovraLauncher.exe")->messages = 3;
        machine.play(250);
        EXPECT_EQ(machine.processes.find("kovraLauncher.exe")->messages, 0U);
    }
}

} // namespace
} // namespace kovra
