#include "service/serviceProcess.h"

#include <chrono>

namespace kovra {
namespace {

TEST(Performance, ADayOfTheServiceWithOneLogonPlaysInUnderTwoSeconds) {
    ServiceMachine machine;
    machine.keepHappenings = false;
    machine.letApplicationReport();
    machine.sessions.open(1);
    const auto start = std::chrono::steady_clock::now();
    machine.startService();
    machine.scheduler.after(20'000, [&] { machine.sessions.logOn(1); });
    machine.scheduler.after(22'000, [&] { machine.sessions.startShell(1); });
    machine.play(86'400'000);
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    EXPECT_LT(took.count(), 2.0);
    EXPECT_GE(machine.calls("ConnectNamedPipe"), 430'000U) << "the loop has stood still";
    EXPECT_EQ(machine.processes.count("kovra.exe"), 1U);
    EXPECT_FALSE(machine.processes.find("kovra.exe")->hasAdminRights());
}

} // namespace
} // namespace kovra
