#include "platform/simulated/sessions.h"

#include "libraries/sess/rights.h"
#include "platform/sess.h"
#include "platform/simulated/machine.h"

#include <algorithm>
#include <vector>

namespace kovra::simulated {

namespace {

void endIn(Processes& processes, const char* name, DWORD session) {
    if (const Process* process = processes.find(name, session))
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
    if (machine_.processes.find("logonui.exe", session) == nullptr)
        machine_.processes.start("LogonUI.exe", session, Account::localSystem);
}

void Sessions::hideLogonScreen(DWORD session) {
    endIn(machine_.processes, "logonui.exe", session);
}

void Sessions::startShell(DWORD session) {
    machine_.processes.start("explorer.exe", session);
}

void Sessions::endShell(DWORD session) {
    endIn(machine_.processes, "explorer.exe", session);
}

void Sessions::logOff(DWORD session) {
    loggedOn.erase(session);
    std::vector<DWORD> leaving;
    for (const Process* process : machine_.processes.list()) {
        // Session 0 of an old Windows is a user's and the services' alike.
        if (process->session == session && process->service == nullptr &&
            !sameName(process->name, "winlogon.exe"))
            leaving.push_back(process->id);
    }
    for (const DWORD id : leaving)
        machine_.processes.end(id);
    showLogonScreen(session);
}

void Sessions::close(DWORD session) {
    logOff(session);
    hideLogonScreen(session);
    endIn(machine_.processes, "winlogon.exe", session);
}

bool Sessions::exists(DWORD session) const {
    const std::vector<const Process*> processes = machine_.processes.list();
    return session == 0 || std::any_of(processes.begin(), processes.end(), [session](const Process* process) {
               return process->session == session;
           });
}

std::int32_t Sessions::launch(const char* path, const char* arguments, std::int32_t session,
                              bool normalPrivileges) {
    if (session < 0)
        return sess::nothingStarted;
    const auto number = static_cast<DWORD>(session);
    sess::SessionFacts facts;
    facts.user = exists(number) ? sess::SessionUser::Nobody : sess::SessionUser::Unknown;
    if (const auto user = loggedOn.find(number); user != loggedOn.end()) {
        if (!user->second.administrator)
            facts.user = sess::SessionUser::Ordinary;
        else if (user->second.alwaysElevated)
            facts.user = sess::SessionUser::ElevatedAdmin;
        else
            facts.user = sess::SessionUser::AdminWithLinkedToken;
    }
    facts.logonScreenUp = machine_.processes.find("logonui.exe", number) != nullptr;
    const sess::StartRights rights = sess::rightsFor(normalPrivileges, facts);
    Account account = Account::user;
    if (rights.token == sess::StartToken::Service)
        account = Account::localSystem;
    else if (rights.token == sess::StartToken::UserElevated || facts.user == sess::SessionUser::ElevatedAdmin)
        account = Account::administrator;
    if (rights.token == sess::StartToken::None ||
        machine_.processes.launch(path, arguments, number, account) == 0)
        return sess::nothingStarted;
    return sess::answerFor(session, rights);
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
    const Process* explorer = machine().processes.find("explorer.exe", static_cast<DWORD>(sessionId));
    return explorer == nullptr ? 0 : 1;
}

std::int32_t launchApplicationInSession(const char* applicationPath, const char* arguments,
                                        std::int32_t sessionId, bool normalPrivileges) {
    const Call<"launchApplicationInSession"> call;
    Machine& here = machine();
    here.tell(Side::launcher, std::string{"asks for a start in session "} + std::to_string(sessionId) +
                                  (normalPrivileges ? " with normal rights" : " with admin rights"));
    if (call.fails() || here.sessions.withoutLibrary)
        return sess::nothingStarted;
    return here.sessions.launch(applicationPath, arguments, sessionId, normalPrivileges);
}

} // namespace kovra
