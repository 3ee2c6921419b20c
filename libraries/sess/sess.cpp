#include "libraries/sess/rights.h"
#include "platform/handles.h"
#include "platform/win32.h"

#include <cstring>
#include <string>
#include <utility>

#include <userenv.h>
#include <wtsapi32.h>

// sess.dll: which session is at the console, whether a shell runs in a session, and the start of a program in
// a session with the rights that `rightsFor` settles. It is called by the service, which runs as LocalSystem.

namespace kovra::sess {
namespace {

constexpr LONG noSession = -1;

struct EnvironmentKind {
    using Value = LPVOID;

    static Value invalid() { return nullptr; }

    static void close(Value value) { DestroyEnvironmentBlock(value); }
};

using EnvironmentBlock = OwnedHandle<EnvironmentKind>;

/// The file name in a process entry; some versions of Windows put the folder before it.
const char* fileNameOf(const PROCESSENTRY32& entry) {
    const char* const backslash = std::strrchr(entry.szExeFile, '\\');
    return backslash != nullptr ? backslash + 1 : entry.szExeFile;
}

/// No as well when the processes can't be listed.
bool runsInSession(const char* fileName, LONG sessionId) {
    const SnapshotHandle snapshot{CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0)};
    if (!snapshot)
        return false;
    PROCESSENTRY32 entry{};
    entry.dwSize = sizeof entry;
    for (BOOL found = Process32First(snapshot.get(), &entry); found != FALSE;
         found = Process32Next(snapshot.get(), &entry)) {
        DWORD processSession = 0;
        if (_stricmp(fileNameOf(entry), fileName) == 0 &&
            ProcessIdToSessionId(entry.th32ProcessID, &processSession) != FALSE &&
            processSession == static_cast<DWORD>(sessionId))
            return true;
    }
    return false;
}

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

/// Whether a process on this token has admin rights: membership that is there but filtered out doesn't count.
bool isAdministrator(HANDLE token) {
    KernelHandle impersonation; // CheckTokenMembership takes no primary token
    if (DuplicateTokenEx(token, TOKEN_QUERY, nullptr, SecurityIdentification, TokenImpersonation,
                         impersonation.out()) == FALSE)
        return false;
    BYTE administrators[SECURITY_MAX_SID_SIZE];
    DWORD size = sizeof administrators;
    BOOL member = FALSE;
    return CreateWellKnownSid(WinBuiltinAdministratorsSid, nullptr, administrators, &size) != FALSE &&
           CheckTokenMembership(impersonation.get(), administrators, &member) != FALSE && member != FALSE;
}

/// The token linked to a user's own, ready to start a process on; empty where there is none.
KernelHandle linkedToken(HANDLE userToken) {
    TOKEN_LINKED_TOKEN linked{};
    DWORD size = 0;
    if (GetTokenInformation(userToken, TokenLinkedToken, &linked, sizeof linked, &size) == FALSE)
        return {};
    const KernelHandle owned{linked.LinkedToken};
    // Without the right to act as the system the link is good for questions only, and there is no copy of it.
    KernelHandle primary;
    if (DuplicateTokenEx(owned.get(), MAXIMUM_ALLOWED, nullptr, SecurityImpersonation, TokenPrimary,
                         primary.out()) == FALSE)
        return {};
    return primary;
}

struct UserTokens {
    SessionUser user = SessionUser::Unknown;
    KernelHandle own;
    KernelHandle elevated;
};

UserTokens userOf(LONG sessionId) {
    UserTokens tokens;
    if (WTSQueryUserToken(static_cast<ULONG>(sessionId), tokens.own.out()) == FALSE) {
        if (GetLastError() == ERROR_NO_TOKEN)
            tokens.user = SessionUser::Nobody;
        return tokens;
    }
    tokens.user = SessionUser::Ordinary;
    if (isAdministrator(tokens.own.get())) {
        tokens.user = SessionUser::ElevatedAdmin;
        return tokens;
    }
    tokens.elevated = linkedToken(tokens.own.get());
    // Other groups of rights are split in two as well: the linked token need not be an administrator's.
    if (tokens.elevated && isAdministrator(tokens.elevated.get()))
        tokens.user = SessionUser::AdminWithLinkedToken;
    return tokens;
}

/// A copy of the service's own token that belongs to the session; empty when it can't be had.
KernelHandle serviceTokenIn(LONG sessionId) {
    KernelHandle own;
    if (OpenProcessToken(GetCurrentProcess(), TOKEN_DUPLICATE | TOKEN_QUERY, own.out()) == FALSE)
        return {};
    KernelHandle moved;
    auto session = static_cast<DWORD>(sessionId);
    if (DuplicateTokenEx(own.get(), MAXIMUM_ALLOWED, nullptr, SecurityImpersonation, TokenPrimary,
                         moved.out()) == FALSE ||
        SetTokenInformation(moved.get(), TokenSessionId, &session, sizeof session) == FALSE)
        return {};
    return moved;
}

KernelHandle tokenFor(StartToken choice, UserTokens& tokens, LONG sessionId) {
    switch (choice) {
    case StartToken::User:
        return std::move(tokens.own);
    case StartToken::UserElevated:
        return std::move(tokens.elevated);
    case StartToken::Service:
        return serviceTokenIn(sessionId);
    case StartToken::None:
        break;
    }
    return {};
}

/// Starts the program on the token's session and desktop. Gives the id of the session in which it runs, or
/// `nothingStarted`.
LONG start(HANDLE token, const std::string& application, const char* arguments, LONG sessionId) {
    EnvironmentBlock environment;
    if (CreateEnvironmentBlock(environment.out(), token, FALSE) == FALSE)
        return nothingStarted;

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
    if (CreateProcessAsUserA(token, application.c_str(), commandLine.data(), nullptr, nullptr, FALSE,
                             NORMAL_PRIORITY_CLASS | CREATE_UNICODE_ENVIRONMENT, environment.get(),
                             folder.empty() ? nullptr : folder.c_str(), &startup, &information) == FALSE)
        return nothingStarted;
    const KernelHandle process{information.hProcess};
    const KernelHandle thread{information.hThread};

    DWORD actualSession = 0;
    return ProcessIdToSessionId(information.dwProcessId, &actualSession) != FALSE
               ? static_cast<LONG>(actualSession)
               : sessionId;
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
    return sessionId > noSession && runsInSession("explorer.exe", sessionId) ? 1 : 0;
}

/// Starts the executable (full path, ANSI) with the arguments in the session: with the rights of the
/// session's user where `normalPrivileges` is not 0, else with admin rights as far as the session's state
/// allows. Gives the id of the session in which it runs, with 1000 added when it really got admin rights; -1
/// when nothing was started.
LONG WINAPI launchApplicationInSession(LPCSTR applicationPath, LPCSTR arguments, LONG sessionId,
                                       short normalPrivileges) {
    if (applicationPath == nullptr || *applicationPath == '\0' || sessionId <= noSession)
        return nothingStarted;
    enableOwnPrivileges();
    UserTokens tokens = userOf(sessionId);
    const bool normal = normalPrivileges != 0;
    // The logon screen counts only where the user has no admin rights of his own to be started with.
    const bool screenCounts =
        !normal && (tokens.user == SessionUser::Ordinary || tokens.user == SessionUser::Unknown);
    const SessionFacts facts{tokens.user, screenCounts && runsInSession("logonui.exe", sessionId)};
    const StartRights rights = rightsFor(normal, facts);
    const KernelHandle token = tokenFor(rights.token, tokens, sessionId);
    if (!token)
        return nothingStarted;
    const LONG startedIn =
        start(token.get(), applicationPath, arguments != nullptr ? arguments : "", sessionId);
    return startedIn == nothingStarted ? nothingStarted : answerFor(startedIn, rights);
}

} // extern "C"
