#include "channels/pipes.h"

#include "service/serviceProcess.h"

namespace kovra {
namespace {

TEST(Pipes, OnlyProgramsOnTheMachineAreListenedTo) {
    using enum simulated::ImpersonationLevel;

    struct {
        const char* failing;
        DWORD windows;
        simulated::ClientIdentity client;
        bool served;
    } const rows[] = {{"GetProcAddress", 6, {false, impersonation}, true},
                      {nullptr, 5, {false, identification}, true},
                      {nullptr, 6, {false, anonymous}, true},
                      {nullptr, 5, {false, anonymous}, false},
                      {nullptr, 5, {true, impersonation}, false},
                      {nullptr, 6, {true, anonymous}, false},
                      {"GetNamedPipeClientComputerNameA", 6, {true, anonymous}, false}};

    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << "row " << &row - rows);
        ServiceMachine machine;
        machine.version.major = row.windows;
        if (row.failing != nullptr)
            machine.fail(row.failing, ERROR_ACCESS_DENIED);
        machine.startService();
        machine.play(10);
        const auto talk = machine.pipes.say("hello", {.identity = row.client});
        machine.play(400);
        EXPECT_EQ(talk->reply, row.served ? "OK" : "");
        EXPECT_TRUE(talk->dropped) << "the instance is free again";
        EXPECT_TRUE(machine.traced(row.served ? "receive command from app: hello"
                                              : "Pipe message refused, its sender is not known to be on this "
                                                "machine"));
        machine.stopService();
    }
}

TEST(Pipes, NothingIsDoneInAStrangersName) {
    ServiceMachine machine;
    machine.fail("RevertToSelf", ERROR_ACCESS_DENIED);
    machine.startService();
    machine.pipes.say("hello");
    machine.play(1000);
    EXPECT_FALSE(machine.serviceRuns());
    EXPECT_FALSE(machine.traced("receive command from app: hello"));
}

TEST(Pipes, WithoutMemoryForItsAccessListTheServiceRunsOn) {
    ServiceMachine machine;
    machine.fail("GlobalAlloc", ERROR_ACCESS_DENIED, 1);
    machine.startService();
    machine.play(1000);
    EXPECT_TRUE(machine.serviceRuns());
    EXPECT_EQ(machine.leftOpen(), "");
}

TEST(Pipes, AClientThatSendsWithoutEndIsDroppedInTime) {
    ServiceMachine machine;
    machine.startService();
    const auto talk =
        machine.pipes.say(std::string(100'000, 'x'), {.closesAfter = simulated::Scheduler::never});
    EXPECT_TRUE(machine.playUntil([&] { return talk->dropped; }, 5600));
}

} // namespace
} // namespace kovra
