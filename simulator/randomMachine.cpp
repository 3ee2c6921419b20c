#include "simulator/randomMachine.h"

#include <algorithm>
#include <array>
#include <functional>
#include <iterator>
#include <map>
#include <random>
#include <string_view>
#include <utility>
#include <vector>

namespace kovra::simulation {

namespace {

constexpr std::uint64_t second = 1000;
constexpr std::uint64_t minute = 60 * second;
constexpr std::uint64_t hour = 60 * minute;

/// `12.345`
std::string inSeconds(std::uint64_t milliseconds) {
    const std::string digits = std::to_string(1000 + milliseconds % 1000);
    return std::to_string(milliseconds / 1000) + "." + digits.substr(1);
}

class Draw {
public:
    explicit Draw(std::uint32_t seed) : random_(seed) {
        text_ = "# Random machine " + std::to_string(seed) + "\n";
    }

    std::string hourOfLife() {
        setUp();
        for (std::uint32_t& weight : weights_)
            weight = chance(3) ? 0 : 1U << below(7);
        weights_.front() += 1; // never without any
        const std::uint64_t pace = (3 * second) << below(9);
        for (std::uint64_t next = 3 * second; next < hour; next = now_ + pause(pace)) {
            runPlans(next);
            now_ = next;
            doSomething();
        }
        // Left alone for a while everything is in its place; then the machine goes down.
        runPlans(hour);
        now_ = hour + minute;
        say(chance(2) ? "service stops" : "service shuts down");
        text_ += "+10 from here\n";
        return text_;
    }

private:
    struct Session {
        bool open = false;
        bool loggedOn = false;
        bool logonScreen = false;
        bool shell = false;
    };

    using Deed = void (Draw::*)();

    std::uint32_t below(std::uint64_t limit) { return static_cast<std::uint32_t>(random_() % limit); }

    bool chance(std::uint32_t oneIn) { return below(oneIn) == 0; }

    template <typename Range>
    const auto& oneOf(const Range& range) {
        return range[below(std::size(range))];
    }

    /// As many times as the pace more as less; now and then long enough for all to come to rest.
    std::uint64_t pause(std::uint64_t pace) {
        if (chance(12))
            return 12 * second + below(20 * second);
        return 1 + below(pace >> below(4)) + (chance(3) ? below(pace) : 0);
    }

    void say(const std::string& line) { text_ += inSeconds(now_) + " " + line + "\n"; }

    void setUp() {
        static constexpr const char* versions[] = {"2000", "xp", "vista", "7", "8", "8.1", "10"};
        const std::size_t version = below(std::size(versions));
        isOld_ = version < 2;
        console_ = isOld_ && chance(2) ? 0 : 1;
        begin("windows " + std::string{versions[version]});
        begin("console " + std::to_string(console_));
        static constexpr const char* settings[] = {"0", "1", "true", "yes", "TRUE"};
        if (!chance(3))
            begin("setting launchWithAdminRights = " + std::string{oneOf(settings)});
        if (chance(3))
            begin(std::string{"clock "} + (chance(2) ? "first" : "second") + " turn in " +
                  inSeconds(below(hour)));
        if (chance(2))
            begin("threads in order " + std::to_string(below(1'000'000)));
        if (chance(2))
            begin("processes linger " + inSeconds(below(400)));
        if (chance(4))
            begin("pipe quota hidden");
        if (chance(8))
            begin("code page 932");
        if (isOld_ && chance(6))
            begin("terminal services off");
        if (chance(12))
            begin("library missing");
        begin(anyBehaviour());
        begin("machine watched");
        begin("service installed");
        text_ += "0 machine boots\n";
        at(console_) = {true, false, true, false};
    }

    void begin(const std::string& line) { text_ += line + "\n"; }

    Session& at(std::uint32_t session) { return sessions_[session]; }

    Session& here() { return at(console_); }

    static std::string in(std::uint32_t session) { return " in " + std::to_string(session); }

    /// What follows later from something that happens, where it still makes sense then.
    void plan(std::uint64_t milliseconds, std::function<void()> deed) {
        plans_.emplace(now_ + milliseconds, std::move(deed));
    }

    void runPlans(std::uint64_t until) {
        while (!plans_.empty() && plans_.begin()->first <= until) {
            const auto deed = std::move(plans_.begin()->second);
            now_ = plans_.begin()->first;
            plans_.erase(plans_.begin());
            deed();
        }
    }

    void doSomething() {
        std::uint32_t all = 0;
        for (const std::uint32_t weight : weights_)
            all += weight;
        std::uint32_t drawn = below(all);
        std::size_t index = 0;
        while (drawn >= weights_[index])
            drawn -= weights_[index++];
        const Deed deed = deeds[index];
        (this->*deed)();
    }

    // Users.

    void logOnOrOff() {
        if (here().open && !here().loggedOn)
            logOn(console_);
        else if (here().loggedOn && chance(3))
            logOff(console_);
    }

    void logOn(std::uint32_t number) {
        at(number).loggedOn = true;
        at(number).logonScreen = false;
        static constexpr const char* roles[] = {"", "", " as administrator", " as elevated"};
        const std::string role = oneOf(roles);
        say("user logs on" + role + in(number));
        // Some shells come late, some die at once, some never come.
        if (!chance(8))
            shellSoon(number, chance(6) ? 30 * second : 6 * second);
    }

    void logOff(std::uint32_t number) {
        at(number) = {true, false, true, false};
        say("user logs off" + in(number));
    }

    void shellSoon(std::uint32_t number, std::uint64_t within) {
        plan(below(within), [this, number] {
            Session& session = at(number);
            if (!session.loggedOn || session.shell)
                return;
            session.shell = true;
            say("shell up" + in(number));
            if (chance(12))
                plan(below(3 * second), [this, number] { endShell(number); });
        });
    }

    void endShell(std::uint32_t number) {
        if (std::exchange(at(number).shell, false))
            say("shell down" + in(number));
    }

    void lockOrUnlock() {
        if (here().loggedOn)
            turnLogonScreen(console_);
    }

    void turnLogonScreen(std::uint32_t number) {
        bool& up = at(number).logonScreen;
        up = !up;
        say(std::string{"logon screen "} + (up ? "up" : "down") + in(number));
    }

    void openSession(std::uint32_t number) {
        if (at(number).open)
            return;
        at(number) = {true, false, true, false};
        say("session " + std::to_string(number) + " opens");
    }

    void switchUser() {
        const std::uint32_t other = chance(6) ? 4 : console_ == 1 ? 2 : 1;
        if (at(console_).loggedOn)
            at(console_).logonScreen = true;
        console_ = other;
        if (chance(2)) {
            say("console none");
            plan(below(chance(4) ? 30 * second : 3 * second), [this, other] {
                say("console " + std::to_string(other));
                openSession(other);
            });
            return;
        }
        say("console " + std::to_string(other));
        openSession(other);
    }

    /// Somebody comes to a remote logon prompt, logs on, is cut off and comes back, leaves.
    void useRemote() {
        constexpr std::uint32_t remote = 5;
        Session& session = at(remote);
        if (!session.open) {
            openSession(remote);
        } else if (!session.loggedOn && !chance(4)) {
            logOn(remote);
        } else if (session.loggedOn && !chance(3)) {
            turnLogonScreen(remote);
        } else {
            session = {};
            say("session " + std::to_string(remote) + " closes");
        }
    }

    /// Somebody who has been left behind at the console goes, too.
    void leaveSession() {
        for (auto& [number, session] : sessions_) {
            if (number == console_ || number == 0 || !session.open)
                continue;
            session = {};
            say("session " + std::to_string(number) + " closes");
            return;
        }
    }

    void restartShell() {
        if (!here().shell)
            return;
        endShell(console_);
        if (!chance(5))
            shellSoon(console_, 8 * second);
    }

    /// Somebody who is logged on starts a program of his own that has the name of one of the system's.
    void pretend() {
        if (!here().loggedOn)
            return;
        static constexpr const char* names[] = {"logonui.exe", "winlogon.exe", "regedit.exe"};
        const std::string name = oneOf(names);
        const std::string where = in(console_);
        say("process " + name + " starts" + where);
        plan(below(minute), [this, name, where, number = console_] {
            if (at(number).loggedOn)
                say("process " + name + " ends" + where);
        });
    }

    // The application.

    void crash() { say("application crashes"); }

    std::string anyBehaviour() {
        switch (below(8)) {
        case 0:
            return "application reports nothing";
        case 1:
            return "application dies after " + inSeconds(below(chance(2) ? 2 * second : 40 * second));
        case 2:
            return "application reports after " + inSeconds(below(5 * second));
        case 3:
            return chance(2) ? "application mailslot none" : "application mailslot kovraMailslot";
        default:
            return "application lives";
        }
    }

    void changeBehaviour() { say(anyBehaviour()); }

    void startOthers() {
        for (std::uint32_t count = 1 + below(2); count > 0; --count)
            say("process kovra.exe starts" + in(console_));
    }

    void quit() {
        say("application quits");
        if (chance(2))
            plan(below(minute), [this] { say("application says appLaunched"); });
    }

    void relaunch() {
        static constexpr const char* wishes[] = {"1", "2", "4", "7", "-1", "many", "4294967297"};
        say("application says relaunchApp useSessionId=" + std::string{oneOf(wishes)});
    }

    // The pipe.

    std::string anyMessage() {
        static constexpr const char* messages[] = {"test",
                                                   "-test a=b",
                                                   "",
                                                   " exit",
                                                   "EXIT",
                                                   "appLaunched",
                                                   "appLaunched useSessionId=2",
                                                   "relaunchApp",
                                                   "relaunchApp useSessionId=1",
                                                   "setMailslotIndex",
                                                   "setMailslotIndex 2",
                                                   "setMailslotIndex \\..\\x",
                                                   "sessionShutdown",
                                                   "resetShortcuts none",
                                                   "resetShortcuts all",
                                                   "registerContextMenu",
                                                   "unregisterContextMenu",
                                                   "installFfmpegFrom C:\\nowhere",
                                                   "uninstallServices none",
                                                   "installFfmpegFrom \\\\far\\away",
                                                   "installServices",
                                                   "appExited"};
        return oneOf(messages);
    }

    std::string newClient() { return "client c" + std::to_string(++clients_); }

    void talk() {
        std::string line = newClient();
        if (chance(2))
            line += " writes after " + inSeconds(below(500));
        if (chance(3))
            line += " reads after " + inSeconds(below(500));
        if (chance(4))
            line += chance(2) ? " stays" : " listens on";
        const std::string message = anyMessage();
        say(line + " says " + (message.empty() ? "test" : message));
        if (message == "appExited")
            plan(below(2 * minute), [this] { say(newClient() + " says appLaunched"); });
    }

    void misbehave() {
        std::string line = newClient();
        switch (below(8)) {
        case 0: // silent
            line += chance(2) ? " stays" : " vanishes after " + inSeconds(below(9 * second));
            break;
        case 1:
            line += " vanishes after " + inSeconds(below(800)) + " writes after " + inSeconds(below(800)) +
                    " says test";
            break;
        case 2:
            line += " deaf stays says " + anyMessage();
            break;
        case 3:
            line += " listens on stays says test";
            break;
        case 4:
            line += " says " + std::string(100 + below(3000), 'x');
            break;
        case 5:
            line += " says exit\\0";
            break;
        case 6:
            line += chance(2) ? " from afar" : " anonymous";
            line += " says " + (chance(2) ? "exit" : anyMessage());
            break;
        default: {
            line += " says ";
            static constexpr char digits[] = "0123456789ABCDEF";
            for (std::uint32_t count = 1 + below(30); count > 0; --count)
                (line += "\\x") += {digits[below(16)], digits[below(16)]};
        }
        }
        say(line);
    }

    void crowd() {
        for (std::uint32_t count = 2 + below(12); count > 0; --count)
            chance(3) ? misbehave() : talk();
    }

    // The service, and launchers beside it.

    void exitAndStart() {
        say(newClient() + " says exit");
        startSoon();
    }

    void stopAndStart() {
        say("service stops");
        startSoon();
    }

    void startSoon() {
        plan(below(chance(2) ? 3 * second : minute), [this] { say("service starts"); });
    }

    void ask() { say("service asked"); }

    void runLauncher() {
        static constexpr const char* lines[] = {"shutdown now",
                                                "hello",
                                                "-createShortcuts all",
                                                "resetShortcuts current",
                                                "launchService",
                                                "registerContextMenu",
                                                "unregisterContextMenu",
                                                "installFfmpegFrom C:\\nowhere",
                                                "restart",
                                                "installUpdate",
                                                "service now",
                                                "-SERVICE"};
        if (!mayRunJob())
            return;
        const std::string line = oneOf(lines);
        say(std::string{"launcher "} + (chance(3) ? "as user " : "") + line);
    }

    /// Jobs that wait look at the clock every millisecond; many of them at once would take most of the time.
    bool mayRunJob() {
        if (now_ < nextJob_ && !chance(10))
            return false;
        nextJob_ = now_ + 10 * second;
        return true;
    }

    /// Where the service is there already it is tried three times, a second apart.
    void installAgain() {
        if (chance(3) && mayRunJob())
            install();
    }

    void install() {
        say("launcher installServices all");
        plan(second + below(5 * second), [this] { say("service starts"); });
    }

    void uninstall() {
        if (!mayRunJob())
            return;
        say(newClient() + " says exit");
        plan(4 * second, [this] {
            static constexpr const char* lines[] = {"uninstallServices", "uninstallApplication",
                                                    "uninstallApplication removeDataDirectory"};
            say("launcher " + std::string{oneOf(lines)});
            plan(15 * second, [this] {
                say("file C:\\Kovra\\bin\\Kovra.exe holds");
                say("file C:\\Kovra\\www\\index.php holds");
                say("folder C:\\Kovra\\data\\temp made");
                say("folder C:\\Kovra\\shared made");
                say("file C:\\Kovra\\bin\\appDataPath holds C:\\Kovra");
                install();
            });
        });
    }

    // Windows.

    void failCalls() {
        static constexpr const char* calls[] = {"CreateToolhelp32Snapshot",
                                                "Process32First",
                                                "Process32Next",
                                                "OpenProcess",
                                                "OpenProcessToken",
                                                "GlobalAlloc",
                                                "CreateNamedPipeA",
                                                "ConnectNamedPipe",
                                                "ReadFile",
                                                "WriteFile",
                                                "DisconnectNamedPipe",
                                                "NtQueryInformationFile",
                                                "ImpersonateNamedPipeClient",
                                                "RevertToSelf",
                                                "OpenThreadToken",
                                                "CheckTokenMembership",
                                                "CreateFileA",
                                                "NtCreateFile",
                                                "RegisterEventSourceA",
                                                "ReportEventA",
                                                "RegCreateKeyExA",
                                                "RegOpenKeyExA",
                                                "RegSetValueExA",
                                                "RegDeleteKeyA",
                                                "OpenSCManagerA",
                                                "OpenServiceA",
                                                "CreateServiceA",
                                                "DeleteService",
                                                "ShellExecuteA",
                                                "CreateProcessA",
                                                "CreatePipe",
                                                "SHGetSpecialFolderLocation",
                                                "PeekMessageA",
                                                "ProcessIdToSessionId",
                                                "GetVersionExA",
                                                "getActiveConsoleSessionId",
                                                "isExplorerInSession",
                                                "launchApplicationInSession",
                                                "createJunction",
                                                "removeJunctionsBelow",
                                                "\"CreateObject Scripting.FileSystemObject\"",
                                                "\"CreateObject Wscript.Shell\""};
        say("call " + std::string{oneOf(calls)} + " fails " + std::to_string(1 + below(1U << below(8))) +
            " times");
    }

    void lockThings() {
        static constexpr const char* things[] = {"folder C:\\Kovra\\data %", "folder C:\\Kovra\\bin %",
                                                 "registry HKCR\\* %"};
        if (chance(4)) {
            say("service manager closed");
            plan(below(minute), [this] { say("service manager open"); });
            return;
        }
        const std::string thing = oneOf(things);
        const auto with = [&](const char* word) {
            return std::string{thing}.replace(thing.find('%'), 1, word);
        };
        say(with("locked"));
        plan(below(minute), [this, line = with("unlocked")] { say(line); });
    }

    void loseLibrary() {
        say("library missing");
        plan(below(minute), [this] { say("library found"); });
    }

    static constexpr std::array deeds{
        &Draw::logOnOrOff,   &Draw::lockOrUnlock, &Draw::switchUser,
        &Draw::useRemote,    &Draw::leaveSession, &Draw::restartShell,
        &Draw::pretend,      &Draw::crash,        &Draw::changeBehaviour,
        &Draw::startOthers,  &Draw::quit,         &Draw::relaunch,
        &Draw::talk,         &Draw::misbehave,    &Draw::crowd,
        &Draw::exitAndStart, &Draw::stopAndStart, &Draw::ask,
        &Draw::runLauncher,  &Draw::installAgain, &Draw::uninstall,
        &Draw::failCalls,    &Draw::lockThings,   &Draw::loseLibrary,
    };

    std::mt19937 random_;
    std::string text_;
    std::array<std::uint32_t, deeds.size()> weights_{};
    std::multimap<std::uint64_t, std::function<void()>> plans_;
    std::map<std::uint32_t, Session> sessions_;
    std::uint64_t now_ = 0;
    std::uint64_t nextJob_ = 0;
    std::uint32_t console_ = 1;
    std::uint32_t clients_ = 0;
    bool isOld_ = false;
};

} // namespace

std::string drawHour(std::uint32_t seed) {
    return Draw{seed}.hourOfLife();
}

} // namespace kovra::simulation
