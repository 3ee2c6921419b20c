#include "channels/pipes.h"

#include "service/serviceProcess.h"

#include <memory>

namespace kovra {
namespace {

using simulated::ClientManner;
using simulated::Conversation;
using simulated::Scheduler;
using testing::Contains;
using testing::ElementsAre;
using testing::Ge;
using testing::IsEmpty;
using testing::Le;

constexpr std::uint64_t never = Scheduler::never;

/// The service alone: no application that could be started, so that nothing but the pipe takes time.
class PipeMachine : public ServiceMachine {
public:
    /// `quotaIsTold`: whether Windows tells that a reply is unread.
    explicit PipeMachine(bool quotaIsTold = true) {
        pipes.quotaIsTold = quotaIsTold;
        startService();
        play(2); // it looks for another instance first
    }

    /// Plays one conversation to its answer; gives how long that took, `never` without one.
    std::uint64_t answerTime(const std::string& message, const ClientManner& manner = {}) {
        const std::uint64_t start = scheduler.now();
        const std::shared_ptr<Conversation> talk = pipes.say(message, manner);
        playUntil([&] { return talk->answeredAt.has_value(); }, 60'000);
        EXPECT_EQ(talk->reply, "OK");
        return talk->answeredAt ? *talk->answeredAt - start : never;
    }

    /// Plays until the service drops the client; gives how long that took.
    std::uint64_t dropTime(const std::string& message, const ClientManner& manner) {
        const std::uint64_t start = scheduler.now();
        const std::shared_ptr<Conversation> talk = pipes.say(message, manner);
        EXPECT_TRUE(playUntil([&] { return talk->dropped; }, 60'000));
        return scheduler.now() - start;
    }

    /// The command texts that have arrived.
    [[nodiscard]] std::vector<std::string> commands() const {
        constexpr std::string_view mark = "receive command from app: ";
        std::vector<std::string> result;
        for (const std::string& line : traceLines) {
            if (line.starts_with(mark))
                result.push_back(line.substr(mark.size()));
        }
        return result;
    }
};

TEST(Pipes, AnswersWithinAPassAndThenLetsTheClientGo) {
    PipeMachine machine;
    machine.play(50);
    EXPECT_TRUE(machine.pipes.pipes.front()->openToEveryone);
    const auto talk = machine.pipes.say("hello", {.readsOn = true, .closesAfter = never});
    machine.play(160);
    EXPECT_EQ(talk->connectedAt, 52U);
    EXPECT_LE(talk->answeredAt, 210U);
    EXPECT_TRUE(talk->dropped) << "a client that waits in its read goes in the pass of the reply";
    machine.play(849);
    EXPECT_EQ(talk->reply, "OK");
    EXPECT_EQ(talk->replies, 1);
    EXPECT_EQ(machine.calls("ConnectNamedPipe"), 6U);
}

TEST(Pipes, AnIdlePassCostsTwoCalls) {
    PipeMachine machine;
    const char* const others[] = {"WriteFile", "DisconnectNamedPipe", "NtQueryInformationFile",
                                  "CreateNamedPipeA"};
    machine.play(60'000);
    std::uint64_t before[std::size(others)];
    for (std::size_t index = 0; index < std::size(others); ++index)
        before[index] = machine.calls(others[index]);
    const std::uint64_t connects = machine.calls("ConnectNamedPipe");
    const std::uint64_t reads = machine.calls("ReadFile");
    machine.play(20'000);
    EXPECT_NEAR(static_cast<double>(machine.calls("ConnectNamedPipe") - connects), 100, 1);
    EXPECT_NEAR(static_cast<double>(machine.calls("ReadFile") - reads), 100, 1);
    for (std::size_t index = 0; index < std::size(others); ++index)
        EXPECT_EQ(machine.calls(others[index]), before[index]) << others[index];
}

TEST(Pipes, TakesAMessageAsItIsUpToItsHundredBytes) {
    const std::string hundred = "test " + std::string(95, 'x');

    struct {
        std::string message, command;
    } const rows[] = {{hundred, hundred},
                      {"", ""},
                      {hundred + "tail", "tail"},
                      {std::string(100, 'y') + hundred, hundred},
                      {std::string(250, 'y') + "-tail", std::string(50, 'y') + "-tail"},
                      {"caf\xE9 \x80", "caf\xE9 \x80"}};

    for (const auto& row : rows) {
        SCOPED_TRACE(row.message);
        PipeMachine machine;
        EXPECT_LE(machine.answerTime(row.message), 600U);
        machine.play(1000);
        EXPECT_THAT(machine.commands(), ElementsAre(row.command));
    }
    PipeMachine machine;
    EXPECT_LE(machine.answerTime({"exit\0", 5}), 200U);
    machine.play(1000);
    EXPECT_TRUE(machine.serviceRuns()) << "the 0 byte belongs to the word";
}

TEST(Pipes, ASecondClientWaitsForTheFirst) {
    PipeMachine machine;
    machine.play(10);
    const auto first = machine.pipes.say("first", {.writesAfter = 1000});
    machine.play(500);
    const auto second = machine.pipes.say("second");
    machine.play(740);
    EXPECT_LE(first->answeredAt, 1210U);
    EXPECT_FALSE(second->connectedAt);
    machine.play(600);
    EXPECT_GE(second->connectedAt, *first->answeredAt + 190) << "the instance listens again in the next pass";
    EXPECT_EQ(second->reply, "OK");
}

TEST(Pipes, ClientsAreBoundedInTime) {
    for (const bool told : {true, false}) {
        PipeMachine machine(told);
        EXPECT_THAT(machine.dropTime("", {.writesAfter = never}), testing::AllOf(Ge(5000U), Le(5400U)));
        machine.play(1000);
        EXPECT_THAT(machine.dropTime("hello", {.readsAfter = never, .closesAfter = never}),
                    testing::AllOf(Ge(2000U), Le(2400U)));
        machine.play(1000);
        EXPECT_LE(machine.answerTime("hello", {.writesAfter = 4900}), 5100U);
        machine.play(1000);
        // A patient reader gets its answer, however it goes about it.
        for (const std::uint64_t readsAfter : {0U, 1U, 50U, 1900U})
            EXPECT_LE(machine.answerTime("hello", {.readsAfter = readsAfter}), readsAfter + 410)
                << readsAfter;
        EXPECT_EQ(machine.commands().size(), 6U);
        // One that goes at once is noticed in the next pass.
        machine.play(1000);
        machine.pipes.say("", {.writesAfter = never, .vanishesAfter = 10});
        machine.play(20);
        EXPECT_LE(machine.answerTime("hello"), 600U);
    }
}

TEST(Pipes, AStopDoesNotWaitForADeafClientAndTheAnswerToExitNoLongerThanItsBound) {
    for (const bool told : {true, false}) {
        struct {
            std::string message;
            ClientManner manner;
            std::uint64_t stopAt, endsBy;
        } const rows[] = {
            {"hello", {.readsAfter = never}, 300, 300},   {"exit", {.readsAfter = never}, never, 2220},
            {"exit", {.readsAfter = 1500}, never, 1720},  {"exit", {.readsAfter = never}, 900, 900},
            {"exit", {.vanishesAfter = 700}, never, 720}, {"exit", {}, never, 220}};

        for (const auto& row : rows) {
            SCOPED_TRACE(testing::Message() << "row " << &row - rows << ", " << told);
            PipeMachine machine(told);
            const auto talk = machine.pipes.say(row.message, row.manner);
            if (row.stopAt != never)
                machine.scheduler.after(row.stopAt,
                                        [&] { machine.services.control("Kovra", SERVICE_CONTROL_STOP); });
            EXPECT_TRUE(machine.playUntil([&] { return !machine.serviceRuns(); },
                                          row.endsBy + 1)); // the service thread goes first
            EXPECT_EQ(talk->reply, row.manner.readsAfter == never ? "" : "OK");
        }
    }
}

TEST(Pipes, AfterAnyBadClientTheNextGoodOneIsServedWithinEightSecondsAndTheLoopHasNotWaited) {
    const ClientManner manners[] = {{.writesAfter = never},
                                    {.writesAfter = never, .vanishesAfter = 0},
                                    {.writesAfter = never, .vanishesAfter = 4990},
                                    {.writesAfter = 4900, .readsAfter = never, .closesAfter = never},
                                    {.writesAfter = 5300, .readsAfter = never, .closesAfter = never},
                                    {.readsAfter = never, .closesAfter = never},
                                    {.readsAfter = never, .vanishesAfter = 150},
                                    {.readsAfter = never, .vanishesAfter = 0},
                                    {.readsOn = true, .closesAfter = never},
                                    {.readsOn = true, .readSize = 2, .closesAfter = never},
                                    {.readsOn = true, .readSize = 1, .closesAfter = never}};
    for (const std::string& message : {std::string{"hello"}, std::string{}, std::string(100'000, 'x')}) {
        for (const ClientManner& manner : manners) {
            SCOPED_TRACE(testing::Message()
                         << "client " << &manner - manners << ", " << message.size() << " bytes");
            PipeMachine machine;
            machine.play(10);
            const std::uint64_t start = machine.scheduler.now();
            const std::uint64_t passes = machine.calls("WaitForSingleObject");
            machine.pipes.say(message, manner);
            machine.play(1);
            EXPECT_LE(machine.answerTime("good"), 8000U);
            EXPECT_THAT(machine.commands(), Contains("good"));
            machine.play(5000);
            EXPECT_GE(machine.calls("WaitForSingleObject") - passes, (machine.scheduler.now() - start) / 205);
        }
    }
}

TEST(Pipes, OnlyProgramsOnTheMachineAreListenedTo) {
    using enum simulated::ImpersonationLevel;
    const auto machineWith = [](DWORD windows, const char* failing) {
        auto machine = std::make_unique<PipeMachine>();
        machine->version.major = windows;
        if (failing != nullptr)
            machine->fail(failing, ERROR_ACCESS_DENIED);
        return machine;
    };

    struct {
        const char* failing;
        DWORD windows;
        simulated::ClientIdentity client;
        bool served;
    } const rows[] = {
        {"GetProcAddress", 6, {false, impersonation}, true},
        {nullptr, 5, {false, identification}, true},
        {nullptr, 6, {false, anonymous}, true},
        {nullptr, 5, {false, anonymous}, false},
        {nullptr, 5, {true, impersonation}, false},
        {nullptr, 6, {true, identification}, false},
        {nullptr, 5, {true, anonymous}, false},
        {nullptr, 6, {true, anonymous}, false},
        {"GetNamedPipeClientComputerNameA", 6, {true, anonymous}, false},
        {"ImpersonateNamedPipeClient", 6, {true, impersonation}, false},
        {"CheckTokenMembership", 6, {true, impersonation}, false},
        {"ImpersonateNamedPipeClient", 5, {false, impersonation}, false},
        {"CheckTokenMembership", 6, {false, impersonation}, true},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << "row " << &row - rows);
        const auto machine = machineWith(row.windows, row.failing);
        const std::size_t handles = machine->handles.count();
        // It may be gone by the time it is looked at.
        for (const ClientManner& manner : {ClientManner{.identity = row.client},
                                           ClientManner{.identity = row.client, .vanishesAfter = 1}}) {
            machine->play(10);
            machine->traceLines.clear();
            const auto talk = machine->pipes.say("hello", manner);
            machine->play(1000);
            EXPECT_EQ(talk->reply, row.served && !manner.vanishesAfter ? "OK" : "");
            EXPECT_EQ(machine->commands().size(), row.served ? 1U : 0U);
            EXPECT_EQ(
                machine->timesTraced("Pipe message refused, its sender is not known to be on this machine"),
                row.served ? 0U : 1U);
        }
        EXPECT_EQ(machine->handles.count(), handles);
        machine->stopService();
    }
    // Who can't put a stranger's name off again does nothing at all in it.
    const auto machine = machineWith(6, "RevertToSelf");
    machine->pipes.say("hello");
    machine->play(1000);
    EXPECT_FALSE(machine->serviceRuns());
    EXPECT_THAT(machine->commands(), IsEmpty());
}

TEST(Pipes, AThousandCommandsInARowAreEachAnsweredOnce) {
    PipeMachine machine;
    machine.keepHappenings = false;
    std::vector<std::string> sent;
    for (int number = 0; number < 1000; ++number) {
        sent.push_back("setMailslotIndex " + std::to_string(number));
        const auto talk = machine.pipes.say(sent.back(), {.readsOn = number % 2 == 0});
        ASSERT_TRUE(machine.playUntil([&] { return talk->answeredAt.has_value(); }, 1000)) << number;
        EXPECT_EQ(talk->reply, "OK");
        EXPECT_EQ(talk->replies, 1);
    }
    EXPECT_EQ(machine.commands(), sent);
    EXPECT_LE(machine.scheduler.now(), 1000U * 410);
}

TEST(Pipes, WithoutAPipeTheServiceRunsOn) {
    ServiceMachine machine;
    machine.fail("CreateNamedPipeA", ERROR_ACCESS_DENIED);
    machine.startWithUser();
    machine.play(4000);
    EXPECT_EQ(machine.starts.size(), 1U);
    EXPECT_EQ(machine.calls("CreateNamedPipeA"), 1U);
    machine.stopService();
}

} // namespace
} // namespace kovra
