#include "service/NTService.h"

#include "service/serviceProcess.h"

namespace kovra {
namespace {

using simulated::Happening;
using testing::ElementsAre;

TEST(NTService, TakesAStopAndAShutdownAloneAndLetsEverythingGoBeforeItEnds) {
    ServiceMachine machine;
    std::vector<std::size_t> openHandles;
    machine.observer = [&](const Happening& happening) {
        // The trace file is open at each of its lines.
        if (happening.text == "End of main service loop" || happening.text == "Ending service")
            openHandles.push_back(machine.handles.count() - 1);
        if (happening.text == "service is stopped") {
            EXPECT_THAT(machine.pipes.pipes, testing::IsEmpty());
        }
    };
    machine.startService();
    machine.play(450);
    machine.stopService();
    EXPECT_THAT(openHandles, ElementsAre(5U, 0U)) << "three events, the thread, the pipe";
    EXPECT_THAT(machine.services.find("Kovra")->reports,
                testing::Each(testing::Field(&SERVICE_STATUS::dwControlsAccepted, 5U)));
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

TEST(NTService, AWaitThatFailsEndsTheLoop) {
    ServiceMachine machine;
    machine.startService();
    machine.play(450);
    machine.fail("WaitForSingleObject", ERROR_INVALID_HANDLE, 1);
    machine.play(250);
    EXPECT_FALSE(machine.serviceRuns());
}

TEST(NTService, TheCycleOfPassesHasOneMoreThanTenThousand) {
    ServiceMachine machine;
    machine.keepHappenings = false;
    machine.startService();
    std::vector<std::uint64_t> snapshots; // of the passes 9999 to 1
    for (std::uint64_t pass = 9999; pass <= 10'002; ++pass) {
        const std::uint64_t before = machine.calls("CreateToolhelp32Snapshot");
        machine.playUntil([&] { return machine.calls("ConnectNamedPipe") > pass; }, 2'500'000);
        snapshots.push_back(machine.calls("CreateToolhelp32Snapshot") - before);
    }
    snapshots.front() = 0; // and all ahead of it
    EXPECT_THAT(snapshots, ElementsAre(0U, 2U, 6U, 0U));
}

} // namespace
} // namespace kovra
