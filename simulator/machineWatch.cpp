#include "simulator/machineWatch.h"

#include "libraries/sess/rights.h"
#include "platform/simulated/call.h"
#include "service/appRunState.h"
#include "simulator/text.h"
#include "simulator/world.h"

#include <algorithm>

namespace kovra::simulation {

namespace {

using simulated::Account;
using simulated::Happening;
using simulated::Process;
using simulated::Side;

/// How long after the last thing that happened the application must be in its place.
constexpr std::uint64_t settledMs = 10'000;
/// How long the application may be missing where it could be started: a rights check that comes late, the
/// kill, the pause behind it, a start that was drawn in the meantime.
constexpr std::uint64_t missingMs = 12'000;
/// A pass of the loop with the wait behind it: the longest has a kill, a start and the work of a command in
/// it.
constexpr std::uint64_t passMs = 1500;
/// The pause behind each of the tries to install the service.
constexpr std::uint64_t installationPauseMs = 1000;
constexpr std::uint64_t replyReadingMs = 2000;
/// From the start's decision to the program in the process list: three snapshots and the start itself.
constexpr std::uint64_t startTakesMs = 40;
/// Between two starts, when the first one worked, and ahead of the service's first one.
constexpr std::uint64_t betweenStartsMs = 1900;
/// A good client's own time: the loop comes to it once it is connected, or nobody else is.
constexpr std::uint64_t answerMs = 2000;
/// How long one client may have the pipe: five seconds for a message, two for its answer, and the passes.
constexpr std::uint64_t heldMs = 8000;
/// Kills that one thing that happens may call for, with what follows from it: another session, logon screens
/// that come and go, a shell.
constexpr int mostKills = 4;
/// A process that holds more leaks.
constexpr std::size_t mostHandles = 16;

constexpr std::string_view application = "kovra.exe";

bool isNamed(const Process& process, std::string_view name) {
    return simulated::sameAnsiName(process.name, name);
}

} // namespace

std::uint64_t MachineWatch::now() const {
    return world_.machine.scheduler.now();
}

std::int32_t MachineWatch::console() const {
    const simulated::Sessions& sessions = world_.machine.sessions;
    return sessions.withoutLibrary ? -1 : sessions.active;
}

void MachineWatch::breakRule(const std::string& what) {
    if (broken_.empty())
        broken_ = what;
}

void MachineWatch::disturbed() {
    kills_ = 0;
    quietSince_ = now();
    changed_ = true;
}

void MachineWatch::happened(const Happening& happening) {
    changed_ = true;
    const std::string_view text = happening.text;
    const auto follows = [&](std::string_view words) {
        return text.starts_with(words) ? std::optional{text.substr(words.size())} : std::nullopt;
    };
    if (happening.side == Side::machine) {
        if (simulated::sameAnsiName(text.substr(0, application.size()), application))
            applicationChanged(text);
        else if (text.starts_with("kovraLauncher.exe"))
            disturbed();
        else if (text.starts_with("pipe client says "))
            ++messages_;
    } else if (happening.side == Side::launcher) {
        if (const auto program = follows("terminates "))
            judgeKill(*program);
        else if (const auto session = follows("asks for a start in session "))
            judgeAskedStart(*session);
        else if (text.starts_with("answers "))
            quietSince_ = now(); // a command was carried out, traced or not
    } else if (text == "Starting service...") {
        traces_ = true;
    } else if (text.starts_with("Kovra and winlogon sessions are different")) {
        if (consoleKnown_ == console() && !hasCallFailedSince(startAskedAt_))
            breakRule("the application is ended for another session though the console's is the same");
    } else if (text == "Kill kovra") {
        mayStartAgain_ = true; // also where nothing was left to be ended
    } else if (const auto command = follows("receive command from app: ")) {
        follow(*command);
    }
}

/// The application has come up or ended.
void MachineWatch::applicationChanged(std::string_view text) {
    quietSince_ = now();
    if (text.find(" starts in session ") == std::string_view::npos)
        return;
    const Process& newest = *world_.machine.processes.list().back();
    const bool isServices = newest.arguments.starts_with("-service");
    if (!isServices) // somebody's own, or a one-shot job's
        return;
    if (isExpected_)
        beginPause();
    startedWithoutShell_ = world_.machine.processes.find("explorer.exe", newest.session) == nullptr;
    if (resumes_ && newest.arguments != (*resumes_ ? "-service -resume" : "-service"))
        breakRule("the application is started with other arguments than are its due");
    judgeStart(newest);
}

/// A command has reached the service.
void MachineWatch::follow(std::string_view command) {
    const std::string_view verb = command.substr(0, command.find(' '));
    quietSince_ = now();
    if (--messages_ < 0)
        breakRule("a command is carried out twice");
    // Whoever has the pipe has said it.
    for (Asked& asked : asked_)
        asked.isHeard = asked.isHeard || (asked.talk->connectedAt && !asked.talk->dropped);
    if (verb == "exit")
        expectEnd(replyReadingMs + passMs);
    else if (verb == "sessionShutdown")
        mayStartAgain_ = true;
    else if (verb == "appExited")
        isExpected_ = false;
    else if (verb == "appLaunched" || verb == "relaunchApp")
        isExpected_ = true;
    if (verb == "appLaunched")
        resumesNext_ = false;
    if (verb == "appLaunched" || verb == "relaunchApp")
        followWish(verb, command);
    // The word that the application says at its start calls for nothing.
    if (command != "appLaunched")
        kills_ = 0;
}

void MachineWatch::followWish(std::string_view verb, std::string_view command) {
    constexpr std::string_view key = " useSessionId=";
    const std::size_t at = command.find(key);
    const auto session =
        at == std::string_view::npos ? std::nullopt : parseNumber(command.substr(at + key.size()));
    if (!session)
        return;
    wish_ = *session;
    consoleKnown_ = console();
    missingSince_.reset();
    const Process* const running = world_.machine.processes.find(application);
    if (verb == "relaunchApp" && running != nullptr && !running->unkillable)
        leaving_ = {running->id, now() + passMs};
}

/// What was said to another instance of the service, or whose trace may lack a line.
void MachineWatch::forgetWords() {
    isExpected_.reset();
    consoleKnown_.reset();
    resumesNext_.reset();
    mayStartAgain_ = true;
    wish_.reset();
    leaving_.reset();
}

void MachineWatch::beginPause() {
    mayStartAgain_ = false;
    pauseSince_ = now();
}

void MachineWatch::stopSent() {
    stopSentAt_ = now();
    expectEnd(passMs);
}

/// The service ends in this time, which a pass that installs it stretches.
void MachineWatch::expectEnd(std::uint64_t within) {
    if (facts_.service == nullptr)
        return;
    const std::uint64_t by = std::max(now(), busyUntil_) + within;
    if (!ending_ || by < ending_->by)
        ending_ = {facts_.service->id, by};
}

/// The launcher ends the application and what belongs to it, and nothing else.
void MachineWatch::judgeKill(std::string_view program) {
    constexpr std::string_view its[] = {application, "kovraHttpd.exe", "mysqld.exe", "kovraFfmpeg.exe",
                                        "Thumbler.exe"};
    if (std::none_of(std::begin(its), std::end(its),
                     [&](std::string_view name) { return simulated::sameAnsiName(name, program); }))
        breakRule("a program is ended that isn't the application's");
    mayStartAgain_ = true;
    // Several applications are ended within the same second.
    constexpr std::uint64_t togetherMs = 1000;
    if (!simulated::sameAnsiName(program, application))
        return;
    if (now() - killedAt_ > togetherMs)
        ++kills_;
    killedAt_ = now();
}

bool MachineWatch::hasCallFailedSince(std::uint64_t time) const {
    const std::optional<std::uint64_t> failedAt = world_.machine.lastFailedAt();
    return failedAt && *failedAt >= time;
}

/// The service asks for a start, with the session's number and the rights in the text.
void MachineWatch::judgeAskedStart(std::string_view start) {
    const std::uint64_t lately = now() - std::min(now(), startTakesMs);
    const std::int32_t session = parseNumber(start.substr(0, start.find(' '))).value_or(-1);
    if (!isExpected_.value_or(true))
        breakRule("the application is started behind its appExited");
    // An application that ends by itself is started two seconds behind its last start, and so is the
    // service's first.
    if (!mayStartAgain_ && now() < pauseSince_ + betweenStartsMs && !hasCallFailedSince(pauseSince_))
        breakRule("starts follow one another at once");
    if (wish_ && *wish_ >= 0 && session != *wish_)
        breakRule("the application is started in another session than it was to be");
    if (start.ends_with("normal rights") && areAdminRightsDue() && !hasCallFailedSince(lately))
        breakRule("the application is started without the rights that are its due");
    wish_.reset();
    consoleKnown_ = console();
    resumes_ = resumesNext_;
    if (resumesNext_)
        resumesNext_ = true;
    mayStartAgain_ = true; // unless it works: else a kill that hits nothing may follow, and a start
    startAskedAt_ = now();
}

bool MachineWatch::areAdminRightsDue() const {
    constexpr std::string_view key = "launchWithAdminRights=";
    if (world_.machine.version.major < 6)
        return true;
    const std::string settings =
        world_.machine.files.read(world_.dataRoot + L"\\data\\general.ini").value_or("");
    if (!settings.starts_with(key))
        return false;
    const std::string_view value =
        std::string_view{settings}.substr(key.size(), settings.find('\r') - key.size());
    return value == "1" || simulated::sameAnsiName(value, "true");
}

/// The service starts the application only where none runs. What it can't know: another one that comes up
/// while the start is under way, or that a process list which could not be had would have shown.
void MachineWatch::judgeStart(const Process& started) {
    const simulated::Machine& machine = world_.machine;
    const auto failedLately = [&](std::string_view function) {
        const std::optional<std::uint64_t> failedAt = machine.lastFailedAt(function);
        return failedAt && *failedAt + startTakesMs >= now();
    };
    if (failedLately("CreateToolhelp32Snapshot") || failedLately("Process32First") ||
        failedLately("Process32Next"))
        return;
    for (const Process* other : machine.processes.list()) {
        if (other != &started && isNamed(*other, application) && other->startedAt + startTakesMs < now())
            breakRule("the service starts a second application");
    }
}

void MachineWatch::findFacts() {
    const simulated::Machine& machine = world_.machine;
    const simulated::Service* const service = machine.services.find("Kovra");
    facts_ = {};
    for (const Process* process : machine.processes.list()) {
        if (isNamed(*process, application) && ++facts_.applications == 1)
            facts_.application = process;
        facts_.winlogon = facts_.winlogon || isNamed(*process, "winlogon.exe");
        facts_.logonScreen = facts_.logonScreen || isNamed(*process, "logonui.exe");
        facts_.explorer = facts_.explorer || isNamed(*process, "explorer.exe");
        if (service != nullptr && process->id == service->processId && service->state == SERVICE_RUNNING)
            facts_.service = process;
        else if (isNamed(*process, "kovraLauncher.exe") && process->service == nullptr)
            facts_.jobUnderWay = true;
    }
    if (facts_.service != nullptr) {
        facts_.state = &appRunState.of(*facts_.service);
        if (facts_.service->id != std::exchange(serviceId_, facts_.service->id)) {
            messages_ = 0;
            forgetWords();
            // One that can't make its file-system object when it starts never traces.
            if (std::exchange(traces_, false)) {
                isExpected_ = true;
                resumesNext_ = false;
                beginPause();
            }
        }
    }
}

const std::string& MachineWatch::look() {
    if (!broken_.empty())
        return broken_;
    if (hasCallFailedSince(lastLookAt_)) {
        disturbed();
        forgetWords();
        missingSince_.reset();
        heldSince_.reset();
    }
    const std::uint64_t installations = world_.machine.calls(simulated::functionIndex<"CreateServiceA">);
    if (installations != std::exchange(installations_, installations))
        busyUntil_ = now() + installationPauseMs;
    if (changed_) {
        changed_ = false;
        findFacts();
        judgeLeftOpen();
        judgeKills();
        judgePresence();
        for (const auto& stranger : strangers_) {
            if (stranger->replies > 0)
                breakRule("a program on another machine is answered");
        }
    }
    judgeLoop();
    if (ending_ && now() < busyUntil_)
        ending_->by = std::max(ending_->by, busyUntil_ + passMs);
    judgeDeadline(ending_, "the service doesn't come to its end");
    judgeDeadline(leaving_, "the application stays that was to be started again");
    judgePipe();
    judgeClients();
    if (missingSince_ && now() - *missingSince_ > missingMs)
        breakRule("the application is missing");
    if (now() >= quietSince_ + settledMs)
        judgePlace();
    if (world_.systemOnDesktop.longest(world_.machine) > SystemOnDesktop::patienceMs)
        breakRule("SYSTEM's application stands on an open desktop");
    lastLookAt_ = now();
    return broken_;
}

void MachineWatch::judgeLeftOpen() {
    if (const std::string left = world_.machine.leftOpen(); !left.empty())
        breakRule(left.substr(0, left.find('\n')));
    if (facts_.service != nullptr && world_.machine.handles.countOf(*facts_.service) > mostHandles)
        breakRule("the service holds ever more handles");
}

void MachineWatch::judgeKills() {
    if (kills_ > mostKills)
        breakRule("the application is killed again and again");
}

void MachineWatch::judgeLoop() {
    const std::uint64_t waits = facts_.service != nullptr ? facts_.service->waits : 0;
    // Each pass ends in a wait.
    if (facts_.service == nullptr || waits != std::exchange(waits_, waits) || now() < busyUntil_)
        passSince_ = now();
    else if (now() - passSince_ > passMs)
        breakRule("the loop of the service stands");
}

void MachineWatch::judgeDeadline(std::optional<Deadline>& deadline, const char* broken) {
    if (!deadline)
        return;
    if (world_.machine.processes.find(deadline->process) == nullptr)
        deadline.reset();
    else if (now() > deadline->by)
        breakRule(broken);
}

void MachineWatch::judgePipe() {
    const auto& pipes = world_.machine.pipes.pipes;
    const void* const holder = pipes.empty() ? nullptr : pipes.front()->client;
    if (holder != std::exchange(holder_, holder))
        heldSince_.reset();
    if (holder == nullptr)
        return;
    heldSince_ = heldSince_.value_or(now());
    if (facts_.service == nullptr)
        heldSince_ = now();
    if (now() - *heldSince_ > heldMs)
        breakRule("a client keeps the pipe");
}

void MachineWatch::expectAnswer(const std::string& client, std::shared_ptr<simulated::Conversation> talk,
                                std::uint64_t patienceMs) {
    asked_.push_back({client, std::move(talk), now(), now() + patienceMs, 0, false});
}

void MachineWatch::expectSilence(std::shared_ptr<simulated::Conversation> talk) {
    strangers_.push_back(std::move(talk));
}

void MachineWatch::judgeClients() {
    const std::uint64_t elapsed = now() - lastLookAt_;
    const auto& pipes = world_.machine.pipes.pipes;
    const bool isPipeOpen = !pipes.empty() && pipes.front()->openToEveryone;
    std::erase_if(asked_, [&](Asked& asked) {
        const simulated::Conversation& talk = *asked.talk;
        if (talk.replies > 0) {
            if (talk.reply != "OK")
                breakRule("client " + asked.client + " is answered with something else");
            if (lastAnswered_ && lastAnswered_->replies > 1)
                breakRule("a client is answered twice");
            lastAnswered_ = asked.talk;
            return true;
        }
        // Without memory for its access list the pipe lets no user in. Who is heard has his answer ahead of
        // the service's end, unless a stop cuts it short.
        const bool isOwedAnswer = asked.isHeard && stopSentAt_ < asked.since;
        const bool excused = hasCallFailedSince(asked.since) || now() < busyUntil_ ||
                             (!isOwedAnswer && (!isPipeOpen || facts_.service == nullptr));
        if (talk.dropped && !excused)
            breakRule("client " + asked.client + " is dropped without an answer");
        if (talk.dropped || (!talk.connectedAt && now() > asked.until))
            return true;
        // Nobody is there to answer, or Windows keeps him from it, or another one has the pipe.
        const bool waits = !excused && (talk.connectedAt || holder_ == nullptr);
        asked.waitedMs = waits ? asked.waitedMs + elapsed : 0;
        if (asked.waitedMs > answerMs)
            breakRule("client " + asked.client + " has no answer");
        return false;
    });
}

/// The application should run, and could.
bool MachineWatch::isWanted() const {
    if (facts_.state == nullptr || !isExpected_.value_or(facts_.state->appExpected) ||
        facts_.state->exitRequested || !facts_.winlogon)
        return false;
    if (facts_.state->sessionShutdownPending && facts_.explorer)
        return false;
    const simulated::Machine& machine = world_.machine;
    if (console() < 0 || !machine.files.fileExists(world_.installRoot + L"\\bin\\Kovra.exe"))
        return false;
    const bool withNormalRights = facts_.state->adminRequested == 0 && !facts_.logonScreen;
    return sess::tokenFor(withNormalRights, machine.sessions.factsOf(static_cast<DWORD>(console()))) !=
           sess::StartToken::None;
}

void MachineWatch::judgePresence() {
    if (facts_.application != nullptr || !isWanted())
        missingSince_.reset();
    else if (!missingSince_)
        missingSince_ = now();
}

void MachineWatch::judgePlace() {
    if (facts_.state == nullptr || !facts_.state->appExpected || facts_.jobUnderWay)
        return;
    const AppRunState& state = *facts_.state;
    const Process* const running = facts_.application;
    if (running == nullptr) {
        if (isWanted())
            breakRule("the application isn't started");
        return;
    }
    if (running->unkillable)
        return;
    if (state.restartWhenExplorerStarts) {
        const std::int32_t session = state.watchedSessionId;
        const bool shellUp =
            session > 0
                ? world_.machine.processes.find("explorer.exe", static_cast<DWORD>(session)) != nullptr
                : session == -1 && facts_.explorer;
        if (world_.machine.version.major >= 6 && shellUp && !world_.machine.sessions.withoutLibrary)
            breakRule("the application isn't started again for the shell");
    } else if (facts_.logonScreen && !state.launchedWithAdminRights) {
        breakRule("the application isn't started again for the logon screen");
    } else if (facts_.winlogon && !facts_.logonScreen && facts_.explorer && state.launchedWithAdminRights &&
               state.adminRequested == 0) {
        breakRule("the application's rights aren't lowered");
    }
    // A start beside it, which only comes of a process list that couldn't be had, makes the service forget
    // it.
    if (running->launchedBy == facts_.service->id && facts_.applications == 1 &&
        running->startedAt >= startAskedAt_)
        judgeOwnProgram(state, *running);
}

/// What the service remembers of the application that it has started itself is what there is.
void MachineWatch::judgeOwnProgram(const AppRunState& state, const Process& running) {
    const simulated::Sessions& sessions = world_.machine.sessions;
    const auto session = static_cast<std::int32_t>(running.session);
    if (state.launchedSessionId != session)
        breakRule("the application runs in another session than the service knows of");
    if (!state.restartWhenExplorerStarts && facts_.winlogon && console() != session &&
        console() != state.watchedSessionId)
        breakRule("the application stays in a session that isn't at the console");
    // The watchdog asks for it once; a kill that fails isn't repeated.
    if (startedWithoutShell_ && !hasCallFailedSince(running.startedAt) && !state.launchedWithAdminRights &&
        world_.machine.version.major >= 6 && session > 0 && session == console() &&
        world_.machine.processes.find("explorer.exe", running.session) != nullptr)
        breakRule("the application that came ahead of the shell isn't started again");
    if (!state.launchedWithAdminRights && running.account == Account::localSystem)
        breakRule("the application runs as SYSTEM without a need");
    const auto user = sessions.loggedOn.find(running.session);
    const bool isAdministrator = user != sessions.loggedOn.end() && user->second.administrator;
    const bool alwaysElevated = isAdministrator && user->second.alwaysElevated;
    if (state.launchedWithAdminRights && isAdministrator && running.account == Account::user)
        breakRule("the application lacks the rights that are its due");
    if (!state.launchedWithAdminRights && running.account == Account::administrator && !alwaysElevated)
        breakRule("the application runs elevated without a need");
}

} // namespace kovra::simulation
