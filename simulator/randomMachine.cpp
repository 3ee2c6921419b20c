#include "simulator/randomMachine.h"

#include "simulator/text.h"
#include "simulator/world.h"

#include <algorithm>
#include <array>
#include <functional>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace kovra::simulation {

namespace {

using simulated::ClientManner;
using simulated::Conversation;
using simulated::Scheduler;

constexpr std::uint64_t second = 1000;
constexpr std::uint64_t minute = 60 * second;
constexpr std::uint64_t hourMs = 60 * minute;

class RandomHour {
public:
    RandomHour(std::uint32_t seed, Printer& printer) : random_(seed) {
        machine_.observer = [this, &printer](const simulated::Happening& happening) {
            printer.happened(happening.at, happening.side, world_.fromBytes(happening.text));
            if (happening.side == simulated::Side::trace)
                followTrace(happening.text);
        };
        machine_.files.write(L"C:\\Kovra\\data\\general.ini",
                             chance(4) ? "launchWithAdminRights=1\r\n" : "launchWithAdminRights=0\r\n");
        machine_.version = {6, below(3), VER_PLATFORM_WIN32_NT};
        machine_.processes.terminationMs = chance(2) ? 0 : below(400);
        machine_.pipes.quotaIsTold = !chance(4);
        // Sometimes the clock turns during the hour.
        if (chance(3))
            machine_.clock.setTickCount((chance(2) ? 0x8000'0000U : 0U) - below(30 * minute));
        machine_.processes.onStart["kovra.exe"] = [this](const simulated::Process& process) {
            machine_.mailslots.make("kovraMailslot", process.id);
            if (!chance(5))
                machine_.scheduler.after(100 + below(900), [this, id = process.id] {
                    if (machine_.processes.find(id) != nullptr)
                        machine_.pipes.say("appLaunched");
                });
        };
    }

    /// What went wrong; empty when nothing did.
    std::string play() {
        machine_.sessions.open(1);
        machine_.services.add("Kovra", "\"C:\\Kovra\\bin\\kovraLauncher.exe\" -service");
        machine_.services.start("Kovra");
        machine_.play(200);
        nextBadClient_ = now() + 10 * second;
        const std::uint64_t end = now() + hourMs;
        while (failure_.empty() && now() < end) {
            doSomething();
            watch(chance(3) ? below(300) : below(20 * second));
        }
        settle();
        stop();
        return failure_;
    }

private:
    struct Session {
        bool open = false;
        bool loggedOn = false;
    };

    static constexpr DWORD remoteSession = 3;

    /// How long something may stay wrong: a rights check every 15 passes, one of which a client or a kill
    /// may stretch, and the start behind it; or the shell's 10 seconds with one look more.
    static constexpr std::uint64_t patienceMs = 12 * second;
    static constexpr std::uint64_t replyPatienceMs = 8 * second;
    /// Kills that one deed may call for, with what follows from it: a session change, logon screens that come
    /// and go, a shell.
    static constexpr int mostKills = 4;

    [[nodiscard]] std::uint64_t now() const { return machine_.scheduler.now(); }

    std::uint32_t below(std::uint64_t limit) { return static_cast<std::uint32_t>(random_() % limit); }

    bool chance(std::uint32_t oneIn) { return below(oneIn) == 0; }

    [[nodiscard]] DWORD console() const { return static_cast<DWORD>(machine_.sessions.active); }

    Session& here() { return sessions_.at(console()); }

    [[nodiscard]] bool logonScreenUp(DWORD session) const {
        return machine_.processes.findOwn("logonui.exe", session) != nullptr;
    }

    void doSomething() {
        using Deed = void (RandomHour::*)();
        static constexpr std::array deeds{
            &RandomHour::logOnOrOff, &RandomHour::lockOrUnlock, &RandomHour::lockOrUnlock,
            &RandomHour::switchUser, &RandomHour::restartShell, &RandomHour::crash,
            &RandomHour::crash,      &RandomHour::relaunch,     &RandomHour::quitOrComeBack,
            &RandomHour::talk,       &RandomHour::talk,         &RandomHour::misbehave,
            &RandomHour::misbehave,  &RandomHour::runLauncher,  &RandomHour::interrogate,
            &RandomHour::useRemote,  &RandomHour::useRemote,    &RandomHour::pretend,
        };
        kills_ = 0;
        const Deed deed = deeds[below(deeds.size())];
        (this->*deed)();
    }

    void logOnOrOff() {
        if (!here().loggedOn)
            logOn(console());
        else if (chance(3))
            logOff(console());
    }

    void logOn(DWORD number) {
        sessions_.at(number).loggedOn = true;
        machine_.sessions.logOn(number, {chance(3), chance(2)});
        startShellSoon(number);
    }

    void logOff(DWORD number) {
        sessions_.at(number).loggedOn = false;
        machine_.sessions.logOff(number);
    }

    void startShellSoon(DWORD number) {
        machine_.scheduler.after(below(8 * second), [this, number] {
            if (sessions_.at(number).loggedOn && machine_.processes.find("explorer.exe", number) == nullptr)
                machine_.sessions.startShell(number);
        });
    }

    void lockOrUnlock() {
        if (here().loggedOn)
            lockOrUnlockIn(console());
    }

    void lockOrUnlockIn(DWORD number) {
        if (logonScreenUp(number))
            machine_.sessions.hideLogonScreen(number);
        else
            machine_.sessions.showLogonScreen(number);
    }

    void open(DWORD number) {
        if (!std::exchange(sessions_.at(number).open, true))
            machine_.sessions.open(number);
    }

    void switchUser() {
        const DWORD other = console() == 1 ? 2 : 1;
        if (chance(2)) { // for a moment the console is between sessions
            machine_.sessions.switchTo(-1);
            watch(below(2 * second));
        }
        machine_.sessions.switchTo(static_cast<std::int32_t>(other));
        open(other);
    }

    /// Somebody comes to a remote logon prompt, logs on, is cut off and comes back, leaves.
    void useRemote() {
        Session& session = sessions_.at(remoteSession);
        if (!session.open) {
            open(remoteSession);
        } else if (!session.loggedOn && !chance(4)) {
            logOn(remoteSession);
        } else if (session.loggedOn && !chance(3)) {
            lockOrUnlockIn(remoteSession);
        } else {
            session = {};
            machine_.sessions.close(remoteSession);
        }
    }

    /// Somebody who is logged on starts a program of his own that has the name of one of the system's.
    void pretend() {
        const char* names[] = {"logonui.exe", "winlogon.exe", "explorer.exe"};
        const DWORD session = 1 + below(remoteSession);
        if (!sessions_.at(session).loggedOn)
            return;
        const DWORD program = machine_.processes.start(names[below(std::size(names))], session);
        machine_.scheduler.after(below(2 * minute), [this, program] { machine_.processes.end(program); });
    }

    void restartShell() {
        if (!here().loggedOn)
            return;
        machine_.sessions.endShell(console());
        startShellSoon(console());
    }

    void crash() { machine_.processes.endAll("kovra.exe"); }

    void relaunch() {
        const char* wishes[] = {"1", "2", "3", "7", "-1", "many", "4294967297"};
        if (!quit_)
            machine_.pipes.say(std::string{"relaunchApp useSessionId="} + wishes[below(std::size(wishes))]);
    }

    void quitOrComeBack() {
        if (quit_ && machine_.processes.find("kovra.exe") == nullptr) {
            // By its shortcut: only while the service leaves the start to others, or both might start one.
            machine_.start(L"-minimized", console(), simulated::Account::user);
            watch(3 * second);
            machine_.pipes.say("appLaunched");
        } else if (!quit_ && machine_.processes.find("kovra.exe") != nullptr) {
            const auto talk = machine_.pipes.say("appExited");
            watchUntil([&] { return talk->replies > 0; }, replyPatienceMs);
            machine_.processes.endAll("kovra.exe");
            // A client that waits for its turn may take the word back.
            watch(10 * second);
        }
    }

    /// Whether the service leaves the application alone is up to the words that have reached it.
    void followTrace(const std::string& line) {
        if (line == "Kill kovra")
            ++kills_;
        if (line == "appExited => OK")
            quit_ = true;
        else if (line == "appLaunched => OK" || line.starts_with("relaunchApp useSessionId="))
            quit_ = false;
    }

    void talk() {
        const char* messages[] = {"test",
                                  "-test a=b",
                                  "",
                                  " exit",
                                  "EXIT",
                                  "setMailslotIndex",
                                  "sessionShutdown",
                                  "resetShortcuts none",
                                  "registerContextMenu",
                                  "unregisterContextMenu",
                                  "installFfmpegFrom C:\\nowhere"};
        ClientManner manner;
        manner.writesAfter = below(300);
        if (chance(3))
            manner.readsAfter = below(100);
        expectAnswer(machine_.pipes.say(messages[below(std::size(messages))], manner));
    }

    /// A bad client, and a good one behind it. One at a time: each may hold the pipe for some seconds.
    void misbehave() {
        if (now() < nextBadClient_)
            return;
        nextBadClient_ = now() + 20 * second;
        ClientManner manner;
        std::string message = "test";
        switch (below(7)) {
        case 0:
            manner.writesAfter = Scheduler::never;
            manner.closesAfter = Scheduler::never;
            break;
        case 1:
            manner.writesAfter = below(400);
            manner.vanishesAfter = below(800);
            break;
        case 2:
            manner.readsAfter = Scheduler::never;
            break;
        case 3:
            manner.readsOn = true;
            manner.closesAfter = Scheduler::never;
            break;
        case 4:
            message = std::string(100 + below(3000), 'x');
            break;
        case 5:
            message = std::string{"exit\0", 5};
            break;
        default:
            for (char& byte : message)
                byte = static_cast<char>(below(256));
        }
        machine_.pipes.say(message, manner);
        watch(below(400));
        expectAnswer(machine_.pipes.say("test"));
    }

    void runLauncher() {
        const wchar_t* lines[] = {L"shutdown now",           L"-createShortcuts all",
                                  L"resetShortcuts current", L"launchService",
                                  L"registerContextMenu",    L"installFfmpegFrom C:\\nowhere",
                                  L"uninstallServices"};
        if (chance(3))
            machine_.start(lines[below(std::size(lines) - 1)], console());
    }

    // NOLINTNEXTLINE(readability-make-member-function-const): it is one of the deeds
    void interrogate() { world_.machine.services.control("Kovra", SERVICE_CONTROL_INTERROGATE); }

    void expectAnswer(std::shared_ptr<Conversation> talk) { asked_.push_back({now(), std::move(talk)}); }

    void watch(std::uint64_t milliseconds) {
        watchUntil([] { return false; }, milliseconds);
    }

    void watchUntil(const std::function<bool()>& condition, std::uint64_t limitMs) {
        if (failure_.empty())
            machine_.playUntil(
                [&] {
                    lookAround();
                    return !failure_.empty() || condition();
                },
                limitMs);
    }

    void fail(const std::string& what) {
        if (failure_.empty())
            failure_ = "at " + formatTime(now()) + ": " + what;
    }

    void lookAround() {
        const simulated::Service* service = machine_.services.find("Kovra");
        if (service == nullptr || service->state != SERVICE_RUNNING)
            return fail("the service doesn't run");
        if (machine_.processes.count("kovra.exe") > 1)
            return fail("two applications");
        if (const std::string left = machine_.leftOpen(); !left.empty())
            return fail(left);
        if (kills_ > mostKills)
            return fail("the application is killed again and again");
        const simulated::Process* application = machine_.processes.find("kovra.exe");
        world_.systemOnDesktop.look(machine_);
        if (world_.systemOnDesktop.longest(machine_) > patienceMs)
            return fail("SYSTEM's application on an open desktop for too long");
        if (application != nullptr || !isWanted())
            missingSince_ = Scheduler::never;
        else if (missingSince_ == Scheduler::never)
            missingSince_ = now();
        else if (now() - missingSince_ > patienceMs)
            return fail("no application for too long");
        if (std::erase_if(asked_, [](const Asked& asked) { return asked.talk->replies > 0; }) > 0)
            lastServed_ = now();
        // Good clients come to their turn one after the other.
        for (const Asked& asked : asked_) {
            if (now() - std::max(asked.at, lastServed_) > replyPatienceMs)
                return fail("a good client that came at " + formatTime(asked.at) + " has no answer");
        }
    }

    /// The application should run, and could: the console shows a user's desktop or a logon screen.
    [[nodiscard]] bool isWanted() const { return !quit_ && machine_.sessions.active >= 0; }

    /// Left alone for a while, everything is in its place.
    void settle() {
        watch(minute);
        const simulated::Process* application = machine_.processes.find("kovra.exe");
        if (isWanted() && application == nullptr)
            fail("no application in the end");
    }

    void stop() {
        if (!failure_.empty())
            return;
        const bool applicationRan = machine_.processes.find("kovra.exe") != nullptr;
        machine_.services.control("Kovra", SERVICE_CONTROL_STOP);
        if (!machine_.playUntil([&] { return machine_.processes.find("kovraLauncher.exe") == nullptr; },
                                second))
            return fail("the service doesn't stop");
        if (applicationRan && machine_.processes.find("kovra.exe") == nullptr)
            fail("the application stopped with the service");
        if (const std::string left = machine_.leftOpen(); !left.empty())
            fail(left);
    }

    struct Asked {
        std::uint64_t at;
        std::shared_ptr<Conversation> talk;
    };

    std::mt19937 random_;
    std::string failure_;
    int kills_ = 0; // by the watchdog, since the last deed
    bool quit_ = false;
    std::array<Session, 1 + remoteSession> sessions_{Session{}, Session{true}};
    std::vector<Asked> asked_;
    std::uint64_t lastServed_ = 0;
    std::uint64_t nextBadClient_ = 0;
    std::uint64_t missingSince_ = Scheduler::never;
    World world_; // the last to be made: it goes first
    simulated::Machine& machine_ = world_.machine;
};

} // namespace

std::string playRandomHour(std::uint32_t seed, const std::string& title, Printer& printer) {
    printer.begin(title, hourMs);
    return RandomHour{seed, printer}.play();
}

} // namespace kovra::simulation
