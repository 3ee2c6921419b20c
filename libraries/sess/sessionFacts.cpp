#include "libraries/sess/sessionFacts.h"

#include "libraries/sess/systemFunctions.h"

#include <cstring>

namespace kovra::sess {
namespace {

/// The file name in a process entry; some versions of Windows put the folder before it.
const char* fileNameOf(const PROCESSENTRY32& entry) {
    const char* const backslash = std::strrchr(entry.szExeFile, '\\');
    return backslash != nullptr ? backslash + 1 : entry.szExeFile;
}

bool runsAsLocalSystem(DWORD processId) {
    const KernelHandle process{OpenProcess(PROCESS_QUERY_INFORMATION, FALSE, processId)};
    KernelHandle token;
    if (!process || OpenProcessToken(process.get(), TOKEN_QUERY, token.out()) == FALSE)
        return false;
    alignas(TOKEN_USER) BYTE user[sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE];
    BYTE localSystem[SECURITY_MAX_SID_SIZE];
    DWORD userSize = 0;
    DWORD sidSize = sizeof localSystem;
    return GetTokenInformation(token.get(), TokenUser, user, sizeof user, &userSize) != FALSE &&
           CreateWellKnownSid(WinLocalSystemSid, nullptr, localSystem, &sidSize) != FALSE &&
           EqualSid(reinterpret_cast<const TOKEN_USER*>(user)->User.Sid, localSystem) != FALSE;
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

/// The token linked to a user's own, ready to start a process on in the session; empty where there is none.
KernelHandle linkedToken(HANDLE userToken, LONG sessionId) {
    TOKEN_LINKED_TOKEN linked{};
    DWORD size = 0;
    if (GetTokenInformation(userToken, TokenLinkedToken, &linked, sizeof linked, &size) == FALSE)
        return {};
    const KernelHandle owned{linked.LinkedToken};
    // Without the right to act as the system the link is good for questions only, and there is no copy of it.
    KernelHandle primary;
    auto session = static_cast<DWORD>(sessionId);
    if (DuplicateTokenEx(owned.get(), MAXIMUM_ALLOWED, nullptr, SecurityImpersonation, TokenPrimary,
                         primary.out()) == FALSE ||
        SetTokenInformation(primary.get(), TokenSessionId, &session, sizeof session) == FALSE)
        return {};
    return primary;
}

} // namespace

std::vector<DWORD> findInSession(const char* fileName, LONG sessionId, Owner owner) {
    std::vector<DWORD> ids;
    const SnapshotHandle snapshot{CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0)};
    if (!snapshot)
        return ids;
    PROCESSENTRY32 entry{};
    entry.dwSize = sizeof entry;
    for (BOOL found = Process32First(snapshot.get(), &entry); found != FALSE;
         found = Process32Next(snapshot.get(), &entry)) {
        DWORD processSession = 0;
        if (_stricmp(fileNameOf(entry), fileName) == 0 &&
            ProcessIdToSessionId(entry.th32ProcessID, &processSession) != FALSE &&
            processSession == static_cast<DWORD>(sessionId) &&
            (owner == Owner::Anybody || runsAsLocalSystem(entry.th32ProcessID)))
            ids.push_back(entry.th32ProcessID);
    }
    return ids;
}

UserTokens userOf(LONG sessionId) {
    UserTokens tokens;
    if (queryUserToken(static_cast<ULONG>(sessionId), tokens.own.out()) == FALSE) {
        tokens.error = GetLastError();
        if (tokens.error == ERROR_NO_TOKEN)
            tokens.user = SessionUser::Nobody;
        return tokens;
    }
    tokens.user = SessionUser::Ordinary;
    if (isAdministrator(tokens.own.get())) {
        tokens.user = SessionUser::ElevatedAdmin;
        return tokens;
    }
    tokens.elevated = linkedToken(tokens.own.get(), sessionId);
    // Other groups of rights are split in two as well: the linked token need not be an administrator's.
    if (tokens.elevated && isAdministrator(tokens.elevated.get()))
        tokens.user = SessionUser::AdminWithLinkedToken;
    return tokens;
}

} // namespace kovra::sess
