#include "tests/windows/installation.h"

#include <algorithm>
#include <memory>

namespace checks {
namespace {

const std::string application = exeFolder + "\\Kovra.exe";
const std::string removeTrayIcon = hex("removeTrayIcon") + "00";

constexpr DWORD passMs = 200;
constexpr DWORD startDelayMs = 2000;
constexpr DWORD slackMs = 1500; // a busy machine

/// What the trace has got since the mark.
std::string traceSince(std::size_t mark) {
    return trace().substr(mark);
}

/// Waits for a text in the trace: some lines are written behind what they tell of.
bool waitForTrace(std::size_t mark, const std::string& text) {
    return waitFor(2000, [mark, &text] { return contains(traceSince(mark), text); });
}

/// Whether the service is up, so that it can be checked further.
bool checkInstallAndFirstStart() {
    makeFolder("C:\\P1");
    runLauncher("installServices none");
    checkEqual(serviceConfiguration("Kovra"), '"' + launcherFile + "\" -service|Kovra|2|LocalSystem",
               "installServices makes the service");
    checkEqual(readFile(exeFolder + "\\appDataPath"), installRoot, "a user's run leaves where the data is");

    runLauncher("launchService");
    check(waitForServiceState("Kovra", SERVICE_RUNNING, 15'000), "launchService brings the service up");
    if (serviceState("Kovra") != SERVICE_RUNNING)
        return false;
    const DWORD running = GetTickCount();
    const ApplicationStart start = waitForStart(1, 15'000);
    const DWORD delay = start.tick - running;
    check(delay + slackMs >= startDelayMs && delay <= startDelayMs + 1000 + slackMs,
          "the first start comes about 2 seconds on", std::to_string(delay) + " ms");
    checkEqual(start.commandLine, '"' + application + "\" -service", "the first start's command line");
    checkEqual(start.folder, exeFolder, "the application's working folder is its own");
    check(waitForTrace(0, "with admin rights"), "at the logon screen it has admin rights");
    check(contains(trace(), " launchWithAdminRights was = 1"),
          "at the logon screen admin rights are asked for");
    return true;
}

void checkLogon(Process& logonScreen) {
    checkEqual(command("appLaunched"), "OK", "appLaunched is answered");
    const std::size_t mark = trace().size();
    const std::size_t mails = applicationMails().size();
    logonScreen.kill();
    const ApplicationStart start = waitForStart(2, 12'000);
    checkEqual(start.commandLine, '"' + application + "\" -service",
               "after appLaunched a start resumes nothing");
    check(contains(traceSince(mark), "relaunch to lower privileges"),
          "the logon screen gone, the rights are lowered");
    check(waitForTrace(mark, "with args: -servicewith normal privileges"),
          "the application has normal rights then", traceSince(mark));
    check(waitFor(2000, [mails] { return applicationMails().size() > mails; }) &&
              applicationMails().back() == removeTrayIcon,
          "the kill is announced on the mailslot, with the closing 0");
}

void checkCrash() {
    Sleep(startDelayMs + 500); // the pause after the start before
    const DWORD killed = killAll("Kovra.exe");
    const ApplicationStart start = waitForStart(3, 8000);
    check(start.tick - killed <= 3000, "a killed application is back within 3 seconds",
          std::to_string(start.tick - killed) + " ms");
    checkEqual(start.commandLine, '"' + application + "\" -service -resume", "it is told to resume");
}

void checkSecondInstance() {
    const std::size_t mark = trace().size();
    const Process second{'"' + launcherFile + "\" -service"};
    check(second.waitForEnd(5000), "a second instance ends at once");
    check(!contains(traceSince(mark), "Service couldn't be created"),
          "it never speaks to the service manager");
    check(serviceState("Kovra") == SERVICE_RUNNING, "the first one goes on");
}

void checkVerbs() {
    // The session that the stand-ins run in.
    DWORD session = 0;
    ProcessIdToSessionId(GetCurrentProcessId(), &session);
    const std::string sessionId = std::to_string(session);
    const std::size_t mark = trace().size();
    for (const std::string& verb :
         {std::string{"appLaunched"}, "appLaunched useSessionId=" + sessionId, std::string{"-appLaunched"},
          std::string{"relaunchApp"}, std::string{"sessionShutdown"}, std::string{"test a text"},
          std::string{"resetShortcuts none"}, std::string{"registerContextMenu"},
          std::string{"unregisterContextMenu"}, std::string{"installFfmpegFrom C:\\not there"},
          std::string{"setMailslotIndex"}, std::string{"unheardOf"}, std::string{" exit"}, std::string{},
          std::string(100, 'x'), std::string(150, 'x'), std::string{"exit\0", 5}})
        checkEqual(command(verb), "OK", "reply to '" + std::string{verb.c_str()}.substr(0, 40) + "'");
    check(contains(traceSince(mark), "TEST IN =>/a text/"), "test traces its argument");
    check(contains(traceSince(mark), "Requested relaunch canceled"),
          "sessionShutdown does nothing on this Windows");

    const HANDLE slot = CreateMailslotA("\\\\.\\mailslot\\kovraMailslot7", 0, 3000, nullptr);
    command("setMailslotIndex 7");
    command("test");
    char message[100];
    DWORD size = 0;
    ReadFile(slot, message, sizeof message, &size, nullptr);
    checkEqual(hex({message, size}), removeTrayIcon, "setMailslotIndex leads the messages to another slot");
    CloseHandle(slot);
    const std::string victim = "C:\\victim.txt";
    writeFile(victim, "untouched");
    command("setMailslotIndex \\..\\..\\" + victim);
    command("test");
    checkEqual(readFile(victim), "untouched", "but not to a file");
    command("setMailslotIndex");

    Sleep(startDelayMs);
    std::size_t starts = applicationStarts().size();
    checkEqual(command("relaunchApp useSessionId=" + sessionId), "OK", "reply to relaunchApp with a session");
    waitForStart(++starts, 8000);

    checkEqual(command("appExited"), "OK", "reply to appExited");
    killAll("Kovra.exe");
    Sleep(startDelayMs + 2000);
    check(applicationStarts().size() == starts, "after appExited nothing is started");
    command("appLaunched");
    waitForStart(++starts, 8000);
}

void checkServedSoon(const std::string& what) {
    const DWORD start = GetTickCount();
    checkEqual(command("test"), "OK", "a good client is served after " + what);
    const DWORD taken = GetTickCount() - start;
    check(taken <= 8000, "within 8 seconds", std::to_string(taken) + " ms");
}

void checkBadClients() {
    {
        const PipeClient silent;
        checkServedSoon("a silent one");
    }
    {
        PipeClient vanished;
        vanished.close();
        checkServedSoon("one that vanished");
    }
    {
        PipeClient vanished;
        vanished.send("test");
        vanished.close();
        checkServedSoon("one that vanished behind its command");
    }
    {
        PipeClient deaf;
        deaf.send("test");
        checkServedSoon("a deaf one");
    }
    {
        PipeClient slow;
        Sleep(3 * passMs);
        slow.send("test");
        Sleep(3 * passMs);
        checkEqual(slow.readReply(), "OK", "a slow client is served");
        check(slow.readReply() != "OK", "and dropped behind its reply");
    }
    constexpr int commands = 25;
    int answered = 0;
    const std::size_t mark = trace().size();
    const DWORD start = GetTickCount();
    for (int number = 0; number < commands; ++number)
        answered += command("test n" + std::to_string(number)) == "OK" ? 1 : 0;
    const DWORD taken = GetTickCount() - start;
    check(answered == commands, "commands in a row are all answered", std::to_string(answered));
    const std::string lines = traceSince(mark);
    int once = 0;
    for (int number = 0; number < commands; ++number) {
        const std::string line = "TEST IN =>/n" + std::to_string(number) + "/";
        once += contains(lines, line) && lines.find(line) == lines.rfind(line) ? 1 : 0;
    }
    check(once == commands, "and each is carried out once", std::to_string(once));
    // The instance listens again at the pass behind the reply, and the command is read at the one behind
    // that.
    check(taken <= commands * 3 * passMs, "in two passes each", std::to_string(taken) + " ms");
}

DWORD WINAPI connectDeafClients(LPVOID) {
    constexpr std::size_t clients = 8;
    std::vector<std::unique_ptr<PipeClient>> deaf;
    while (deaf.size() < clients) {
        deaf.push_back(std::make_unique<PipeClient>(30'000));
        deaf.back()->send("test");
    }
    return 0;
}

void checkCrashesBesideDeafClients() {
    const HANDLE thread = CreateThread(nullptr, 0, connectDeafClients, nullptr, 0, nullptr);
    std::size_t starts = applicationStarts().size();
    DWORD longest = 0;
    do {
        Sleep(startDelayMs + 500);
        const DWORD killed = killAll("Kovra.exe");
        longest = std::max(longest, waitForStart(++starts, 15'000).tick - killed);
    } while (WaitForSingleObject(thread, 0) == WAIT_TIMEOUT);
    CloseHandle(thread);
    check(longest <= 3000, "beside eight deaf clients in a row it is back as soon",
          std::to_string(longest) + " ms");
}

void checkEnds() {
    checkEqual(command("-exit"), "OK", "reply to exit");
    check(waitForServiceState("Kovra", SERVICE_STOPPED, 5000), "exit ends the service");
    check(isRunning("Kovra.exe"), "the application outlives the service");
    check(contains(trace(), "Application requested service exit True"), "the trace tells who ended it");

    const std::size_t starts = applicationStarts().size();
    runLauncher("launchService");
    check(waitForServiceState("Kovra", SERVICE_RUNNING, 15'000), "the service comes up again");
    Sleep(startDelayMs + 1500);
    check(applicationStarts().size() == starts, "an application that runs is not started");
    PipeClient deaf;
    deaf.send("test beside a stop");
    check(waitFor(2000, [] { return contains(trace(), "TEST IN =>/beside a stop/"); }),
          "a deaf client holds the pipe");
    const DWORD start = GetTickCount();
    stopService("Kovra");
    check(waitForServiceState("Kovra", SERVICE_STOPPED, 5000), "a stop control ends the service");
    const DWORD taken = GetTickCount() - start;
    check(taken <= 500 + passMs, "within half a second and a pass, whoever holds the pipe",
          std::to_string(taken) + " ms");
    check(waitFor(2000, [] { return !isRunning("kovraLauncher.exe"); }), "its process ends");
    check(isRunning("Kovra.exe"), "the application goes on");
    killAll("Kovra.exe");
}

} // namespace

void checkService() {
    const Process logonProcess = startStandIn("winlogon.exe");
    const Process shell = startStandIn("explorer.exe");
    Process logonScreen = startStandIn("logonui.exe");
    if (!checkInstallAndFirstStart())
        return;
    checkLogon(logonScreen);
    checkCrash();
    checkSecondInstance();
    checkVerbs();
    checkBadClients();
    checkCrashesBesideDeafClients();
    checkEnds();
}

} // namespace checks
