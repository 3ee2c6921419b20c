#include "tests/windows/installation.h"

#include <gmock/gmock.h>

namespace checks {
namespace {

using testing::EndsWith;
using testing::HasSubstr;

const std::string removeTrayIcon = "removeTrayIcon";

constexpr DWORD passMs = 200;
constexpr DWORD startDelayMs = 2000;
constexpr DWORD slackMs = 1500; // a busy machine

/// The service of the installation, beside a shell.
class Service : public testing::Test {
protected:
    static void SetUpTestSuite() {
        ASSERT_TRUE(layInstallation());
        logonProcess_ = startStandIn("winlogon.exe");
        shell_ = startStandIn("explorer.exe");
        runLauncher("installServices none");
    }

    static void TearDownTestSuite() {
        stopService("Kovra");
        EXPECT_TRUE(waitForServiceState("Kovra", SERVICE_STOPPED, 5000));
        runLauncher("uninstallServices none");
        killAll("Kovra.exe");
        shell_ = {};
        logonProcess_ = {};
    }

    void launchService() {
        runLauncher("launchService");
        ASSERT_TRUE(waitForServiceState("Kovra", SERVICE_RUNNING, 15'000));
    }

    /// The service with the application up, whose next start would come at once.
    void letItRun() {
        if (serviceState("Kovra") != SERVICE_RUNNING)
            launchService();
        if (!isRunning("Kovra.exe"))
            waitForNextStart();
        Sleep(startDelayMs + passMs);
    }

    /// The next start of the application behind those that the test has seen.
    ApplicationStart waitForNextStart() { return waitForStart(++starts_, 12'000); }

    /// What is traced since the test began.
    [[nodiscard]] std::string traced() const { return trace().substr(traceStart_); }

    /// Some lines are written behind what they tell of.
    [[nodiscard]] bool tracesSoon(const std::string& text) const {
        return waitFor(2000, [&] { return traced().find(text) != std::string::npos; });
    }

private:
    const std::size_t traceStart_ = trace().size();
    std::size_t starts_ = applicationStarts().size();

    static inline Process logonProcess_;
    static inline Process shell_;
};

TEST_F(Service, StartsTheApplicationAtTheLogonScreenAndLowersItsRightsBehindIt) {
    EXPECT_EQ(serviceConfiguration("Kovra"), '"' + launcherFile + "\" -service|Kovra|2|LocalSystem");
    EXPECT_EQ(readFile(exeFolder + "\\appDataPath"), installRoot);
    Process logonScreen = startStandIn("logonui.exe");
    launchService();
    const DWORD running = GetTickCount();
    const ApplicationStart first = waitForNextStart();
    EXPECT_GE(first.tick - running + slackMs, startDelayMs);
    EXPECT_LE(first.tick - running, startDelayMs + 1000 + slackMs);
    EXPECT_EQ(first.commandLine, '"' + exeFolder + "\\Kovra.exe\" -service");
    EXPECT_EQ(first.folder, exeFolder);
    EXPECT_TRUE(tracesSoon("with admin rights"));

    EXPECT_EQ(command("appLaunched"), "OK");
    const std::size_t mails = applicationMails().size();
    logonScreen.kill();
    EXPECT_THAT(waitForNextStart().commandLine, EndsWith("\" -service"));
    EXPECT_TRUE(tracesSoon("with args: -servicewith normal privileges"));
    ASSERT_TRUE(waitFor(2000, [mails] { return applicationMails().size() > mails; }));
    EXPECT_EQ(applicationMails().back(), removeTrayIcon + "#");
}

TEST_F(Service, BringsAKilledApplicationBack) {
    letItRun();
    const DWORD killed = killAll("Kovra.exe");
    const ApplicationStart start = waitForNextStart();
    EXPECT_LE(start.tick - killed, 3000U);
    EXPECT_THAT(start.commandLine, EndsWith("\" -service -resume"));
}

TEST_F(Service, AnswersEachCommandOnce) {
    letItRun();
    for (const std::string& message :
         {std::string{"test a text"}, std::string{" exit"}, std::string{}, std::string(100, 'x'),
          std::string(150, 'x'), std::string{"exit\0", 5}, std::string{"sessionShutdown"}})
        EXPECT_EQ(command(message), "OK") << message;
    EXPECT_THAT(traced(), HasSubstr("TEST IN =>/a text/"));

    constexpr int commands = 25;
    const DWORD start = GetTickCount();
    for (int number = 0; number < commands; ++number)
        EXPECT_EQ(command("test n" + std::to_string(number)), "OK");
    // The instance listens again at the pass behind the reply, and the command is read at the one behind
    // that.
    EXPECT_LE(GetTickCount() - start, commands * 3 * passMs);
    const std::string lines = traced();
    for (int number = 0; number < commands; ++number) {
        const std::string line = "TEST IN =>/n" + std::to_string(number) + "/";
        EXPECT_NE(lines.find(line), std::string::npos);
        EXPECT_EQ(lines.find(line), lines.rfind(line));
    }
}

TEST_F(Service, LeadsItsMessagesToAnotherSlotButToNoFile) {
    letItRun();
    const HANDLE slot = CreateMailslotA("\\\\.\\mailslot\\kovraMailslot7", 0, 3000, nullptr);
    command("setMailslotIndex 7");
    command("test");
    char message[100];
    DWORD size = 0;
    ReadFile(slot, message, sizeof message, &size, nullptr);
    EXPECT_EQ((std::string{message, size}), removeTrayIcon + '\0');
    CloseHandle(slot);
    const std::string victim = "C:\\victim.txt";
    writeFile(victim, "untouched");
    command("setMailslotIndex \\..\\..\\" + victim);
    command("test");
    EXPECT_EQ(readFile(victim), "untouched");
    command("setMailslotIndex");
}

TEST_F(Service, RestartsTheApplicationInItsSessionUntilItHasExited) {
    letItRun();
    DWORD session = 0; // of the stand-ins
    ProcessIdToSessionId(GetCurrentProcessId(), &session);
    EXPECT_EQ(command("relaunchApp useSessionId=" + std::to_string(session)), "OK");
    waitForNextStart();
    EXPECT_EQ(command("appExited"), "OK");
    killAll("Kovra.exe");
    const std::size_t starts = applicationStarts().size();
    Sleep(startDelayMs + 2000);
    EXPECT_EQ(applicationStarts().size(), starts);
    EXPECT_EQ(command("appLaunched"), "OK");
    waitForNextStart();
}

void expectServedSoon(const std::string& behind) {
    const DWORD start = GetTickCount();
    EXPECT_EQ(command("test"), "OK") << behind;
    EXPECT_LE(GetTickCount() - start, 8000U) << behind;
}

TEST_F(Service, ServesTheNextClientBehindABadOne) {
    letItRun();
    {
        const PipeClient silent;
        expectServedSoon("a silent one");
    }
    PipeClient{}; // it goes at once
    expectServedSoon("one that vanished");
    PipeClient{}.send("test");
    expectServedSoon("one that vanished behind its command");
    {
        const PipeClient deaf;
        deaf.send("test");
        expectServedSoon("a deaf one");
    }
    PipeClient slow;
    Sleep(3 * passMs);
    slow.send("test");
    Sleep(3 * passMs);
    EXPECT_EQ(slow.readReply(), "OK");
    EXPECT_NE(slow.readReply(), "OK");
}

TEST_F(Service, EndsAndLeavesTheApplicationRunning) {
    letItRun();
    EXPECT_EQ(command("-exit"), "OK");
    EXPECT_TRUE(waitForServiceState("Kovra", SERVICE_STOPPED, 5000));
    EXPECT_TRUE(isRunning("Kovra.exe"));
    EXPECT_THAT(traced(), HasSubstr("Application requested service exit True"));

    const std::size_t starts = applicationStarts().size();
    launchService();
    Sleep(startDelayMs + 1500);
    EXPECT_EQ(applicationStarts().size(), starts) << "it runs already";
    PipeClient deaf;
    deaf.send("test beside a stop");
    EXPECT_TRUE(tracesSoon("TEST IN =>/beside a stop/"));
    const DWORD start = GetTickCount();
    stopService("Kovra");
    EXPECT_TRUE(waitForServiceState("Kovra", SERVICE_STOPPED, 5000));
    EXPECT_LE(GetTickCount() - start, 500 + passMs) << "whoever holds the pipe";
    EXPECT_TRUE(waitFor(2000, [] { return !isRunning("kovraLauncher.exe"); }));
    EXPECT_TRUE(isRunning("Kovra.exe"));
}

} // namespace
} // namespace checks
