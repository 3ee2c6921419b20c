#include "libraries/sess/logonEnd.h"
#include "libraries/sess/rights.h"
#include "libraries/sess/sessionFacts.h"
#include "libraries/sess/systemFunctions.h"
#include "platform/handles.h"
#include "platform/win32.h"

#include <algorithm>
#include <string>
#include <utility>

// sess.dll: which session is at the console, whether a shell runs in a session, and the start of a program in
// a session on the token that `tokenFor` settles. It is called by the service, which runs as LocalSystem.

namespace kovra::sess {
namespace {

constexpr LONG noSession = -1;

struct EnvironmentKind {
    using Value = LPVOID;

    static Value invalid() { return nullptr; }

    static void close(Value value) { destroyEnvironmentBlock(value); }
};

using EnvironmentBlock = OwnedHandle<EnvironmentKind>;

void enablePrivilege(HANDLE token, const char* name) {
    TOKEN_PRIVILEGES privileges{};
    privileges.PrivilegeCount = 1;
    privileges.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
    if (LookupPrivilegeValueA(nullptr, name, &privileges.Privileges[0].Luid) != FALSE)
        AdjustTokenPrivileges(token, FALSE, &privileges, 0, nullptr, nullptr);
}

/// LocalSystem holds these, but not all of them are enabled from the start. A missing one shows in the call
/// that needs it.
void enableOwnPrivileges() {
    KernelHandle token;
    if (OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, token.out()) == FALSE)
        return;
    enablePrivilege(token.get(), SE_TCB_NAME);
    enablePrivilege(token.get(), SE_ASSIGNPRIMARYTOKEN_NAME);
    enablePrivilege(token.get(), SE_INCREASE_QUOTA_NAME);
}

/// Whether every user's programs have this privilege. They get by with these, and so does one that somebody
/// who hasn't logged on may get hold of; all others of the service's would make the machine his.
bool isEveryUsers(const LUID_AND_ATTRIBUTES& privilege) {
    for (const char* name : {"SeChangeNotifyPrivilege", "SeShutdownPrivilege", "SeUndockPrivilege",
                             "SeIncreaseWorkingSetPrivilege", "SeTimeZonePrivilege"}) {
        LUID kept{}; // an old Windows lacks some
        if (LookupPrivilegeValueA(nullptr, name, &kept) != FALSE && kept.LowPart == privilege.Luid.LowPart &&
            kept.HighPart == privilege.Luid.HighPart)
            return true;
    }
    return false;
}

/// A copy of the service's own token that belongs to the session, without the service's privileges; empty,
/// with the reason as the last error, when it can't be had.
KernelHandle serviceTokenIn(LONG sessionId) {
    constexpr DWORD access =
        TOKEN_QUERY | TOKEN_DUPLICATE | TOKEN_ASSIGN_PRIMARY | TOKEN_ADJUST_DEFAULT | TOKEN_ADJUST_SESSIONID;
    constexpr std::size_t mostPrivileges = 64;
    alignas(TOKEN_PRIVILEGES) BYTE buffer[sizeof(DWORD) + mostPrivileges * sizeof(LUID_AND_ATTRIBUTES)];
    auto* const held = reinterpret_cast<TOKEN_PRIVILEGES*>(buffer);
    KernelHandle own;
    DWORD size = 0;
    if (OpenProcessToken(GetCurrentProcess(), access, own.out()) == FALSE ||
        GetTokenInformation(own.get(), TokenPrivileges, held, sizeof buffer, &size) == FALSE)
        return {};
    LUID_AND_ATTRIBUTES* const first = held->Privileges;
    const auto given = std::remove_if(first, first + held->PrivilegeCount, isEveryUsers) - first;

    KernelHandle moved;
    auto session = static_cast<DWORD>(sessionId);
    if (CreateRestrictedToken(own.get(), 0, 0, nullptr, static_cast<DWORD>(given), first, 0, nullptr,
                              moved.out()) == FALSE ||
        SetTokenInformation(moved.get(), TokenSessionId, &session, sizeof session) == FALSE)
        return {};
    return moved;
}

/// Empty, with the reason as the last error, where there is no such token.
KernelHandle takeToken(StartToken choice, UserTokens& tokens, LONG sessionId) {
    switch (choice) {
    case StartToken::User:
        return std::move(tokens.own);
    case StartToken::UserElevated:
        return std::move(tokens.elevated);
    case StartToken::Service:
        return serviceTokenIn(sessionId);
    case StartToken::None:
        SetLastError(tokens.error);
        break;
    }
    return {};
}

struct Program {
    KernelHandle process;
    DWORD id = 0;
};

/// Starts the program on the token's session and desktop. Gives no process, with the reason as the last
/// error, when it couldn't be started.
Program start(HANDLE token, const std::string& application, const char* arguments) {
    EnvironmentBlock environment;
    if (createEnvironmentBlock(environment.out(), token, FALSE) == FALSE)
        return {};

    std::string commandLine = '"' + application + '"';
    if (*arguments != '\0')
        commandLine.append(" ").append(arguments);
    const std::size_t backslash = application.rfind('\\');
    const std::string folder = application.substr(0, backslash == std::string::npos ? 0 : backslash + 1);

    char desktop[] = "winsta0\\default";
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    startup.lpDesktop = desktop;
    PROCESS_INFORMATION information{};
    const BOOL started =
        CreateProcessAsUserA(token, application.c_str(), commandLine.data(), nullptr, nullptr, FALSE,
                             NORMAL_PRIORITY_CLASS | CREATE_UNICODE_ENVIRONMENT, environment.get(),
                             folder.empty() ? nullptr : folder.c_str(), &startup, &information);
    const DWORD error = GetLastError();
    if (started != FALSE)
        CloseHandle(information.hThread);
    environment.close();
    SetLastError(error);
    return {KernelHandle{information.hProcess}, information.dwProcessId};
}

SessionFacts factsOf(SessionUser user, LONG sessionId) {
    SessionFacts facts{user};
    if (isSomebody(user))
        return facts;
    facts.logonProcessUp = runsInSession("winlogon.exe", sessionId, Owner::LocalSystem);
    facts.logonScreenUp = user == SessionUser::Unknown && facts.logonProcessUp &&
                          runsInSession("logonui.exe", sessionId, Owner::LocalSystem);
    return facts;
}

/// Gives the id of the session in which the program runs, or `nothingStarted` with the reason in `error`.
LONG startIn(LONG sessionId, const std::string& application, const char* arguments, bool normalPrivileges,
             DWORD& error) {
    UserTokens tokens = userOf(sessionId);
    const SessionFacts facts = normalPrivileges ? SessionFacts{tokens.user} : factsOf(tokens.user, sessionId);
    const StartToken choice = tokenFor(normalPrivileges, facts);
    const KernelHandle token = takeToken(choice, tokens, sessionId);
    Program program;
    if (token)
        program = start(token.get(), application, arguments);
    error = GetLastError();
    if (!program.process)
        return nothingStarted;

    DWORD actualSession = 0;
    if (ProcessIdToSessionId(program.id, &actualSession) == FALSE)
        actualSession = static_cast<DWORD>(sessionId);
    if (choice == StartToken::Service && !endAtLogon(std::move(program.process), sessionId)) {
        error = GetLastError();
        return nothingStarted;
    }
    return static_cast<LONG>(actualSession);
}

} // namespace
} // namespace kovra::sess

using namespace kovra;
using namespace kovra::sess;

extern "C" {

/// Id of the session attached to the physical console; -1 while the console is between sessions.
LONG WINAPI getActiveConsoleSessionId() {
    // Windows' own "none", 0xFFFFFFFF, is the -1.
    return static_cast<LONG>(WTSGetActiveConsoleSessionId());
}

/// 1 when an `explorer.exe` runs in the session; 0 when none does or the processes can't be listed.
LONG WINAPI isExplorerInSession(LONG sessionId) {
    return sessionId > noSession && runsInSession("explorer.exe", sessionId, Owner::Anybody) ? 1 : 0;
}

/// Starts the executable (full path, ANSI) with the arguments in the session: with the normal rights of the
/// session's user where `normalPrivileges` is not 0, else with the admin rights that are to be had there.
/// Gives the id of the session in which it runs, with 1000 added where admin rights were asked for; -1, with
/// the reason as the last error, when nothing was started.
LONG WINAPI launchApplicationInSession(LPCSTR applicationPath, LPCSTR arguments, LONG sessionId,
                                       short normalPrivileges) {
    const bool normal = normalPrivileges != 0;
    DWORD error = ERROR_INVALID_PARAMETER;
    LONG startedIn = nothingStarted;
    if (applicationPath != nullptr && *applicationPath != '\0' && sessionId > noSession) {
        enableOwnPrivileges();
        startedIn = startIn(sessionId, applicationPath, arguments != nullptr ? arguments : "", normal, error);
    }
    SetLastError(error); // the last thing, behind the closing of all that the start has opened
    return startedIn == nothingStarted ? nothingStarted : answerFor(startedIn, normal);
}

} // extern "C"
