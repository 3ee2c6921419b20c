#include "platform/simulated/sessions.h"

#include "libraries/sess/rights.h"
#include "platform/sess.h"
#include "platform/simulated/machine.h"

#include <algorithm>
#include <iterator>
#include <vector>

namespace kovra::simulated {

namespace {

void end(Processes& processes, const Process* process) {
    if (process != nullptr)
        processes.end(process->id);
}

} // namespace

void Sessions::open(DWORD session) {
    machine_.processes.start("winlogon.exe", session, Account::localSystem);
    showLogonScreen(session);
}

void Sessions::logOn(DWORD session, User user) {
    loggedOn[session] = user;
    hideLogonScreen(session);
}

void Sessions::showLogonScreen(DWORD session) {
    if (machine_.processes.findOwn("logonui.exe", session) == nullptr)
        machine_.processes.start("LogonUI.exe", session, Account::localSystem);
}

void Sessions::hideLogonScreen(DWORD session) {
    end(machine_.processes, machine_.processes.findOwn("logonui.exe", session));
}

void Sessions::switchTo(std::int32_t session) {
    if (active >= 0 && active != session && loggedOn.contains(static_cast<DWORD>(active)))
        showLogonScreen(static_cast<DWORD>(active));
    active = session;
}

void Sessions::startShell(DWORD session) {
    machine_.processes.start("explorer.exe", session);
}

void Sessions::endShell(DWORD session) {
    end(machine_.processes, machine_.processes.find("explorer.exe", session));
}

void Sessions::logOff(DWORD session) {
    loggedOn.erase(session);
    const Process* logonProcess = machine_.processes.findOwn("winlogon.exe", session);
    std::vector<DWORD> leaving;
    for (const Process* process : machine_.processes.list()) {
        // Session 0 of an old Windows is a user's and the services' alike.
        if (process->session == session && process->service == nullptr && process != logonProcess)
            leaving.push_back(process->id);
    }
    for (const DWORD id : leaving)
        machine_.processes.end(id);
    showLogonScreen(session);
}

void Sessions::close(DWORD session) {
    logOff(session);
    hideLogonScreen(session);
    end(machine_.processes, machine_.processes.findOwn("winlogon.exe", session));
}

bool Sessions::exists(DWORD session) const {
    const std::vector<const Process*> processes = machine_.processes.list();
    return session == 0 || std::any_of(processes.begin(), processes.end(),
                                       [&](const Process* each) { return each->session == session; });
}

bool Sessions::isDesktopOpen(DWORD session) const {
    return loggedOn.contains(session) && machine_.processes.find("explorer.exe", session) != nullptr &&
           machine_.processes.findOwn("logonui.exe", session) == nullptr;
}

sess::SessionUser Sessions::userIn(DWORD session) const {
    if (!terminalServices || !exists(session))
        return sess::SessionUser::Unknown;
    const auto user = loggedOn.find(session);
    if (user == loggedOn.end())
        return sess::SessionUser::Nobody;
    if (!user->second.administrator)
        return sess::SessionUser::Ordinary;
    return user->second.alwaysElevated ? sess::SessionUser::ElevatedAdmin
                                       : sess::SessionUser::AdminWithLinkedToken;
}

sess::SessionFacts Sessions::factsOf(DWORD session) const {
    return {userIn(session), machine_.processes.findOwn("winlogon.exe", session) != nullptr,
            machine_.processes.findOwn("logonui.exe", session) != nullptr};
}

std::int32_t Sessions::launch(const char* path, const char* arguments, std::int32_t session,
                              bool normalPrivileges) {
    if (session < 0) {
        setLastError(ERROR_INVALID_PARAMETER);
        return sess::nothingStarted;
    }
    const auto number = static_cast<DWORD>(session);
    const sess::SessionFacts facts = factsOf(number);
    const sess::StartToken token = sess::tokenFor(normalPrivileges, facts);
    if (token == sess::StartToken::None) {
        setLastError(facts.user == sess::SessionUser::Nobody ? ERROR_NO_TOKEN
                                                             : ERROR_CTX_WINSTATION_NOT_FOUND);
        return sess::nothingStarted;
    }
    Account account = Account::user;
    if (token == sess::StartToken::Service)
        account = Account::localSystem;
    else if (token == sess::StartToken::UserElevated || facts.user == sess::SessionUser::ElevatedAdmin)
        account = Account::administrator;
    const DWORD started = machine_.processes.launch(path, arguments, number, account);
    if (started == 0) {
        setLastError(ERROR_FILE_NOT_FOUND);
        return sess::nothingStarted;
    }
    const DWORD launcher = currentThread()->process()->id;
    machine_.processes.find(started)->launchedBy = launcher;
    if (token == sess::StartToken::Service)
        watchLogon(started, launcher, {});
    return sess::answerFor(session, normalPrivileges);
}

void Sessions::watchLogon(DWORD program, DWORD service, const sess::LogonWatch& watch) {
    machine_.scheduler.after(sess::LogonWatch::lookEveryMs, [this, program, service, next = watch]() mutable {
        Processes& processes = machine_.processes;
        const Process* running = processes.find(program);
        // The watch goes with the process that it is a thread of.
        if (running == nullptr || processes.find(service) == nullptr)
            return;
        const DWORD session = running->session;
        if (next.isOver(machine_.clock.tickCount(), userIn(session),
                        processes.find("explorer.exe", session) != nullptr,
                        processes.findOwn("logonui.exe", session) != nullptr)) {
            processes.terminate(*running);
            for (const Process* process : processes.list()) {
                const auto isProcess = [&](const char* name) { return sameAnsiName(process->name, name); };
                if (process->session == session && process->account == Account::localSystem &&
                    std::any_of(std::begin(sess::childPrograms), std::end(sess::childPrograms), isProcess))
                    processes.terminate(*process);
            }
        }
        watchLogon(program, service, next);
    });
}

} // namespace kovra::simulated

namespace kovra {

using namespace simulated;

std::int32_t getActiveConsoleSessionId() {
    const Call<"getActiveConsoleSessionId"> call;
    const Sessions& sessions = machine().sessions;
    return call.fails() || sessions.withoutLibrary ? -1 : sessions.active;
}

std::int32_t isExplorerInSession(std::int32_t sessionId) {
    const Call<"isExplorerInSession"> call;
    if (call.fails() || machine().sessions.withoutLibrary || sessionId < 0)
        return 0;
    machine().scheduler.work(snapshotMs);
    const Process* explorer = machine().processes.find("explorer.exe", static_cast<DWORD>(sessionId));
    return explorer == nullptr ? 0 : 1;
}

std::int32_t launchApplicationInSession(const char* applicationPath, const char* arguments,
                                        std::int32_t sessionId, bool normalPrivileges) {
    const Call<"launchApplicationInSession"> call;
    Machine& here = machine();
    here.tell(Side::launcher, std::string{"asks for a start in session "} + std::to_string(sessionId) +
                                  (normalPrivileges ? " with normal rights" : " with admin rights"));
    if (call.fails())
        return sess::nothingStarted;
    if (here.sessions.withoutLibrary) {
        setLastError(ERROR_MOD_NOT_FOUND);
        return sess::nothingStarted;
    }
    here.scheduler.work(programStartMs);
    return here.sessions.launch(applicationPath, arguments, sessionId, normalPrivileges);
}

} // namespace kovra
